#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/Log.h"
#include "platform/PlatformSession.h"
#include "platform/Report.h"
#include "platform/UnitService.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/convert/InputEdge.h"
#include "platform/host/convert/OutputEdge.h"

namespace orvane::host {

/// One I/O unit: a duplex client of the hub with a format of its own on each side.
///
/// Control calls come from the caller's thread, one at a time. The closures run on the device callback.
class IoUnit final : public HubClient {
 public:
  IoUnit(std::shared_ptr<AudioHub> hub, std::shared_ptr<platform::Log> log);
  /// Stops.
  ~IoUnit() override;

  platform::Status initialize();
  platform::Status start();
  platform::Status stop();
  bool isRunning() const { return mRunning; }
  void bind(std::shared_ptr<platform::PlatformSession> session) { mSession = std::move(session); }

  platform::StreamFormat hardwareInput() const;
  platform::StreamFormat hardwareOutput() const;
  const platform::StreamFormat& clientInput() const { return mClientInput; }
  const platform::StreamFormat& clientOutput() const { return mClientOutput; }
  std::optional<platform::PlatformError> setClientInput(const platform::StreamFormat& format);
  std::optional<platform::PlatformError> setClientOutput(const platform::StreamFormat& format);

  void setInputEnabled(bool enabled) { mInputEnabled = enabled; }
  void setOutputEnabled(bool enabled) { mOutputEnabled = enabled; }
  void setInputHandler(platform::InputHandler handler);
  void setOutputProvider(platform::OutputProvider provider);

  /// What the client's formats cost; 0 before the first start.
  platform::UnitLatency latency() const;

  /// What the unit's render operation does. On the device callback, inside a closure of this unit.
  platform::Status render(std::uint32_t frames, std::int32_t bus, platform::RenderBufferList& list);

 private:
  static constexpr std::int32_t inputBus = 1;

  void deviceSlice(const DeviceSlice& slice, OutputMix& mix) override;
  bool takesInput() const override { return mInput != nullptr; }
  void handInput(platform::HostTime time);
  platform::Status mayStart() const;
  void makeEdges();
  platform::Status refuse(platform::Status refusal, const std::string& reason) const;
  std::optional<platform::PlatformError> checkClientFormat(const platform::StreamFormat& format) const;
  template <typename Change>
  void changeWhileNotCalled(Change change);

  std::shared_ptr<AudioHub> mHub;
  std::shared_ptr<platform::Log> mLog;
  std::shared_ptr<platform::PlatformSession> mSession;
  platform::StreamFormat mClientInput;
  platform::StreamFormat mClientOutput;
  bool mInitialized = false;
  std::atomic<bool> mRunning = false;  ///< Set by the caller's thread, asked for on any.
  bool mInputEnabled = false;
  bool mOutputEnabled = true;
  platform::InputHandler mInputHandler;
  platform::OutputProvider mOutputProvider;

  // What the callback works with; made at start, before the hub calls.
  std::unique_ptr<InputEdge> mInput;
  std::unique_ptr<OutputEdge> mOutput;
  platform::HostTime mLastTime{};  ///< Of the last slice.
  bool mInsideSlice = false;
};

}  // namespace orvane::host
