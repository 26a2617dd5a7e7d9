// SPDX-License-Identifier: MIT
#include "platform/host/files/SoundFileSize.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>

namespace orvane::host {

namespace {

constexpr std::uint64_t maxUint32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t maxUint64 = std::numeric_limits<std::uint64_t>::max();

/// A file format that consists of chunks, each with an identifier and a size, and the identifier of its chunk of sample
/// data.
struct ChunkForm {
  std::string_view magic;
  std::string_view kind;      ///< The text that must follow `magic` and the file size; empty if there is none.
  std::uint64_t headerBytes;  ///< Bytes before the first chunk.
  std::uint64_t idBytes;
  std::uint64_t sizeBytes;
  bool bigEndian;
  bool sizeCountsHeader;
  std::uint64_t alignment;
  std::string_view soundId;
};

constexpr std::array<ChunkForm, 6> chunkForms{{
    {"RIFF", "WAVE", 12, 4, 4, false, false, 2, "data"},
    {"RIFX", "WAVE", 12, 4, 4, true, false, 2, "data"},
    {"RF64", "WAVE", 12, 4, 4, false, false, 2, "data"},
    {"FORM", "AIF", 12, 4, 4, true, false, 2, "SSND"},
    {"caff", "", 8, 4, 8, true, false, 1, "data"},
    {"riff", "", 40, 16, 8, false, true, 8, "data"},
}};

std::string bytesAt(int file, std::uint64_t offset, std::size_t count) {
  std::string bytes(count, '\0');
  const ssize_t read = pread(file, bytes.data(), count, static_cast<off_t>(offset));
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(read, 0)));
  return bytes;
}

std::uint64_t number(std::string_view bytes, bool bigEndian) {
  std::uint64_t value = 0;
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    value = value << 8 | static_cast<unsigned char>(bytes[bigEndian ? index : bytes.size() - 1 - index]);
  }
  return value;
}

SoundFileSize sized(std::uint64_t declared, std::uint64_t begin, std::uint64_t fileBytes) {
  SoundFileSize size{.declared = declared, .present = fileBytes - std::min(begin, fileBytes)};
  if (declared == 0 || declared == maxUint64) size.declared.reset();
  return size;
}

/// Returns whether, according to the file size in the header, no chunk follows the (empty) sample data that begins at
/// `begin`.
bool endsWithSound(int file, const ChunkForm& form, std::uint64_t begin) {
  const std::uint64_t whole = number(bytesAt(file, 4, 4), form.bigEndian);
  return whole == maxUint32 || whole + 8 <= begin;
}

std::optional<SoundFileSize> sizeByChunks(int file, const ChunkForm& form, std::uint64_t fileBytes) {
  constexpr int maxChunks = 10'000;
  const std::uint64_t unknown = form.sizeBytes == 4 ? maxUint32 : maxUint64;
  const std::uint64_t chunkHeader = form.idBytes + form.sizeBytes;
  std::optional<std::uint64_t> sizeIn64Bits;
  std::uint64_t offset = form.headerBytes;
  for (int chunk = 0; chunk < maxChunks && offset < fileBytes; ++chunk) {
    const std::string bytes = bytesAt(file, offset, chunkHeader);
    if (bytes.size() < chunkHeader) break;
    std::uint64_t size = number(std::string_view(bytes).substr(form.idBytes), form.bigEndian);
    const std::uint64_t begin = offset + chunkHeader;
    if (bytes.starts_with("ds64")) {
      const std::string sizes = bytesAt(file, begin, 16);
      if (sizes.size() == 16) sizeIn64Bits = number(std::string_view(sizes).substr(8), false);
    }
    const bool isUnknown = size == unknown;
    if (form.sizeCountsHeader) size -= std::min(size, chunkHeader);
    if (bytes.starts_with(form.soundId)) {
      if (isUnknown) size = sizeIn64Bits.value_or(0);
      SoundFileSize sound = sized(size, begin, fileBytes);
      // libsndfile treats a size of 0 as unknown in some cases only.
      const bool isEmpty = !sound.declared && !isUnknown && form.kind == "WAVE";
      if (isEmpty && endsWithSound(file, form, begin)) sound.openSizeAt = offset + form.idBytes;
      return sound;
    }
    if (size > fileBytes) break;
    offset = (begin + size + form.alignment - 1) / form.alignment * form.alignment;
  }
  return std::nullopt;
}

}  // namespace

std::optional<SoundFileSize> soundFileSize(int file) {
  struct stat facts {};
  if (fstat(file, &facts) != 0 || facts.st_size <= 0) return std::nullopt;
  const auto fileBytes = static_cast<std::uint64_t>(facts.st_size);
  const std::string head = bytesAt(file, 0, 12);
  if (head.size() < 12) return std::nullopt;
  if (head.starts_with(".snd") || head.starts_with("dns.")) {
    const bool bigEndian = head.starts_with('.');
    const auto field = [&](std::size_t at) { return number(std::string_view(head).substr(at, 4), bigEndian); };
    return sized(field(8) == maxUint32 ? 0 : field(8), field(4), fileBytes);
  }
  for (const ChunkForm& form : chunkForms) {
    if (head.starts_with(form.magic) && std::string_view(head).substr(8).starts_with(form.kind)) {
      return sizeByChunks(file, form, fileBytes);
    }
  }
  return std::nullopt;
}

bool hasMpegLength(int file) {
  std::uint64_t firstFrame = 0;
  const std::string tag = bytesAt(file, 0, 10);
  if (tag.size() == 10 && tag.starts_with("ID3")) {
    // The size of the tag is stored in four bytes with seven bits each.
    for (const char part : tag.substr(6)) firstFrame = firstFrame << 7 | (static_cast<unsigned char>(part) & 0x7F);
    firstFrame += tag.size();
  }
  // The header that states the length replaces the sample data of the first MPEG frame, after the side information.
  constexpr std::size_t maxSideBytes = 64;
  const std::string frame = bytesAt(file, firstFrame, maxSideBytes);
  return std::ranges::any_of(std::array<std::string_view, 3>{"Xing", "Info", "VBRI"},
                             [&](std::string_view name) { return frame.find(name) != std::string::npos; });
}

}  // namespace orvane::host
