// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "platform/Status.h"
#include "platform/UnitService.h"
#include "platform/host/CallGate.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/units/IoUnit.h"

namespace orvane::host {

/// The host's implementation of `platform::UnitService`: creates I/O units of sub-type 'rioc', which are clients of the
/// audio hub.
class HostUnits final : public platform::UnitService {
 public:
  HostUnits(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub);
  /// Stops the device and disposes the units that still exist.
  ~HostUnits() override;

  platform::UnitComponent findComponent(const platform::UnitDescription& description) override;
  platform::Status createInstance(platform::UnitComponent component, platform::UnitInstance& instance) override;
  std::shared_ptr<platform::UnitWrapper> wrap(platform::UnitInstance instance) override;
  platform::Status initialize(platform::UnitInstance instance) override;
  platform::Status start(platform::UnitInstance instance) override;
  platform::Status stop(platform::UnitInstance instance) override;
  bool isRunning(platform::UnitInstance instance) const override;
  platform::UnitLatency latency(platform::UnitInstance instance) const override;
  platform::Status setProperty(platform::UnitInstance instance, platform::UnitProperty property,
                               platform::UnitScope scope, std::uint32_t element, const void* data,
                               std::uint32_t byteSize) override;
  void dispose(platform::UnitInstance instance) override;

  /// Adds a unit that another service of the host created. The service must dispose it.
  platform::UnitInstance adopt(std::shared_ptr<IoUnit> unit);

 private:
  std::shared_ptr<IoUnit> find(platform::UnitInstance instance) const;
  platform::Status withUnit(const GatedCall& call, platform::UnitInstance instance,
                            platform::Status (IoUnit::*operation)());

  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<AudioHub> mHub;
  mutable std::mutex mMutex;
  std::map<platform::UnitInstance, std::shared_ptr<IoUnit>> mUnits;
  std::uint32_t mLastInstance = 0;
};

}  // namespace orvane::host
