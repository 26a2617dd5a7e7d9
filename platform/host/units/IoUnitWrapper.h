// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/PlatformError.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"
#include "platform/host/units/IoUnit.h"

namespace orvane::host {

/// The host's implementation of `platform::UnitWrapper` for an `IoUnit`.
class IoUnitWrapper final : public platform::UnitWrapper {
 public:
  explicit IoUnitWrapper(std::shared_ptr<IoUnit> unit);

  platform::UnitBus& inputBus(std::uint32_t element) override;
  platform::UnitBus& outputBus(std::uint32_t element) override;
  void setInputEnabled(bool enabled) override { mUnit->setInputEnabled(enabled); }
  void setOutputEnabled(bool enabled) override { mUnit->setOutputEnabled(enabled); }
  void setInputHandler(platform::InputHandler handler) override;
  void setOutputProvider(platform::OutputProvider provider) override;
  platform::RenderOperation renderOperation() override;
  void invalidate() override;
  std::string description() const override { return "I/O unit wrapper"; }

 private:
  using Get = platform::StreamFormat (*)(const IoUnit&);
  using Set = std::optional<platform::PlatformError> (*)(IoUnit&, const platform::StreamFormat&);

  /// One side of an element: the unit and the functions that get and set this side's format.
  class Bus final : public platform::UnitBus {
   public:
    Bus(IoUnit& unit, Get get, Set set) : mUnit(unit), mGet(get), mSet(set) {}
    platform::StreamFormat format() const override { return mGet(mUnit); }
    std::optional<platform::PlatformError> setFormat(const platform::StreamFormat& format) override {
      return mSet(mUnit, format);
    }

   private:
    IoUnit& mUnit;
    Get mGet;
    Set mSet;
  };

  std::shared_ptr<IoUnit> mUnit;
  std::array<Bus, 2> mInputBuses;
  std::array<Bus, 2> mOutputBuses;
  bool mValid = true;
};

}  // namespace orvane::host
