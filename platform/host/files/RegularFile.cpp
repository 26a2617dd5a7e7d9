// SPDX-License-Identifier: MIT
#include "platform/host/files/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/Status.h"

namespace orvane::host {

namespace status = platform::status;

namespace {

platform::Status statusOfError(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return status::notFound;
    case EACCES:
    case EPERM:
    case EROFS:
    case EEXIST:
      return status::noPermission;
    case ENOSPC:
    case EDQUOT:
      return status::diskFull;
    case EISDIR:
    case ENXIO:
      return status::notRegularFile;
    default:
      return status::ioFailure;
  }
}

Result<FileDescriptor> openRegular(const std::string& path, int flags) {
  // Without O_NONBLOCK, opening a pipe would wait for its other end.
  FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0666));
  if (file.get() < 0) return systemFailure(path, errno);
  struct stat facts {};
  if (fstat(file.get(), &facts) != 0) return systemFailure(path, errno);
  if (!S_ISREG(facts.st_mode)) {
    return platform::Failure{status::notRegularFile, "\"" + path + "\" is not a regular file"};
  }
  return file;
}

}  // namespace

FileDescriptor::~FileDescriptor() {
  if (mDescriptor >= 0) close(mDescriptor);
}

int FileDescriptor::release() {
  return std::exchange(mDescriptor, -1);
}

platform::Failure systemFailure(const std::string& path, int error) {
  return {statusOfError(error), "\"" + path + "\": " + std::generic_category().message(error)};
}

WrittenBytes writeAt(int file, std::span<const std::byte> bytes, std::uint64_t offset) {
  WrittenBytes written;
  while (written.bytes < bytes.size()) {
    const ssize_t count = pwrite(file, bytes.data() + written.bytes, bytes.size() - written.bytes,
                                 static_cast<off_t>(offset + written.bytes));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) {
      written.error = count < 0 ? errno : EIO;
      break;
    }
    written.bytes += static_cast<std::size_t>(count);
  }
  return written;
}

Result<FileDescriptor> openToRead(const std::string& path) {
  return openRegular(path, O_RDONLY);
}

Result<WritableFile> openToWrite(const std::string& path, IfThere ifThere) {
  if (ifThere == IfThere::open) {
    auto existing = openRegular(path, O_RDWR);
    if (existing) return WritableFile{std::move(*existing), false};
    if (existing.failure().status != status::notFound) return existing.failure();
  }
  // O_EXCL is used only for `refuse`, because the path may be a symbolic link to a file that does not exist yet.
  auto created = openRegular(path, O_RDWR | O_CREAT | (ifThere == IfThere::refuse ? O_EXCL : 0));
  if (!created) return created.failure();
  return WritableFile{std::move(*created), true};
}

}  // namespace orvane::host
