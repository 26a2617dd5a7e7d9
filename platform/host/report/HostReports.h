// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/DeviceReport.h"
#include "platform/FileReport.h"
#include "platform/PlatformError.h"
#include "platform/RunControl.h"
#include "platform/StreamFormat.h"
#include "platform/Subscription.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AudioHub.h"

namespace orvane::host {

// The host's implementations of the reporting roles (`DeviceReport`, `RunControl`, `FileReport`), based on the state of
// the hub and the context.

class HostDeviceReport final : public platform::DeviceReport {
 public:
  HostDeviceReport(std::string hostName, std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub)
      : mHostName(std::move(hostName)), mContext(std::move(context)), mHub(std::move(hub)) {}

  std::string hostName() const override { return mHostName; }
  platform::StreamFormat hardwareInput() const override { return mHub->format().inputFormat(); }
  platform::StreamFormat hardwareOutput() const override { return mHub->format().outputFormat(); }
  std::uint32_t sliceFrames() const override { return mHub->format().sliceFrames; }
  std::vector<platform::AudioEndpoint> endpoints(platform::AudioSide side) const override {
    return mHub->endpoints(side);
  }
  std::optional<platform::Failure> whyUnavailable() const override { return mHub->whyUnavailable(); }
  platform::RunCount runCount() const override;
  platform::DeviceEnd deviceEnd() const override { return mContext->runEnd.end(); }
  std::optional<platform::Failure> deviceFailure() const override { return mContext->runEnd.failure(); }
  std::optional<platform::Failure> lastRefusal() const override { return mContext->lastRefusal(); }

 private:
  const std::string mHostName;
  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<AudioHub> mHub;
};

class HostRunControl final : public platform::RunControl {
 public:
  HostRunControl(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub)
      : mContext(std::move(context)), mHub(std::move(hub)) {}

  void endAfterFrames(std::uint64_t frames) override { mHub->endAfterFrames(frames); }
  void endRun() override { mHub->endRun(); }
  platform::Subscription onDeviceEnd(std::function<void()> notice) override {
    return mContext->runEnd.onEnd(std::move(notice));
  }
  platform::Subscription onWriteFailure(std::function<void()> notice) override {
    return mContext->writeFailures.onFirst(std::move(notice));
  }

 private:
  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<AudioHub> mHub;
};

class HostFileReport final : public platform::FileReport {
 public:
  explicit HostFileReport(std::shared_ptr<HostContext> context) : mContext(std::move(context)) {}

  std::vector<platform::WrittenFile> writtenFiles() const override { return mContext->files.written(); }
  std::optional<platform::Failure> writeFailure() const override { return mContext->writeFailures.first(); }

 private:
  const std::shared_ptr<HostContext> mContext;
};

}  // namespace orvane::host
