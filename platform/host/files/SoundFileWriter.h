#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "platform/Failure.h"
#include "platform/Worker.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/SliceQueue.h"
#include "platform/host/files/OutputSoundFile.h"

namespace orvane::host {

/// Writes slices of sound to a file, away from the device callback.
///
/// The callback pushes into a bounded queue of two seconds (128 MiB at most); a worker empties it every 200 ms and then
/// brings the file's header up to date, so that a process that is killed leaves a file that other programs read,
/// without its last 400 ms at most. The first failure is kept in the record and logged; later writes go nowhere. A file
/// that is still open when the process exits is completed then.
///
/// A file has one writer at a time. Where both writers agree to it, making another one, by whatever path, completes
/// what the first one wrote and detaches that writer, whose later writes go nowhere; else the second one is refused,
/// and so is a writer for a file that is read (`ReadFile`).
class SoundFileWriter {
 public:
  /// Whether a writer takes part in handing a file from one writer to the next.
  enum class Handover { refused, allowed };

  /// Opens `path`, erases what it held and writes a header. Slices of at most `mostFrames` frames may be pushed. On a
  /// failure returns nothing and says why in `failure`; where the format is wrong, or the file could not be opened, was
  /// there and must not be, or is being written by another process of this kind, it stays as it was.
  static std::unique_ptr<SoundFileWriter> create(const std::string& path, const SoundFileFormat& format,
                                                 std::uint32_t mostFrames, std::shared_ptr<HostContext> context,
                                                 platform::Failure& failure, IfThere ifThere = IfThere::open,
                                                 Handover handover = Handover::refused);
  /// Completes and closes the file.
  ~SoundFileWriter();

  /// Real-time safe; one thread. False where the queue was full and the slice was dropped.
  bool push(std::span<const float* const> planes, std::uint32_t frames) {
    return !mOpen.load(std::memory_order_relaxed) || mQueue->push(planes, frames);
  }

  /// Brings all that was pushed until now into the file, which stays open.
  void flush();
  /// As `flush`, then completes and closes the file; what is pushed later goes nowhere.
  void close();

  /// Frames in the file.
  std::uint64_t frames();
  std::uint64_t overruns() const { return mQueue->overruns(); }

 private:
  SoundFileWriter(std::unique_ptr<OutputSoundFile> file, std::unique_ptr<SliceQueue> queue,
                  std::unique_ptr<platform::Worker> worker, std::shared_ptr<HostContext> context, Handover handover);
  void complete();
  void drain();
  void fail(platform::Failure failure);

  const std::shared_ptr<HostContext> mContext;
  std::mutex mMutex;  ///< Between the worker and callers.
  std::unique_ptr<OutputSoundFile> mFile;
  Handover mHandover;
  std::uint64_t mFramesAtEnd = 0;
  bool mFailed = false;
  std::atomic<bool> mOpen = true;
  std::unique_ptr<SliceQueue> mQueue;
  std::uint64_t mOverrunsLogged = 0;
  std::unique_ptr<platform::Worker> mWorker;
};

}  // namespace orvane::host
