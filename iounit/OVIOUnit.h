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

/// Base class of tools that use the host's I/O unit. Owns one unit and its wrapper, makes them when they are first
/// needed, binds them to a session, and initialises, starts and stops the unit.
///
/// Usage: make the tool, set `componentSubType` if needed, call `setSession`, set the tool's own properties, then
/// `start`, `stop`, and `start` again as often as needed. Releasing the object stops and disposes the unit.
///
/// Every operation that needs the unit makes it, and may then raise what `lazyInit` raises. Failures are raised as
/// `OVTException`; nothing is retried or rolled back. In the messages below STATUS is a status in signed decimal, named
/// in `platform::status`.
///
/// Not thread-safe: use one object from one thread at a time, and not from the device callback. Not real-time safe.
/// Starting and stopping inside a worker's task while the device is running ends the process, see
/// `platform::UnitService`.
///
/// ## Subclasses
/// - `lazyInit` calls the base first, then `setDirections`. A tool for which the unit's defaults are right (input
///   disabled, output enabled) does not override it.
/// - `start` calls, in this order: `stopIfRunning`, before it changes anything that the device callback reads;
///   `initializeAU`; the getters of the hardware formats; the setters of the client formats; the wrapper's
///   `setInputHandler` or `setOutputProvider`; the base's `start`.
/// - The destructor calls `tearDown` first. Until then a closure may be running on the device callback, and members of
///   the subclass that it reads are destroyed before the base's destructor begins.
class ORVANE_EXPORT OVIOUnit : public OVSessionAssignable {
 public:
  /// Makes an object without a unit. Its unit will be made on the host that is in use now.
  static std::shared_ptr<OVIOUnit> init();

  OVIOUnit(const OVIOUnit&) = delete;
  OVIOUnit& operator=(const OVIOUnit&) = delete;
  ~OVIOUnit() override;

  /// The sub-type of the unit to make, a text of exactly four bytes. Nothing, the default, means "rioc"; so does a text
  /// of another length, for which `lazyInit` logs a warning. Once the unit exists, the setter changes nothing and logs
  /// a warning.
  const std::optional<std::string>& componentSubType() const { return _componentSubType; }
  void setComponentSubType(std::optional<std::string> componentSubType);

  /// Makes the unit and its wrapper; does nothing if the unit exists. Raises
  ///
  /// - "UnitService is not available on this host";
  /// - "I/O unit subtype SUBTYPE not found" (SUBTYPE as `PXX4CCString` renders it), also if there is no audio device;
  /// - "Failed to instantiate I/O unit: STATUS";
  /// - "Failed to wrap UnitInstance NUMBER in UnitWrapper": the unit then stays without a wrapper, and the formats,
  ///   `start` of subclasses and other operations that need the wrapper raise "UnitInstance NUMBER has no UnitWrapper".
  virtual void lazyInit();

  /// Returns the unit; makes it if needed.
  orvane::platform::UnitInstance audioUnit();
  /// Returns the unit's wrapper; makes the unit if needed. Null if the unit could not be wrapped. The wrapper is
  /// invalid once this object has been released.
  std::shared_ptr<orvane::platform::UnitWrapper> wrapperUnit();

  /// Initialises the unit, which must be done before `OVIOUnit::start`. Raises "UnitService::initialize failed: STATUS"
  /// with the statuses of `platform::UnitService::initialize`.
  void initializeAU();
  /// Starts the unit; stops it first if it is running. Tools override it with their own preparation. Raises
  /// "UnitService::start failed: STATUS" with the statuses of `platform::UnitService::start`.
  virtual void start();
  /// Stops the unit; no closure is called after it has returned. Succeeds if the unit is not running. Makes the unit if
  /// there is none. Raises "UnitService::stop failed: STATUS".
  virtual void stop();

  /// Returns the session that was bound last; null before that.
  std::shared_ptr<OVSession> session() const override;
  /// Binds the unit to the session's platform session; makes the unit if needed. The category of the session decides
  /// which sides of the hardware the unit may use; it is checked by `initializeAU` and `start`. An unbound unit may use
  /// all.
  ///
  /// Raises
  ///
  /// - "setSession failed -- unsupported session implementation type DESCRIPTION" for null, whose DESCRIPTION is
  ///   "(null)", and for a session without a platform session;
  /// - "setSession failed -- UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: IDENTIFIER" if the
  ///   unit refuses the session.
  ///
  /// The earlier session then stays bound.
  void setSession(std::shared_ptr<OVSession> session) override;

  /// A flag stored for the caller, without effect. Default: false.
  bool deviceUIDSelected() const { return _deviceUIDSelected; }
  void setDeviceUIDSelected(bool deviceUIDSelected) { _deviceUIDSelected = deviceUIDSelected; }

  // The formats are read from the unit at each call.

  /// Returns the format of the input and output hardware; the channel count is 0 if the hardware lacks that side.
  orvane::platform::StreamFormat inputHardwareFormat();
  orvane::platform::StreamFormat outputHardwareFormat();
  /// The formats in which the tool receives captured input and supplies output. Default: the hardware's formats when
  /// the unit was made. `platform::UnitBus::setFormat` lists what is accepted. The setters raise "setInputClientFormat
  /// failed: REASON" and "setOutputClientFormat failed: REASON", and the format stays unchanged.
  orvane::platform::StreamFormat inputClientFormat();
  orvane::platform::StreamFormat outputClientFormat();
  void setInputClientFormat(const orvane::platform::StreamFormat& inputClientFormat);
  void setOutputClientFormat(const orvane::platform::StreamFormat& outputClientFormat);

 protected:
  OVIOUnit();

  /// Returns the services that were in use when this object was made. It uses no others.
  const orvane::platform::Platform& services() const { return _services; }

  /// Enables or disables each side of the unit; does nothing for a unit without a wrapper.
  void setDirections(bool inputEnabled, bool outputEnabled);
  /// Stops the unit if it is running; raises what `stop` raises. Does not make a unit.
  void stopIfRunning();
  /// Returns the wrapper; makes the unit if needed. Raises "UnitInstance NUMBER has no UnitWrapper" if it has none.
  orvane::platform::UnitWrapper& wrapper();
  /// Invalidates the wrapper, disposes the unit and releases the session; no closure is called after it has returned.
  /// May be called again. Exceptions of the host are logged.
  void tearDown() noexcept;

 private:
  std::shared_ptr<OVSession> _lastSessionSet;
  bool _deviceUIDSelected = false;
  orvane::platform::UnitInstance _audioUnit{};
  std::shared_ptr<orvane::platform::UnitWrapper> _wrapperUnit;
  std::optional<std::string> _componentSubType;
  const orvane::platform::Platform _services;
};
