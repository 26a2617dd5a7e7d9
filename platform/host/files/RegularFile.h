// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/PlatformError.h"
#include "platform/host/Result.h"

namespace orvane::host {

/// The owner of a file descriptor, which it closes on destruction. A negative value means that it owns none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) : mDescriptor(descriptor) {}
  ~FileDescriptor();
  FileDescriptor(FileDescriptor&& other) noexcept : mDescriptor(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&&) = delete;

  int get() const { return mDescriptor; }
  /// Returns the descriptor and gives up ownership.
  int release();

 private:
  int mDescriptor;
};

/// Opens a file for reading. Fails with `notRegularFile` for a folder, a device or a pipe (without waiting for the
/// pipe's other end), and with the failures of `systemFailure`.
Result<FileDescriptor> openToRead(const std::string& path);

/// Treatment of a file that already exists.
enum class IfThere {
  open,    ///< Keep its content; the caller may truncate it.
  refuse,  ///< Fail with `noPermission`.
};

/// A file that is open for writing.
struct WritableFile {
  FileDescriptor descriptor;
  bool isNew = false;  ///< Whether `openToWrite` created the file.
};

/// Opens a file for writing, creating it if it does not exist. Fails with `notRegularFile` for a folder, a device or a
/// pipe, with `noPermission` if the file exists and `ifThere` is `refuse`, and with the failures of `systemFailure`.
Result<WritableFile> openToWrite(const std::string& path, IfThere ifThere);

/// The result of `writeAt`.
struct WrittenBytes {
  std::size_t bytes = 0;
  int error = 0;  ///< An `errno` value; 0 if everything was written.
};

/// Writes bytes at an offset of a file, as many as the system takes.
WrittenBytes writeAt(int file, std::span<const std::byte> bytes, std::uint64_t offset);

/// Returns the failure that describes a failed system call on `path`, where `error` is the value of `errno`. Its status
/// is `notFound`, `noPermission`, `diskFull`, `notRegularFile` or `ioFailure`.
platform::Failure systemFailure(const std::string& path, int error);

}  // namespace orvane::host
