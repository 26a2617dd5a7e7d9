#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/ConvertingFile.h"
#include "platform/RealTime.h"
#include "platform/UnitService.h"
#include "tests/support/ReasonOf.h"
#include "tests/support/UsedPlatform.h"

namespace orvane::test {

/// A host that has one unit. It keeps a trace of the calls, and grants each that a test does not answer otherwise. The
/// test plays the device callback with `deliver` and `fill`.
class ScriptedUnit : platform::UnitService, platform::UnitWrapper, platform::ConvertingFile {
 public:
  using Status = platform::Status;
  using StreamFormat = platform::StreamFormat;

  ScriptedUnit() {
    const std::shared_ptr<void> owner;
    platform::Platform services = platform::current();
    services.units = std::shared_ptr<platform::UnitService>(owner, this);
    services.convertingFiles = std::shared_ptr<platform::ConvertingFile>(owner, this);
    platform::use(services);
  }

  /// Hands a slice of captured input to the tool.
  void deliver(std::uint32_t frames) {
    const platform::RealTimeSection section;
    inputHandler(mFlags, mTime, frames, 1);
  }

  /// What the tool fills two channels with.
  std::vector<std::vector<float>> fill(std::uint32_t frames) {
    std::vector<std::vector<float>> channels(2, std::vector<float>(frames));
    PX::BufferList list(2);
    for (std::size_t i = 0; i < 2; ++i) list[i] = {1, frames * 4, channels[i].data()};
    const platform::RealTimeSection section;
    const Status status = outputProvider(mFlags, mTime, frames, 0, list.GetAudioBufferList());
    const platform::RealTimeExemption exemption;
    EXPECT_EQ(status, renderStatus);
    return channels;
  }

  /// The calls since the last time.
  std::vector<std::string> takeCalls() { return std::exchange(mCalls, {}); }

  UsedPlatform used;
  std::map<std::string, std::function<Status()>> answers;  ///< By the name of the call.
  StreamFormat inputHardware = StreamFormat::standard(48000, 2);
  StreamFormat outputHardware = StreamFormat::standard(44100, 1);
  bool isInstanceGiven = true;
  bool isUnitRunning = false;
  platform::InputHandler inputHandler;      ///< As the tool installed it.
  platform::OutputProvider outputProvider;  ///< As the tool installed it.
  std::vector<std::vector<float>> captured = {{1, 2, 3}, {-1, -2, -3}};
  Status renderStatus = platform::status::success;

 private:
  Status note(const std::string& call, const std::string& details = {}) {
    const platform::RealTimeExemption exemption;
    mCalls.push_back(details.empty() ? call : call + ' ' + details);
    const auto answer = answers.find(call);
    return answer == answers.end() ? platform::status::success : answer->second();
  }

  static std::string shown(const platform::StreamDescription& format) {
    const StreamFormat standard = StreamFormat::standard(format.sampleRate, format.channelsPerFrame);
    const std::string kind = standard.description() == format ? "" : std::to_string(format.bitsPerChannel) + " bits, ";
    return kind + std::to_string(static_cast<int>(format.sampleRate)) + " Hz, " +
           std::to_string(format.channelsPerFrame);
  }

  struct Bus : platform::UnitBus {
    Bus(ScriptedUnit& unit, std::string name, StreamFormat& format) : mUnit(unit), mName(name), mFormat(format) {}
    StreamFormat format() const override {
      mUnit.note(mName);
      return mFormat;
    }
    std::optional<platform::PlatformError> setFormat(const StreamFormat& format) override {
      const Status status = mUnit.note("set" + mName, shown(format.description()));
      if (status == platform::status::success) return {};
      return platform::PlatformError(status, "UnitBus::setFormat", std::to_string(status));
    }
    ScriptedUnit& mUnit;
    const std::string mName;
    StreamFormat& mFormat;
  };

