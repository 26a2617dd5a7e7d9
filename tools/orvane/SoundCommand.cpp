// SPDX-License-Identifier: MIT
#include "tools/orvane/SoundCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "platform/DeviceReport.h"
#include "platform/EventLoop.h"
#include "platform/RunControl.h"
#include "platform/Scheduler.h"
#include "platform/Subscription.h"
#include "platform/SystemSoundService.h"
#include "platform/Value.h"
#include "platform/Waiter.h"
#include "sound/OVSystemSound.h"
#include "tools/orvane/AudioRun.h"
#include "tools/orvane/report/ExitStatus.h"
#include "tools/orvane/report/FailureReason.h"
#include "tools/orvane/report/StandardStreams.h"

namespace orvane::tool {

namespace {

std::optional<std::uint64_t> parseIdentifier(const std::string& text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// A system sound that a run plays to its end.
class SoundSubject final : public RunSubject {
 public:
  SoundSubject(const platform::Platform& host, std::uint64_t identifier, bool waits)
      : mHost(host), mIdentifier(identifier), mWaits(waits) {}

  void prepare() override { mSound = OVSystemSound::initWithID(mIdentifier); }
  void start() override;
  void stop() override;
  void release() override {
    mOnSignal.reset();
    mOnSilent.reset();
    mSound.reset();
  }
  ClientSide client() const override { return {}; }
  bool isFinished() const override { return !mIsInterrupted; }
  std::optional<Outcome> failure() const override;

 private:
  void endRun() const {
    mHost.runControl->endAfterFrames(1);  // Also ends a run that is about to begin.
    mHost.runControl->endRun();
  }

  const platform::Platform& mHost;
  const std::uint64_t mIdentifier;
  const bool mWaits;
  std::shared_ptr<OVSystemSound> mSound;
  std::atomic<bool> mIsInterrupted = false;
  platform::Subscription mOnSignal;
  platform::Subscription mOnSilent;
};

/// Lets the event loop play the sound, so that the run has begun when the call that waits for the sound blocks.
void SoundSubject::start() {
  // A signal ends the run of the device, which completes the sound.
  mOnSignal = mHost.eventLoop->onSignal([this](int) {
    mIsInterrupted = true;
    endRun();
  });
  mOnSilent = mHost.systemSounds->onSilent([loop = mHost.eventLoop] { loop->stop(); });
  mHost.eventLoop->post([this] { mWaits ? mSound->playAndWait() : mSound->play(); });
}

/// Ends the run of the device, which the service would keep running, so that its counts are final.
void SoundSubject::stop() {
  if (mHost.deviceReport->runCount().frames == 0) return;
  const std::shared_ptr<platform::Waiter> ended = mHost.scheduler->makeWaiter();
  const auto notice = mHost.runControl->onDeviceEnd([ended] { ended->signal(); });
  endRun();
  ended->wait(platform::Waiter::forever);
}

std::optional<Outcome> SoundSubject::failure() const {
  const auto refusal = mHost.deviceReport->lastRefusal();
  if (!refusal || refusal->call != "SystemSoundService::play") return std::nullopt;
  return refused(mHost, {refusal->reason, refusal->status});
}

}  // namespace

SoundCommand::SoundCommand(CLI::App& parent) : Command(parent, "sound", "Play a numbered system sound") {
  options()
      .add_option_function<std::string>(
          "ID", [this](const std::string& text) { mIdentifier = parseIdentifier(text); }, "Number of the sound")
      ->type_name("")
      ->check([](const std::string& text) {
        return parseIdentifier(text) ? std::string()
                                     : "\"" + text + "\" is no number of a sound; see 'orvane sound --list'";
      });
  options().add_flag("--wait", mWait, "Use the library's operation that waits for the end of the sound");
  options().add_flag("--list", mList, "List the sounds instead");
  options().footer(
      "Ends when the sound has been played, with or without --wait. Ctrl-C ends it at once. A "
      "number without a sound plays nothing.\n\n"
      "Example:\n"
      "  orvane --simulate speaker=a.wav,pace=fast sound 6 --wait");
}

Outcome SoundCommand::run(const Invocation& invocation) {
  if (mList) return list(invocation);
  if (!mIdentifier) throw ToolError(ExitStatus::usageError, "sound: a number is needed (see 'orvane sound --list')");
  const auto played = static_cast<std::uint32_t>(*mIdentifier);
  const auto sounds = invocation.host.systemSounds->sounds();
  if (std::ranges::find(sounds, played, &platform::SystemSound::identifier) == sounds.end()) {
    say("no system sound has the number " + std::to_string(played) + "; nothing is played");
  }
  SoundSubject subject(invocation.host, *mIdentifier, mWait);
  const AudioRun run{.output = true,
                     .activity = "playing system sound " + std::to_string(played) + " on the output of the " +
                                 invocation.host.deviceReport->hostName() + " host",
                     .seconds = {}};
  return perform(invocation, run, subject);
}

Outcome SoundCommand::list(const Invocation& invocation) const {
  platform::Value::Array list;
  for (const platform::SystemSound& each : invocation.host.systemSounds->sounds()) {
    list.push_back(platform::Value::dictionary({{"id", each.identifier}, {"name", each.name}}));
    if (!invocation.json) std::printf("%-3u %s\n", each.identifier, each.name.c_str());
  }
  return {.members = platform::Value::dictionary({{"sounds", std::move(list)}})};
}

}  // namespace orvane::tool
