// SPDX-License-Identifier: MIT

// A client that scripts a role of the host, as a test harness does. This checks what crosses the boundary of the shared
// library: calls of the client's class, a cast to it from its base, and exceptions caught by their base class.

#include <cstdio>

#include "iounit/OVIOUnit.h"
#include "iounit/dsp/SineWaveGenerator.h"
#include "platform/Hosts.h"
#include "platform/Platform.h"
#include "platform/PlatformException.h"
#include "platform/PlatformSession.h"
#include "session/OVSession.h"
#include "session/OVTException.h"

namespace {

using namespace orvane::platform;

/// A session service whose sessions refuse every change.
class RefusingSessions : public SessionService, public PlatformSession {
 public:
  using Refusal = std::optional<PlatformError>;

  std::shared_ptr<PlatformSession> primary() override { return makeAuxiliary(); }
  std::shared_ptr<PlatformSession> makeAuxiliary() override { return std::make_shared<RefusingSessions>(); }
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
  static PlatformError refusal() { return {-50, "RefusingSessions", "the harness says no"}; }
};

/// Returns whether `step` raises an `OVTException` whose reason ends with `ending`. Prints what was raised.
template <typename Step>
bool raises(const char* ending, Step step) try {
  step();
  std::printf("not raised: %s\n", ending);
  return false;
} catch (const PlatformException& exception) {
  std::printf("raised as %s: %s\n", exception.name().c_str(), exception.what());
  return dynamic_cast<const OVTException*>(&exception) != nullptr && exception.reason().ends_with(ending);
}

/// Returns whether a `SineWaveGenerator` renders a tone. The class is exported, so clients may use it directly.
bool makesATone() {
  orvane::SineWaveGenerator generator;
  generator.SetSampleRate(48000);
  float samples[64] = {};
  generator.Render(samples, 64, 1, 1);
  return samples[0] == 0 && samples[20] != 0;
}

}  // namespace

int main() {
  Platform platform = orvane::platform::makeSimulatedHost();
  platform.sessions = std::make_shared<RefusingSessions>();
  use(platform);
  // The library casts the session's object to a platform session before it asks for the identifier, which is unknown.
  const bool right = raises("activate failed: the harness says no", [] { OVSession::init()->activate(); }) &&
                     raises("sessionID: 7654321", [] { OVIOUnit::init()->setSession(OVSession::init()); });
  return right && makesATone() ? 0 : 1;
}
