// SPDX-License-Identifier: MIT
#include "platform/simulated/midi/CaptureFile.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <string_view>
#include <utility>

#include "platform/Value.h"
#include "platform/host/HostJson.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::simulated {

using platform::Failure;

namespace {

/// Appends a time as seconds with nine digits after the point.
void appendSeconds(std::string& text, platform::HostTime time) {
  constexpr platform::HostTime::rep second = 1'000'000'000;
  char digits[32];
  // The fraction is written with a leading 1, which is then replaced by the point.
  char* const point = std::to_chars(digits, digits + sizeof digits, time.count() / second).ptr;
  char* const end = std::to_chars(point, digits + sizeof digits, second + time.count() % second).ptr;
  *point = '.';
  text.append(digits, end);
}

void appendBytes(std::string& text, std::span<const std::uint8_t> bytes) {
  constexpr char digits[] = "0123456789ABCDEF";
  for (const std::uint8_t byte : bytes) {
    const char characters[] = {digits[byte >> 4], digits[byte & 15], ' '};
    text.append(characters, sizeof characters);
  }
  if (!bytes.empty()) text.pop_back();
}

}  // namespace

CaptureFile::CaptureFile(std::string path, std::size_t blockBytes, std::shared_ptr<host::HostContext> context)
    : mPath(std::move(path)), mBlockBytes(blockBytes), mContext(std::move(context)) {}

CaptureFile::~CaptureFile() {
  flush();
}

std::optional<Failure> CaptureFile::open() {
  const std::lock_guard lock(mMutex);
  if (mFile) return std::nullopt;
  auto file = host::WriteClaim::make(mPath, host::IfThere::open, host::WriteClaim::Handover::refused);
  if (!file) {
    Failure failure = file.failure();
    failure.reason = "the MIDI capture cannot be written: " + failure.reason;
    return failure;
  }
  mFile = std::move(*file);
  return std::nullopt;
}

const std::string& CaptureFile::nameOf(const backend::MidiObject& destination) {
  char identifier[16];
  std::string_view name;
  if (destination.name) {
    name = *destination.name;
  } else {
    std::snprintf(identifier, sizeof identifier, "0x%08X",
                  static_cast<unsigned>(destination.uniqueIdentifier.value_or(0)));
    name = identifier;
  }
  const auto known = mNames.find(name);
  if (known != mNames.end()) return known->second;
  return mNames.emplace(name, host::HostJson().write(platform::Value(name), false).value_or("null")).first->second;
}

void CaptureFile::add(platform::HostTime time, const backend::MidiObject& destination,
                      std::span<const std::uint8_t> bytes) {
  const std::lock_guard lock(mMutex);
  mBlock += R"({"time":)";
  appendSeconds(mBlock, time);
  mBlock += R"(,"destination":)";
  mBlock += nameOf(destination);
  mBlock += R"(,"bytes":")";
  appendBytes(mBlock, bytes);
  mBlock += "\"}\n";
  if (mBlock.size() >= mBlockBytes) writeBlock();
}

void CaptureFile::flush() {
  const std::lock_guard lock(mMutex);
  if (!mBlock.empty()) writeBlock();
}

void CaptureFile::writeBlock() {
  if (!mHasFailed) {
    if (auto failure = write()) {
      mHasFailed = true;
      mContext->writeFailures.record(*std::move(failure));
    }
  }
  mBlock.clear();
}

std::optional<Failure> CaptureFile::write() {
  if (!mFile) return std::nullopt;
  if (mContext->diskIsFull()) return host::systemFailure(mPath, ENOSPC);
  if (!std::exchange(mHasWritten, true) && ftruncate(mFile->descriptor(), 0) != 0) {
    return host::systemFailure(mPath, errno);
  }
  mFile->keep();
  for (std::size_t at = 0; at < mBlock.size();) {
    const ssize_t count = ::write(mFile->descriptor(), mBlock.data() + at, mBlock.size() - at);
    if (count < 0 && errno != EINTR) return host::systemFailure(mPath, errno);
    if (count > 0) at += static_cast<std::size_t>(count);
  }
  return std::nullopt;
}

}  // namespace orvane::simulated
