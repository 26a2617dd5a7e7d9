// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/PlatformError.h"
#include "platform/StreamDescription.h"
#include "platform/host/HostContext.h"
#include "platform/host/Result.h"
#include "platform/host/files/FileRegistry.h"
#include "platform/host/files/PacketFile.h"

namespace orvane::host {

/// A sound file that is being written, with its claim in the registry of files. Another writer of this process may take
/// the file over; later writes then fail. Thread-safe; not real-time safe.
class SoundFileOutput {
 public:
  /// Claims and erases the file. Fails as `WriteClaim::make` does, and if the header cannot be written; nothing is
  /// erased if the file cannot be claimed.
  static Result<std::unique_ptr<SoundFileOutput>> create(const std::string& path, std::unique_ptr<PacketWriter> writer,
                                                         std::shared_ptr<HostContext> context);
  /// Completes the file.
  ~SoundFileOutput();

  bool takesCookie() const { return mWriter->takesCookie(); }
  std::vector<std::byte> cookie();
  std::optional<platform::Failure> setCookie(std::span<const std::byte> cookie);
  /// Appends packets, see `PacketWriter::write`. A failure is kept for `FileReport::writeFailure`; the caller logs it.
  std::optional<platform::Failure> write(std::span<const std::byte> bytes,
                                         std::span<const platform::PacketDescription> packets, std::uint32_t& written);
  /// Returns the number of packets written so far.
  std::uint64_t packets();
  /// Completes and closes the file, and records it as written. Does nothing if the file is closed.
  void close();

 private:
  SoundFileOutput(std::string path, std::unique_ptr<WriteClaim> claim, std::unique_ptr<PacketWriter> writer,
                  std::shared_ptr<HostContext> context)
      : mContext(std::move(context)), mPath(std::move(path)), mClaim(std::move(claim)), mWriter(std::move(writer)) {}

  std::optional<platform::Failure> begin();
  template <typename Write>
  std::optional<platform::Failure> attempt(Write write);
  std::optional<platform::Failure> keep(std::optional<platform::Failure> failure);
  void logAndKeep(std::optional<platform::Failure> failure);
  void handOver();
  void complete();

  const std::shared_ptr<HostContext> mContext;
  const std::string mPath;
  std::mutex mMutex;  ///< Protects the members below; the exit of the process may complete the file on any thread.
  const std::unique_ptr<WriteClaim> mClaim;
  const std::unique_ptr<PacketWriter> mWriter;
  std::uint64_t mPackets = 0;
};

}  // namespace orvane::host
