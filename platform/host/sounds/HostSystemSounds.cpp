// SPDX-License-Identifier: MIT
#include "platform/host/sounds/HostSystemSounds.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/DeviceReport.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/Status.h"
#include "platform/host/CallGate.h"
#include "platform/host/convert/BlockConverter.h"

namespace orvane::host {

using platform::Failure;
namespace status = platform::status;

namespace {

const GatedCall playCall("SystemSoundService::play");

std::string notPlayed(std::uint32_t identifier) {
  return "system sound " + std::to_string(identifier) + " is not played";
}

}  // namespace

HostSystemSounds::HostSystemSounds(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub)
    : mContext(std::move(context)),
      mHub(std::move(hub)),
      mSilenceNotices(mContext->notices()),
      mWorker(mContext->scheduler->makeWorker("system sounds")),
      mPlayed(mWorker->makeTrigger([this] { collect(); })),
      mRunEnd(mContext->runEnd.onEnd([this] { runEnded(); })) {}

HostSystemSounds::~HostSystemSounds() {
  // The host may be destroyed inside one of its own tasks, where a client cannot leave while the device is running.
  mHub->shutDown();
  mHub->remove(*this);
  mRunEnd.reset();
  mWorker->cancel();
  // No task runs any more, so the completions are called here.
  {
    const std::lock_guard lock(mMutex);
    abandon();
  }
  collect();
}

std::vector<platform::SystemSound> HostSystemSounds::sounds() const {
  std::vector<platform::SystemSound> result;
  for (const SoundEntry& each : soundTable()) result.push_back({each.identifier, std::string(each.name)});
  return result;
}

// ---- callers

void HostSystemSounds::play(std::uint32_t identifier, const platform::SystemSoundOptions&,
                            std::function<void()> completion) {
  const SoundEntry* const sound = findSound(identifier);
  if (sound == nullptr) {
    mContext->log->write(platform::LogLevel::warning, notPlayed(identifier) + ": there is no such sound");
    return completeSoon(std::move(completion));
  }
  std::optional<Failure> failure;
  if (const Refusal* refusal = mContext->gate->refusal(playCall)) failure = {refusal->status, refusal->reason};
  if (!failure) failure = join();
  if (!failure) {
    const std::lock_guard lock(mMutex);
    failure = begin({sound, completion});
  }
  if (failure) {
    refuse(notPlayed(identifier), *std::move(failure));
    return completeSoon(std::move(completion));
  }
  // The notice of an end that came after `join` may have found no sound yet.
  runEnded();
}

/// Joins the hub if this was not done yet or the run has ended since.
std::optional<Failure> HostSystemSounds::join() {
  const std::lock_guard lock(mJoining);
  const backend::DeviceFormat format = mHub->format();
  if (mHub->hasDevice() && format.outputs == 0) return Failure{status::noDevice, "the hardware has no output"};
  if (mJoined && mContext->runEnd.end() == platform::DeviceEnd::none) return std::nullopt;
  if (std::exchange(mJoined, false)) {
    mHub->remove(*this);
    // If the hub refuses what follows, nobody else ends the sounds of the run before.
    endSounds();
  }
  if (auto failure = mHub->checkAvailable()) return failure;
  if (format.sampleRate <= 0) return Failure{status::noDevice, "the hardware reports no sample rate"};
  if (auto failure = mHub->add(*this)) return failure;
  mJoined = true;
  return std::nullopt;
}

/// Lets a sound play in a free voice, or wait for one. Called with the mutex locked.
std::optional<Failure> HostSystemSounds::begin(Request request) {
  const auto voice = std::ranges::find_if(mVoices, [](const Voice& each) { return each.state == State::free; });
  if (voice == mVoices.end()) {
    if (mWaiting.size() == maxWaiting) {
      return Failure{status::overrun, std::to_string(maxWaiting) + " sounds are waiting already"};
    }
    mWaiting.push_back(std::move(request));
    ++mActive;
    return std::nullopt;
  }
  if (auto failure = prepare(*voice, *request.sound)) return failure;
  voice->position = 0;
  voice->framesSinceEnd = 0;
  voice->latency = mHub->latency().output;
  voice->completion = std::move(request.completion);
  voice->failure.reset();
  voice->state.store(State::playing, std::memory_order_release);
  ++mActive;
  return std::nullopt;
}

/// Converts a sound's samples to the format of the hardware. Called with the mutex locked.
std::optional<Failure> HostSystemSounds::prepare(Voice& voice, const SoundEntry& sound) {
  if (mFormat.outputs == 0) return Failure{status::noDevice, "the hardware has no output"};
  try {
    SoundSamples& source = samplesOf(sound);
    const EdgeFormat hardware{mFormat.outputs, mFormat.sampleRate};
    auto samples = std::make_unique<PlanarFifo>(hardware.channels);
    BlockConverter converter(source.format, hardware);
    converter.convert(source.samples.planes(), source.samples.frames(), *samples);
    converter.finish(*samples);
    const auto planes = samples->planes();
    voice.planes.assign(planes.begin(), planes.end());
    voice.samples = std::move(samples);
    voice.sound = &sound;
    return std::nullopt;
  } catch (const std::exception& failure) {
    return Failure{status::ioFailure, failure.what()};
  }
}

/// Returns the samples of a sound, which are loaded at its first use. Called with the mutex locked.
SoundSamples& HostSystemSounds::samplesOf(const SoundEntry& sound) {
  const auto loaded = std::ranges::find(mLoaded, &sound, &Loaded::sound);
  if (loaded != mLoaded.end()) return loaded->samples;
  if (const auto path = findThemeFile(sound.name)) {
    auto samples = readSoundSamples(*path);
    if (samples) return mLoaded.emplace_back(Loaded{&sound, std::move(*samples)}).samples;
    mContext->log->write(platform::LogLevel::warning,
                         "a system sound is synthesised, because " + samples.failure().reason);
  }
  return mLoaded.emplace_back(Loaded{&sound, synthesiseSound(sound)}).samples;
}

/// Logs and stores why a sound is not played, or not to its end. `sound` is the beginning of the message. Called with
/// the mutex unlocked, because a log's sink may call the service.
void HostSystemSounds::refuse(const std::string& sound, Failure failure) const {
  failure.call = playCall.name();
  failure.reason = sound + ": " + failure.reason;
  mContext->refuse(std::move(failure));
}

void HostSystemSounds::completeSoon(std::function<void()> completion) {
  {
    const std::lock_guard lock(mMutex);
    ++mActive;
    mEnded.push_back(std::move(completion));
  }
  mPlayed->fire();
}

bool HostSystemSounds::waitUntilSilent(platform::HostTime limit) {
  const std::shared_ptr<platform::Waiter> silent = mContext->scheduler->makeWaiter();
  {
    const std::lock_guard lock(mMutex);
    if (mActive == 0) return true;
    mSilenceWaiters.push_back(silent);
  }
  return silent->wait(limit);
}

platform::Subscription HostSystemSounds::onSilent(std::function<void()> notice) {
  return mSilenceNotices.subscribe(std::move(notice), false);
}

// ---- the device

std::optional<Failure> HostSystemSounds::deviceChanged(const backend::DeviceFormat& format) {
  const std::lock_guard lock(mMutex);
  // A new run must not go on with the sounds of the one before.
  for (Voice& voice : mVoices) {
    if (voice.sound == nullptr) voice.state = State::free;
  }
  if (format == mFormat) return std::nullopt;
  const double ratio = mFormat.sampleRate > 0 ? format.sampleRate / mFormat.sampleRate : 1;
  mFormat = format;
  mSlice = std::make_unique<AlignedSamples>(format.outputs, backend::DeviceFormat::maxSliceFrames);
  for (Voice& voice : mVoices) {
    if (voice.state != State::playing) continue;
    // A sound that cannot be played any more ends; it must not end the run of the other clients.
    if ((voice.failure = prepare(voice, *voice.sound))) {
      voice.state = State::played;
      mPlayed->fire();
      continue;
    }
    const auto position = static_cast<std::size_t>(static_cast<double>(voice.position) * ratio);
    voice.position = std::min(position, voice.samples->frames());
  }
  return std::nullopt;
}

/// The sounds of the run before may not have been abandoned yet, because the notice of its end comes late. After a
/// start that failed, sounds may wait for a run that does not come.
void HostSystemSounds::newRun() {
  const std::lock_guard lock(mMutex);
  abandon();
}

const char* HostSystemSounds::deviceSlice(const HubSlice& slice, OutputMix& mix) {
  bool hasPlayed = false;
  for (Voice& voice : mVoices) {
    if (voice.state.load(std::memory_order_acquire) != State::playing) continue;
    if (mixVoice(voice, slice.frames, mix)) continue;
    voice.state.store(State::played, std::memory_order_release);
    hasPlayed = true;
  }
  if (hasPlayed) mPlayed->fire();
  return nullptr;
}

/// Adds the next frames of a voice to the output. Returns false if the last one has been heard.
bool HostSystemSounds::mixVoice(Voice& voice, std::uint32_t frames, OutputMix& mix) {
  const std::size_t left = voice.samples->frames() - voice.position;
  if (left == 0) {
    voice.framesSinceEnd += frames;
    return voice.framesSinceEnd <= voice.latency;
  }
  const std::size_t count = std::min<std::size_t>(left, frames);
  for (std::uint32_t channel = 0; channel < mix.channels(); ++channel) {
    float* const samples = mSlice->plane(channel);
    std::copy_n(voice.planes[channel] + voice.position, count, samples);
    std::fill(samples + count, samples + frames, 0.0F);
    mix.add(channel, samples);
  }
  voice.position += count;
  return true;
}

// ---- the worker

/// Frees the voices that have played, lets waiting sounds play in them, and calls the completions.
void HostSystemSounds::collect() {
  std::vector<std::function<void()>> completions;
  std::vector<std::pair<std::string, Failure>> failures;
  {
    const std::lock_guard lock(mMutex);
    completions.swap(mEnded);
    for (Voice& voice : mVoices) {
      if (voice.state.load(std::memory_order_acquire) != State::played) continue;
      if (voice.sound != nullptr && voice.failure) {
        failures.emplace_back("system sound " + std::to_string(voice.sound->identifier) + " is cut short",
                              *std::move(voice.failure));
      }
      if (voice.sound != nullptr) completions.push_back(std::move(voice.completion));
      voice.samples.reset();
      voice.state = State::free;
    }
    while (!mWaiting.empty() &&
           std::ranges::any_of(mVoices, [](const Voice& each) { return each.state == State::free; })) {
      Request next = std::move(mWaiting.front());
      mWaiting.pop_front();
      --mActive;  // `begin` counts it again.
      if (auto failure = begin(next)) {
        ++mActive;
        failures.emplace_back(notPlayed(next.sound->identifier), *std::move(failure));
        completions.push_back(std::move(next.completion));
      }
    }
  }
  for (auto& [sound, failure] : failures) refuse(sound, std::move(failure));
  complete(completions);
}

/// Abandons all sounds if the run has ended.
void HostSystemSounds::runEnded() {
  // A notice may come late, when a new run has begun.
  endSounds([this] { return mContext->runEnd.end() != platform::DeviceEnd::none; });
}

/// Abandons all sounds if `isDue`, which is called with the mutex locked, returns true.
void HostSystemSounds::endSounds(const std::function<bool()>& isDue) {
  bool areCut = false;
  {
    const std::lock_guard lock(mMutex);
    areCut = isDue() && abandon();
  }
  if (areCut && mContext->runEnd.failure()) {
    mContext->log->write(platform::LogLevel::error, "system sounds were cut short: the audio device stopped");
  }
}

/// Lets the worker complete all sounds. The device callback may still read their samples, so their voices become free
/// only before the next start of the device. Called with the mutex locked. Returns whether a sound was cut short.
bool HostSystemSounds::abandon() {
  bool areCut = !mWaiting.empty();
  for (Voice& voice : mVoices) {
    if (voice.state == State::free || voice.sound == nullptr) continue;
    areCut = areCut || voice.state == State::playing;
    voice.sound = nullptr;
    mEnded.push_back(std::exchange(voice.completion, nullptr));
  }
  for (Request& request : mWaiting) mEnded.push_back(std::move(request.completion));
  mWaiting.clear();
  if (!mEnded.empty()) mPlayed->fire();
  return areCut;
}

/// Calls completions and counts their sounds as finished.
void HostSystemSounds::complete(const std::vector<std::function<void()>>& completions) {
  for (const auto& completion : completions) {
    if (completion) completion();
  }
  std::vector<std::shared_ptr<platform::Waiter>> waiters;
  {
    const std::lock_guard lock(mMutex);
    mActive -= completions.size();
    if (mActive == 0) waiters.swap(mSilenceWaiters);
    if (mActive == 0 && !completions.empty()) mSilenceNotices.announce();
  }
  for (const auto& waiter : waiters) waiter->signal();
}

}  // namespace orvane::host
