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
#include "platform/host/files/RegularFile.h"

// The parts of reading and writing sound files packet by packet that depend on the file type. `HostSoundFiles` does the
// rest. Not thread-safe; not real-time safe.

namespace orvane::host {

/// A sound file whose packets are read.
class PacketReader {
 public:
  virtual ~PacketReader() = default;

  virtual const platform::StreamDescription& format() const = 0;
  /// Returns the bytes of the channel layout (see `platform::SoundFileService`); empty if the file has none.
  virtual std::vector<std::byte> layout() const { return {}; }
  /// Returns the set-up data of the decoder; empty if the format needs none.
  virtual std::vector<std::byte> cookie() const { return {}; }
  /// Returns the size of the largest packet in bytes, or an upper bound; 0 if the file has no packet.
  virtual Result<std::uint32_t> packetSizeUpperBound() = 0;

  /// Packets that were read.
  struct Read {
    std::uint32_t packets = 0;
    std::uint32_t bytes = 0;
  };
  /// Reads packets from `first` on into `room`, at most `maxPackets`, as `platform::SoundFileService::readPackets`
  /// does. `descriptions` may be null.
  virtual Result<Read> read(std::uint64_t first, std::uint32_t maxPackets, std::span<std::byte> room,
                            platform::PacketDescription* descriptions) = 0;
};

/// A sound file to which packets are written. Operations return `std::nullopt` on success.
class PacketWriter {
 public:
  virtual ~PacketWriter() = default;

  /// Truncates the file and writes the header of a file without packets. Must be called first. The descriptor must be
  /// open for writing until after the last call.
  virtual std::optional<platform::Failure> begin(int descriptor) = 0;
  /// Returns whether the format has set-up data.
  virtual bool takesCookie() const { return false; }
  /// Returns the set-up data; empty if there is none.
  virtual std::vector<std::byte> cookie() const { return {}; }
  /// Sets the set-up data and writes it to the file.
  virtual std::optional<platform::Failure> setCookie(std::span<const std::byte> cookie);

  /// Appends packets that lie in `bytes`, and adds to `written` the number of packets that are in the file afterwards.
  /// The file is valid when the call returns. `packets` may be empty for packets of constant size.
  virtual std::optional<platform::Failure> write(std::span<const std::byte> bytes,
                                                 std::span<const platform::PacketDescription> packets,
                                                 std::uint32_t& written) = 0;
  /// Completes the file. Must be called once, as the last operation that writes.
  virtual std::optional<platform::Failure> finish() { return std::nullopt; }

  /// Returns the number of frames in the file.
  virtual std::uint64_t frames() const = 0;
  /// Returns the type of the container as written, one of `platform::sound_file_type`.
  virtual std::uint32_t type() const = 0;
};

/// Opens a sound file of any supported type. `path` is used in messages. Fails with `invalidFile`, `unsupportedFormat`
/// or `ioFailure`.
Result<std::unique_ptr<PacketReader>> openPacketFile(FileDescriptor file, const std::string& path);
/// Creates the writer of a file without touching the file system; `path` is used in messages. Fails with
/// `unsupportedType` or `unsupportedFormat`.
Result<std::unique_ptr<PacketWriter>> makePacketWriter(const std::string& path, std::uint32_t fileType,
                                                       const platform::StreamDescription& format);

/// The part of `path` and `reason` that messages about files share: "PATH" REASON.
platform::Failure fileFailure(platform::Status status, const std::string& path, const std::string& reason);

}  // namespace orvane::host
