// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/Export.h"
#include "platform/Platform.h"
#include "platform/StreamFormat.h"
#include "session/OVSessionAssignable.h"

namespace orvane::platform {
enum class UnitInstance : std::uint32_t;
class UnitWrapper;
}  // namespace orvane::platform

/// The base of the tools that talk to the audio hardware through the host's I/O unit: owns one unit and its wrapper,
/// makes both when they are first needed, binds them to a session, and initialises, starts and stops the unit.
///
/// A tool is used in this order: make it, set the sub-type if it is to be another one, `setSession`, the tool's own
/// properties, `start`, later `stop`, which may be followed by `start` again. Releasing it tears the unit down.
///
/// Each operation that needs the unit makes it, and may therefore fail as `lazyInit` does. Failures are raised as
/// `OVTException`; nothing is retried or rolled back. Everything here belongs to the caller's thread, one thread at a
/// time, and none of it is real-time safe.
///
/// ## Subclasses
/// - `lazyInit` calls the base first, then `setDirections`. A tool that keeps the unit's own switches has none.
/// - `start` calls, in this order: `stopIfRunning`, before anything that the device callback reads is touched;
///   `initializeAU`; the hardware format it needs; the client formats it wants; the wrapper's `setInputHandler` or
///   `setOutputProvider`; the base's `start`.
/// - The destructor calls `tearDown` first. Until then a closure may be running on the device callback, and what it
///   reads in a subclass is gone before the base's destructor begins.
class ORVANE_EXPORT OVIOUnit : public OVSessionAssignable {
 public:
  /// A unit of which nothing has been made yet; it will be made on the host that is in use now.
  static std::shared_ptr<OVIOUnit> init();

  OVIOUnit(const OVIOUnit&) = delete;
  OVIOUnit& operator=(const OVIOUnit&) = delete;
  ~OVIOUnit() override;

  /// Which unit to make: a text of exactly four bytes. Nothing, or a text of another length, stands for 'rioc'; the
  /// latter is logged. Once the unit exists the setter changes nothing and logs a warning.
  const std::optional<std::string>& componentSubType() const { return _componentSubType; }
  void setComponentSubType(std::optional<std::string> componentSubType);

  /// Makes the unit and its wrapper where there is no unit yet. Raises "UnitService is not available on this host",
  /// "I/O unit subtype 'xyzw' not found", "Failed to instantiate I/O unit: <status>" or "Failed to wrap UnitInstance
  /// <number> in UnitWrapper". After the last one the unit stays without a wrapper, and nothing that needs the wrapper
  /// works.
  virtual void lazyInit();

  /// The unit, made on the first call.
  orvane::platform::UnitInstance audioUnit();
  /// The unit's wrapper, made on the first call; null for a unit that could not be wrapped. Invalid once this object
  /// has been torn down, whoever still holds it.
  std::shared_ptr<orvane::platform::UnitWrapper> wrapperUnit();

  /// Initialises the unit, which comes before the first `OVIOUnit::start`. Raises "UnitService::initialize failed:
  /// <status>".
  void initializeAU();
  /// Starts the unit, and nothing else; tools begin with all that comes before. Raises "UnitService::start failed:
  /// <status>".
  virtual void start();
  /// Stops the unit: no closure is called once this has returned. Raises "UnitService::stop failed: <status>".
  virtual void stop();

  /// The session that was bound last, or null.
  std::shared_ptr<OVSession> session() const override;
  /// Binds the unit to the session's platform session. Raises "setSession failed -- unsupported session implementation
  /// type <description>" for a session that has none (and for null), and "setSession failed --
  /// UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: <identifier>" where the unit refuses it;
  /// `session` then stays as it was.
  void setSession(std::shared_ptr<OVSession> session) override;

  /// A flag kept for the caller; nothing here reads it.
  bool deviceUIDSelected() const { return _deviceUIDSelected; }
  void setDeviceUIDSelected(bool deviceUIDSelected) { _deviceUIDSelected = deviceUIDSelected; }

  /// Formats in which the hardware delivers to the unit, and the unit to the hardware. Read from the unit at each call,
  /// as all formats are.
  orvane::platform::StreamFormat inputHardwareFormat();
  orvane::platform::StreamFormat outputHardwareFormat();
  /// How captured input reaches the tool, and how the tool supplies output. The setters raise "setInputClientFormat
  /// failed: <reason>" and "setOutputClientFormat failed: <reason>".
  orvane::platform::StreamFormat inputClientFormat();
  orvane::platform::StreamFormat outputClientFormat();
  void setInputClientFormat(const orvane::platform::StreamFormat& inputClientFormat);
  void setOutputClientFormat(const orvane::platform::StreamFormat& outputClientFormat);

 protected:
  OVIOUnit();

  /// The services that were in use when this object was made. It uses no others, whichever host is in use later.
  const orvane::platform::Platform& services() const { return _services; }

  /// Sets the wrapper's two switches; does nothing for a unit without a wrapper.
  void setDirections(bool inputEnabled, bool outputEnabled);
  /// Stops a unit that is running; the failure of that is raised as that of `stop`. Never makes a unit.
  void stopIfRunning();
  /// The wrapper, or raises "UnitInstance <number> has no UnitWrapper".
  orvane::platform::UnitWrapper& wrapper();
  /// Invalidates the wrapper, disposes the unit and lets go of everything; no closure is called once it has returned.
  /// Safe to call again.
  void tearDown() noexcept;

 private:
  std::shared_ptr<OVSession> _lastSessionSet;
  bool _deviceUIDSelected = false;
  orvane::platform::UnitInstance _audioUnit{};
  std::shared_ptr<orvane::platform::UnitWrapper> _wrapperUnit;
  std::optional<std::string> _componentSubType;
  const orvane::platform::Platform _services;
};
