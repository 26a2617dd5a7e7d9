// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

namespace orvane {

/// Measures the level of one audio channel block by block, as the meter of a mixing desk does.
///
/// A meter is made, given its rate with `SetSampleRate`, and fed blocks of one stream in one of the three sample
/// formats. After each block the levels are read from the fields. Levels are linear amplitudes where 1.0 is digital
/// full scale: they rise within one block and fall with a release time (60 dB in 1.24 s) that does not depend on the
/// length of the blocks; the highest peak is held for 0.907 s before it falls (60 dB in 2.5 s).
///
/// A plain value, to be kept in containers. One thread at a time; nothing here allocates, locks, throws or fails, so
/// all of it may be called on the device callback. The results are defined to the bit, given the two per-block
/// fractions.
class PowerMeter {
 public:
  /// Stores the rate in Hz and computes the per-sample bases from it. The per-block fractions follow with the next
  /// block of a different length, or after `Reset`. A meter that was given no rate takes 44100 Hz at its first block.
  void SetSampleRate(double rate);

  /// Meters `frameCount` samples (0 or more), `stride` elements apart. Samples may be infinite or not-a-number: then
  /// the block sets a flag and counts as a peak of 1 with a mean square of 0.
  ///
  /// Contiguous samples at an address that is a multiple of 16 are taken four a step, each lane with a mean square of
  /// its own, unless the environment variable `PX_NoVector` is present.
  void Process(const float* samples, int stride, int frameCount);

  /// The same for signed 16-bit samples.
  void Process_Int16(const std::int16_t* samples, int stride, int frameCount);

  /// The same for fixed-point samples with 24 fraction bits. The squares are kept in 32 bits: they wrap around from an
  /// amplitude of 1.41 on.
  void Process_Int32(const std::int32_t* samples, int stride, int frameCount);

  /// Takes the levels, the held peak and the mean squares of the scalar paths to zero at once. The argument is ignored;
  /// the mean squares of the lanes and the clipping record stay.
  void ProcessSilence(int frameCount);

  /// Returns to silence and has the per-block fractions computed anew; keeps the rate.
  void Reset();

  /// Forgets the largest magnitude and the two flags.
  void ClearClipping();

  // The steps of a block, in the order in which `Process` takes them.

  /// Computes the per-block fractions where `frameCount` differs from the block before.
  void ScaleDecayConstants(int frameCount);

  /// Takes as many groups of four samples as there are from 16-byte-aligned `data`; moves `data` and `remaining` past
  /// them, and replaces `peak` and `meanSquare`.
  void ProcessVector(const float*& data, int& remaining, float& peak, double& meanSquare);

  /// Everything after the groups of four of a block, for a loop that runs them by itself: takes what has become of
  /// `mLaneMeanSquare` and the largest magnitudes of each lane, the `frameCount` frames of the whole block, and its
  /// last `frameCount` mod 4 samples.
  void FinishBlock(const float* rest, int frameCount, const std::array<float, 4>& lanes,
                   const std::array<float, 4>& maxima);

  /// The rest of a block of float samples once its peak and mean square are known: clipping record, levels and flush.
  void SaveLevels(int frameCount, double meanSquare, float peak);

  /// The same for the integer formats, where full scale is 2^15 and its square 2^30; these neither flush nor record
  /// clipping.
  void SavePeaks(int frameCount, int meanSquare, int peak);

  bool mInstantaneous = false;                ///< Levels follow each block at once, without a release.
  double mSampleRate = 0.0;                   ///< Hz; 0 when not set.
  double mHoldDecayBase = 0.999937346586127;  ///< Factor of the hold decay for one sample, at 44100 Hz.
  double mHoldDecay = 0.006;                  ///< Fraction by which the held peak falls in a block.
  double mReleaseBase = 0.999873686654251;    ///< Factor of the release for one sample, at 44100 Hz.
  double mRelease = 0.016;                    ///< Fraction of its way down that a level goes in a block.
  std::int32_t mBlockSize = -1;               ///< Frames for which both fractions hold; -1 for never computed.
  float mMaxPeak = 0.0F;                      ///< Largest magnitude of float samples since the record was cleared.
  bool mSawInfinity = false;                  ///< The mean square became infinite.
  bool mSawNaN = false;                       ///< The mean square became not-a-number.
  double mMeanSquare = 0.0;                   ///< Running mean square of float samples.
  alignas(16) std::array<float, 4> mLaneMeanSquare = {};  ///< The same for each lane.
  std::int32_t mMeanSquareInt = 0;                        ///< Running mean square of integer samples.
  std::int32_t mHoldCounter = 0;  ///< Frames since the held peak was lifted; stays at its largest value.
  double mPeakLevel = 0.0;        ///< Peak level.
  double mAverageLevel = 0.0;     ///< Mean level: a full-scale sine reads 1.0.
  double mPeakHold = 0.0;         ///< Held peak level.
};

}  // namespace orvane
