// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "iounit/dsp/PowerMeter.h"

namespace orvane {

/// Meters captured input, one `PowerMeter` a channel, and draws the average levels on standard output as bars that
/// redraw in place.
///
/// Made and destroyed on the caller's thread; in between only the unit's input handler touches it. `AOMeter` keeps the
/// hardware's rate, so the device callback alone calls it; nothing here depends on that.
class MeterInputHandler {
 public:
  /// Characters of a bar.
  static constexpr int barWidth = 40;
  /// Calls of `process` from one printed line to the next.
  static constexpr std::uint32_t printPeriod = 8;

  /// `channelCount` may be 0: then nothing is metered and nothing printed. The rate is in hertz.
  MeterInputHandler(int channelCount, double sampleRate);

  /// Meters the `frames` frames that the entries of `mBufferList` refer to: one channel an entry, `frames` 32-bit float
  /// samples each. On the first call and every eighth after it, prints a line: for each channel the stars of its bar,
  /// filled up with blanks to 40 characters; two blanks between bars, a carriage return after the last.
  ///
  /// Called inside the input handler, one call at a time. Metering allocates nothing. Printing takes the lock of
  /// standard output and waits where its reader is slow; a write that fails is ignored. Flushes standard output on
  /// every call.
  void process(std::uint32_t frames);

  const std::int32_t mChannelCount;
  PX::BufferList mBufferList;
  std::vector<PowerMeter> mMeters;
  std::uint32_t mPrintCycle = 0;  ///< Calls since the last one that printed; prints at 0.

 private:
  void meterChannels(std::uint32_t frames);
  void printBars() const;
  /// The stars of a bar: a level of 1 or more (infinity included) fills it, a level below 1/40, a negative one or
  /// not-a-number gives none.
  static int barStars(double level);

  std::vector<const float*> mPlanes;  ///< Each channel's samples, while a block is metered.
};

}  // namespace orvane
