#include "platform/simulated/RefusingUnits.h"

#include <array>
#include <optional>
#include <string>
#include <utility>

#include "platform/simulated/scenario/RefusableCalls.h"

namespace orvane::simulated {

namespace {

using platform::PlatformError;
using platform::Status;
using platform::UnitInstance;
namespace status = platform::status;

class RefusingBus final : public platform::UnitBus {
 public:
  RefusingBus(platform::UnitBus& bus, const FaultPlan& faults) : mBus(bus), mFaults(faults) {}

  platform::StreamFormat format() const override { return mBus.format(); }
  std::optional<PlatformError> setFormat(const platform::StreamFormat& format) override {
    if (const auto refusal = mFaults.refusal(call::setFormat)) {
      return PlatformError(*refusal, std::string(call::setFormat),
                           "refused by the scenario with status " + std::to_string(*refusal));
    }
    return mBus.setFormat(format);
  }

 private:
  platform::UnitBus& mBus;
  const FaultPlan& mFaults;
};

class RefusingWrapper final : public platform::UnitWrapper {
 public:
  RefusingWrapper(std::shared_ptr<platform::UnitWrapper> wrapper, std::shared_ptr<const FaultPlan> faults)
      : mWrapper(std::move(wrapper)), mFaults(std::move(faults)) {}

  platform::UnitBus& inputBus(std::uint32_t element) override {
    return busAt(mInputBuses, element, mWrapper->inputBus(element));
  }
  platform::UnitBus& outputBus(std::uint32_t element) override {
    return busAt(mOutputBuses, element, mWrapper->outputBus(element));
  }
  void setInputEnabled(bool enabled) override { mWrapper->setInputEnabled(enabled); }
  void setOutputEnabled(bool enabled) override { mWrapper->setOutputEnabled(enabled); }
  void setInputHandler(platform::InputHandler handler) override { mWrapper->setInputHandler(std::move(handler)); }
  void setOutputProvider(platform::OutputProvider provider) override {
    mWrapper->setOutputProvider(std::move(provider));
  }
  platform::RenderOperation renderOperation() override {
    return [render = mWrapper->renderOperation(), faults = mFaults](
               platform::RenderActionFlags& flags, const platform::RenderTimeStamp& time, std::uint32_t frames,
               std::int32_t bus, platform::RenderBufferList& list, const platform::PullInput* pullInput) {
      const Status refusal = faults->renderStatus();
      return refusal != status::success ? refusal : render(flags, time, frames, bus, list, pullInput);
    };
  }
  void invalidate() override { mWrapper->invalidate(); }
  std::string description() const override { return mWrapper->description(); }

 private:
  using Buses = std::array<std::optional<RefusingBus>, 2>;

  /// The bus in front of `bus`, which exists, so `element` is a good one.
  platform::UnitBus& busAt(Buses& buses, std::uint32_t element, platform::UnitBus& bus) const {
    std::optional<RefusingBus>& refusing = buses.at(element);
    if (!refusing) refusing.emplace(bus, *mFaults);
    return *refusing;
  }

  std::shared_ptr<platform::UnitWrapper> mWrapper;
  std::shared_ptr<const FaultPlan> mFaults;
  Buses mInputBuses;
  Buses mOutputBuses;
};

}  // namespace

RefusingUnits::RefusingUnits(std::shared_ptr<platform::UnitService> units, std::shared_ptr<const FaultPlan> faults)
    : mUnits(std::move(units)), mFaults(std::move(faults)) {}

platform::UnitComponent RefusingUnits::findComponent(const platform::UnitDescription& description) {
  if (mFaults->refusal(call::findComponent)) return platform::UnitComponent::none;
  return mUnits->findComponent(description);
}

Status RefusingUnits::createInstance(platform::UnitComponent component, UnitInstance& instance) {
  if (const auto refusal = mFaults->refusal(call::createInstance)) {
    instance = UnitInstance::none;
    return *refusal;
  }
  return mUnits->createInstance(component, instance);
}

std::shared_ptr<platform::UnitWrapper> RefusingUnits::wrap(UnitInstance instance) {
  if (mFaults->refusal(call::wrap)) return nullptr;
  auto wrapper = mUnits->wrap(instance);
  return wrapper ? std::make_shared<RefusingWrapper>(std::move(wrapper), mFaults) : nullptr;
}

Status RefusingUnits::initialize(UnitInstance instance) {
  if (const auto refusal = mFaults->refusal(call::initialize)) return *refusal;
  return mUnits->initialize(instance);
}

Status RefusingUnits::start(UnitInstance instance) {
  if (const auto refusal = mFaults->refusal(call::start)) return *refusal;
  return mUnits->start(instance);
}

Status RefusingUnits::stop(UnitInstance instance) {
  if (const auto refusal = mFaults->refusal(call::stop)) return *refusal;
  return mUnits->stop(instance);
}

Status RefusingUnits::setProperty(UnitInstance instance, platform::UnitProperty property, platform::UnitScope scope,
                                  std::uint32_t element, const void* data, std::uint32_t byteSize) {
  if (const auto refusal = mFaults->refusal(call::setProperty)) return *refusal;
  return mUnits->setProperty(instance, property, scope, element, data, byteSize);
}

}  // namespace orvane::simulated
