// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/Failure.h"
#include "platform/host/Result.h"

namespace orvane::host {

/// A descriptor that closes itself.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) : mDescriptor(descriptor) {}
  ~FileDescriptor();
  FileDescriptor(FileDescriptor&& other) noexcept : mDescriptor(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&&) = delete;

  int get() const { return mDescriptor; }
  /// Hands the descriptor over to the caller, who closes it.
  int release();

 private:
  int mDescriptor;
};

/// Opens a file to read. A folder, a device or a pipe is refused, and never waited for.
Result<FileDescriptor> openToRead(const std::string& path);

/// Treatment of a file that already exists.
enum class IfThere {
  open,  ///< Its content is kept until the caller truncates it.
  refuse,
};

/// A file that is open to be written.
struct WritableFile {
  FileDescriptor descriptor;
  bool isNew = false;  ///< Created by the call.
};

/// Opens a file to write, creating it if it does not exist.
Result<WritableFile> openToWrite(const std::string& path, IfThere ifThere);

/// The failure of a system call on `path` that set `errno` to `error`.
platform::Failure systemFailure(const std::string& path, int error);

}  // namespace orvane::host
