// A client that scripts a role of the host, as a test harness does. What crosses the border of the shared library here:
// calls into the client's class, a cast to it from its base, and exceptions caught by their base class.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "iounit/OVIOUnit.h"
#include "platform/Platform.h"
#include "platform/PlatformException.h"
#include "platform/PlatformSession.h"
#include "session/OVSession.h"
#include "session/OVTException.h"

namespace {

using orvane::platform::PlatformError;

class RefusingSession : public orvane::platform::PlatformSession {
 public:
  using Refusal = std::optional<PlatformError>;

  std::string category() const override { return "a category"; }
  Refusal setCategory(const std::string& /*category*/) override { return refusal(); }
  Refusal setCategory(const std::string& /*category*/, std::uint64_t /*options*/) override { return refusal(); }
  std::string mode() const override { return "a mode"; }
  Refusal setMode(const std::string& /*mode*/) override { return refusal(); }
  std::uint64_t categoryOptions() const override { return 0; }
  bool isActive() const override { return false; }
  Refusal setActive(bool /*active*/) override { return refusal(); }
  std::uint32_t identifier() const override { return 7654321; }

 private:
  static PlatformError refusal() { return {-50, "RefusingSession", "the harness says no"}; }
};

class RefusingSessions : public orvane::platform::SessionService {
 public:
  std::shared_ptr<orvane::platform::PlatformSession> primary() override { return makeAuxiliary(); }
  std::shared_ptr<orvane::platform::PlatformSession> makeAuxiliary() override {
    return std::make_shared<RefusingSession>();
  }
};

/// Whether the step raises an `OVTException` whose reason ends as expected.
template <typename Step>
bool raises(const char* ending, Step step) {
  try {
    step();
  } catch (const orvane::platform::PlatformException& exception) {
    const bool ours = dynamic_cast<const OVTException*>(&exception) != nullptr;
    if (ours && exception.reason().ends_with(ending)) return true;
    std::printf("raised as %s: %s\n", exception.name().c_str(), exception.what());
    return false;
  }
  std::printf("not raised: %s\n", ending);
  return false;
}

}  // namespace

int main() {
  orvane::platform::Platform platform = orvane::platform::current();
  platform.sessions = std::make_shared<RefusingSessions>();
  orvane::platform::use(platform);

  const auto session = OVSession::init();
  const bool refused = raises("activate failed: the harness says no", [&] { session->activate(); });
  // The library casts the session's object to a platform session before it asks for the identifier, which is unknown.
  const bool unknown = raises("sessionID: 7654321", [&] { OVIOUnit::init()->setSession(session); });
  return refused && unknown ? 0 : 1;
}
