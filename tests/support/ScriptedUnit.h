#pragma once

#include <gmock/gmock.h>

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/Platform.h"
#include "platform/RealTime.h"
#include "platform/UnitService.h"
#include "tests/support/ScriptedRoles.h"

namespace orvane::test {

class ScriptedUnitBus : public platform::UnitBus {
 public:
  MOCK_METHOD(platform::StreamFormat, format, (), (const, override));
  MOCK_METHOD(std::optional<platform::PlatformError>, setFormat, (const platform::StreamFormat&), (override));
};

class ScriptedUnitWrapper : public platform::UnitWrapper {
 public:
  MOCK_METHOD(platform::UnitBus&, inputBus, (std::uint32_t element), (override));
  MOCK_METHOD(platform::UnitBus&, outputBus, (std::uint32_t element), (override));
  MOCK_METHOD(void, setInputEnabled, (bool enabled), (override));
  MOCK_METHOD(void, setOutputEnabled, (bool enabled), (override));
  MOCK_METHOD(void, setInputHandler, (platform::InputHandler handler), (override));
  MOCK_METHOD(void, setOutputProvider, (platform::OutputProvider provider), (override));
  MOCK_METHOD(platform::RenderOperation, renderOperation, (), (override));
  MOCK_METHOD(void, invalidate, (), (override));
};

class ScriptedUnitService : public platform::UnitService {
 public:
  using Unit = platform::UnitInstance;
  MOCK_METHOD(platform::UnitComponent, findComponent, (const platform::UnitDescription&), (override));
  MOCK_METHOD(platform::Status, createInstance, (platform::UnitComponent, Unit&), (override));
  MOCK_METHOD(std::shared_ptr<platform::UnitWrapper>, wrap, (Unit), (override));
  MOCK_METHOD(platform::Status, initialize, (Unit), (override));
  MOCK_METHOD(platform::Status, start, (Unit), (override));
  MOCK_METHOD(platform::Status, stop, (Unit), (override));
  MOCK_METHOD(bool, isRunning, (Unit), (const, override));
  MOCK_METHOD(platform::Status, setProperty,
              (Unit, platform::UnitProperty, platform::UnitScope, std::uint32_t element, const void*, std::uint32_t),
              (override));
  MOCK_METHOD(void, dispose, (Unit), (override));
};

/// Puts a host in use that has one unit and grants everything, until a test scripts a call otherwise with EXPECT_CALL
/// or ON_CALL. The test plays the device callback with `deliver` and `fill`.
class ScriptedUnit {
 public:
  template <typename Role>
  using Script = std::shared_ptr<testing::NiceMock<Role>>;

  static constexpr platform::UnitComponent component{1};
  static constexpr platform::UnitInstance instance{3};

  ScriptedUnit() {
    using testing::_;
    using testing::Return;
    ON_CALL(*service, findComponent).WillByDefault(Return(component));
    ON_CALL(*service, createInstance(component, _)).WillByDefault([](auto, auto& unit) {
      unit = instance;
      return platform::status::success;
    });
    ON_CALL(*service, wrap(instance)).WillByDefault(Return(wrapper));
    for (std::uint32_t element = 0; element < 2; ++element) {
      ON_CALL(*wrapper, inputBus(element)).WillByDefault(testing::ReturnRef(inputBus[element]));
      ON_CALL(*wrapper, outputBus(element)).WillByDefault(testing::ReturnRef(outputBus[element]));
    }
    ON_CALL(*wrapper, setInputHandler).WillByDefault(testing::SaveArg<0>(&inputHandler));
    ON_CALL(*wrapper, setOutputProvider).WillByDefault(testing::SaveArg<0>(&outputProvider));
    ON_CALL(*wrapper, renderOperation).WillByDefault([this] { return makeRenderOperation(); });
    platform::Platform services;
    const auto log = std::make_shared<testing::NiceMock<ScriptedLog>>();
    ON_CALL(*log, write).WillByDefault([this](auto, std::string_view line) { logged.emplace_back(line); });
    services.log = log;
    services.sessions = std::make_shared<testing::NiceMock<ScriptedSessionService>>();
    services.units = service;
    platform::use(std::move(services));
  }
  ~ScriptedUnit() { platform::use({}); }
  ScriptedUnit(const ScriptedUnit&) = delete;
  ScriptedUnit& operator=(const ScriptedUnit&) = delete;

  void setHardware(const platform::StreamFormat& input, const platform::StreamFormat& output) {
    ON_CALL(inputBus[1], format).WillByDefault(testing::Return(input));
    ON_CALL(outputBus[0], format).WillByDefault(testing::Return(output));
  }

  /// Hands one slice of captured input to the tool: the first `frames` of `captured`, a vector for each channel.
  void deliver(std::uint32_t frames) {
    const platform::RealTimeSection section;
    inputHandler(flags, time, frames, 1);
  }

  /// Has the tool fill two channels of `frames` samples, each with one more behind it that must stay 9.
  std::array<std::vector<float>, 2> fill(std::uint32_t frames) {
    std::array<std::vector<float>, 2> channels;
    PX::BufferList list(2);
    for (std::size_t i = 0; i < 2; ++i) {
      channels[i].assign(frames + 1, 9.0F);
      list[i] = {1, frames * 4, channels[i].data()};
    }
    platform::Status status = -1;
    {
      const platform::RealTimeSection section;
      status = outputProvider(flags, time, frames, 0, list.GetAudioBufferList());
    }
    EXPECT_EQ(status, 0);
    for (std::size_t i = 0; i < 2; ++i) {
      EXPECT_EQ(list[i].byteSize, frames * 4);
      EXPECT_EQ(channels[i].back(), 9.0F) << "written beyond the buffer";
      channels[i].pop_back();
    }
    return channels;
  }

  Script<ScriptedUnitService> service = std::make_shared<testing::NiceMock<ScriptedUnitService>>();
  Script<ScriptedUnitWrapper> wrapper = std::make_shared<testing::NiceMock<ScriptedUnitWrapper>>();
  std::array<testing::NiceMock<ScriptedUnitBus>, 2> inputBus;
  std::array<testing::NiceMock<ScriptedUnitBus>, 2> outputBus;

  platform::InputHandler inputHandler;      ///< As the tool installed it.
  platform::OutputProvider outputProvider;  ///< As the tool installed it.
  std::vector<std::vector<float>> captured;
  platform::Status renderStatus = platform::status::success;
  std::vector<std::string> logged;
  platform::RenderActionFlags flags = 0x50;
  platform::RenderTimeStamp time{.sampleTime = 4096, .hostTime = 17};

 private:
  /// Checks what every input tool must hand over, and lends the captured samples.
  platform::RenderOperation makeRenderOperation() {
    return [this](auto& givenFlags, const auto& givenTime, std::uint32_t frames, std::int32_t bus, auto& list,
                  const auto* pullInput) {
      const bool asCalled = &givenFlags == &flags && &givenTime == &time && bus == 1 && pullInput == nullptr;
      bool asAsked = list.bufferCount == captured.size();
      for (std::size_t i = 0; asAsked && i < captured.size(); ++i) {
        platform::RenderBuffer& entry = list.buffers()[i];
        asAsked = entry.channels == 1 && entry.byteSize == frames * 4 && entry.data == nullptr;
        entry.data = captured[i].data();
      }
      const platform::RealTimeExemption exemption;
      EXPECT_TRUE(asCalled && asAsked);
      return renderStatus;
    };
  }
};

}  // namespace orvane::test
