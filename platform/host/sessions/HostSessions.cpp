#include "platform/host/sessions/HostSessions.h"

#include <string>
#include <utility>

#include "platform/SessionIdentifiers.h"
#include "platform/host/sessions/SessionPolicy.h"

namespace orvane::host {

namespace {

constexpr std::uint32_t primaryIdentifier = 1;

using platform::PlatformError;

/// A refusal for a reason, or none without one.
std::optional<PlatformError> refusal(const char* operation, std::optional<std::string> reason) {
  if (!reason) return std::nullopt;
  return PlatformError(platform::status::badParameter, operation, *std::move(reason));
}

class HostSession final : public platform::PlatformSession {
 public:
  explicit HostSession(std::uint32_t identifier) : mIdentifier(identifier) {}

  std::string category() const override {
    const std::lock_guard lock(mMutex);
    return mCategory;
  }

  std::optional<PlatformError> setCategory(const std::string& category) override {
    auto error = refusal("PlatformSession::setCategory", whyNotCategory(category));
    if (error) return error;
    const std::lock_guard lock(mMutex);
    mCategory = category;
    mOptions &= sensibleOptions(category);
    return std::nullopt;
  }

  std::optional<PlatformError> setCategory(const std::string& category, std::uint64_t options) override {
    auto reason = whyNotCategory(category);
    if (!reason) reason = whyNotOptions(category, options);
    auto error = refusal("PlatformSession::setCategory", std::move(reason));
    if (error) return error;
    const std::lock_guard lock(mMutex);
    mCategory = category;
    mOptions = options;
    return std::nullopt;
  }

  std::string mode() const override {
    const std::lock_guard lock(mMutex);
    return mMode;
  }

  std::optional<PlatformError> setMode(const std::string& mode) override {
    auto error = refusal("PlatformSession::setMode", whyNotMode(mode));
    if (error) return error;
    const std::lock_guard lock(mMutex);
    mMode = mode;
    return std::nullopt;
  }

  std::uint64_t categoryOptions() const override {
    const std::lock_guard lock(mMutex);
    return mOptions;
  }

  bool isActive() const override {
    const std::lock_guard lock(mMutex);
    return mActive;
  }

  std::optional<PlatformError> setActive(bool active) override {
    const std::lock_guard lock(mMutex);
    mActive = active;
    return std::nullopt;
  }

  std::uint32_t identifier() const override { return mIdentifier; }

 private:
  const std::uint32_t mIdentifier;
  mutable std::mutex mMutex;
  std::string mCategory = platform::category::playAndRecord;
  std::string mMode = platform::mode::defaultMode;
  std::uint64_t mOptions = 0;
  bool mActive = false;
};

}  // namespace

HostSessions::HostSessions()
    : mPrimary(std::make_shared<HostSession>(primaryIdentifier)), mNextIdentifier(primaryIdentifier + 1) {}

std::shared_ptr<platform::PlatformSession> HostSessions::makeAuxiliary() {
  const std::lock_guard lock(mMutex);
  std::erase_if(mAuxiliary, [](const auto& entry) { return entry.second.expired(); });
  const std::uint32_t identifier = mNextIdentifier++;
  const auto session = std::make_shared<HostSession>(identifier);
  mAuxiliary.emplace(identifier, session);
  return session;
}

std::shared_ptr<platform::PlatformSession> HostSessions::find(std::uint32_t identifier) const {
  if (identifier == primaryIdentifier) return mPrimary;
  const std::lock_guard lock(mMutex);
  const auto entry = mAuxiliary.find(identifier);
  return entry == mAuxiliary.end() ? nullptr : entry->second.lock();
}

}  // namespace orvane::host
