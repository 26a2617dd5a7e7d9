// SPDX-License-Identifier: MIT
#include "platform/host/files/SoundFileWriter.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <utility>

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/host/ExitHook.h"

namespace orvane::host {

using namespace std::chrono_literals;

namespace {

constexpr platform::HostTime drainPeriod = 200ms;
/// Length of the queue. It is many times the writing period, because disks may pause.
constexpr double queueSeconds = 2;
/// Memory limit of a queue. It is exceeded only if two slices need more. 64 channels at 48 kHz need a fifth of it.
constexpr double maxQueueBytes = 128 << 20;

/// Returns the queue length in frames: two seconds, or fewer if the memory limit requires it, but never fewer than two
/// slices of the maximum length, even if these exceed the limit.
std::uint32_t queueFrames(const SoundShape& shape, std::uint32_t maxFrames) {
  constexpr double max = 1 << 30;
  const double bounded = std::min(std::ceil(shape.sampleRate * queueSeconds),
                                  std::floor(maxQueueBytes / (sizeof(float) * shape.channels)));
  return static_cast<std::uint32_t>(std::min(std::max(bounded, 2.0 * maxFrames), max));
}

}  // namespace

Result<std::unique_ptr<SoundFileWriter>> SoundFileWriter::create(const Target& target,
                                                                 std::unique_ptr<OutputContainer> container,
                                                                 std::shared_ptr<HostContext> context) {
  // All steps that may throw come before the file is opened.
  const SoundShape shape = container->shape();
  auto queue = std::make_unique<SliceQueue>(shape.channels, queueFrames(shape, target.maxFrames));
  auto worker = context->scheduler->makeWorker("file writer");
  if (context->diskIsFull()) return systemFailure(target.path, ENOSPC);
  auto claim = WriteClaim::make(target.path, target.ifThere, target.handover);
  if (!claim) return claim.failure();
  std::unique_ptr<SoundFileWriter> writer(new SoundFileWriter(target.path, std::move(*claim), std::move(container),
                                                              std::move(queue), std::move(worker), std::move(context)));
  auto failure = writer->begin();
  if (!failure) return writer;
  writer->close(IfSilent::discard);
  return *std::move(failure);
}

SoundFileWriter::SoundFileWriter(std::string path, std::unique_ptr<WriteClaim> claim,
                                 std::unique_ptr<OutputContainer> container, std::unique_ptr<SliceQueue> queue,
                                 std::unique_ptr<platform::Worker> worker, std::shared_ptr<HostContext> context)
    : mContext(std::move(context)),
      mPath(std::move(path)),
      mClaim(std::move(claim)),
      mContainer(std::move(container)),
      mQueue(std::move(queue)),
      mWorker(std::move(worker)) {}

/// Writes the headers if the file has no content, and starts the task that drains the queue.
std::optional<platform::Failure> SoundFileWriter::begin() {
  if (!mClaim->hasContent()) {
    if (auto failure = mContainer->begin(mClaim->descriptor())) return failure;
    mBegun = true;
  }
  ExitHook::add(this, [this] { complete(IfSilent::keep); });
  mClaim->onHandover([this] { handOver(); });
  const platform::Clock& clock = mContext->scheduler->clock();
  mWorker->repeatAt(clock.now() + drainPeriod, [this, &clock] {
    flush();
    return clock.now() + drainPeriod;
  });
  return std::nullopt;
}

SoundFileWriter::~SoundFileWriter() {
  ExitHook::remove(this);
  complete(IfSilent::keep);
  mClaim->withdraw();
}

void SoundFileWriter::flush() {
  const std::lock_guard lock(mMutex);
  drain();
}

void SoundFileWriter::close(IfSilent ifSilent) {
  complete(ifSilent);
}

std::optional<platform::WrittenFile> SoundFileWriter::written() {
  const std::lock_guard lock(mMutex);
  return mWritten;
}

void SoundFileWriter::complete(IfSilent ifSilent) {
  mWorker->cancel();
  const std::lock_guard lock(mMutex);
  if (!mClaim->isOpen()) return;
  finish();
  if (mContainer->frames() == 0 && (mFailed || ifSilent == IfSilent::discard)) {
    mClaim->discard();
  } else if (mBegun) {
    mWritten = {mPath, mContainer->type(), mContainer->frames()};
  }
  if (auto failure = mClaim->close(); failure && !mFailed) fail(*std::move(failure));
}

/// Completes the file because another writer takes it over. If this writer wrote no frames, its claim passes the file's
/// original state on to the next writer's claim.
void SoundFileWriter::handOver() {
  mWorker->cancel();
  const std::lock_guard lock(mMutex);
  if (!mClaim->isOpen()) return;
  finish();
  if (mContainer->frames() > 0) mWritten = {mPath, mContainer->type(), mContainer->frames()};
  if (auto failure = mClaim->close(); failure && !mFailed) fail(*std::move(failure));
}

/// Writes all queued frames, updates the headers, and makes later frames be dropped. Called with the mutex locked.
void SoundFileWriter::finish() {
  drain();
  mOpen = false;
  if (!mBegun) return;
  if (auto failure = mContainer->finish(); failure && !mFailed) fail(*std::move(failure));
}

/// Writes all queued frames. Called with the mutex locked.
void SoundFileWriter::drain() {
  if (!mClaim->isOpen()) return;
  bool wrote = false;
  mQueue->takeAll([&](const SliceQueue::Block& block) {
    if (mFailed) return;
    wrote = true;
    if (auto failure = write(block)) fail(*std::move(failure));
  });
  if (wrote && !mFailed) {
    if (auto failure = refreshHeader()) fail(*std::move(failure));
  }
  if (const std::uint64_t lost = mQueue->overruns(); lost != mOverrunsLogged) {
    mContext->log->write(platform::LogLevel::warning,
                         std::to_string(lost - mOverrunsLogged) + " slices dropped: the disk could not keep up");
    mContext->files.addOverruns(lost - mOverrunsLogged);
    mOverrunsLogged = lost;
  }
}

std::optional<platform::Failure> SoundFileWriter::write(const SliceQueue::Block& block) {
  if (auto failure = whyNoRoom()) return failure;
  if (!mBegun) {
    if (auto failure = mContainer->begin(mClaim->descriptor())) return failure;
    mBegun = true;
  }
  auto failure = mContainer->write(block);
  if (mContainer->frames() > 0) mClaim->keep();
  return failure;
}

std::optional<platform::Failure> SoundFileWriter::refreshHeader() {
  if (auto failure = whyNoRoom()) return failure;
  return mContainer->refreshHeader();
}

std::optional<platform::Failure> SoundFileWriter::whyNoRoom() const {
  return mContext->diskIsFull() ? std::optional(systemFailure(mPath, ENOSPC)) : std::nullopt;
}

void SoundFileWriter::fail(platform::Failure failure) {
  mFailed = true;
  mContext->log->write(platform::LogLevel::error, "writing failed: " + failure.reason);
  mContext->writeFailures.record(std::move(failure));
}

}  // namespace orvane::host
