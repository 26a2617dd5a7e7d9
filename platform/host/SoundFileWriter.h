#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/host/FailureRecord.h"
#include "platform/host/SliceQueue.h"

namespace orvane::host {

/// What a sound file that is written holds.
struct SoundFileFormat {
  int libraryFormat = 0;  ///< Container and encoding, in libsndfile's terms (`SF_FORMAT_WAV | SF_FORMAT_FLOAT`).
  double sampleRate = 0;
  std::uint32_t channels = 0;
};

/// Writes slices of sound to a file, away from the device callback.
///
/// The callback pushes into a bounded queue; a worker empties it every 200 ms and then brings the file's header up to
/// date, so that a process that is killed leaves a file that other programs read, without its last 400 ms at most. The
/// first failure is kept in the record and logged; later writes go nowhere. A file that is still open when the process
/// exits is completed then.
class SoundFileWriter {
 public:
  /// What a writer works with; shared by all writers of a host.
  struct Services {
    std::shared_ptr<platform::Scheduler> scheduler;
    std::shared_ptr<platform::Log> log;
    std::shared_ptr<FailureRecord> failures;
    /// Slices that full queues lost, over all writers.
    std::shared_ptr<std::atomic<std::uint64_t>> overruns = std::make_shared<std::atomic<std::uint64_t>>(0);
    /// Asked before each write, which fails as on a full disk where the answer is yes. Empty: never.
    std::function<bool()> diskIsFull = {};
  };

  /// Opens `path`, erases what it held and writes a header. Slices of at most `mostFrames` frames may be pushed. On a
  /// failure returns nothing and says why in `failure`; the file that was there stays as it was where it could not be
  /// opened.
  static std::unique_ptr<SoundFileWriter> create(const std::string& path, const SoundFileFormat& format,
                                                 std::uint32_t mostFrames, const Services& services,
                                                 platform::Failure& failure);
  /// Completes and closes the file.
  ~SoundFileWriter();

  /// Real-time safe. False where the queue was full and the slice was dropped.
  bool push(std::span<const float* const> planes, std::uint32_t frames) { return mQueue->push(planes, frames); }

  /// Brings all that was pushed into the file, which stays open. Not while another thread pushes.
  void flush();
  /// As `flush`, then closes; what is pushed later goes nowhere. Not while another thread pushes.
  void close();

  std::uint64_t overruns() const { return mQueue->overruns(); }

 private:
  class File;

  SoundFileWriter(std::unique_ptr<File> file, std::unique_ptr<SliceQueue> queue, const Services& services);
  void scheduleDrain();
  void drain();
  void fail(platform::Failure failure);

  Services mServices;
  std::mutex mMutex;  ///< Between the worker and the caller's thread.
  std::unique_ptr<File> mFile;
  bool mFailed = false;
  std::unique_ptr<SliceQueue> mQueue;
  std::uint64_t mOverrunsLogged = 0;
  std::unique_ptr<platform::Worker> mWorker;
};

}  // namespace orvane::host
