#include "platform/host/files/SoundFileWriter.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "platform/host/ExitHook.h"
#include "platform/host/files/ReadFile.h"

namespace orvane::host {

namespace {

using namespace std::chrono_literals;

constexpr platform::HostTime drainPeriod = 200ms;
/// How much sound the queue holds: far more than a period, for disks that pause.
constexpr double queueSeconds = 2;
/// What a queue takes at most, but for the room of two slices: 48 kHz in 64 channels takes a fifth of it.
constexpr double mostQueueBytes = 128 << 20;

/// Room for two seconds, and for one slice to be pushed while another waits, however long they are.
std::uint32_t queueFrames(const SoundFileFormat& format, std::uint32_t mostFrames) {
  constexpr double most = 1 << 30;
  const double bounded = std::min(std::ceil(format.sampleRate * queueSeconds),
                                  std::floor(mostQueueBytes / (sizeof(float) * format.channels)));
  return static_cast<std::uint32_t>(std::min(std::max(bounded, 2.0 * mostFrames), most));
}

/// Which writer has a file open. Never destroyed: writers may live until the process has ended.
struct WritersOfFiles {
  std::mutex mutex;
  std::map<OutputSoundFile::Identity, SoundFileWriter*> writers;
};

WritersOfFiles& writersOfFiles() {
  static WritersOfFiles& instance = *new WritersOfFiles();
  return instance;
}

}  // namespace

std::unique_ptr<SoundFileWriter> SoundFileWriter::create(const std::string& path, const SoundFileFormat& format,
                                                         std::uint32_t mostFrames, std::shared_ptr<HostContext> context,
                                                         platform::Failure& failure, IfThere ifThere,
                                                         Handover handover) {
  if (auto refusal = checkFormat(path, format)) {
    failure = std::move(*refusal);
    return nullptr;
  }
  auto opened = openToWrite(path, ifThere);
  if (auto* refusal = std::get_if<platform::Failure>(&opened)) {
    failure = std::move(*refusal);
    return nullptr;
  }
  auto file =
      std::make_unique<OutputSoundFile>(path, std::move(std::get<FileDescriptor>(opened)), format, context->diskIsFull);
  auto queue = std::make_unique<SliceQueue>(format.channels, queueFrames(format, mostFrames));
  auto worker = context->scheduler->makeWorker("file writer");
  std::unique_ptr<SoundFileWriter> writer;  // Outlives the lock: the end of a writer takes it.

  const OutputSoundFile::Identity identity = file->identity();
  WritersOfFiles& files = writersOfFiles();
  const std::lock_guard lock(files.mutex);
  if (ReadFile::isRead(identity)) {
    failure = {platform::status::noPermission, "\"" + path + "\" is the microphone's own file"};
    return nullptr;
  }
  if (const auto earlier = files.writers.find(identity); earlier != files.writers.end()) {
    if (handover == Handover::refused || earlier->second->mHandover == Handover::refused) {
      failure = {platform::status::noPermission, "\"" + path + "\" is being written as another file of this run"};
      return nullptr;
    }
    earlier->second->complete();
  }
  if (auto refusal = file->begin()) {
    failure = std::move(*refusal);
    return nullptr;
  }
  writer.reset(new SoundFileWriter(std::move(file), std::move(queue), std::move(worker), std::move(context), handover));
  files.writers[identity] = writer.get();
  return writer;
}

SoundFileWriter::SoundFileWriter(std::unique_ptr<OutputSoundFile> file, std::unique_ptr<SliceQueue> queue,
                                 std::unique_ptr<platform::Worker> worker, std::shared_ptr<HostContext> context,
                                 Handover handover)
    : mContext(std::move(context)),
      mFile(std::move(file)),
      mHandover(handover),
      mQueue(std::move(queue)),
      mWorker(std::move(worker)) {
  // Without the list of writers, whose lock is held while a writer is made and its hook added.
  ExitHook::add(this, [this] { complete(); });
  const platform::Clock& clock = mContext->scheduler->clock();
  mWorker->repeatAt(clock.now() + drainPeriod, [this, &clock] {
    flush();
    return clock.now() + drainPeriod;
  });
}

SoundFileWriter::~SoundFileWriter() {
  ExitHook::remove(this);
  close();
}

void SoundFileWriter::flush() {
  const std::lock_guard lock(mMutex);
  drain();
}

void SoundFileWriter::close() {
  complete();
  WritersOfFiles& files = writersOfFiles();
  const std::lock_guard lock(files.mutex);
  std::erase_if(files.writers, [this](const auto& entry) { return entry.second == this; });
}

std::uint64_t SoundFileWriter::frames() {
  const std::lock_guard lock(mMutex);
  return mFile ? mFile->frames() : mFramesAtEnd;
}

/// Does what `close` does but for the list of writers.
void SoundFileWriter::complete() {
  mWorker->cancel();
  const std::lock_guard lock(mMutex);
  drain();
  mOpen = false;
  if (mFile == nullptr) return;
  mFramesAtEnd = mFile->frames();
  if (auto failure = mFile->finish(); failure && !mFailed) fail(std::move(*failure));
  mFile.reset();
}

/// Writes what is in the queue; with the mutex.
void SoundFileWriter::drain() {
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
    mContext->log->write(platform::LogLevel::warning,
                         std::to_string(lost - mOverrunsLogged) + " slices were lost: the disk is too slow");
    mContext->files.addOverruns(lost - mOverrunsLogged);
    mOverrunsLogged = lost;
  }
}

void SoundFileWriter::fail(platform::Failure failure) {
  mFailed = true;
  mContext->log->write(platform::LogLevel::error, "writing failed: " + failure.reason);
  mContext->writeFailures.record(std::move(failure));
}

}  // namespace orvane::host
