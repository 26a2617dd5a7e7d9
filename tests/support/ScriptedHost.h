// SPDX-License-Identifier: MIT
#pragma once

#include <map>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/ConvertingFile.h"
#include "platform/Log.h"
#include "platform/Platform.h"
#include "platform/RealTime.h"
#include "platform/UnitService.h"
#include "tests/support/Test.h"

namespace orvane::test {

using platform::Status, platform::StreamDescription, platform::StreamFormat, platform::UnitInstance;

/// A host with one unit, which is in use during a test. It records the log lines and the calls of its services. A call
/// succeeds unless the test has set another answer for it. The test makes the device callbacks with `deliver` and
/// `fill`.
class ScriptedHost : platform::Log, platform::UnitService, platform::UnitWrapper, platform::ConvertingFile {
  /// A side of the unit. Records each format that is set and accepts it, but `format` always returns the same
  /// interleaved 16-bit integer format, which some hardware has.
  struct Bus : platform::UnitBus {
    Bus(ScriptedHost& host, std::string name, double rate, std::uint32_t channels)
        : mHost(host),
          mName(std::move(name)),
          told(StreamFormat::linearPcm(rate, channels, 16, platform::format_flag::signedInteger, true)) {}
    StreamFormat format() const override { return mHost.note(mName), told; }
    std::optional<platform::PlatformError> setFormat(const StreamFormat& format) override {
      const Status status = mHost.note("set" + mName, shown(format.description()));
      return status == 0 ? std::nullopt : std::optional<platform::PlatformError>({status, "", std::to_string(status)});
    }
    ScriptedHost& mHost;
    const std::string mName;
    StreamFormat told;
  };

 public:
  ScriptedHost() {
    platform::Platform services = mBefore;
    services.log = std::shared_ptr<platform::Log>(std::shared_ptr<void>(), this);
    services.units = std::shared_ptr<platform::UnitService>(std::shared_ptr<void>(), this);
    services.convertingFiles = std::shared_ptr<platform::ConvertingFile>(std::shared_ptr<void>(), this);
    platform::use(services);
  }
  ~ScriptedHost() override { platform::use(mBefore); }

  /// Calls the tool's input handler with a slice of `frames` frames.
  void deliver(std::uint32_t frames) {
    const platform::RealTimeSection section;
    inputHandler(mFlags, mTime, frames, 1);
  }

  /// Calls the tool's output provider for two channels of `frames` frames, and returns the first channel.
  std::vector<float> fill(std::uint32_t frames) {
    std::vector<float> first(frames), second(frames);
    PX::BufferList list(2);
    list[0] = {1, frames * 4, first.data()};
    list[1] = {1, frames * 4, second.data()};
    const platform::RealTimeSection section;
    const Status status = outputProvider(mFlags, mTime, frames, 0, list.GetAudioBufferList());
    const platform::RealTimeExemption exemption;
    EXPECT_EQ(status, renderStatus);
    return first;
  }

  /// Returns the calls since the last `takeCalls`, such as "find rioc > create > wrap".
  std::string takeCalls() { return std::exchange(mCalls, {}); }

  std::vector<std::string> logged;                         ///< Lines in the form "warning: line".
  std::map<std::string, std::function<Status()>> answers;  ///< The test's answers, by name of the call.
  Bus inputHardware{*this, "InputHardwareFormat", 48000, 2};
  Bus outputHardware{*this, "OutputHardwareFormat", 44100, 1};
  bool isAudioRunning = false;
  platform::InputHandler inputHandler;      ///< The tool's handler.
  platform::OutputProvider outputProvider;  ///< The tool's provider.
  std::vector<std::vector<float>> captured = {{1, 2, 3}, {-1, -2, -3}};
  Status renderStatus = platform::status::success;
  int lent = 0;  ///< Number of render calls with null data in every buffer, for which the host lends its memory.

 private:
  Status note(const std::string& call, const std::string& details = {}) {
    const platform::RealTimeExemption exemption;
    mCalls += (mCalls.empty() ? "" : " > ") + call + (details.empty() ? "" : " ") + details;
    return answers.contains(call) ? answers.at(call)() : platform::status::success;
  }

  static std::string shown(const StreamDescription& format) {
    const StreamFormat standard = StreamFormat::standard(format.sampleRate, format.channelsPerFrame);
    return (standard.description() == format ? "" : std::to_string(format.bitsPerChannel) + " bits, ") +
           std::to_string(static_cast<int>(format.sampleRate)) + " Hz, " + std::to_string(format.channelsPerFrame);
  }
  static std::string number(Handle file) { return std::to_string(static_cast<int>(file)); }

