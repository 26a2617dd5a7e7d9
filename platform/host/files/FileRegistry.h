// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include "platform/PlatformError.h"
#include "platform/host/Result.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::host {

// The process has one registry of the files that it reads and writes. It ensures that a file has at most one writer,
// and that a file that is being read is not overwritten, by whatever path the file is opened. File locks (`flock`)
// extend both rules to other processes that use this library, if the file system supports locks.

/// The identity of a file, independent of its path.
struct FileIdentity {
  dev_t device{};
  ino_t inode{};

  bool operator==(const FileIdentity&) const = default;
  bool operator<(const FileIdentity& other) const {
    return std::tie(device, inode) < std::tie(other.device, other.inode);
  }
};

/// A claim on a file that this process reads: while it exists, no writer opens that file. Thread-safe; not real-time
/// safe.
class ReadClaim {
 public:
  /// Claims a file. `file` must be open for reading; `name` is used in messages, for example "the microphone's file".
  ReadClaim(FileDescriptor file, std::string name);
  ~ReadClaim();
  ReadClaim(const ReadClaim&) = delete;
  ReadClaim& operator=(const ReadClaim&) = delete;

  int descriptor() const { return mFile.get(); }

  /// Returns the name of the claim on the file at `path`, or `std::nullopt` if this process does not read that file.
  static std::optional<std::string> nameAt(const std::string& path);

 private:
  const FileDescriptor mFile;
  const FileIdentity mIdentity;
  const std::string mName;
};

/// A claim on a file that this process writes. The file is open and locked; making the claim does not change the file's
/// content. Must be used by one thread at a time; not real-time safe.
class WriteClaim {
 public:
  /// Whether a claim allows a handover: a second writer takes over the file, and the first one completes and closes it.
  /// Both claims must allow it.
  enum class Handover { refused, allowed };

  /// Opens and claims the file. If this process already has a claim on the file and both claims allow a handover, calls
  /// the function that the earlier claim passed to `onHandover`. Fails with `noPermission` if a handover is needed but
  /// not allowed, if this process reads the file, or if another process that uses this library reads or writes it. Also
  /// fails as `openToWrite` does.
  static Result<std::unique_ptr<WriteClaim>> make(const std::string& path, IfThere ifThere, Handover handover);
  /// Withdraws the claim and closes the file.
  ~WriteClaim();
  WriteClaim(const WriteClaim&) = delete;
  WriteClaim& operator=(const WriteClaim&) = delete;

  /// Sets the function that completes and closes the file on a handover. The function is called with the registry
  /// locked, so it must not create or withdraw claims. Until it is set, handovers are refused.
  void onHandover(std::function<void()> release);
  /// Removes the file from the registry. When `withdraw` has returned, no handover is in progress and none will start.
  void withdraw();

  int descriptor() const { return mFile.get(); }
  bool isOpen() const { return mFile.get() >= 0; }

  /// Returns whether the file has content that `discard` keeps: content from before the claim, or frames that were
  /// written.
  bool hasContent() const { return mContent == Content::kept; }
  /// Records that frames were written, so that `discard` keeps the content.
  void keep() { mContent = Content::kept; }
  /// Restores the state before the claim unless `hasContent()`: removes the file if the claim created it, or truncates
  /// it if it was empty.
  void discard();
  /// Closes the file. Returns the failure of a delayed write (network file systems may report one on closing), or
  /// `std::nullopt`.
  std::optional<platform::Failure> close();

 private:
  enum class Content { created, empty, kept };

  WriteClaim(std::string path, WritableFile file, Handover handover);
  std::optional<platform::Failure> enter();

  const std::string mPath;
  std::string mCreatedPath;  ///< Canonical path of the file if the claim created it; empty if it existed.
  FileDescriptor mFile;
  const FileIdentity mIdentity;
  const Handover mHandover;
  Content mContent = Content::kept;
  std::function<void()> mRelease;
};

}  // namespace orvane::host
