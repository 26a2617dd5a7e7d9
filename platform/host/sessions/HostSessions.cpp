#include "platform/host/sessions/HostSessions.h"

#include <string>
#include <utility>

#include "platform/SessionIdentifiers.h"
#include "platform/host/sessions/SessionPolicy.h"

namespace orvane::host {

namespace {

constexpr std::uint32_t primaryIdentifier = 1;

using platform::PlatformError;

/// What the gate says about a call.
std::optional<PlatformError> refusal(const CallGate& gate, const GatedCall& call, const char* operation) {
  const Refusal* refusal = gate.refusal(call);
  if (refusal == nullptr) return std::nullopt;
  return PlatformError(refusal->status, operation, refusal->reason);
}

/// A refusal for a reason, or none without one.
std::optional<PlatformError> refusal(const char* operation, std::optional<std::string> reason) {
  if (!reason) return std::nullopt;
  return PlatformError(platform::status::badParameter, operation, *std::move(reason));
}

class HostSession final : public platform::PlatformSession {
 public:
  HostSession(std::uint32_t identifier, std::shared_ptr<const CallGate> gate)
      : mIdentifier(identifier), mGate(std::move(gate)) {}

  std::string category() const override {
    const std::lock_guard lock(mMutex);
    return mCategory;
  }

  std::optional<PlatformError> setCategory(const std::string& category) override {
    auto error = refusal(*mGate, session_call::setCategory, setCategoryName);
    if (!error) error = refusal(setCategoryName, whyNotCategory(category));
    if (error) return error;
    const std::lock_guard lock(mMutex);
    mCategory = category;
    mOptions &= sensibleOptions(category);
    return std::nullopt;
  }

  std::optional<PlatformError> setCategory(const std::string& category, std::uint64_t options) override {
    auto error = refusal(*mGate, session_call::setOptions, setCategoryName);
    if (!error) error = refusal(setCategoryName, whyNotCategory(category));
    if (!error) error = refusal(setCategoryName, whyNotOptions(category, options));
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
    auto error = refusal(*mGate, session_call::setMode, setModeName);
    if (!error) error = refusal(setModeName, whyNotMode(mode));
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
    const GatedCall& call = active ? session_call::activate : session_call::deactivate;
    if (auto error = refusal(*mGate, call, "PlatformSession::setActive")) return error;
    const std::lock_guard lock(mMutex);
    mActive = active;
    return std::nullopt;
  }

  std::uint32_t identifier() const override { return mIdentifier; }

 private:
  static constexpr char setCategoryName[] = "PlatformSession::setCategory";
  static constexpr char setModeName[] = "PlatformSession::setMode";

  const std::uint32_t mIdentifier;
  const std::shared_ptr<const CallGate> mGate;
  mutable std::mutex mMutex;
  std::string mCategory = platform::category::playAndRecord;
  std::string mMode = platform::mode::defaultMode;
  std::uint64_t mOptions = 0;
  bool mActive = false;
};

}  // namespace

namespace session_call {

using Answer = GatedCall::Answer;

const GatedCall activate("PlatformSession::activate", Answer::hidden);
const GatedCall deactivate("PlatformSession::deactivate", Answer::hidden);
const GatedCall setCategory("PlatformSession::setCategory", Answer::hidden);
const GatedCall setMode("PlatformSession::setMode", Answer::hidden);
const GatedCall setOptions("PlatformSession::setOptions", Answer::hidden);

}  // namespace session_call

HostSessions::HostSessions(std::shared_ptr<const CallGate> gate)
    : mGate(std::move(gate)),
      mPrimary(std::make_shared<HostSession>(primaryIdentifier, mGate)),
      mNextIdentifier(primaryIdentifier + 1) {}

std::shared_ptr<platform::PlatformSession> HostSessions::makeAuxiliary() {
  const std::lock_guard lock(mMutex);
  std::erase_if(mAuxiliary, [](const auto& entry) { return entry.second.expired(); });
  const std::uint32_t identifier = mNextIdentifier++;
  const auto session = std::make_shared<HostSession>(identifier, mGate);
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
