// SPDX-License-Identifier: MIT
#include "platform/host/files/PcmHeader.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

#include "platform/NumberText.h"
#include "platform/SoundFileService.h"

namespace orvane::host {

using platform::StreamDescription;
namespace flag = platform::format_flag;
namespace type = platform::sound_file_type;

namespace {

constexpr std::uint64_t maxUint32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t bitsPerByte = 8;

/// The bytes of a header, with numbers in the byte order of the file type.
class Bytes {
 public:
  explicit Bytes(bool isBigEndian) : mIsBigEndian(isBigEndian) {}

  Bytes& text(std::string_view text) {
    mBytes += text;
    return *this;
  }
  Bytes& number(std::uint64_t value, int size) {
    for (int index = 0; index < size; ++index) {
      const int place = mIsBigEndian ? size - 1 - index : index;
      mBytes += static_cast<char>(value >> (8 * place));
    }
    return *this;
  }
  Bytes& half(std::uint64_t value) { return number(value, 2); }
  Bytes& word(std::uint64_t value) { return number(std::min(value, maxUint32), 4); }
  Bytes& chunk(std::string_view identifier, std::uint64_t size) { return text(identifier).word(size); }
  std::string take() { return std::move(mBytes); }

 private:
  const bool mIsBigEndian;
  std::string mBytes;
};

bool isFloat(const StreamDescription& format) {
  return (format.formatFlags & flag::isFloat) != 0;
}

bool isBigEndian(const StreamDescription& format) {
  return (format.formatFlags & flag::bigEndian) != 0;
}

std::uint64_t dataBytes(const StreamDescription& format, std::uint64_t frames) {
  return frames * format.bytesPerFrame;
}

/// Chunks have an even length; a byte is added to the samples if necessary.
std::uint64_t padded(std::uint64_t bytes) {
  return bytes + bytes % 2;
}

// ---- WAVE

std::uint64_t waveHeaderBytes(const StreamDescription& format) {
  return isFloat(format) ? 94 : 80;
}

/// The header of a WAVE file reserves room for the chunk of 64-bit sizes, so that the file can become RF64 in place.
std::string waveHeader(const StreamDescription& format, std::uint64_t frames) {
  constexpr std::uint32_t size64Bytes = 28;
  constexpr std::uint32_t integerTag = 1;
  constexpr std::uint32_t floatTag = 3;
  const bool isRf64 = pcmTypeWritten(type::wave, format, frames) == type::nativeContainer;
  const std::uint64_t data = dataBytes(format, frames);
  const std::uint64_t riff = padded(data) + waveHeaderBytes(format) - 8;
  const auto size32 = [isRf64](std::uint64_t size) { return isRf64 ? maxUint32 : size; };
  const auto size64 = [isRf64](std::uint64_t size) { return isRf64 ? size : 0; };

  Bytes bytes(false);
  bytes.chunk(isRf64 ? "RF64" : "RIFF", size32(riff)).text("WAVE");
  bytes.chunk(isRf64 ? "ds64" : "JUNK", size64Bytes);
  bytes.number(size64(riff), 8).number(size64(data), 8).number(size64(frames), 8).word(0);
  bytes.chunk("fmt ", isFloat(format) ? 18 : 16).half(isFloat(format) ? floatTag : integerTag);
  bytes.half(format.channelsPerFrame).word(static_cast<std::uint64_t>(format.sampleRate));
  bytes.word(static_cast<std::uint64_t>(format.sampleRate) * format.bytesPerFrame);
  bytes.half(format.bytesPerFrame).half(format.bitsPerChannel);
  // Formats that are not integers need the size of an extension field, and the number of frames.
  if (isFloat(format)) bytes.half(0).chunk("fact", 4).word(size32(frames));
  return bytes.chunk("data", size32(data)).take();
}

// ---- AIFF and AIFC

/// Appends a number as an 80-bit float, the form of the rate.
void appendExtended(Bytes& bytes, double number) {
  int exponent = 0;
  const double fraction = std::frexp(number, &exponent);
  bytes.half(static_cast<std::uint64_t>(16382) + static_cast<std::uint64_t>(exponent));
  bytes.number(static_cast<std::uint64_t>(std::ldexp(fraction, 64)), 8);
}

/// The compression of an AIFC file, and its name preceded by its length, padded to an even number of bytes.
struct Compression {
  std::string_view code;
  std::string_view name;
};

Compression compressionOf(const StreamDescription& format) {
  using namespace std::string_view_literals;
  if (isFloat(format)) {
    return format.bitsPerChannel == 32 ? Compression{"fl32",
                                                     "\x0C"
                                                     "32-bit float\0"sv}
                                       : Compression{"fl64",
                                                     "\x0C"
                                                     "64-bit float\0"sv};
  }
  return isBigEndian(format) ? Compression{"NONE", "\x0Enot compressed\0"sv} : Compression{"sowt", "\0\0"sv};
}

std::string aiffHeader(bool isAifc, const StreamDescription& format, std::uint64_t frames) {
  constexpr std::uint64_t soundHead = 8;
  constexpr std::uint64_t versionBytes = 12;
  constexpr std::uint64_t version = 0xA2805140;
  const Compression compression = compressionOf(format);
  const std::uint64_t common = 18 + (isAifc ? compression.code.size() + compression.name.size() : 0);
  const std::uint64_t data = dataBytes(format, frames);
  const std::uint64_t form = 4 + (isAifc ? versionBytes : 0) + 8 + common + 8 + soundHead + padded(data);

  Bytes bytes(true);
  bytes.chunk("FORM", form).text(isAifc ? "AIFC" : "AIFF");
  if (isAifc) bytes.chunk("FVER", 4).word(version);
  bytes.chunk("COMM", common).half(format.channelsPerFrame).word(frames).half(format.bitsPerChannel);
  appendExtended(bytes, format.sampleRate);
  if (isAifc) bytes.text(compression.code).text(compression.name);
  return bytes.chunk("SSND", soundHead + data).word(0).word(0).take();
}

// ---- AU

std::string auHeader(const StreamDescription& format, std::uint64_t frames) {
  constexpr std::uint32_t headerBytes = 28;
  constexpr std::uint32_t encodingOf8Bits = 2;  // 16, 24 and 32 bits follow.
  constexpr std::uint32_t encodingOf32BitFloat = 6;
  constexpr std::uint32_t encodingOf64BitFloat = 7;
  std::uint32_t encoding = encodingOf8Bits + format.bitsPerChannel / bitsPerByte - 1;
  if (isFloat(format)) encoding = format.bitsPerChannel == 32 ? encodingOf32BitFloat : encodingOf64BitFloat;
  // The numbers of the header have the byte order of the samples, and the name tells which one that is.
  const bool isSwapped = !isBigEndian(format) && format.bitsPerChannel > bitsPerByte;
  Bytes bytes(!isSwapped);
  // A length of all ones means "to the end of the file".
  bytes.text(isSwapped ? "dns." : ".snd").word(headerBytes).word(dataBytes(format, frames)).word(encoding);
  bytes.word(static_cast<std::uint64_t>(format.sampleRate)).word(format.channelsPerFrame).word(0);
  return bytes.take();
}

/// Returns whether the samples are coded as files of this type code them.
bool isCodedFor(std::uint32_t fileType, const StreamDescription& format) {
  const bool isSigned = (format.formatFlags & flag::signedInteger) != 0;
  const bool isWave = fileType == type::wave || fileType == type::nativeContainer;
  if (isFloat(format)) {
    return (format.bitsPerChannel == 32 || format.bitsPerChannel == 64) && fileType != type::aiff &&
           (fileType == type::au || isBigEndian(format) == !isWave);
  }
  if (format.bitsPerChannel == bitsPerByte) return isSigned == !isWave;
  const bool isWidth = format.bitsPerChannel == 16 || format.bitsPerChannel == 24 || format.bitsPerChannel == 32;
  const bool isSwapped = fileType == type::au || (fileType == type::aifc && format.bitsPerChannel == 16);
  return isWidth && isSigned && (isSwapped || isBigEndian(format) == !isWave);
}

/// Returns the samples that files of this type hold, for messages.
const char* samplesOf(std::uint32_t fileType) {
  switch (fileType) {
    case type::aiff:
      return "signed integers of 8, 16, 24 or 32 bits, big-endian";
    case type::aifc:
      return "signed integers of 8, 16, 24 or 32 bits or floats, big-endian, or signed integers of 16 bits, "
             "little-endian";
    case type::au:
      return "signed integers of 8, 16, 24 or 32 bits or floats";
    default:
      return "unsigned integers of 8 bits, signed integers of 16, 24 or 32 bits, or floats, little-endian";
  }
}

}  // namespace

std::optional<std::string> whyNotPcm(std::uint32_t fileType, const StreamDescription& format) {
  // Larger values would overflow fields of the header.
  constexpr double maxRate = 6'144'000;
  constexpr std::uint32_t maxChannels = 256;
  if (format.formatID != platform::linearPcmFormatID) return "this type of file holds linear PCM only";
  const double rate = format.sampleRate;
  const std::uint32_t channels = format.channelsPerFrame;
  if (!(rate >= 1 && rate <= maxRate) || rate != std::floor(rate) || channels < 1 || channels > maxChannels) {
    return std::to_string(channels) + " channels at " + platform::numberText(rate) +
           " Hz; a file takes 1 to 256 channels at a whole number of hertz, 1 to 6144000";
  }
  const bool isInterleaved = (format.formatFlags & flag::nonInterleaved) == 0 || channels == 1;
  const bool isPacked = (format.formatFlags & flag::packed) != 0 && format.framesPerPacket == 1 &&
                        format.bytesPerFrame == channels * format.bitsPerChannel / bitsPerByte &&
                        format.bytesPerPacket == format.bytesPerFrame;
  if (isInterleaved && isPacked && isCodedFor(fileType, format)) return std::nullopt;
  return std::string("files of this type hold interleaved samples, packed in whole bytes: ") + samplesOf(fileType);
}

std::string pcmHeader(std::uint32_t fileType, const StreamDescription& format, std::uint64_t frames) {
  if (fileType == type::aiff || fileType == type::aifc) return aiffHeader(fileType == type::aifc, format, frames);
  if (fileType == type::au) return auHeader(format, frames);
  return waveHeader(format, frames);
}

std::uint32_t pcmTypeWritten(std::uint32_t fileType, const StreamDescription& format, std::uint64_t frames) {
  if (fileType != type::wave && fileType != type::nativeContainer) return fileType;
  const bool isLarge = padded(dataBytes(format, frames)) + waveHeaderBytes(format) > maxUint32;
  return isLarge ? type::nativeContainer : type::wave;
}

std::uint64_t maxPcmFrames(std::uint32_t fileType, const StreamDescription& format) {
  constexpr std::uint64_t headerBytes = 128;  // More than any header has.
  const bool isAiff = fileType == type::aiff || fileType == type::aifc;
  return (isAiff ? maxUint32 - headerBytes : std::numeric_limits<std::uint64_t>::max() / 2) / format.bytesPerFrame;
}

}  // namespace orvane::host
