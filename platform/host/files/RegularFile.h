#pragma once

#include <string>
#include <variant>

#include "platform/Failure.h"

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
std::variant<FileDescriptor, platform::Failure> openToRead(const std::string& path);

/// What to do about a file that is already there.
enum class IfThere {
  open,  ///< What it holds is kept until the caller truncates it.
  refuse,
};

/// Opens a file to write, making it where it does not exist.
std::variant<FileDescriptor, platform::Failure> openToWrite(const std::string& path, IfThere ifThere = IfThere::open);

/// What an `errno` value of a call on `path` means in the host's terms.
platform::Failure systemFailure(const std::string& path, int error);

}  // namespace orvane::host
