// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

namespace orvane {

/// Measures the level of one audio channel block by block, like the meter of a mixing desk.
///
/// Set the rate with `SetSampleRate`, process the blocks of one stream in one of the three sample formats, and read the
/// levels from the fields after each block. Levels are linear amplitudes; 1.0 is digital full scale. They rise within
/// one block and fall with a release time (60 dB in 1.24 s) that does not depend on the block length. The highest peak
/// is held for 0.907 s before it falls (60 dB in 2.5 s).
///
/// A plain value. Not thread-safe; real-time safe. Operations never fail or throw. Given the two per-block fractions,
/// the results are defined to the bit.
class PowerMeter {
 public:
  /// Stores the rate in hertz and computes the per-sample bases. The per-block fractions are updated by the next block
  /// of a different length, or after `Reset`. A meter without a rate uses 44100 Hz from its first block on.
  void SetSampleRate(double rate);

  /// Meters `frameCount` samples (0 or more), `stride` elements apart. If samples are infinite or not-a-number, the
  /// block sets `mSawInfinity` or `mSawNaN` and counts as a peak of 1 with a mean square of 0.
  ///
  /// Contiguous samples aligned to 16 bytes are processed four a step, with one mean square for each of the four lanes,
  /// unless the environment variable `PX_NoVector` is set.
  void Process(const float* samples, int stride, int frameCount);

  /// Meters signed 16-bit samples.
  void Process_Int16(const std::int16_t* samples, int stride, int frameCount);

  /// Meters fixed-point samples with 24 fraction bits. Squares are computed in 32 bits and wrap around from an
  /// amplitude of 1.41 on.
  void Process_Int32(const std::int32_t* samples, int stride, int frameCount);

  /// Sets the levels, the held peak and the scalar mean squares to 0; keeps the mean squares of the lanes and the
  /// clipping record. Ignores the argument.
  void ProcessSilence(int frameCount);

  /// Sets all levels to silence and makes the next block update the per-block fractions; keeps the rate.
  void Reset();

  /// Clears the clipping record: the largest magnitude and the two flags.
  void ClearClipping();

  // The steps of `Process`, in order.

  /// Computes the per-block fractions if `frameCount` differs from the previous block's.
  void ScaleDecayConstants(int frameCount);

  /// Processes all groups of four samples from 16-byte-aligned `data`, advances `data` and `remaining` past them, and
  /// updates `peak` and `meanSquare`.
  void ProcessVector(const float*& data, int& remaining, float& peak, double& meanSquare);

  /// Finishes a block whose groups of four were processed elsewhere. `lanes` and `maxima` are the resulting mean
  /// squares and maximum magnitudes of the lanes, `rest` the last `frameCount` mod 4 samples, `frameCount` the frames
  /// of the whole block.
  void FinishBlock(const float* rest, int frameCount, const std::array<float, 4>& lanes,
                   const std::array<float, 4>& maxima);

  /// Finishes a block of float samples with its peak and mean square: clipping record, levels, and flush of tiny values
  /// to 0.
  void SaveLevels(int frameCount, double meanSquare, float peak);

  /// Finishes a block of integer samples, with a full scale of 2^15 and a square of 2^30; does not flush or record
  /// clipping.
  void SavePeaks(int frameCount, int meanSquare, int peak);

  bool mInstantaneous = false;                ///< Levels follow each block at once, without a release.
  double mSampleRate = 0.0;                   ///< Hz; 0 when not set.
  double mHoldDecayBase = 0.999937346586127;  ///< Factor of the hold decay for one sample, at 44100 Hz.
  double mHoldDecay = 0.006;                  ///< Fraction by which the held peak falls in a block.
  double mReleaseBase = 0.999873686654251;    ///< Factor of the release for one sample, at 44100 Hz.
  double mRelease = 0.016;                    ///< Fraction of the distance that a level falls in a block.
  std::int32_t mBlockSize = -1;               ///< Block length of both fractions in frames; -1 if not computed.
  float mMaxPeak = 0.0F;                      ///< Largest magnitude of float samples since the record was cleared.
  bool mSawInfinity = false;                  ///< The mean square became infinite.
  bool mSawNaN = false;                       ///< The mean square became not-a-number.
  double mMeanSquare = 0.0;                   ///< Running mean square of float samples.
  alignas(16) std::array<float, 4> mLaneMeanSquare = {};  ///< Running mean square of each lane.
  std::int32_t mMeanSquareInt = 0;                        ///< Running mean square of integer samples.
  std::int32_t mHoldCounter = 0;                          ///< Frames since the held peak rose; saturates.
  double mPeakLevel = 0.0;                                ///< Peak level.
  double mAverageLevel = 0.0;                             ///< Mean level: a full-scale sine reads 1.0.
  double mPeakHold = 0.0;                                 ///< Held peak level.
};

}  // namespace orvane
