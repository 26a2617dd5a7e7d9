// SPDX-License-Identifier: MIT
#include "iounit/OVIOUnit.h"

#include <exception>
#include <string_view>
#include <utility>

#include "Pexutil/Source/Utility/PXX4CCString.h"
#include "platform/Log.h"
#include "platform/Object.h"
#include "platform/Platform.h"
#include "platform/PlatformSession.h"
#include "platform/Status.h"
#include "platform/UnitService.h"
#include "session/OVSession.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"

namespace platform = orvane::platform;
using platform::LogLevel;
using platform::Status;
using platform::StreamFormat;
using platform::UnitInstance;
using platform::UnitWrapper;
namespace status = platform::status;

namespace {

constexpr std::uint32_t outputElement = 0;
constexpr std::uint32_t inputElement = 1;
constexpr std::uint32_t globalElement = 0;

/// Returns the four-character code of a sub-type text, or 'rioc' if there is no valid text.
std::uint32_t subTypeCode(const platform::Platform& services, const std::optional<std::string>& subType) {
  if (!subType) return platform::UnitDescription::defaultSubType;
  if (subType->size() != sizeof(std::uint32_t)) {
    orvane::logOn(services, LogLevel::warning, "invalid I/O unit subtype string: " + *subType);
    return platform::UnitDescription::defaultSubType;
  }
  std::uint32_t code = 0;
  for (const char character : *subType) code = code << 8 | static_cast<unsigned char>(character);
  return code;
}

/// Returns the name of a unit for use in messages.
std::string nameOf(UnitInstance unit) {
  return "UnitInstance " + std::to_string(static_cast<std::uint32_t>(unit));
}

/// Runs one step of the teardown. An exception is logged and dropped, so that the next step still runs.
template <typename Step>
void attempt(const platform::Platform& services, std::string_view name, const Step& step) noexcept {
  try {
    step();
  } catch (const std::exception& failure) {
    orvane::logOn(services, LogLevel::error, std::string(name) + " failed: " + failure.what());
  }
}

}  // namespace

std::shared_ptr<OVIOUnit> OVIOUnit::init() {
  return std::shared_ptr<OVIOUnit>(new OVIOUnit);
}

OVIOUnit::OVIOUnit() : _services(platform::current()) {}

OVIOUnit::~OVIOUnit() {
  tearDown();
}

void OVIOUnit::tearDown() noexcept {
  if (_wrapperUnit) attempt(_services, "UnitWrapper::invalidate", [this] { _wrapperUnit->invalidate(); });
  if (_audioUnit != UnitInstance::none)
    attempt(_services, "UnitService::dispose", [this] { _services.units->dispose(_audioUnit); });
  _audioUnit = UnitInstance::none;
  _componentSubType.reset();
  _wrapperUnit.reset();
  _lastSessionSet.reset();
}

void OVIOUnit::setComponentSubType(std::optional<std::string> componentSubType) {
  if (_audioUnit != UnitInstance::none) {
    orvane::logOn(_services, LogLevel::warning,
                  "Warning: ignoring attempt to set I/O unit sub-type after initialization");
    return;
  }
  _componentSubType = std::move(componentSubType);
}

void OVIOUnit::lazyInit() {
  if (_audioUnit != UnitInstance::none) return;

  platform::UnitDescription description;
  description.subType = subTypeCode(_services, _componentSubType);
  auto& service = orvane::requiredRole(_services, _services.units, "UnitService");
  const platform::UnitComponent component = service.findComponent(description);
  if (component == platform::UnitComponent::none) {
    const PXX4CCString code(static_cast<std::int32_t>(description.subType));
    orvane::raiseOn(_services, std::string("I/O unit subtype ") + code.c_str() + " not found");
  }

  UnitInstance unit = UnitInstance::none;
  const Status status = service.createInstance(component, unit);
  if (status != status::success || unit == UnitInstance::none)
    orvane::raiseOn(_services, "Failed to instantiate I/O unit", status);
  _audioUnit = unit;

  auto wrapper = service.wrap(_audioUnit);
  if (!wrapper) orvane::raiseOn(_services, "Failed to wrap " + nameOf(_audioUnit) + " in " + UnitWrapper::className);
  _wrapperUnit = std::move(wrapper);
}

