// SPDX-License-Identifier: MIT
#include "platform/host/files/WaveFile.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/Status.h"
#include "platform/StreamFormat.h"
#include "platform/host/convert/Interleaving.h"
#include "platform/host/files/PcmHeader.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::host {

Result<std::unique_ptr<OutputContainer>> WaveFile::make(std::string path, Encoding encoding, SoundShape shape) {
  const bool isFloat = encoding == Encoding::float32;
  const auto format = platform::StreamFormat::linearPcm(
      shape.sampleRate, shape.channels, isFloat ? 32 : 16,
      isFloat ? platform::format_flag::isFloat : platform::format_flag::signedInteger, true);
  if (const auto why = whyNotPcm(waveType, format.description())) {
    return platform::Failure{platform::status::unsupportedFormat, "\"" + path + "\": " + *why};
  }
  return std::unique_ptr<OutputContainer>(new WaveFile(std::move(path), encoding, shape, format.description()));
}

WaveFile::WaveFile(std::string path, Encoding encoding, SoundShape shape, const platform::StreamDescription& format)
    : mPath(std::move(path)), mEncoding(encoding), mShape(shape), mFormat(format) {
  const std::size_t samples = std::size_t{SliceQueue::maxBlockFrames} * shape.channels;
  mEncoding == Encoding::int16 ? m16Bit.resize(samples) : mFloats.resize(samples);
}

std::uint32_t WaveFile::type() const {
  return pcmTypeWritten(waveType, mFormat, mFrames);
}

std::optional<platform::Failure> WaveFile::begin(int descriptor) {
  mFile = descriptor;
  if (ftruncate(mFile, 0) != 0) return systemFailure(mPath, errno);
  return refreshHeader();
}

std::optional<platform::Failure> WaveFile::refreshHeader() {
  const std::string header = pcmHeader(waveType, mFormat, mFrames);
  const WrittenBytes written = writeAt(mFile, std::as_bytes(std::span(header)), 0);
  return written.error == 0 ? std::nullopt : std::optional(systemFailure(mPath, written.error));
}

std::optional<platform::Failure> WaveFile::write(const SliceQueue::Block& block) {
  const std::size_t frameBytes = mFormat.bytesPerFrame;
  const std::uint64_t end = mHeaderBytes + mFrames * frameBytes;
  const WrittenBytes written = writeAt(mFile, encode(block), end);
  const std::size_t frames = written.bytes / frameBytes;
  mFrames += frames;
  if (written.error == 0) return std::nullopt;
  // Remove a partial frame, because other programs may not be able to read it.
  [[maybe_unused]] const int ignored = ftruncate(mFile, static_cast<off_t>(end + frames * frameBytes));
  return systemFailure(mPath, written.error);
}

std::span<const std::byte> WaveFile::encode(const SliceQueue::Block& block) {
  const std::size_t samples = std::size_t{block.frames} * mShape.channels;
  if (mEncoding == Encoding::int16) {
    interleaveAs16Bit(block.planes, block.frames, m16Bit.data());
    return std::as_bytes(std::span(m16Bit).first(samples));
  }
  interleave(block.planes, 0, block.frames, mFloats.data());
  return std::as_bytes(std::span(mFloats).first(samples));
}

}  // namespace orvane::host
