// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Failure.h"
#include "platform/host/Result.h"
#include "platform/host/audio/SliceQueue.h"
#include "platform/host/files/OutputContainer.h"

namespace orvane::host {

/// A WAVE file of 16-bit integers or 32-bit floats that is being written. It becomes an RF64 file when it exceeds 4
/// GiB, the limit of a WAVE header. This class writes the headers itself, because libsndfile writes neither an
/// extension field for float formats nor a channel mask that its own reader accepts; other programs read these headers
/// without a warning.
class WaveFile final : public OutputContainer {
 public:
  enum class Encoding { int16, float32 };

  static constexpr std::uint32_t waveType = 0x57415645;
  static constexpr std::uint32_t rf64Type = 0x52463634;

  /// Creates a container without touching the file system; `path` is used in messages only. The shape must have 1 to
  /// 256 channels and a rate that is a whole number of hertz from 1 to 6144000; otherwise fails with
  /// `unsupportedFormat`.
  static Result<std::unique_ptr<OutputContainer>> make(std::string path, Encoding encoding, SoundShape shape);

  SoundShape shape() const override { return mShape; }
  std::optional<platform::Failure> begin(int descriptor) override;
  std::optional<platform::Failure> write(const SliceQueue::Block& block) override;
  std::optional<platform::Failure> refreshHeader() override;
  std::optional<platform::Failure> finish() override { return refreshHeader(); }
  std::uint64_t frames() const override { return mFrames; }
  std::uint32_t type() const override;

 private:
  WaveFile(std::string path, Encoding encoding, SoundShape shape);
  std::size_t sampleBytes() const { return mEncoding == Encoding::int16 ? sizeof(std::int16_t) : sizeof(float); }
  std::size_t frameBytes() const { return sampleBytes() * mShape.channels; }
  std::string header() const;
  const char* encode(const SliceQueue::Block& block);

  const std::string mPath;
  const Encoding mEncoding;
  const SoundShape mShape;
  std::vector<std::int16_t> m16Bit;
  std::vector<float> mFloats;
  int mFile = -1;
  std::uint64_t mFrames = 0;
};

}  // namespace orvane::host