UnitInstance OVIOUnit::audioUnit() {
  if (_audioUnit == UnitInstance::none) lazyInit();
  return _audioUnit;
}

std::shared_ptr<UnitWrapper> OVIOUnit::wrapperUnit() {
  if (!_wrapperUnit) lazyInit();
  return _wrapperUnit;
}

UnitWrapper& OVIOUnit::wrapper() {
  if (!wrapperUnit()) orvane::raiseOn(_services, nameOf(_audioUnit) + " has no " + UnitWrapper::className);
  return *_wrapperUnit;
}

void OVIOUnit::setDirections(bool inputEnabled, bool outputEnabled) {
  // `wrapperUnit()` is not called here: without a wrapper it would call `lazyInit` and recurse without end.
  if (!_wrapperUnit) return;
  _wrapperUnit->setInputEnabled(inputEnabled);
  _wrapperUnit->setOutputEnabled(outputEnabled);
}

void OVIOUnit::initializeAU() {
  const UnitInstance unit = audioUnit();
  if (const Status status = _services.units->initialize(unit))
    orvane::raiseOn(_services, "UnitService::initialize failed", status);
}

void OVIOUnit::start() {
  const UnitInstance unit = audioUnit();
  if (const Status status = _services.units->start(unit))
    orvane::raiseOn(_services, "UnitService::start failed", status);
}

void OVIOUnit::stop() {
  const UnitInstance unit = audioUnit();
  if (const Status status = _services.units->stop(unit)) orvane::raiseOn(_services, "UnitService::stop failed", status);
}

void OVIOUnit::stopIfRunning() {
  if (_audioUnit != UnitInstance::none && _services.units->isRunning(_audioUnit)) stop();
}

std::shared_ptr<OVSession> OVIOUnit::session() const {
  return _lastSessionSet;
}

void OVIOUnit::setSession(std::shared_ptr<OVSession> session) {
  const std::shared_ptr<platform::Object> implementation = session ? session->session() : nullptr;
  const auto* platformSession = dynamic_cast<const platform::PlatformSession*>(implementation.get());
  if (!platformSession) {
    orvane::raiseOn(_services, "setSession failed -- unsupported session implementation type " +
                                   (implementation ? implementation->description() : "(null)"));
  }
  const std::uint32_t identifier = platformSession->identifier();
  const UnitInstance unit = audioUnit();
  const Status status =
      _services.units->setProperty(unit, platform::UnitProperty::sessionIdentifier, platform::UnitScope::global,
                                   globalElement, &identifier, sizeof identifier);
  if (status != status::success) {
    orvane::raiseOn(_services,
                    "setSession failed -- UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: " +
                        std::to_string(identifier));
  }
  _lastSessionSet = std::move(session);
}

StreamFormat OVIOUnit::inputHardwareFormat() {
  return wrapper().inputBus(inputElement).format();
}

StreamFormat OVIOUnit::outputHardwareFormat() {
  return wrapper().outputBus(outputElement).format();
}

StreamFormat OVIOUnit::inputClientFormat() {
  return wrapper().outputBus(inputElement).format();
}

StreamFormat OVIOUnit::outputClientFormat() {
  return wrapper().inputBus(outputElement).format();
}

void OVIOUnit::setInputClientFormat(const StreamFormat& inputClientFormat) {
  const auto error = wrapper().outputBus(inputElement).setFormat(inputClientFormat);
  if (error) orvane::raiseOn(_services, "setInputClientFormat failed", *error);
}

void OVIOUnit::setOutputClientFormat(const StreamFormat& outputClientFormat) {
  const auto error = wrapper().inputBus(outputElement).setFormat(outputClientFormat);
  if (error) orvane::raiseOn(_services, "setOutputClientFormat failed", *error);
}
