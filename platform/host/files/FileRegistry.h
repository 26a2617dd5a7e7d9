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

// The process has one registry of the files that it reads and writes. A file has one writer, and a file that is read
// is not overwritten, whatever path leads to it. File locks (`flock`) extend both rules to other processes of this
// kind, where the file system has locks.

/// Identifies a file whatever path led to it.
struct FileIdentity {
  dev_t device{};
  ino_t inode{};

  bool operator==(const FileIdentity&) const = default;
  bool operator<(const FileIdentity& other) const {
    return std::tie(device, inode) < std::tie(other.device, other.inode);
  }
};

/// A file that this process reads. While the object lives no writer opens that file. Any thread.
class ReadClaim {
 public:
  /// `name` is the file's name in messages: "the microphone's file".
  ReadClaim(FileDescriptor file, std::string name);
  ~ReadClaim();
  ReadClaim(const ReadClaim&) = delete;
  ReadClaim& operator=(const ReadClaim&) = delete;

  int descriptor() const { return mFile.get(); }

  /// The name of the file at `path` if this process reads it.
  static std::optional<std::string> nameAt(const std::string& path);

 private:
  const FileDescriptor mFile;
  const FileIdentity mIdentity;
  const std::string mName;
};

/// A file that this process writes: open, locked, its content untouched so far. Any thread, one at a time.
class WriteClaim {
 public:
  /// Whether a claim takes part in handing a file from one writer to the next. Both must.
  enum class Handover { refused, allowed };

  /// Opens the file and claims it. With an earlier claim of this process on the file: if both allow a handover, calls
  /// that one's `onHandover`, after which it is closed; else fails. Fails as well for a file that is read, in this
  /// process or another one of this kind, or written by another one.
  static Result<std::unique_ptr<WriteClaim>> make(const std::string& path, IfThere ifThere, Handover handover);
  /// Withdraws the claim and closes the file.
  ~WriteClaim();
  WriteClaim(const WriteClaim&) = delete;
  WriteClaim& operator=(const WriteClaim&) = delete;

  /// `release` completes and closes the file. It is called with the registry locked, so it makes no claims. Until it is
  /// set, handovers are refused.
  void onHandover(std::function<void()> release);
  /// Takes the file out of the registry: no handover starts after this call, and none is under way.
  void withdraw();

  int descriptor() const { return mFile.get(); }
  bool isOpen() const { return mFile.get() >= 0; }

  /// Whether the file holds anything that `discard` has to keep: what it held when it was claimed, or sound.
  bool hasContent() const { return mContent == Content::kept; }
  /// Sound was written: it is kept from now on.
  void keep() { mContent = Content::kept; }
  /// Restores the state before the claim if nothing is to be kept: removes a file that the claim created, empties one
  /// that was empty.
  void discard();
  /// Reports a write that failed late, as network file systems do.
  std::optional<platform::Failure> close();

 private:
  enum class Content { created, empty, kept };

  WriteClaim(std::string path, WritableFile file, Handover handover);
  std::optional<platform::Failure> enter();

  const std::string mPath;
  std::string mCreatedPath;  ///< Without symbolic links; empty for a file that existed.
  FileDescriptor mFile;
  const FileIdentity mIdentity;
  const Handover mHandover;
  Content mContent = Content::kept;
  std::function<void()> mRelease;
};

}  // namespace orvane::host