  platform::UnitComponent findComponent(const platform::UnitDescription& description) override {
    const bool isOthers = description != platform::UnitDescription{.subType = description.subType};
    std::string subType = isOthers ? "of others " : "";
    for (const int shift : {24, 16, 8, 0}) subType += static_cast<char>(description.subType >> shift);
    const Status status = note("find", subType);
    return static_cast<platform::UnitComponent>(status == platform::status::success ? 1 : 0);
  }
  Status createInstance(platform::UnitComponent, platform::UnitInstance& unit) override {
    unit = static_cast<platform::UnitInstance>(isInstanceGiven ? 3 : 0);
    return note("create");
  }
  std::shared_ptr<platform::UnitWrapper> wrap(platform::UnitInstance) override {
    const bool isWrapped = note("wrap") == platform::status::success;
    return {std::shared_ptr<void>(), isWrapped ? this : nullptr};
  }
  Status initialize(platform::UnitInstance) override { return note("UnitService::initialize"); }
  Status start(platform::UnitInstance) override { return note("UnitService::start"); }
  Status stop(platform::UnitInstance) override { return note("UnitService::stop"); }
  bool isRunning(platform::UnitInstance) const override { return isUnitRunning; }
  Status setProperty(platform::UnitInstance, platform::UnitProperty property, platform::UnitScope scope,
                     std::uint32_t element, const void* data, std::uint32_t byteSize) override {
    EXPECT_EQ(std::tuple(property, scope, element, byteSize),
              std::tuple(platform::UnitProperty::sessionIdentifier, platform::UnitScope::global, 0U, 4U));
    return note("setSession", std::to_string(*static_cast<const std::uint32_t*>(data)));
  }
  void dispose(platform::UnitInstance) override { note("UnitService::dispose"); }

  platform::UnitBus& inputBus(std::uint32_t element) override { return element == 1 ? mInputHardware : mOutputClient; }
  platform::UnitBus& outputBus(std::uint32_t element) override { return element == 1 ? mInputClient : mOutputHardware; }
  void setInputEnabled(bool enabled) override { note("setInputEnabled", enabled ? "yes" : "no"); }
  void setOutputEnabled(bool enabled) override { note("setOutputEnabled", enabled ? "yes" : "no"); }
  void setInputHandler(platform::InputHandler handler) override {
    note("setInputHandler", handler ? "" : "none");
    inputHandler = std::move(handler);
  }
  void setOutputProvider(platform::OutputProvider provider) override {
    note("setOutputProvider");
    outputProvider = std::move(provider);
  }
  /// Lends the captured samples where a tool leaves the memory to it, and copies them where it does not.
  platform::RenderOperation renderOperation() override {
    return [this](auto& flags, const auto& time, std::uint32_t frames, std::int32_t bus, auto& list, const auto* pull) {
      const platform::RealTimeExemption exemption;
      EXPECT_TRUE(&flags == &mFlags && &time == &mTime && bus == 1 && pull == nullptr);
      EXPECT_EQ(list.bufferCount, captured.size());
      for (std::size_t i = 0; i < captured.size(); ++i) {
        platform::RenderBuffer& entry = list.buffers()[i];
        EXPECT_TRUE(entry.channels == 1 && entry.byteSize == frames * 4);
        if (entry.data == nullptr) {
          entry.data = captured[i].data();
        } else {
          std::copy_n(captured[i].data(), frames, static_cast<float*>(entry.data));
        }
      }
      return renderStatus;
    };
  }
  void invalidate() override { note("UnitWrapper::invalidate"); }

  Status create(const std::string& path, std::uint32_t fileType, const platform::StreamDescription& format,
                const platform::ChannelLayout* layout, ExistingFile existing, Handle& file) override {
    EXPECT_TRUE(fileType == nativeContainer && layout == nullptr && existing == ExistingFile::erase);
    const Status status = note("ConvertingFile::create", path + ": " + shown(format));
    file = static_cast<Handle>(status == platform::status::success ? ++mFiles : 0);
    return status;
  }
  Status setClientDataFormat(Handle file, const platform::StreamDescription& format) override {
    return note("ConvertingFile setting client format", shown(format) + " of " + number(file));
  }
  Status writeAsync(Handle file, std::uint32_t frames, platform::RenderBufferList* list) override {
    const platform::RealTimeExemption exemption;
    std::string details = number(file) + ":";
    for (std::size_t i = 0; list != nullptr && i < list->bufferCount; ++i)
      for (std::uint32_t frame = 0; frame < frames; ++frame)
        details += ' ' + std::to_string(static_cast<int>(static_cast<float*>(list->buffers()[i].data)[frame]));
    return note("write", details);
  }
  Status dispose(Handle file) override { return note("ConvertingFile::dispose", number(file)); }
  static std::string number(Handle file) { return std::to_string(static_cast<int>(file)); }

  StreamFormat mInputFormat = StreamFormat::standard(8000, 3);
  StreamFormat mOutputFormat = StreamFormat::standard(8000, 4);
  Bus mInputHardware{*this, "InputHardwareFormat", inputHardware};
  Bus mOutputHardware{*this, "OutputHardwareFormat", outputHardware};
  Bus mInputClient{*this, "InputClientFormat", mInputFormat};
  Bus mOutputClient{*this, "OutputClientFormat", mOutputFormat};
  std::vector<std::string> mCalls;
  int mFiles = 0;
  platform::RenderActionFlags mFlags = 0;
  const platform::RenderTimeStamp mTime;
};

}  // namespace orvane::test
