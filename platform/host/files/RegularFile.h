// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Failure.h"
#include "platform/host/Result.h"

namespace orvane::host {

/// Owns a file descriptor and closes it. Negative for none.
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

/// Opens a file for reading. Fails with `notRegularFile` for a folder, a device or a pipe, without waiting for it, and
/// otherwise with the status of `systemFailure`.
Result<FileDescriptor> openToRead(const std::string& path);

/// Treatment of a file that already exists.
enum class IfThere {
  open,    ///< Keep its content; the caller may truncate it.
  refuse,  ///< Fail with `noPermission`.
};

/// A file that is open for writing.
struct WritableFile {
  FileDescriptor descriptor;
  bool isNew = false;  ///< Created by the call.
};

/// Opens a file for writing; creates it if it does not exist. Fails as `openToRead` does.
Result<WritableFile> openToWrite(const std::string& path, IfThere ifThere);

/// Makes the failure of a system call on `path` that set `errno` to `error`: `notFound`, `noPermission`, `diskFull`,
/// `notRegularFile` or `ioFailure`.
platform::Failure systemFailure(const std::string& path, int error);

}  // namespace orvane::host
