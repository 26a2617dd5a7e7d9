// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

namespace orvane {

/// A level meter of one audio channel, like the meters of a mixing desk. It processes the channel's samples block by
/// block.
///
/// Usage: set the rate with `SetSampleRate`, process the blocks of one stream in one of the three sample formats, and
/// read the levels from the fields after each block. Levels are linear amplitudes; 1.0 is digital full scale. They rise
/// within one block and fall by 60 dB in 1.24 s, independent of the block length. The highest peak is held for 0.907 s
/// before it falls, by 60 dB in 2.5 s.
///
/// A plain value. Not thread-safe; real-time safe. Operations never fail or throw. For given values of the two
/// per-block fractions (`mHoldDecay`, `mRelease`), the results are defined to the bit.
class PowerMeter {
 public:
  /// Stores the rate in hertz and computes the per-sample factors (`mHoldDecayBase`, `mReleaseBase`). The per-block
  /// fractions (`mHoldDecay`, `mRelease`) are updated only by the next block that has a different length or follows
  /// `Reset`. If no rate is set before the first block, 44100 Hz is used.
  void SetSampleRate(double rate);

  /// Meters `frameCount` samples, which are `stride` elements apart; `frameCount` must not be negative. If samples are
  /// infinite or not-a-number, sets `mSawInfinity` or `mSawNaN`, and treats the block as one with a peak of 1 and a
  /// mean square of 0.
  ///
  /// Contiguous samples that are aligned to 16 bytes are processed four per step, with a separate mean square for each
  /// of the four lanes, unless the environment variable `PX_NoVector` is set.
  void Process(const float* samples, int stride, int frameCount);

  /// Meters `frameCount` signed 16-bit samples, which are `stride` elements apart.
  void Process_Int16(const std::int16_t* samples, int stride, int frameCount);

  /// Meters `frameCount` fixed-point samples with 24 fraction bits, which are `stride` elements apart. Squares are
  /// computed in 32 bits and wrap around for amplitudes of 1.41 and more.
  void Process_Int32(const std::int32_t* samples, int stride, int frameCount);

  /// Resets the levels, the held peak, its counter, and the mean squares `mMeanSquare` and `mMeanSquareInt` to 0.
  /// Leaves the lanes' mean squares and the clipping record unchanged. The parameter is ignored.
  void ProcessSilence(int frameCount);

  /// Resets the levels, all mean squares and the clipping record to 0, and makes the next block update the per-block
  /// fractions. Keeps the rate.
  void Reset();

  /// Clears the clipping record: the largest magnitude and the two flags.
  void ClearClipping();

  // The steps of `Process`, in order.

  /// Computes the per-block fractions (`mHoldDecay`, `mRelease`) if `frameCount` differs from the length of the
  /// previous block.
  void ScaleDecayConstants(int frameCount);

  /// Processes all complete groups of four of the `remaining` samples at `data`, which must be aligned to 16 bytes.
  /// Advances `data` and `remaining` past these groups and updates `peak` and `meanSquare`.
  void ProcessVector(const float*& data, int& remaining, float& peak, double& meanSquare);

  /// Finishes a block of `frameCount` samples whose complete groups of four were processed elsewhere. `lanes` and
  /// `maxima` are the resulting mean squares and maximum magnitudes of the four lanes; `rest` points to the remaining
  /// `frameCount` mod 4 samples.
  void FinishBlock(const float* rest, int frameCount, const std::array<float, 4>& lanes,
                   const std::array<float, 4>& maxima);

  /// Finishes a block of float samples, given its mean square and peak: updates the clipping record and the levels, and
  /// flushes tiny values to 0.
  void SaveLevels(int frameCount, double meanSquare, float peak);

  /// Finishes a block of integer samples, given its mean square and peak on a scale where full scale is 2^15 (squared:
  /// 2^30): updates the levels. Does not flush tiny values or update the clipping record.
  void SavePeaks(int frameCount, int meanSquare, int peak);

  bool mInstantaneous = false;                ///< Levels fall immediately, without a release time.
  double mSampleRate = 0.0;                   ///< Hz; 0 when not set.
  double mHoldDecayBase = 0.999937346586127;  ///< Factor of the hold decay for one sample, at 44100 Hz.
  double mHoldDecay = 0.006;                  ///< Fraction by which the held peak falls per block.
  double mReleaseBase = 0.999873686654251;    ///< Factor of the release for one sample, at 44100 Hz.
  double mRelease = 0.016;       ///< Fraction of the distance to the new level by which a level falls per block.
  std::int32_t mBlockSize = -1;  ///< Block length of both fractions in frames; -1 if not computed.
  float mMaxPeak = 0.0F;         ///< Largest magnitude of float samples since the record was cleared.
  bool mSawInfinity = false;     ///< The mean square became infinite.
  bool mSawNaN = false;          ///< The mean square became not-a-number.
  double mMeanSquare = 0.0;      ///< Running mean square of float samples.
  alignas(16) std::array<float, 4> mLaneMeanSquare = {};  ///< Running mean square of each lane.
  std::int32_t mMeanSquareInt = 0;                        ///< Running mean square of integer samples.
  std::int32_t mHoldCounter = 0;                          ///< Frames since the held peak rose; saturates.
  double mPeakLevel = 0.0;                                ///< Peak level.
  double mAverageLevel = 0.0;                             ///< Mean level: a full-scale sine reads 1.0.
  double mPeakHold = 0.0;                                 ///< Held peak level.
};

}  // namespace orvane
