// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "platform/FileReport.h"
#include "platform/PlatformError.h"
#include "platform/Worker.h"
#include "platform/host/HostContext.h"
#include "platform/host/Result.h"
#include "platform/host/audio/SliceQueue.h"
#include "platform/host/files/FileRegistry.h"
#include "platform/host/files/OutputContainer.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::host {

/// A background writer of a sound file, with its own worker.
///
/// The device callback pushes slices (its blocks of frames) into a bounded queue of two seconds, limited to 128 MiB.
/// Every 200 ms the worker writes the queued frames and updates the file's header, so if the process is killed, the
/// file is readable and at most the last 400 ms are missing. The first failure is logged and recorded in
/// `HostContext::writeFailures`; later frames are dropped. A file that is still open when the process exits is
/// completed then.
///
/// An existing file with content keeps it until the first frames are written; a new or empty file gets its headers in
/// `create`. A file has one writer at a time. When another writer takes over the file (see `WriteClaim`), this writer
/// completes the file and drops later frames.
///
/// Thread-safe; only `push` is real-time safe.
class SoundFileWriter {
 public:
  struct Target {
    std::string path;
    std::uint32_t maxFrames = 0;  ///< Length of the longest slice, in frames.
    IfThere ifThere = IfThere::open;
    WriteClaim::Handover handover = WriteClaim::Handover::refused;
  };

  /// Opens and claims the file. Fails as `WriteClaim::make` does, and if the headers cannot be written; after a failure
  /// the file system is as it was before. Throws `std::bad_alloc` if memory is exhausted and `std::system_error` if no
  /// thread can be started.
  static Result<std::unique_ptr<SoundFileWriter>> create(const Target& target,
                                                         std::unique_ptr<OutputContainer> container,
                                                         std::shared_ptr<HostContext> context);
  /// Closes the file, if it is open, with `IfSilent::keep`.
  ~SoundFileWriter();

  /// Queues a slice of `frames` frames; `planes` must have one plane (array of samples) per channel. Returns false if
  /// the queue was full and the slice was dropped. Must be called from one thread at a time. Real-time safe.
  bool push(std::span<const float* const> planes, std::uint32_t frames) {
    return !mOpen.load(std::memory_order_relaxed) || mQueue->push(planes, frames);
  }

  /// Writes all queued frames; the file stays open.
  void flush();

  /// Treatment of a file to which no frames were written.
  enum class IfSilent {
    keep,     ///< Leave a valid file of no frames, or the content that the file had before.
    discard,  ///< Restore the state before `create`.
  };
  /// Writes all queued frames, then completes and closes the file; later slices are dropped. `ifSilent` applies if no
  /// frames were written; if that is because writing failed, `IfSilent::discard` applies instead.
  void close(IfSilent ifSilent);

  /// Returns the completed file, or `std::nullopt` if the file is not complete yet, was discarded, or got no content
  /// from this writer.
  std::optional<platform::WrittenFile> written();

 private:
  SoundFileWriter(std::string path, std::unique_ptr<WriteClaim> claim, std::unique_ptr<OutputContainer> container,
                  std::unique_ptr<SliceQueue> queue, std::unique_ptr<platform::Worker> worker,
                  std::shared_ptr<HostContext> context);
  std::optional<platform::Failure> begin();
  std::optional<platform::Failure> write(const SliceQueue::Block& block);
  std::optional<platform::Failure> refreshHeader();
  std::optional<platform::Failure> whyNoRoom() const;
  void handOver();
  void complete(IfSilent ifSilent);
  void finish();
  void drain();
  void fail(platform::Failure failure);

  const std::shared_ptr<HostContext> mContext;
  const std::string mPath;
  std::mutex mMutex;  ///< Protects the members below between the worker and callers.
  const std::unique_ptr<WriteClaim> mClaim;
  const std::unique_ptr<OutputContainer> mContainer;
  bool mBegun = false;  ///< The container's headers are in the file.
  bool mFailed = false;
  std::optional<platform::WrittenFile> mWritten;
  std::atomic<bool> mOpen = true;
  const std::unique_ptr<SliceQueue> mQueue;
  std::uint64_t mOverrunsLogged = 0;
  const std::unique_ptr<platform::Worker> mWorker;
};

}  // namespace orvane::host
