// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "platform/Clock.h"
#include "platform/PlatformError.h"
#include "platform/backend/MidiTransport.h"
#include "platform/host/HostContext.h"
#include "platform/host/files/FileRegistry.h"

namespace orvane::simulated {

/// The file that records what simulated destinations receive: one JSON object a line. Lines are collected and written
/// in blocks. A file that existed keeps its content until the first block is written. A failed write is recorded in the
/// context and ends the recording. Thread-safe; not real-time safe.
class CaptureFile {
 public:
  /// Creates an object that has not opened its file yet. `blockBytes` is the size from which a block is written.
  CaptureFile(std::string path, std::size_t blockBytes, std::shared_ptr<host::HostContext> context);
  ~CaptureFile();

  /// Opens and claims the file, if that has not been done yet. Returns why it cannot be written, or `std::nullopt`.
  std::optional<platform::Failure> open();
  /// Adds a line. `time` is the time since the creation of the host.
  void add(platform::HostTime time, const backend::MidiObject& destination, std::span<const std::uint8_t> bytes);
  /// Writes what has been collected.
  void flush();

 private:
  const std::string& nameOf(const backend::MidiObject& destination);
  void writeBlock();
  std::optional<platform::Failure> write();

  const std::string mPath;
  const std::size_t mBlockBytes;
  const std::shared_ptr<host::HostContext> mContext;
  std::mutex mMutex;
  std::unique_ptr<host::WriteClaim> mFile;
  std::string mBlock;
  bool mHasWritten = false;
  bool mHasFailed = false;
  std::map<std::string, std::string, std::less<>> mNames;  ///< The JSON text of each name.
};

}  // namespace orvane::simulated
