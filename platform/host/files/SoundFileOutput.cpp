// SPDX-License-Identifier: MIT
#include "platform/host/files/SoundFileOutput.h"

#include <cerrno>

#include "platform/Log.h"
#include "platform/Status.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::host {

using platform::Failure;

Result<std::unique_ptr<SoundFileOutput>> SoundFileOutput::create(const std::string& path,
                                                                 std::unique_ptr<PacketWriter> writer,
                                                                 std::shared_ptr<HostContext> context) {
  if (context->diskIsFull()) return systemFailure(path, ENOSPC);
  auto claim = WriteClaim::make(path, IfThere::open, WriteClaim::Handover::allowed);
  if (!claim) return claim.failure();
  std::unique_ptr<SoundFileOutput> output(
      new SoundFileOutput(path, std::move(*claim), std::move(writer), std::move(context)));
  auto failure = output->begin();
  if (!failure) return output;
  output->mClaim->discard();
  output->mClaim->close();
  return *std::move(failure);
}

std::optional<Failure> SoundFileOutput::begin() {
  if (auto failure = mWriter->begin(mClaim->descriptor())) return failure;
  mClaim->onHandover([this] { handOver(); });
  return std::nullopt;
}

SoundFileOutput::~SoundFileOutput() {
  // After this no handover is in progress.
  mClaim->withdraw();
  close();
}

void SoundFileOutput::close() {
  const std::lock_guard lock(mMutex);
  if (mClaim->isOpen()) complete();
}

/// Completes the file because another recording erases it.
void SoundFileOutput::handOver() {
  const std::lock_guard lock(mMutex);
  if (!mClaim->isOpen()) return;
  if (mWriter->frames() > 0) return complete();
  mClaim->close();
}

/// Called with the mutex locked.
void SoundFileOutput::complete() {
  logAndKeep(mContext->diskIsFull() ? systemFailure(mPath, ENOSPC) : mWriter->finish());
  mContext->files.completed({mPath, mWriter->type(), mWriter->frames()});
  logAndKeep(mClaim->close());
}

/// Keeps a failed write for whoever asks the host, and returns it.
std::optional<Failure> SoundFileOutput::keep(std::optional<Failure> failure) {
  if (failure) mContext->writeFailures.record(*failure);
  return failure;
}

/// Keeps a failed write that no caller learns of.
void SoundFileOutput::logAndKeep(std::optional<Failure> failure) {
  if (!failure) return;
  mContext->log->write(platform::LogLevel::error, "writing failed: " + failure->reason);
  mContext->writeFailures.record(*std::move(failure));
}

/// Runs a function that writes, if the file can be written.
template <typename Write>
std::optional<Failure> SoundFileOutput::attempt(Write write) {
  const std::lock_guard lock(mMutex);
  if (!mClaim->isOpen()) {
    return fileFailure(platform::status::wrongState, mPath, "was taken over by another recording");
  }
  if (mContext->diskIsFull()) return keep(systemFailure(mPath, ENOSPC));
  return keep(write());
}

std::vector<std::byte> SoundFileOutput::cookie() {
  const std::lock_guard lock(mMutex);
  return mWriter->cookie();
}

std::uint64_t SoundFileOutput::packets() {
  const std::lock_guard lock(mMutex);
  return mPackets;
}

std::optional<Failure> SoundFileOutput::setCookie(std::span<const std::byte> cookie) {
  return attempt([&] { return mWriter->setCookie(cookie); });
}

std::optional<Failure> SoundFileOutput::write(std::span<const std::byte> bytes,
                                              std::span<const platform::PacketDescription> packets,
                                              std::uint32_t& written) {
  return attempt([&] {
    const std::uint32_t before = written;
    auto failure = mWriter->write(bytes, packets, written);
    mPackets += written - before;
    return failure;
  });
}

}  // namespace orvane::host
