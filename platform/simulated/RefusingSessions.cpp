#include "platform/simulated/RefusingSessions.h"

#include <optional>
#include <string>
#include <utility>

namespace orvane::simulated {

namespace {

using platform::PlatformError;
using Refusal = std::optional<PlatformError>;

Refusal refusalFor(const char* operation, const std::optional<std::string>& reason) {
  if (!reason) return std::nullopt;
  return PlatformError(platform::status::noPermission, operation, *reason);
}

class RefusingSession final : public platform::PlatformSession {
 public:
  RefusingSession(std::shared_ptr<platform::PlatformSession> session, SessionRefusals refusals)
      : mSession(std::move(session)), mRefusals(std::move(refusals)) {}

  std::string category() const override { return mSession->category(); }
  Refusal setCategory(const std::string& category) override {
    if (auto refusal = refusalFor("PlatformSession::setCategory", mRefusals.category)) return refusal;
    return mSession->setCategory(category);
  }
  Refusal setCategory(const std::string& category, std::uint64_t options) override {
    if (auto refusal = refusalFor("PlatformSession::setCategory", mRefusals.options)) return refusal;
    return mSession->setCategory(category, options);
  }
  std::string mode() const override { return mSession->mode(); }
  Refusal setMode(const std::string& mode) override {
    if (auto refusal = refusalFor("PlatformSession::setMode", mRefusals.mode)) return refusal;
    return mSession->setMode(mode);
  }
  std::uint64_t categoryOptions() const override { return mSession->categoryOptions(); }
  bool isActive() const override { return mSession->isActive(); }
  Refusal setActive(bool active) override {
    const auto& reason = active ? mRefusals.activate : mRefusals.deactivate;
    if (auto refusal = refusalFor("PlatformSession::setActive", reason)) return refusal;
    return mSession->setActive(active);
  }
  std::uint32_t identifier() const override { return mSession->identifier(); }
  std::string description() const override { return mSession->description(); }

 private:
  const std::shared_ptr<platform::PlatformSession> mSession;
  const SessionRefusals mRefusals;
};

}  // namespace

RefusingSessions::RefusingSessions(std::shared_ptr<platform::SessionService> sessions, SessionRefusals refusals)
    : mSessions(std::move(sessions)), mRefusals(std::move(refusals)), mPrimary(inFrontOf(mSessions->primary())) {}

std::shared_ptr<platform::PlatformSession> RefusingSessions::makeAuxiliary() {
  return inFrontOf(mSessions->makeAuxiliary());
}

std::shared_ptr<platform::PlatformSession> RefusingSessions::inFrontOf(
    std::shared_ptr<platform::PlatformSession> session) const {
  return std::make_shared<RefusingSession>(std::move(session), mRefusals);
}

}  // namespace orvane::simulated