  void write(platform::LogLevel level, std::string_view line) override {
    logged.push_back((level == platform::LogLevel::error ? "error: " : "warning: ") + std::string(line));
  }
  void setSink(Sink) override {}

  platform::UnitComponent findComponent(const platform::UnitDescription& description) override {
    EXPECT_EQ(description, platform::UnitDescription{.subType = description.subType});
    std::string subType;
    for (const int shift : {24, 16, 8, 0}) subType += static_cast<char>(description.subType >> shift);
    return static_cast<platform::UnitComponent>(note("find", subType) == 0 ? 1 : 0);
  }
  /// Creates the unit 3. If the test has set the answer success, returns success but no unit (0).
  Status createInstance(platform::UnitComponent, UnitInstance& unit) override {
    const Status status = note("create");
    unit = static_cast<UnitInstance>(answers.contains("create") && status == 0 ? 0 : 3);
    return status;
  }
  std::shared_ptr<UnitWrapper> wrap(UnitInstance) override {
    return {std::shared_ptr<void>(), note("wrap") == 0 ? this : nullptr};
  }
  Status initialize(UnitInstance) override { return note("UnitService::initialize"); }
  Status start(UnitInstance) override { return note("UnitService::start"); }
  Status stop(UnitInstance) override { return note("UnitService::stop"); }
  bool isRunning(UnitInstance) const override { return isAudioRunning; }
  platform::UnitLatency latency(UnitInstance) const override { return {}; }
  Status setProperty(UnitInstance, platform::UnitProperty property, platform::UnitScope scope, std::uint32_t element,
                     const void* data, std::uint32_t byteSize) override {
    EXPECT_EQ(std::tuple(property, scope, element, byteSize),
              std::tuple(platform::UnitProperty::sessionIdentifier, platform::UnitScope::global, 0U, 4U));
    return note("setSession", std::to_string(*static_cast<const std::uint32_t*>(data)));
  }
  void dispose(UnitInstance) override { note("UnitService::dispose"); }

  platform::UnitBus& inputBus(std::uint32_t element) override { return element == 1 ? inputHardware : mOutputClient; }
  platform::UnitBus& outputBus(std::uint32_t element) override { return element == 1 ? mInputClient : outputHardware; }
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
  /// Returns the render operation. It lends the captured samples to a tool that provides no memory.
  platform::RenderOperation renderOperation() override {
    return [this](auto& flags, const auto& time, std::uint32_t frames, std::int32_t bus, auto& list, const auto* pull) {
      const platform::RealTimeExemption exemption;
      EXPECT_TRUE(&flags == &mFlags && &time == &mTime && bus == 1 && pull == nullptr);
      EXPECT_EQ(list.bufferCount, captured.size());
      if (std::ranges::all_of(list.buffers(), [](const auto& buffer) { return buffer.data == nullptr; })) ++lent;
      for (std::size_t i = 0; i < captured.size(); ++i) {
        auto& [channels, byteSize, data] = list.buffers()[i];
        EXPECT_TRUE(channels == 1 && byteSize == frames * 4);
        if (data == nullptr) data = captured[i].data();
      }
      return renderStatus;
    };
  }
  void invalidate() override { note("UnitWrapper::invalidate"); }

  Status create(const std::string& path, std::uint32_t fileType, const StreamDescription& format,
                const platform::ChannelLayout* layout, ExistingFile existing, Handle& file) override {
    EXPECT_TRUE(fileType == nativeContainer && layout == nullptr && existing == ExistingFile::erase);
    const Status status = note("ConvertingFile::create", path + ": " + shown(format));
    file = static_cast<Handle>(status == 0 ? ++mFiles : 0);
    return status;
  }
  Status setClientDataFormat(Handle file, const StreamDescription& format) override {
    return note("ConvertingFile setting client format", shown(format) + " of " + number(file));
  }
  Status writeAsync(Handle file, std::uint32_t frames, platform::RenderBufferList*) override {
    return note("write", std::to_string(frames) + " to " + number(file));
  }
  Status dispose(Handle file) override { return note("ConvertingFile::dispose", number(file)); }

  Bus mInputClient{*this, "InputClientFormat", 8000, 3};
  Bus mOutputClient{*this, "OutputClientFormat", 8000, 4};
  const platform::Platform mBefore = platform::current();
  std::string mCalls;
  int mFiles = 0;
  platform::RenderActionFlags mFlags = 0;
  const platform::RenderTimeStamp mTime;
};

}  // namespace orvane::test
