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

/// The base class of tools (meter, recorder, test tone, play-through) that use an I/O unit of the host. It owns one
/// unit and its wrapper, creates them when they are first needed, binds the unit to a session, and initialises, starts
/// and stops the unit.
///
/// Usage: create the tool, call `setComponentSubType` if needed, call `setSession`, set the tool's own properties, then
/// call `start` and `stop` as often as needed. Releasing the object stops and disposes the unit.
///
/// Every operation that needs the unit creates it first if necessary, and may then also raise the exceptions of
/// `lazyInit`. Failures are raised as `OVTException`; nothing is retried or rolled back. In the messages quoted below,
/// STATUS is one of the values in `platform::status`, as a signed decimal number.
///
/// Not thread-safe: one object must be used by one thread at a time, and not on the device callback. Not real-time
/// safe. Starting or stopping a unit inside a worker's task while the device is running ends the process, see
/// `platform::UnitService`.
///
/// ## Subclasses
/// - An override of `lazyInit` calls the base class first, then `setDirections`. A tool that needs the unit's defaults
///   (input disabled, output enabled) does not override it.
/// - An override of `start` calls, in this order: `stopIfRunning`, before it changes anything that the device callback
///   reads; `initializeAU`; the getters of the hardware formats; the setters of the client formats; the wrapper's
///   `setInputHandler` or `setOutputProvider`; `OVIOUnit::start`.
/// - The destructor calls `tearDown` first. Otherwise a closure running on the device callback could read members of
///   the subclass, which are destroyed before the base class's destructor runs.
class ORVANE_EXPORT OVIOUnit : public OVSessionAssignable {
 public:
  /// Creates an object without a unit. The unit will be created by the host that is in use now.
  static std::shared_ptr<OVIOUnit> init();

  OVIOUnit(const OVIOUnit&) = delete;
  OVIOUnit& operator=(const OVIOUnit&) = delete;
  ~OVIOUnit() override;

  /// Returns the sub-type set by `setComponentSubType`.
  const std::optional<std::string>& componentSubType() const { return _componentSubType; }
  /// Sets the sub-type of the unit to create, a text of exactly four bytes. `std::nullopt`, the default, means "rioc";
  /// for a text of any other length `lazyInit` logs a warning and also uses "rioc". Once the unit exists, this function
  /// logs a warning and has no effect.
  void setComponentSubType(std::optional<std::string> componentSubType);

  /// Creates the unit and its wrapper; does nothing if the unit exists. Raises
  ///
  /// - "UnitService is not available on this host";
  /// - "I/O unit subtype SUBTYPE not found" if no unit has this sub-type or there is no audio device, where SUBTYPE is
  ///   the text form of `PXX4CCString`;
  /// - "Failed to instantiate I/O unit: STATUS";
  /// - "Failed to wrap UnitInstance NUMBER in UnitWrapper"; the unit then has no wrapper, and all operations that need
  ///   one, such as the formats and `start` of subclasses, raise "UnitInstance NUMBER has no UnitWrapper".
  virtual void lazyInit();

  /// Returns the unit, creating it first if necessary.
  orvane::platform::UnitInstance audioUnit();
  /// Returns the unit's wrapper, creating the unit first if necessary; returns null if the unit has no wrapper. The
  /// wrapper must not be used after this object has been released.
  std::shared_ptr<orvane::platform::UnitWrapper> wrapperUnit();

  /// Initialises the unit, which must be done before `OVIOUnit::start`. Raises "UnitService::initialize failed:
  /// STATUS", where STATUS is a status of `platform::UnitService::initialize`.
  void initializeAU();
  /// Starts the unit, stopping it first if it is running. Subclasses override this function to prepare the unit before
  /// they start it. Raises "UnitService::start failed: STATUS", where STATUS is a status of
  /// `platform::UnitService::start`.
  virtual void start();
  /// Stops the unit. No closure is called after `stop` has returned. Succeeds if the unit is not running; if there is
  /// no unit, creates one. Raises "UnitService::stop failed: STATUS".
  virtual void stop();

  /// Returns the session that was bound last, or null if none was bound.
  std::shared_ptr<OVSession> session() const override;
  /// Binds the unit to the session's platform session, creating the unit first if necessary. The session's category
  /// decides which sides of the hardware the unit may use; `initializeAU` and `start` check this. A unit without a
  /// session may use all sides.
  ///
  /// Raises
  ///
  /// - "setSession failed -- unsupported session implementation type DESCRIPTION" if `session` is null (DESCRIPTION is
  ///   "(null)") or has no platform session;
  /// - "setSession failed -- UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: IDENTIFIER" if the
  ///   unit refuses the session.
  ///
  /// After an exception the previous session remains bound.
  void setSession(std::shared_ptr<OVSession> session) override;

  /// Returns the flag set by `setDeviceUIDSelected`.
  bool deviceUIDSelected() const { return _deviceUIDSelected; }
  /// Stores a flag for the caller. It has no effect. The default is false.
  void setDeviceUIDSelected(bool deviceUIDSelected) { _deviceUIDSelected = deviceUIDSelected; }

  // The formats are read from the unit at each call.

  /// Returns the format of the input hardware. The channel count is 0 if the hardware has no input.
  orvane::platform::StreamFormat inputHardwareFormat();
  /// Returns the format of the output hardware. The channel count is 0 if the hardware has no output.
  orvane::platform::StreamFormat outputHardwareFormat();
  /// Returns the format in which this object receives captured input. The default is the input hardware's format at
  /// the time when the unit was created.
  orvane::platform::StreamFormat inputClientFormat();
  /// Returns the format in which this object supplies output. The default is the output hardware's format at the time
  /// when the unit was created.
  orvane::platform::StreamFormat outputClientFormat();
  /// Sets the format in which this object receives captured input. `platform::UnitBus::setFormat` describes the
  /// accepted formats. For any other format raises "setInputClientFormat failed: REASON" and changes nothing.
  void setInputClientFormat(const orvane::platform::StreamFormat& inputClientFormat);
  /// Sets the format in which this object supplies output. `platform::UnitBus::setFormat` describes the accepted
  /// formats. For any other format raises "setOutputClientFormat failed: REASON" and changes nothing.
  void setOutputClientFormat(const orvane::platform::StreamFormat& outputClientFormat);

 protected:
  OVIOUnit();

  /// Returns the services that were in use when this object was created. The object uses only these.
  const orvane::platform::Platform& services() const { return _services; }

  /// Enables or disables each side of the unit; does nothing for a unit without a wrapper.
  void setDirections(bool inputEnabled, bool outputEnabled);
  /// Stops the unit if it exists and is running. Raises the exceptions of `stop`.
  void stopIfRunning();
  /// Returns the unit's wrapper, creating the unit first if necessary. Raises "UnitInstance NUMBER has no UnitWrapper"
  /// if the unit has no wrapper.
  orvane::platform::UnitWrapper& wrapper();
  /// Invalidates the wrapper, disposes the unit and releases the session. No closure is called after `tearDown` has
  /// returned. May be called several times. Exceptions of the host are logged.
  void tearDown() noexcept;

 private:
  std::shared_ptr<OVSession> _lastSessionSet;
  bool _deviceUIDSelected = false;
  orvane::platform::UnitInstance _audioUnit{};
  std::shared_ptr<orvane::platform::UnitWrapper> _wrapperUnit;
  std::optional<std::string> _componentSubType;
  const orvane::platform::Platform _services;
};
