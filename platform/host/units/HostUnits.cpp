// SPDX-License-Identifier: MIT
#include "platform/host/units/HostUnits.h"

#include <cstring>
#include <utility>

#include "platform/host/time/NoWait.h"
#include "platform/host/units/IoUnitWrapper.h"

namespace orvane::host {

using platform::Status;
using platform::UnitInstance;
namespace status = platform::status;

namespace {

using Answer = GatedCall::Answer;

const GatedCall findComponentCall("UnitService::findComponent", Answer::object);
const GatedCall createInstanceCall("UnitService::createInstance");
const GatedCall wrapCall("UnitService::wrap", Answer::object);
const GatedCall initializeCall("UnitService::initialize");
const GatedCall startCall("UnitService::start");
const GatedCall stopCall("UnitService::stop");
const GatedCall setPropertyCall("UnitService::setProperty");

constexpr auto ioUnitComponent = static_cast<platform::UnitComponent>(1);

void removeClosures(IoUnit& unit) {
  // Closures may hold the unit's own render operation. Removing them breaks this reference cycle.
  unit.stop();
  unit.setInputHandler(nullptr);
  unit.setOutputProvider(nullptr);
}

}  // namespace

HostUnits::HostUnits(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub)
    : mContext(std::move(context)), mHub(std::move(hub)) {}

HostUnits::~HostUnits() {
  // The host may be destroyed inside one of its own tasks, where units cannot be stopped while the device is running.
  // Shutting down the hub first stops the device.
  mHub->shutDown();
  for (const auto& [instance, unit] : mUnits) removeClosures(*unit);
}

platform::UnitComponent HostUnits::findComponent(const platform::UnitDescription& description) {
  if (mContext->refusalOf(findComponentCall)) return platform::UnitComponent::none;
  if (!mHub->hasDevice()) {
    mHub->checkAvailable();  // Keeps the reason for whoever asks the device's report.
    return platform::UnitComponent::none;
  }
  const platform::UnitDescription ioUnit;
  const bool fits = description.type == ioUnit.type && description.subType == ioUnit.subType &&
                    description.manufacturer == ioUnit.manufacturer &&
                    (description.flags & description.flagsMask) == (ioUnit.flags & description.flagsMask);
  return fits ? ioUnitComponent : platform::UnitComponent::none;
}

Status HostUnits::createInstance(platform::UnitComponent component, UnitInstance& instance) {
  instance = UnitInstance::none;
  if (const auto refusal = mContext->refusalOf(createInstanceCall)) return *refusal;
  if (component != ioUnitComponent) return status::badParameter;
  instance = adopt(std::make_shared<IoUnit>(mContext, mHub));
  return status::success;
}

UnitInstance HostUnits::adopt(std::shared_ptr<IoUnit> unit) {
  const std::lock_guard lock(mMutex);
  const auto instance = static_cast<UnitInstance>(++mLastInstance);
  mUnits[instance] = std::move(unit);
  return instance;
}

std::shared_ptr<IoUnit> HostUnits::find(UnitInstance instance) const {
  const std::lock_guard lock(mMutex);
  const auto found = mUnits.find(instance);
  return found == mUnits.end() ? nullptr : found->second;
}

Status HostUnits::withUnit(const GatedCall& call, UnitInstance instance, Status (IoUnit::*operation)()) {
  forbidInsideCallback(call.name().data());
  if (const auto refusal = mContext->refusalOf(call)) return *refusal;
  const std::shared_ptr<IoUnit> unit = find(instance);
  return unit ? (unit.get()->*operation)() : status::badParameter;
}

std::shared_ptr<platform::UnitWrapper> HostUnits::wrap(UnitInstance instance) {
  if (mContext->refusalOf(wrapCall)) return nullptr;
  std::shared_ptr<IoUnit> unit = find(instance);
  return unit ? std::make_shared<IoUnitWrapper>(std::move(unit)) : nullptr;
}

Status HostUnits::initialize(UnitInstance instance) {
  return withUnit(initializeCall, instance, &IoUnit::initialize);
}

Status HostUnits::start(UnitInstance instance) {
  return withUnit(startCall, instance, &IoUnit::start);
}

Status HostUnits::stop(UnitInstance instance) {
  return withUnit(stopCall, instance, &IoUnit::stop);
}

bool HostUnits::isRunning(UnitInstance instance) const {
  const std::shared_ptr<IoUnit> unit = find(instance);
  return unit && unit->isRunning();
}

Status HostUnits::setProperty(UnitInstance instance, platform::UnitProperty property, platform::UnitScope scope,
                              std::uint32_t element, const void* data, std::uint32_t byteSize) {
  if (const auto refusal = mContext->refusalOf(setPropertyCall)) return *refusal;
  const std::shared_ptr<IoUnit> unit = find(instance);
  std::uint32_t identifier = 0;
  if (!unit || property != platform::UnitProperty::sessionIdentifier || scope != platform::UnitScope::global ||
      element != 0 || data == nullptr || byteSize != sizeof identifier) {
    return status::badParameter;
  }
  std::memcpy(&identifier, data, sizeof identifier);
  return unit->bind(identifier);
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
