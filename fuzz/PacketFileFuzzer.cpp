// SPDX-License-Identifier: MIT
#include <sanitizer/allocator_interface.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/SettingsCheck.h"
#include "platform/SoundFileService.h"
#include "platform/host/convert/PacketCodec.h"
#include "platform/host/convert/PcmCoding.h"
#include "platform/host/files/PacketFile.h"

namespace orvane {

namespace {

/// The number of bytes after which reading stops: a file of a few bytes may claim to contain any number of packets.
constexpr std::uint64_t maxReadBytes = 1 << 20;
constexpr std::uint32_t packetsPerRead = 16;
/// The memory that reading and decoding a file may use.
constexpr std::int64_t maxMemory = 64 << 20;

std::atomic<std::int64_t> memoryInUse = 0;

/// Counts allocated memory from its construction to its destruction, and aborts if there is too much of it.
struct MemoryLimit {
  MemoryLimit() {
    [[maybe_unused]] static const int installed = __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void*, std::size_t size) {
          fuzz::require((memoryInUse += static_cast<std::int64_t>(size)) <= maxMemory);
        },
        [](const volatile void* memory) {
          memoryInUse -= static_cast<std::int64_t>(__sanitizer_get_allocated_size(const_cast<const void*>(memory)));
        });
    memoryInUse = 0;
  }
};

/// The first bytes of some file types, with a complete header. The first byte of the fuzzer's input selects one of them
/// as the beginning of the file, so that many inputs pass the check of the file type.
constexpr std::array<std::string_view, 9> beginnings = {
    "",
    std::string_view("RIFF\xFF\xFF\xFF\xFFWAVEfmt \x10\0\0\0\1\0\2\0\x80\xBB\0\0\0\xEE\2\0\4\0\x10\0data", 40),
    std::string_view("RF64\xFF\xFF\xFF\xFFWAVEds64\x1C\0\0\0", 20),
    std::string_view("FORM\0\0\1\0AIFFCOMM\0\0\0\x12\0\2\0\0\0\x10\0\x10\x40\x0E\xAC\x44\0\0\0\0\0\0SSND", 42),
    std::string_view("FORM\0\0\1\0AIFCFVER\0\0\0\4\xA2\x80\x51\x40"
                     "COMM\0\0\0\x18\0\1",
                     34),
    std::string_view(".snd\0\0\0\x1C\xFF\xFF\xFF\xFF\0\0\0\3\0\0\xAC\x44\0\0\0\1\0\0\0\0", 28),
    std::string_view("fLaC\x80\0\0\x22\x10\0\x10\0\0\0\0\0\0\0\x0A\xC4\x40\xF0\0\0\0\0"
                     "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0",
                     42),
    std::string_view("fLaC\0\0\0\x22", 8),
    std::string_view(
        "OggS\0\2\0\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\x1C\x9F\xF5\xD9\1\x13OpusHead\1\1\x38\1\x80\xBB\0\0\0\0\0", 47)};

/// Decodes packets until one cannot be decoded.
struct Decoder {
  explicit Decoder(const host::PacketReader& reader)
      : pcm(host::PcmCoding::make(reader.format())), output(reader.format().channelsPerFrame) {
    auto made = host::makeDecoder(reader.format());
    if (made && !(*made)->setCookie(reader.cookie())) packets = std::move(*made);
  }

  void take(const std::vector<std::byte>& bytes, const host::PacketReader::Read& read,
            const std::vector<platform::PacketDescription>& descriptions) {
    if (pcm) pcm->decode(bytes.data(), read.packets, output.room(read.packets));
    for (std::uint32_t i = 0; packets && i < read.packets; ++i) {
      const auto& [offset, frames, size] = descriptions[i];
      fuzz::require(offset >= 0 && static_cast<std::uint64_t>(offset) + size <= read.bytes);
      if (packets->decode(std::span(bytes).subspan(static_cast<std::size_t>(offset), size), frames, output)) {
        packets.reset();
      }
      fuzz::require(frames == 0 || output.frames() <= frames);
      output.clear();
    }
  }

  std::optional<host::PcmCoding> pcm;
  std::unique_ptr<host::PacketDecoder> packets;
  host::PlanarFifo output;
};

void check(const platform::Failure& failure) {
  fuzz::require(failure.status != 0 && failure.reason.find("fuzz") != std::string::npos);
}

void readToTheEnd(host::PacketReader& reader) {
  auto bound = reader.packetSizeUpperBound();
  if (!bound) return check(bound.failure());
  Decoder decoder(reader);
  std::vector<platform::PacketDescription> descriptions(packetsPerRead);
  std::vector<std::byte> bytes(std::size_t{*bound} * packetsPerRead + 1);
  std::uint64_t first = 0;
  for (std::uint64_t done = 0; done < maxReadBytes;) {
    auto read = reader.read(first, packetsPerRead, bytes, descriptions.data());
    if (!read) return check(read.failure());
    fuzz::require(read->packets <= packetsPerRead && read->bytes <= bytes.size());
    if (read->packets == 0) return;
    decoder.take(bytes, *read, descriptions);
    first += read->packets;
    done += read->bytes + 1;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::string content(beginnings[data[0] % beginnings.size()]);
  content.append(reinterpret_cast<const char*>(data) + 1, size - 1);

  const int file = memfd_create("packets", MFD_CLOEXEC);
  fuzz::require(file >= 0 && write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
  const MemoryLimit limit;
  auto reader = host::openPacketFile(host::FileDescriptor(file), "fuzz");
  if (reader) {
    const platform::StreamDescription& format = (*reader)->format();
    fuzz::require(format.sampleRate > 0 && format.channelsPerFrame >= 1);
    readToTheEnd(**reader);
  } else {
    check(reader.failure());
  }
  return 0;
}

}  // namespace orvane
