#include "platform/host/SoundFileWriter.h"

#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>
#include <vector>

#include "platform/host/ExitHook.h"
#include "platform/host/RegularFile.h"

namespace orvane::host {

namespace {

using namespace std::chrono_literals;

constexpr platform::HostTime drainPeriod = 200ms;
/// How much sound the queue holds: far more than a period, for disks that pause.
constexpr double queueSeconds = 2;

}  // namespace

/// The open file: libsndfile's handle, and the interleaving that it wants.
class SoundFileWriter::File {
 public:
  File(std::string path, const SoundFileFormat& format, std::function<bool()> diskIsFull)
      : mPath(std::move(path)), mFormat(format), mDiskIsFull(std::move(diskIsFull)) {}
  ~File() {
    if (mHandle != nullptr) sf_close(mHandle);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  std::optional<platform::Failure> open() {
    SF_INFO info{};
    info.samplerate = static_cast<int>(std::lround(mFormat.sampleRate));
    info.channels = static_cast<int>(mFormat.channels);
    info.format = mFormat.libraryFormat;
    if (sf_format_check(&info) == 0) {
      return platform::Failure{platform::status::unsupportedFormat,
                               "\"" + mPath + "\": no such file format at this rate and channel count"};
    }
    auto opened = openToWrite(mPath);
    if (auto* failure = std::get_if<platform::Failure>(&opened)) return std::move(*failure);
    auto& descriptor = std::get<FileDescriptor>(opened);
    if (ftruncate(descriptor.get(), 0) != 0) return systemFailure(mPath, errno);
    mHandle = sf_open_fd(descriptor.release(), SFM_WRITE, &info, SF_TRUE);
    if (mHandle == nullptr)
      return platform::Failure{platform::status::ioFailure, "\"" + mPath + "\": " + sf_strerror(nullptr)};
    sf_command(mHandle, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    sf_command(mHandle, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    return refreshHeader();
  }

  std::optional<platform::Failure> write(const SliceQueue::Block& block) {
    if (mDiskIsFull && mDiskIsFull()) return systemFailure(mPath, ENOSPC);
    const std::uint32_t channels = mFormat.channels;
    mInterleaved.resize(static_cast<std::size_t>(block.frames) * channels);
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
      const float* plane = block.planes[channel];
      for (std::uint32_t frame = 0; frame < block.frames; ++frame) {
        mInterleaved[static_cast<std::size_t>(frame) * channels + channel] = plane[frame];
      }
    }
    errno = 0;
    const sf_count_t written = sf_writef_float(mHandle, mInterleaved.data(), block.frames);
    if (written == block.frames) return std::nullopt;
    // libsndfile reports a short write without its cause; a disk that is full is the one that leaves errno alone.
    return systemFailure(mPath, errno != 0 ? errno : ENOSPC);
  }

  std::optional<platform::Failure> refreshHeader() {
    if (mDiskIsFull && mDiskIsFull()) return systemFailure(mPath, ENOSPC);
    errno = 0;
    sf_command(mHandle, SFC_UPDATE_HEADER_NOW, nullptr, 0);
    if (sf_error(mHandle) == SF_ERR_NO_ERROR) return std::nullopt;
    return systemFailure(mPath, errno != 0 ? errno : ENOSPC);
  }

 private:
  std::string mPath;
  SoundFileFormat mFormat;
  std::function<bool()> mDiskIsFull;
  SNDFILE* mHandle = nullptr;
  std::vector<float> mInterleaved;
};

std::unique_ptr<SoundFileWriter> SoundFileWriter::create(const std::string& path, const SoundFileFormat& format,
                                                         std::uint32_t mostFrames, const Services& services,
                                                         platform::Failure& failure) {
  auto file = std::make_unique<File>(path, format, services.diskIsFull);
  if (auto opening = file->open()) {
    failure = std::move(*opening);
    return nullptr;
  }
  const auto frames = static_cast<std::uint32_t>(std::ceil(format.sampleRate * queueSeconds));
  auto queue = std::make_unique<SliceQueue>(format.channels, mostFrames, frames);
  std::unique_ptr<SoundFileWriter> writer(new SoundFileWriter(std::move(file), std::move(queue), services));
  return writer;
}

SoundFileWriter::SoundFileWriter(std::unique_ptr<File> file, std::unique_ptr<SliceQueue> queue,
                                 const Services& services)
    : mServices(services),
      mFile(std::move(file)),
      mQueue(std::move(queue)),
      mWorker(mServices.scheduler->makeWorker("file writer", platform::Scheduler::Priority::ordinary)) {
  ExitHook::add(this, [this] { close(); });
  scheduleDrain();
}

SoundFileWriter::~SoundFileWriter() {
  ExitHook::remove(this);
  close();
}

void SoundFileWriter::scheduleDrain() {
  mWorker->postAt(mServices.scheduler->clock().now() + drainPeriod, [this] {
    drain();
    scheduleDrain();
  });
}

void SoundFileWriter::flush() {
  mQueue->finishBlock();
  drain();
}

void SoundFileWriter::close() {
  mWorker->cancel();
  flush();
  const std::lock_guard lock(mMutex);
  mFile.reset();
}

void SoundFileWriter::drain() {
  const std::lock_guard lock(mMutex);
  if (mFile == nullptr) return;
  bool wrote = false;
  mQueue->takeAll([&](const SliceQueue::Block& block) {
    if (mFailed) return;
    wrote = true;
    if (auto failure = mFile->write(block)) fail(std::move(*failure));
  });
  if (wrote && !mFailed) {
    if (auto failure = mFile->refreshHeader()) fail(std::move(*failure));
  }
  if (const std::uint64_t lost = overruns(); lost != mOverrunsLogged) {
    mServices.log->write(platform::LogLevel::warning,
                         std::to_string(lost - mOverrunsLogged) + " slices were lost: the disk is too slow");
    *mServices.overruns += lost - mOverrunsLogged;
    mOverrunsLogged = lost;
  }
}

void SoundFileWriter::fail(platform::Failure failure) {
  mFailed = true;
  mServices.log->write(platform::LogLevel::error, "Writing failed: " + failure.reason);
  mServices.failures->record(std::move(failure));
}

}  // namespace orvane::host
