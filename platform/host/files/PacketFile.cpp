// SPDX-License-Identifier: MIT
#include "platform/host/files/PacketFile.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/SoundFileService.h"
#include "platform/Status.h"
#include "platform/host/files/FlacFile.h"
#include "platform/host/files/OpusFile.h"
#include "platform/host/files/PcmFile.h"

namespace orvane::host {

namespace type = platform::sound_file_type;

platform::Failure fileFailure(platform::Status status, const std::string& path, const std::string& reason) {
  return {status, "\"" + path + "\" " + reason};
}

std::optional<platform::Failure> PacketWriter::setCookie(std::span<const std::byte>) {
  return platform::Failure{platform::status::wrongState, "linear PCM has no cookie"};
}

namespace {

/// Returns whether a FLAC stream begins behind an ID3v2 tag, where some programs put one. `head` has the first bytes of
/// the file.
bool isTaggedFlac(int file, std::string_view head) {
  constexpr std::size_t tagHead = 10;
  if (!head.starts_with("ID3") || head.size() < tagHead) return false;
  // The size of the tag is stored in four bytes with seven bits each.
  off_t place = 0;
  for (const char part : head.substr(6, 4)) place = place << 7 | (part & 0x7F);
  std::array<char, 4> name{};
  return pread(file, name.data(), name.size(), place + static_cast<off_t>(tagHead)) == 4 &&
         std::string_view(name.data(), name.size()) == "fLaC";
}

}  // namespace

Result<std::unique_ptr<PacketReader>> openPacketFile(FileDescriptor file, const std::string& path) {
  constexpr std::size_t opusPlace = 28;  // Behind the head of a page with one segment.
  std::array<char, opusPlace + 8> bytes{};
  const ssize_t read = pread(file.get(), bytes.data(), bytes.size(), 0);
  if (read < 0) return systemFailure(path, errno);
  const std::string_view head(bytes.data(), static_cast<std::size_t>(read));
  if (head.starts_with("fLaC") || isTaggedFlac(file.get(), head)) return openFlacFile(std::move(file), path);
  if (head.starts_with("OggS") && head.substr(std::min(head.size(), opusPlace)) == "OpusHead") {
    return openOpusFile(std::move(file), path);
  }
  return openPcmFile(std::move(file), path);
}

Result<std::unique_ptr<PacketWriter>> makePacketWriter(const std::string& path, std::uint32_t fileType,
                                                       const platform::StreamDescription& format) {
  switch (fileType) {
    case type::flac:
      return makeFlacWriter(path, format);
    case type::opus:
      return makeOpusWriter(path, format);
    case type::nativeContainer:
    case type::wave:
    case type::aiff:
    case type::aifc:
    case type::au:
      return makePcmWriter(path, fileType, format);
    default:
      return fileFailure(platform::status::unsupportedType, path,
                         "has type " + std::to_string(fileType) + ", which is not a type of file that can be written");
  }
}

}  // namespace orvane::host
