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

/// Writes slices of sound to a file, away from the device callback.
///
/// The callback pushes into a bounded queue of two seconds (128 MiB at most); a worker empties it every 200 ms and then
/// brings the file's header up to date, so that a process that is killed leaves a file that other programs read,
/// without its last 400 ms at most. The first failure is kept in the record and logged; later writes go nowhere. A file
/// that is still open when the process exits is completed then.
///
/// A file that had content keeps it until the first frames are written; a new or empty one gets its headers at once. A
/// file has one writer at a time (see `WriteClaim`); one that hands its file over is completed, and its later writes go
/// nowhere.
class SoundFileWriter {
 public:
  struct Target {
    std::string path;
    std::uint32_t maxFrames = 0;  ///< Of a slice.
    IfThere ifThere = IfThere::open;
    WriteClaim::Handover handover = WriteClaim::Handover::refused;
  };

  /// Opens and claims the file. If that fails, the file is as it was before, or does not exist if it did not.
  static Result<std::unique_ptr<SoundFileWriter>> create(const Target& target,
                                                         std::unique_ptr<OutputContainer> container,
                                                         std::shared_ptr<HostContext> context);
  /// Completes and closes the file, and keeps it if it is without sound.
  ~SoundFileWriter();

  /// Real-time safe; one thread. False where the queue was full and the slice was dropped.
  bool push(std::span<const float* const> planes, std::uint32_t frames) {
    return !mOpen.load(std::memory_order_relaxed) || mQueue->push(planes, frames);
  }

  /// Brings all that was pushed until now into the file, which stays open.
  void flush();

  /// Treatment of a file that got no sound.
  enum class IfSilent {
    keep,     ///< A valid file of no frames, unless the file had content before.
    discard,  ///< Restore what was there before.
  };
  /// As `flush`, then completes and closes the file; what is pushed later goes nowhere. A failed write that left the
  /// file without sound counts as `IfSilent::discard`.
  void close(IfSilent ifSilent);

  /// The file as it was completed; nothing before, and nothing if this writer never wrote into it or discarded it.
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
  std::mutex mMutex;  ///< Between the worker and callers.
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
