// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include "platform/Failure.h"
#include "platform/host/Result.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::host {

// The process has one registry of the files that it reads and writes. A file has at most one writer, and a file that is
// being read is not overwritten, whatever path is used. File locks (`flock`) extend both rules to other processes that
// use this library, if the file system supports locks.

/// Identifies a file independently of its path.
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
  /// `file` is open for reading; `name` is used in messages, such as "the microphone's file".
  ReadClaim(FileDescriptor file, std::string name);
  ~ReadClaim();
  ReadClaim(const ReadClaim&) = delete;
  ReadClaim& operator=(const ReadClaim&) = delete;

  int descriptor() const { return mFile.get(); }

  /// Returns the name of the claim on the file at `path`; nothing if this process does not read it.
  static std::optional<std::string> nameAt(const std::string& path);

 private:
  const FileDescriptor mFile;
  const FileIdentity mIdentity;
  const std::string mName;
};

/// A claim on a file that this process writes. The file is open and locked; the claim itself changes no content. May be
/// used on any thread, one at a time; not real-time safe.
class WriteClaim {
 public:
  /// Whether a claim takes part in the handover of a file from one writer to the next. Both claims must allow it.
  enum class Handover { refused, allowed };

  /// Opens and claims the file. If this process has an earlier claim on the file and both allow a handover, calls the
  /// earlier claim's release function, which closes it. Fails with `noPermission` if not both allow it, if this process
  /// reads the file, and if another process that uses this library reads or writes it; otherwise as `openToWrite` does.
  static Result<std::unique_ptr<WriteClaim>> make(const std::string& path, IfThere ifThere, Handover handover);
  /// Withdraws the claim and closes the file.
  ~WriteClaim();
  WriteClaim(const WriteClaim&) = delete;
  WriteClaim& operator=(const WriteClaim&) = delete;

  /// Sets the function that completes and closes the file on a handover. It is called with the registry locked, so it
  /// must not make or withdraw claims. Until it is set, handovers are refused.
  void onHandover(std::function<void()> release);
  /// Removes the file from the registry. When it returns, no handover is in progress and none will start.
  void withdraw();

  int descriptor() const { return mFile.get(); }
  bool isOpen() const { return mFile.get() >= 0; }

  /// Whether the file has content that `discard` keeps: content from before the claim, or frames.
  bool hasContent() const { return mContent == Content::kept; }
  /// Marks the content as kept, because frames were written.
  void keep() { mContent = Content::kept; }
  /// Restores the state before the claim unless there is content to keep: removes a file that the claim created, and
  /// truncates one that was empty.
  void discard();
  /// Closes the file. Returns the failure of a delayed write, as network file systems report it, or nothing.
  std::optional<platform::Failure> close();

 private:
  enum class Content { created, empty, kept };

  WriteClaim(std::string path, WritableFile file, Handover handover);
  std::optional<platform::Failure> enter();

  const std::string mPath;
  std::string mCreatedPath;  ///< Canonical path of a file that the claim created; empty for one that existed.
  FileDescriptor mFile;
  const FileIdentity mIdentity;
  const Handover mHandover;
  Content mContent = Content::kept;
  std::function<void()> mRelease;
};

}  // namespace orvane::host
