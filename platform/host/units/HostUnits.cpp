#include "platform/host/units/HostUnits.h"

#include <cstring>
#include <utility>

#include "platform/PlatformException.h"
#include "platform/host/units/IoUnitWrapper.h"

namespace orvane::host {

using platform::Status;
using platform::UnitInstance;
namespace status = platform::status;

namespace {

constexpr auto ioUnitComponent = static_cast<platform::UnitComponent>(1);

void removeClosures(IoUnit& unit) {
  // Closures hold what the unit's user gave them, the unit's own render operation included: a cycle unless cut here.
  unit.stop();
  unit.setInputHandler(nullptr);
  unit.setOutputProvider(nullptr);
}

}  // namespace

HostUnits::HostUnits(std::shared_ptr<AudioHub> hub, FindSession findSession, std::shared_ptr<platform::Log> log)
    : mHub(std::move(hub)), mFindSession(std::move(findSession)), mLog(std::move(log)) {}

HostUnits::~HostUnits() {
  for (const auto& [instance, unit] : mUnits) removeClosures(*unit);
}

platform::UnitComponent HostUnits::findComponent(const platform::UnitDescription& description) {
  const platform::UnitDescription ioUnit;
  const bool fits = description.type == ioUnit.type && description.subType == ioUnit.subType &&
                    description.manufacturer == ioUnit.manufacturer &&
                    (description.flags & description.flagsMask) == (ioUnit.flags & description.flagsMask);
  return fits ? ioUnitComponent : platform::UnitComponent::none;
}

Status HostUnits::createInstance(platform::UnitComponent component, UnitInstance& instance) {
  instance = UnitInstance::none;
  if (component != ioUnitComponent) return status::badParameter;
  const std::lock_guard lock(mMutex);
  instance = static_cast<UnitInstance>(++mLastInstance);
  mUnits[instance] = std::make_shared<IoUnit>(mHub, mLog);
  return status::success;
}

std::shared_ptr<IoUnit> HostUnits::find(UnitInstance instance) const {
  const std::lock_guard lock(mMutex);
  const auto found = mUnits.find(instance);
  return found == mUnits.end() ? nullptr : found->second;
}

Status HostUnits::withUnit(UnitInstance instance, Status (IoUnit::*operation)()) {
  const std::shared_ptr<IoUnit> unit = find(instance);
  return unit ? (unit.get()->*operation)() : status::badParameter;
}

std::shared_ptr<platform::UnitWrapper> HostUnits::wrap(UnitInstance instance) {
  std::shared_ptr<IoUnit> unit = find(instance);
  return unit ? std::make_shared<IoUnitWrapper>(std::move(unit)) : nullptr;
}

Status HostUnits::initialize(UnitInstance instance) {
  return withUnit(instance, &IoUnit::initialize);
}

Status HostUnits::start(UnitInstance instance) {
  return withUnit(instance, &IoUnit::start);
}

Status HostUnits::stop(UnitInstance instance) {
  return withUnit(instance, &IoUnit::stop);
}

bool HostUnits::isRunning(UnitInstance instance) const {
  const std::shared_ptr<IoUnit> unit = find(instance);
  return unit && unit->isRunning();
}

Status HostUnits::setProperty(UnitInstance instance, platform::UnitProperty property, platform::UnitScope scope,
                              std::uint32_t element, const void* data, std::uint32_t byteSize) {
  const std::shared_ptr<IoUnit> unit = find(instance);
  std::uint32_t identifier = 0;
  if (!unit || property != platform::UnitProperty::sessionIdentifier || scope != platform::UnitScope::global ||
      element != 0 || data == nullptr || byteSize != sizeof identifier) {
    return status::badParameter;
  }
  std::memcpy(&identifier, data, sizeof identifier);
  std::shared_ptr<platform::PlatformSession> session = mFindSession(identifier);
  if (!session) return status::unknownSession;
  unit->bind(std::move(session));
  return status::success;
}

platform::UnitLatency HostUnits::latency(UnitInstance instance) const {
  const std::shared_ptr<IoUnit> unit = find(instance);
  return unit ? unit->latency() : platform::UnitLatency{};
}

void HostUnits::dispose(UnitInstance instance) {
  std::shared_ptr<IoUnit> unit;
  {
    const std::lock_guard lock(mMutex);
    const auto found = mUnits.find(instance);
    if (found == mUnits.end()) return;
    unit = std::move(found->second);
    mUnits.erase(found);
  }
  removeClosures(*unit);
}

}  // namespace orvane::host
