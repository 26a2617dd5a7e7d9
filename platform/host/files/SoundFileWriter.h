// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "platform/Failure.h"
#include "platform/FileReport.h"
#include "platform/Worker.h"
#include "platform/host/HostContext.h"
#include "platform/host/Result.h"
#include "platform/host/audio/SliceQueue.h"
#include "platform/host/files/FileRegistry.h"
#include "platform/host/files/OutputContainer.h"

namespace orvane::host {

/// Writes slices to a file on a worker of its own.
///
/// The device callback pushes into a bounded queue of two seconds (at most 128 MiB). Every 200 ms the worker writes the
/// queue's frames and updates the file's header, so a process that is killed leaves a readable file that lacks at most
/// the last 400 ms. The first failure is logged and kept in `WriteFailures`; later frames are dropped. A file that is
/// still open when the process exits is completed then.
///
/// A file with content keeps it until the first frames are written; a new or empty one gets its headers in `create`. A
/// file has one writer at a time (see `WriteClaim`). After a handover the earlier writer's file is complete, and its
/// later frames are dropped.
///
/// Thread-safe; only `push` is real-time safe.
class SoundFileWriter {
 public:
  struct Target {
    std::string path;
    std::uint32_t maxFrames = 0;  ///< Frames of the longest slice.
    IfThere ifThere = IfThere::open;
    WriteClaim::Handover handover = WriteClaim::Handover::refused;
  };

  /// Opens and claims the file. On failure the file system is as it was before. Fails as `WriteClaim::make` does and if
  /// the headers cannot be written; throws `std::bad_alloc` or, if no thread can be started, `std::system_error`.
  static Result<std::unique_ptr<SoundFileWriter>> create(const Target& target,
                                                         std::unique_ptr<OutputContainer> container,
                                                         std::shared_ptr<HostContext> context);
  /// Closes the file with `IfSilent::keep` if it is open.
  ~SoundFileWriter();

  /// Queues a slice of one plane a channel. Returns false if the queue was full and the slice was dropped. Call it from
  /// one thread at a time. Real-time safe.
  bool push(std::span<const float* const> planes, std::uint32_t frames) {
    return !mOpen.load(std::memory_order_relaxed) || mQueue->push(planes, frames);
  }

  /// Writes all queued frames; the file stays open.
  void flush();

  /// Treatment of a file without frames.
  enum class IfSilent {
    keep,     ///< Leave a valid file of no frames, or the content that the file had before.
    discard,  ///< Restore the state before `create`.
  };
  /// Writes all queued frames, then completes and closes the file; later slices are dropped. If a failed write left the
  /// file without frames, `IfSilent::discard` applies.
  void close(IfSilent ifSilent);

  /// Returns the completed file; nothing before that, and nothing if this writer wrote nothing or discarded the file.
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
