// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/PlatformError.h"
#include "platform/StreamDescription.h"
#include "platform/host/Result.h"
#include "platform/host/audio/SliceQueue.h"
#include "platform/host/files/OutputContainer.h"
#include "platform/host/files/PcmHeader.h"

namespace orvane::host {

/// A WAVE file of 16-bit integers or 32-bit floats that is being written. It becomes an RF64 file when it exceeds 4
/// GiB, the limit of a WAVE header.
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
  WaveFile(std::string path, Encoding encoding, SoundShape shape, const platform::StreamDescription& format);
  std::span<const std::byte> encode(const SliceQueue::Block& block);

  const std::string mPath;
  const Encoding mEncoding;
  const SoundShape mShape;
  const platform::StreamDescription mFormat;
  const std::size_t mHeaderBytes = pcmHeader(waveType, mFormat, 0).size();
  std::vector<std::int16_t> m16Bit;
  std::vector<float> mFloats;
  int mFile = -1;
  std::uint64_t mFrames = 0;
};

}  // namespace orvane::host
