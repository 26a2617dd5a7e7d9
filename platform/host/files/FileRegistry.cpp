// SPDX-License-Identifier: MIT
#include "platform/host/files/FileRegistry.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <mutex>
#include <system_error>
#include <utility>

#include "platform/Status.h"

namespace orvane::host {

namespace status = platform::status;

namespace {

struct Registry {
  std::mutex mutex;
  std::multimap<FileIdentity, const std::string*> read;  ///< The names of the files.
  std::map<FileIdentity, WriteClaim*> written;
};

/// Returns the process's registry, which is never destroyed because claims may exist until the process ends.
Registry& registry() {
  static Registry& instance = *new Registry();
  return instance;
}

FileIdentity identityOf(int descriptor) {
  struct stat facts {};
  fstat(descriptor, &facts);
  return {facts.st_dev, facts.st_ino};
}

std::optional<FileIdentity> identityAt(const std::string& path) {
  struct stat facts {};
  if (stat(path.c_str(), &facts) != 0) return std::nullopt;
  return FileIdentity{facts.st_dev, facts.st_ino};
}

/// Locks the file. Returns false only if another process has locked it; returns true on file systems without locks.
bool lock(int descriptor, int kind) {
  return flock(descriptor, kind | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

}  // namespace

ReadClaim::ReadClaim(FileDescriptor file, std::string name)
    : mFile(std::move(file)), mIdentity(identityOf(mFile.get())), mName(std::move(name)) {
  // The result is ignored, because a file that another process is writing may be read.
  lock(mFile.get(), LOCK_SH);
  const std::lock_guard guard(registry().mutex);
  registry().read.emplace(mIdentity, &mName);
}

ReadClaim::~ReadClaim() {
  const std::lock_guard guard(registry().mutex);
  std::erase_if(registry().read, [this](const auto& entry) { return entry.second == &mName; });
}

std::optional<std::string> ReadClaim::nameAt(const std::string& path) {
  const auto identity = identityAt(path);
  if (!identity) return std::nullopt;
  const std::lock_guard guard(registry().mutex);
  const auto entry = registry().read.find(*identity);
  return entry == registry().read.end() ? std::nullopt : std::optional(*entry->second);
}

Result<std::unique_ptr<WriteClaim>> WriteClaim::make(const std::string& path, IfThere ifThere, Handover handover) {
  auto opened = openToWrite(path, ifThere);
  if (!opened) return opened.failure();
  // Declared before the guard, so that it is destroyed after unlocking: its destructor locks the registry.
  std::unique_ptr<WriteClaim> claim(new WriteClaim(path, std::move(*opened), handover));
  const std::lock_guard guard(registry().mutex);
  if (auto failure = claim->enter()) return *std::move(failure);
  return claim;
}

WriteClaim::WriteClaim(std::string path, WritableFile file, Handover handover)
    : mPath(std::move(path)),
      mFile(std::move(file.descriptor)),
      mIdentity(identityOf(mFile.get())),
      mHandover(handover) {
  if (!file.isNew) return;
  std::error_code ignored;
  mCreatedPath = std::filesystem::canonical(mPath, ignored).string();
}

/// Enters the claim into the registry, after a handover if necessary. Called with the registry locked.
std::optional<platform::Failure> WriteClaim::enter() {
  const auto refusal = [this](const std::string& reason) {
    return platform::Failure{status::noPermission, "\"" + mPath + "\" " + reason};
  };
  if (const auto read = registry().read.find(mIdentity); read != registry().read.end()) {
    return refusal("is " + *read->second + " of this run");
  }
  WriteClaim* earlier = nullptr;
  if (const auto entry = registry().written.find(mIdentity); entry != registry().written.end()) {
    earlier = entry->second;
    if (mHandover == Handover::refused || earlier->mHandover == Handover::refused || !earlier->mRelease) {
      return refusal("is being written as another file of this run");
    }
    earlier->mRelease();
  }
  if (!lock(mFile.get(), LOCK_EX)) return refusal("is in use by another program");
  struct stat facts {};
  if (fstat(mFile.get(), &facts) != 0) return systemFailure(mPath, errno);
  if (earlier != nullptr) {
    mContent = earlier->mContent;
    mCreatedPath = earlier->mCreatedPath;
  } else if (facts.st_size == 0) {
    mContent = mCreatedPath.empty() ? Content::empty : Content::created;
  }
  registry().written[mIdentity] = this;
  return std::nullopt;
}

WriteClaim::~WriteClaim() {
  withdraw();
}

void WriteClaim::withdraw() {
  const std::lock_guard guard(registry().mutex);
  std::erase_if(registry().written, [this](const auto& entry) { return entry.second == this; });
}

void WriteClaim::onHandover(std::function<void()> release) {
  const std::lock_guard guard(registry().mutex);
  mRelease = std::move(release);
}

void WriteClaim::discard() {
  if (mContent == Content::empty) {
    [[maybe_unused]] const int ignored = ftruncate(mFile.get(), 0);
  } else if (mContent == Content::created && identityAt(mCreatedPath) == mIdentity) {
    unlink(mCreatedPath.c_str());
  }
}

std::optional<platform::Failure> WriteClaim::close() {
  if (::close(mFile.release()) != 0) return systemFailure(mPath, errno);
  return std::nullopt;
}

}  // namespace orvane::host
