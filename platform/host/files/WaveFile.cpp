// SPDX-License-Identifier: MIT
#include "platform/host/files/WaveFile.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

#include "platform/NumberText.h"
#include "platform/Status.h"
#include "platform/host/convert/Interleaving.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::host {

namespace {

static_assert(std::endian::native == std::endian::little, "numbers in WAVE files are little-endian");

constexpr std::uint32_t maxUint32 = std::numeric_limits<std::uint32_t>::max();

void append(std::string& bytes, std::string_view text) {
  bytes += text;
}
template <typename Number>
void append(std::string& bytes, Number number) {
  bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}
/// Appends a chunk's identifier, size and fields.
template <typename... Field>
void appendChunk(std::string& bytes, const char* identifier, std::uint32_t size, Field... fields) {
  bytes += identifier;
  append(bytes, size);
  (append(bytes, fields), ...);
}

std::uint32_t bounded(std::uint64_t number) {
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(number, maxUint32));
}

struct Written {
  std::size_t bytes = 0;
  int error = 0;  ///< An `errno` value; 0 if everything was written.
};

Written writeAt(int file, const char* bytes, std::size_t size, std::uint64_t offset) {
  Written written;
  while (written.bytes < size) {
    const ssize_t count =
        pwrite(file, bytes + written.bytes, size - written.bytes, static_cast<off_t>(offset + written.bytes));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      written.error = count < 0 ? errno : EIO;
      break;
    }
    written.bytes += static_cast<std::size_t>(count);
  }
  return written;
}

constexpr std::size_t int16HeaderBytes = 80;
constexpr std::size_t float32HeaderBytes = 94;

}  // namespace

Result<std::unique_ptr<OutputContainer>> WaveFile::make(std::string path, Encoding encoding, SoundShape shape) {
  // Larger values would overflow fields of the header.
  constexpr double maxRate = 6'144'000;
  constexpr std::uint32_t maxChannels = 256;
  const bool inRange = shape.sampleRate >= 1 && shape.sampleRate <= maxRate &&
                       shape.sampleRate == std::floor(shape.sampleRate) && shape.channels >= 1 &&
                       shape.channels <= maxChannels;
  if (inRange) return std::unique_ptr<OutputContainer>(new WaveFile(std::move(path), encoding, shape));
  return platform::Failure{platform::status::unsupportedFormat,
                           "\"" + path + "\": " + std::to_string(shape.channels) + " channels at " +
                               platform::numberText(shape.sampleRate) +
                               " Hz; a file takes 1 to 256 channels at a whole number of hertz, 1 to 6144000"};
}

WaveFile::WaveFile(std::string path, Encoding encoding, SoundShape shape)
    : mPath(std::move(path)), mEncoding(encoding), mShape(shape) {
  const std::size_t samples = std::size_t{SliceQueue::maxBlockFrames} * shape.channels;
  mEncoding == Encoding::int16 ? m16Bit.resize(samples) : mFloats.resize(samples);
}

std::uint32_t WaveFile::type() const {
  // An upper bound of the size in the header, for both encodings.
  const std::uint64_t size = mFrames * frameBytes() + float32HeaderBytes;
  return size > maxUint32 ? rf64Type : waveType;
}

/// Returns the header. In a WAVE file it reserves room for the chunk of 64-bit sizes, so that the file can become RF64
/// in place.
std::string WaveFile::header() const {
  constexpr std::uint32_t size64Bytes = 28;
  constexpr std::uint16_t integerTag = 1;
  constexpr std::uint16_t floatTag = 3;
  const bool isFloat = mEncoding == Encoding::float32;
  const bool isRf64 = type() == rf64Type;
  const std::uint64_t dataBytes = mFrames * frameBytes();
  const std::uint64_t fileBytes = dataBytes + (isFloat ? float32HeaderBytes : int16HeaderBytes);
  const auto size32 = [isRf64](std::uint64_t number) { return isRf64 ? maxUint32 : bounded(number); };
  const auto size64 = [isRf64](std::uint64_t number) { return isRf64 ? number : 0; };

  std::string bytes;
  appendChunk(bytes, isRf64 ? "RF64" : "RIFF", size32(fileBytes - 8), std::string_view("WAVE"));
  appendChunk(bytes, isRf64 ? "ds64" : "JUNK", size64Bytes, size64(fileBytes - 8), size64(dataBytes), size64(mFrames),
              std::uint32_t{0});
  appendChunk(bytes, "fmt ", isFloat ? 18 : 16, isFloat ? floatTag : integerTag,
              static_cast<std::uint16_t>(mShape.channels), static_cast<std::uint32_t>(mShape.sampleRate),
              bounded(static_cast<std::uint64_t>(mShape.sampleRate) * frameBytes()),
              static_cast<std::uint16_t>(frameBytes()), static_cast<std::uint16_t>(8 * sampleBytes()));
  if (isFloat) {
    append(bytes, std::uint16_t{0});  // The size of the extension field, which non-integer formats must have.
    appendChunk(bytes, "fact", 4, size32(mFrames));
  }
  appendChunk(bytes, "data", size32(dataBytes));
  return bytes;
}

std::optional<platform::Failure> WaveFile::begin(int descriptor) {
  mFile = descriptor;
  if (ftruncate(mFile, 0) != 0) return systemFailure(mPath, errno);
  return refreshHeader();
}

std::optional<platform::Failure> WaveFile::refreshHeader() {
  const std::string bytes = header();
  const Written written = writeAt(mFile, bytes.data(), bytes.size(), 0);
  return written.error == 0 ? std::nullopt : std::optional(systemFailure(mPath, written.error));
}

std::optional<platform::Failure> WaveFile::write(const SliceQueue::Block& block) {
  const std::uint64_t end = header().size() + mFrames * frameBytes();
  const Written written = writeAt(mFile, encode(block), block.frames * frameBytes(), end);
  const std::size_t frames = written.bytes / frameBytes();
  mFrames += frames;
  if (written.error == 0) return std::nullopt;
  // Remove a partial frame, because other programs may not be able to read it.
  [[maybe_unused]] const int ignored = ftruncate(mFile, static_cast<off_t>(end + frames * frameBytes()));
  return systemFailure(mPath, written.error);
}

const char* WaveFile::encode(const SliceQueue::Block& block) {
  if (mEncoding == Encoding::int16) {
    interleaveAs16Bit(block.planes, block.frames, m16Bit.data());
    return reinterpret_cast<const char*>(m16Bit.data());
  }
  interleave(block.planes, 0, block.frames, mFloats.data());
  return reinterpret_cast<const char*>(mFloats.data());
}

}  // namespace orvane::host
