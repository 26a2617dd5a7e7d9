// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "iounit/dsp/PowerMeter.h"

namespace orvane {

/// The part of `AOMeter` that runs on the device callback: meters captured input with one `PowerMeter` per channel, and
/// prints the average levels on standard output as bars, which a terminal redraws in place.
///
/// Not thread-safe. It is created and destroyed on the caller's thread; in between, only the unit's input handler may
/// use it.
class MeterInputHandler {
 public:
  /// Number of characters per bar.
  static constexpr int barWidth = 40;
  /// Number of calls of `process` per printed line.
  static constexpr std::uint32_t printPeriod = 8;

  /// Creates a handler for `channelCount` channels at `sampleRate` hertz. If `channelCount` is 0, nothing is metered or
  /// printed.
  MeterInputHandler(int channelCount, double sampleRate);

  /// Meters the samples in `mBufferList`, in which each entry must have `frames` 32-bit float samples of one channel.
  /// On the first call and every eighth call after it, prints a line: for each channel a bar of stars, padded with
  /// spaces to 40 characters, with two spaces between bars and a carriage return after the last.
  ///
  /// Flushes standard output on every call and ignores failed writes. Metering is real-time safe. Printing is not: it
  /// locks standard output and blocks while its reader is slow.
  void process(std::uint32_t frames);

  const std::int32_t mChannelCount;
  PX::BufferList mBufferList;
  std::vector<PowerMeter> mMeters;
  std::uint32_t mPrintCycle = 0;  ///< Calls since the last printed line, modulo `printPeriod`; a call at 0 prints.

 private:
  void meterChannels(std::uint32_t frames);
  void printBars() const;
  /// Returns the number of stars of a bar: `level` times 40, truncated and limited to 0..40. Infinity gives 40 and
  /// not-a-number gives 0.
  static int barStars(double level);

  std::vector<const float*> mPlanes;  ///< The samples of each channel during `process`.
};

}  // namespace orvane
