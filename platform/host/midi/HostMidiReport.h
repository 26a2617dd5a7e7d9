// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "platform/MidiReport.h"
#include "platform/host/midi/MidiHub.h"

namespace orvane::host {

/// The host's implementation of `platform::MidiReport`, based on the state of the hub.
class HostMidiReport final : public platform::MidiReport {
 public:
  explicit HostMidiReport(std::shared_ptr<MidiHub> hub) : mHub(std::move(hub)) {}

  std::optional<platform::Failure> whyUnavailable() const override { return mHub->whyUnavailable(); }
  platform::MidiCount sent() const override { return mHub->sent(); }
  platform::MidiCount received() const override { return mHub->inbox().delivered(); }
  std::uint64_t dropped() const override { return mHub->dropped(); }
  std::uint64_t discontinuities() const override { return mHub->discontinuities(); }
  bool isActive() const override { return mHub->isActive(); }
  bool inputEnded() const override { return mHub->inputEnded(); }
  std::optional<platform::Failure> failure() const override { return mHub->failure(); }
  platform::Subscription onActivityEnd(std::function<void()> notice) override {
    return mHub->onActivityEnd(std::move(notice));
  }

 private:
  const std::shared_ptr<MidiHub> mHub;
};

}  // namespace orvane::host
