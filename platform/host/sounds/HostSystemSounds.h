// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/PlatformError.h"
#include "platform/Subscription.h"
#include "platform/SystemSoundService.h"
#include "platform/Waiter.h"
#include "platform/Worker.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AlignedSamples.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/audio/HubClient.h"
#include "platform/host/convert/PlanarFifo.h"
#include "platform/host/report/Notices.h"
#include "platform/host/sounds/SoundSamples.h"
#include "platform/host/sounds/SoundTable.h"

namespace orvane::host {

/// The host's implementation of `platform::SystemSoundService`: one permanent client of the audio hub that mixes the
/// sounds that are playing.
///
/// A sound plays in a voice. Callers fill a free voice, the device callback plays it, and the worker frees it and calls
/// the completion. A voice's state says whose it is. If all voices are busy, sounds wait for the next free one.
class HostSystemSounds final : public platform::SystemSoundService, private HubClient {
 public:
  HostSystemSounds(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub);
  /// Stops the device. Sounds that are playing complete.
  ~HostSystemSounds() override;

  void play(std::uint32_t identifier, const platform::SystemSoundOptions& options,
            std::function<void()> completion) override;
  bool waitUntilSilent(platform::HostTime limit) override;
  platform::Subscription onSilent(std::function<void()> notice) override;
  std::vector<platform::SystemSound> sounds() const override;

 private:
  static constexpr std::size_t maxVoices = 32;
  static constexpr std::size_t maxWaiting = 1000;

  enum class State {
    free,     ///< Belongs to callers, with the mutex locked.
    playing,  ///< Belongs to the device callback.
    played,   ///< Belongs to the worker, with the mutex locked.
  };
  struct Voice {
    std::atomic<State> state = State::free;
    const SoundEntry* sound = nullptr;    ///< Null if the sound was abandoned because the run ended.
    std::unique_ptr<PlanarFifo> samples;  ///< In the format of the hardware.
    std::vector<const float*> planes;
    std::size_t position = 0;          ///< The frame that is played next.
    std::uint32_t framesSinceEnd = 0;  ///< Frames in the slices behind that of the last frame.
    std::uint32_t latency = 0;         ///< The time from the mix until a frame is heard, in frames.
    std::function<void()> completion;
    std::optional<platform::Failure> failure;  ///< The reason why the sound was cut short in the middle of a run.
  };
  /// The samples of a sound that was played before.
  struct Loaded {
    const SoundEntry* sound;
    SoundSamples samples;
  };
  /// A sound that waits for a free voice.
  struct Request {
    const SoundEntry* sound = nullptr;
    std::function<void()> completion;
  };

  const char* deviceSlice(const HubSlice& slice, OutputMix& mix) override;
  bool takesInput() const override { return false; }
  bool holdsRun() const override { return false; }
  void newRun() override;
  std::optional<platform::Failure> deviceChanged(const backend::DeviceFormat& format) override;
  bool mixVoice(Voice& voice, std::uint32_t frames, OutputMix& mix);

  std::optional<platform::Failure> join();
  std::optional<platform::Failure> prepare(Voice& voice, const SoundEntry& sound);
  std::optional<platform::Failure> begin(Request request);
  SoundSamples& samplesOf(const SoundEntry& sound);
  void collect();
  void runEnded();
  void endSounds(const std::function<bool()>& isDue = [] { return true; });
  bool abandon();
  void complete(const std::vector<std::function<void()>>& completions);
  void completeSoon(std::function<void()> completion);
  void refuse(const std::string& sound, platform::Failure failure) const;

  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<AudioHub> mHub;

  std::mutex mJoining;  ///< Serialises joining the hub.
  bool mJoined = false;

  std::mutex mMutex;
  std::deque<Loaded> mLoaded;
  std::deque<Request> mWaiting;
  std::vector<std::function<void()>> mEnded;  ///< Completions of sounds that are not played, or not to their end.
  std::size_t mActive = 0;                    ///< Sounds whose completion was not called yet.
  std::vector<std::shared_ptr<platform::Waiter>> mSilenceWaiters;
  Notices mSilenceNotices;
  backend::DeviceFormat mFormat;
  std::unique_ptr<AlignedSamples> mSlice;  ///< Used by the device callback.
  std::array<Voice, maxVoices> mVoices;

  std::unique_ptr<platform::Worker> mWorker;
  std::unique_ptr<platform::Trigger> mPlayed;
  platform::Subscription mRunEnd;
};

}  // namespace orvane::host
