// SPDX-License-Identifier: MIT
#include "sound/OVSystemSound.h"

#include "platform/Scheduler.h"
#include "platform/SystemSoundService.h"
#include "platform/Waiter.h"
#include "session/RequiredRole.h"

namespace platform = orvane::platform;

namespace {

platform::SystemSoundService& serviceOf(const platform::Platform& services) {
  return orvane::requiredRole(services, services.systemSounds, "SystemSoundService");
}

}  // namespace

std::shared_ptr<OVSystemSound> OVSystemSound::initWithID(std::uint64_t ssid) {
  return std::shared_ptr<OVSystemSound>(new OVSystemSound(ssid));
}

OVSystemSound::OVSystemSound(std::uint64_t ssid) : mServices(platform::current()), _ssid(ssid) {}

void OVSystemSound::play() {
  serviceOf(mServices).play(static_cast<std::uint32_t>(_ssid), {}, [] {});
}

void OVSystemSound::playAndWait() {
  const std::shared_ptr<platform::Waiter> finished =
      orvane::requiredRole(mServices, mServices.scheduler, "Scheduler").makeWaiter();
  serviceOf(mServices).play(static_cast<std::uint32_t>(_ssid), {}, [finished] { finished->signal(); });
  finished->wait(platform::Waiter::forever);
}
