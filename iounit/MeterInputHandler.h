// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "iounit/dsp/PowerMeter.h"

namespace orvane {

/// Meters captured input with one `PowerMeter` a channel and prints the average levels to standard output, as bars that
/// a terminal redraws in place.
///
/// Not thread-safe: made and destroyed on the caller's thread, and used by the unit's input handler only in between.
class MeterInputHandler {
 public:
  /// Characters per bar.
  static constexpr int barWidth = 40;
  /// Calls of `process` per printed line.
  static constexpr std::uint32_t printPeriod = 8;

  /// `sampleRate` is in hertz. With a `channelCount` of 0, nothing is metered or printed.
  MeterInputHandler(int channelCount, double sampleRate);

  /// Meters the samples in `mBufferList`: one channel an entry, `frames` 32-bit float samples each. On the first call
  /// and every eighth after it, prints a line: for each channel a bar of stars, padded with spaces to 40 characters,
  /// with two spaces between bars and a carriage return after the last.
  ///
  /// Metering is real-time safe. Printing is not: it locks standard output and waits while its reader is slow. Failed
  /// writes are ignored. Flushes standard output on every call.
  void process(std::uint32_t frames);

  const std::int32_t mChannelCount;
  PX::BufferList mBufferList;
  std::vector<PowerMeter> mMeters;
  std::uint32_t mPrintCycle = 0;  ///< Calls since the last printed line; a call at 0 prints.

 private:
  void meterChannels(std::uint32_t frames);
  void printBars() const;
  /// Returns the number of stars, 0 to 40: the level times 40, truncated. A level of 1 or more, infinity included,
  /// gives 40; a negative one or not-a-number gives 0.
  static int barStars(double level);

  std::vector<const float*> mPlanes;  ///< The samples of each channel during `process`.
};

}  // namespace orvane
