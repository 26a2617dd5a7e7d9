// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "platform/Clock.h"
#include "platform/PlatformError.h"
#include "platform/RenderBufferList.h"
#include "platform/Status.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/audio/HubClient.h"
#include "platform/host/audio/OutputMix.h"
#include "platform/host/convert/InputEdge.h"
#include "platform/host/convert/OutputEdge.h"
#include "platform/host/sessions/SessionBinding.h"

namespace orvane::host {

/// An I/O unit: a client of the audio hub that captures and plays, with a separate client format for input and output.
/// `platform::UnitService`, `UnitBus` and `UnitWrapper` describe its operations.
///
/// Control operations may be called from any thread, one at a time; they are not real-time safe. The closures (input
/// handler, output provider) run on the device callback.
class IoUnit final : public HubClient {
 public:
  IoUnit(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub);
  /// Stops the unit.
  ~IoUnit() override;

  platform::Status initialize();
  platform::Status start();
  // Like the operations above, but a failure is returned and neither logged nor stored.
  std::optional<platform::Failure> tryInitialize();
  std::optional<platform::Failure> tryStart();
  platform::Status stop();
  bool isRunning() const { return mRunning; }
  platform::Status bind(std::uint32_t session) { return mSession.bind(session); }

  platform::StreamFormat hardwareInput() const { return mHub->format().inputFormat(); }
  platform::StreamFormat hardwareOutput() const { return mHub->format().outputFormat(); }
  const platform::StreamFormat& clientInput() const { return mClientInput; }
  const platform::StreamFormat& clientOutput() const { return mClientOutput; }
  std::optional<platform::PlatformError> setClientInput(const platform::StreamFormat& format);
  std::optional<platform::PlatformError> setClientOutput(const platform::StreamFormat& format);

  /// Makes a running unit use the input, or the input and the output, or no longer; the device is not interrupted. A
  /// slice that began before has ended when the function returns. Fails, and changes nothing, if the session's category
  /// or the hardware lacks a side that is added. Without effect on the next start, which `setInputEnabled` and
  /// `setOutputEnabled` determine.
  std::optional<platform::Failure> useInput(bool uses) { return useSides(uses, mUsesOutput); }
  std::optional<platform::Failure> useOutput(bool uses) { return useSides(mUsesInput, uses); }

  void setInputEnabled(bool enabled) { mInputEnabled = enabled; }
  void setOutputEnabled(bool enabled) { mOutputEnabled = enabled; }
  void setInputHandler(platform::InputHandler handler);
  void setOutputProvider(platform::OutputProvider provider);

  /// Returns the latency determined by the last start (0 before the first start) plus that which the hardware reports.
  /// Thread-safe.
  platform::UnitLatency latency() const;

  /// Returns the captured samples, one plane (array) for each channel. Must be called inside the input handler.
  /// Real-time safe.
  std::span<const float* const> captured() const { return mInput->planes(); }
  /// Renders captured input into `list`, see `platform::RenderOperation`. Real-time safe.
  platform::Status render(std::uint32_t frames, std::int32_t bus, platform::RenderBufferList& list);

 private:
  static constexpr std::int32_t inputBus = 1;

  const char* deviceSlice(const HubSlice& slice, OutputMix& mix) override;
  bool takesInput() const override { return mUsesInput; }
  bool givesOutput() const override { return mUsesOutput; }
  std::optional<backend::SessionLabels> session() const override { return mSession.labels(); }
  std::optional<platform::Failure> deviceChanged(const backend::DeviceFormat& format) override;
  platform::Status statusOf(std::optional<platform::Failure> failure, const char* call);
  void handInput(platform::HostTime time);
  std::optional<platform::Failure> whyNotStart() const;
  std::optional<platform::Failure> useSides(bool input, bool output);
  std::optional<platform::Failure> makeEdges(const backend::DeviceFormat& hardware);
  std::optional<platform::Failure> addEdges(const backend::DeviceFormat& hardware, bool input, bool output,
                                            std::uint64_t inputFrames = 0, std::uint64_t outputFrames = 0);
  std::optional<platform::Failure> whyNotFormat(const platform::StreamFormat& format) const;
  std::optional<platform::PlatformError> refusalOfFormat(const platform::StreamFormat& format);
  template <typename Change>
  void changeWhileNotCalled(Change change);

  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<AudioHub> mHub;
  SessionBinding mSession;
  platform::StreamFormat mClientInput;
  platform::StreamFormat mClientOutput;
  bool mInitialized = false;
  std::atomic<bool> mRunning = false;  ///< Set on the caller's thread; read on any thread.
  bool mInputEnabled = false;          ///< The setting for the next start.
  bool mOutputEnabled = true;
  bool mUsesInput = false;  ///< The setting in force. Changed while the unit is running only by `useSides`.
  bool mUsesOutput = false;
  platform::InputHandler mInputHandler;
  platform::OutputProvider mOutputProvider;

  std::atomic<std::uint32_t> mInputLatency = 0;
  std::atomic<std::uint32_t> mOutputLatency = 0;

  // The members below are used by the callback. They are created at the start, before the first callback, and again
  // when the device's format changes. An edge that is added while the unit is running becomes visible to the callback
  // with the atomic pointer to it.
  backend::DeviceFormat mEdgesFormat;
  std::unique_ptr<InputEdge> mInput;
  std::unique_ptr<OutputEdge> mOutput;
  std::atomic<InputEdge*> mActiveInput = nullptr;
  std::atomic<OutputEdge*> mActiveOutput = nullptr;
  platform::HostTime mLastTime{};  ///< Time of the last slice.
  bool mInsideSlice = false;
};

}  // namespace orvane::host
