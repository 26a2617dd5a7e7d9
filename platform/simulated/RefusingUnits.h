#pragma once

#include <memory>

#include "platform/UnitService.h"
#include "platform/simulated/scenario/FaultPlan.h"

namespace orvane::simulated {

/// A unit service in front of another: refuses what a scenario's faults say, and hands on everything else. A refused
/// call does not reach the other service.
class RefusingUnits final : public platform::UnitService {
 public:
  RefusingUnits(std::shared_ptr<platform::UnitService> units, std::shared_ptr<const FaultPlan> faults);

  platform::UnitComponent findComponent(const platform::UnitDescription& description) override;
  platform::Status createInstance(platform::UnitComponent component, platform::UnitInstance& instance) override;
  std::shared_ptr<platform::UnitWrapper> wrap(platform::UnitInstance instance) override;
  platform::Status initialize(platform::UnitInstance instance) override;
  platform::Status start(platform::UnitInstance instance) override;
  platform::Status stop(platform::UnitInstance instance) override;
  bool isRunning(platform::UnitInstance instance) const override { return mUnits->isRunning(instance); }
  platform::Status setProperty(platform::UnitInstance instance, platform::UnitProperty property,
                               platform::UnitScope scope, std::uint32_t element, const void* data,
                               std::uint32_t byteSize) override;
  void dispose(platform::UnitInstance instance) override { mUnits->dispose(instance); }

 private:
  std::shared_ptr<platform::UnitService> mUnits;
  std::shared_ptr<const FaultPlan> mFaults;
};

}  // namespace orvane::simulated
