// SPDX-License-Identifier: MIT
#include "platform/host/sessions/HostSessions.h"

#include <optional>
#include <string>
#include <utility>

#include "platform/PlatformError.h"
#include "platform/SessionIdentifiers.h"
#include "platform/Status.h"
#include "platform/host/sessions/SessionPolicy.h"

namespace orvane::host {

using platform::PlatformError;

namespace {

constexpr std::uint32_t primaryIdentifier = 1;

class HostSession final : public platform::PlatformSession {
 public:
  HostSession(std::uint32_t identifier, std::shared_ptr<const CallGate> gate, std::shared_ptr<RefusalRecord> refusals)
      : mIdentifier(identifier), mGate(std::move(gate)), mRefusals(std::move(refusals)) {}

  std::string category() const override {
    const std::lock_guard lock(mMutex);
    return mCategory;
  }

  std::optional<PlatformError> setCategory(const std::string& category) override {
    auto error = refusalOf(session_call::setCategory, setCategoryName, [&] { return whyNotCategory(category); });
    if (error) return error;
    const std::lock_guard lock(mMutex);
    mCategory = category;
    mOptions &= sensibleOptions(category);
    return std::nullopt;
  }

  std::optional<PlatformError> setCategory(const std::string& category, std::uint64_t options) override {
    auto error = refusalOf(session_call::setOptions, setCategoryName, [&] {
      auto reason = whyNotCategory(category);
      return reason ? reason : whyNotOptions(category, options);
    });
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
    if (auto error = refusalOf(session_call::setMode, setModeName, [&] { return whyNotMode(mode); })) return error;
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
    const auto always = [] { return std::optional<std::string>(); };
    if (auto error = refusalOf(call, "PlatformSession::setActive", always)) return error;
    const std::lock_guard lock(mMutex);
    mActive = active;
    return std::nullopt;
  }

  std::uint32_t identifier() const override { return mIdentifier; }

 private:
  static constexpr char setCategoryName[] = "PlatformSession::setCategory";
  static constexpr char setModeName[] = "PlatformSession::setMode";

  /// Returns the error if the gate refuses `call` or if `whyNot` returns a reason; otherwise `std::nullopt`. Records a
  /// refusal as the host's last one.
  template <typename Rule>
  std::optional<PlatformError> refusalOf(const GatedCall& call, const char* operation, Rule whyNot) const {
    std::optional<platform::Failure> failure;
    if (const Refusal* refusal = mGate->refusal(call)) {
      failure = {refusal->status, refusal->reason, operation};
    } else if (auto reason = whyNot()) {
      failure = {platform::status::badParameter, *std::move(reason), operation};
    }
    if (!failure) return std::nullopt;
    mRefusals->record(*failure);
    return PlatformError(*std::move(failure));
  }

  const std::uint32_t mIdentifier;
  const std::shared_ptr<const CallGate> mGate;
  const std::shared_ptr<RefusalRecord> mRefusals;
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

HostSessions::HostSessions(std::shared_ptr<const CallGate> gate, std::shared_ptr<RefusalRecord> refusals)
    : mGate(std::move(gate)),
      mRefusals(std::move(refusals)),
      mPrimary(std::make_shared<HostSession>(primaryIdentifier, mGate, mRefusals)),
      mNextIdentifier(primaryIdentifier + 1) {}

std::shared_ptr<platform::PlatformSession> HostSessions::makeAuxiliary() {
  const std::lock_guard lock(mMutex);
  std::erase_if(mAuxiliary, [](const auto& entry) { return entry.second.expired(); });
  const std::uint32_t identifier = mNextIdentifier++;
  const auto session = std::make_shared<HostSession>(identifier, mGate, mRefusals);
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
