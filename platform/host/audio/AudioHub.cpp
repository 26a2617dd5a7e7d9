// SPDX-License-Identifier: MIT
#include "platform/host/audio/AudioHub.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include "platform/RealTime.h"
#include "platform/Status.h"
#include "platform/host/ExitHook.h"
#include "platform/host/time/NoWait.h"

namespace orvane::host {

using namespace std::chrono_literals;
using backend::DeviceFormat;
using backend::DeviceSlice;
using platform::DeviceEnd;
using platform::Failure;
namespace status = platform::status;

AudioHub::AudioHub(std::shared_ptr<HostContext> context, std::unique_ptr<backend::AudioDevice> device)
    : mContext(std::move(context)),
      mDevice(std::move(device)),
      mReleased(mContext->scheduler->makeWaiter()),
      mWorker(mContext->scheduler->makeWorker("audio hub")),
      mStallWatch(mContext->scheduler->clock(), *mWorker, [this] { deviceStalled(); }),
      mReleaseTrigger(mWorker->makeTrigger([this] { mReleased->signal(); })),
      mFinishTrigger(mWorker->makeTrigger([this] { withControlSoon([this] { finishRun(); }); })),
      mClients(std::make_unique<const Clients>()),
      mPublished(mClients.get()) {
  ExitHook::add(this, [this] { stopAtExit(); });
}

AudioHub::~AudioHub() {
  ExitHook::remove(this);
  shutDown();
  mWorker->cancel();
}

void AudioHub::shutDown() {
  const std::lock_guard lock(mControl);
  mIsShutDown = true;
  stopDevice();
}

/// Stops the device at exit. A task that calls `exit` must not wait for the lock, because the thread that holds the
/// lock may be waiting for this task.
void AudioHub::stopAtExit() {
  std::unique_lock lock(mControl, std::defer_lock);
  NoWaitSection::isInTask() || NoWaitSection::isInCallback() ? void(lock.try_lock()) : lock.lock();
  stopDevice();
}

// ---- queries

DeviceFormat AudioHub::format() const {
  if (!mDevice) return {};
  const std::lock_guard lock(mFormatMutex);
  return mRunningFormat ? *mRunningFormat : mDevice->format();
}

std::optional<Failure> AudioHub::whyUnavailable() const {
  return mDevice ? mDevice->whyUnavailable() : Failure{status::noDevice, "there is no audio device"};
}

std::vector<platform::AudioEndpoint> AudioHub::endpoints(platform::AudioSide side) const {
  return mDevice ? mDevice->endpoints(side) : std::vector<platform::AudioEndpoint>();
}

std::optional<Failure> AudioHub::checkAvailable() {
  auto failure = whyUnavailable();
  if (failure) mContext->runEnd.set(DeviceEnd::failed, failure);
  return failure;
}

platform::RunCount AudioHub::runCount() const {
  return {.frames = mFrames.frames(),
          .sampleRate = mFrames.rate(),
          .discontinuities = mDiscontinuities,
          .maxSliceFrames = mMaxSliceFrames};
}

bool AudioHub::isOver() const {
  return mContext->runEnd.end() != DeviceEnd::none || mEndOnCallback != DeviceEnd::none;
}

// ---- control

void AudioHub::forbidHere(const char* what) const {
  forbidInsideCallback(what);
  // In real time the operation would only rarely wait for the callback. It is always forbidden, so that tests detect
  // the error reliably.
  if (mStarted && !isOver()) forbidInsideNoWait(what);
}

std::optional<Failure> AudioHub::add(HubClient& client) {
  forbidHere("a start of an audio client");
  const std::lock_guard lock(mControl);
  if (!mDevice || mIsShutDown) return Failure{status::noDevice, "there is no audio device"};
  const bool isHeld = std::ranges::any_of(*mClients, [](const HubClient* each) { return each->holdsRun(); });
  if (auto failure = failureOfRun(); failure && isHeld) return failure;
  if (mStarted && isOver()) stopDevice();
  // The format may have changed since the client read it.
  if (mStarted) {
    if (auto failure = client.deviceChanged(mFormat)) return failure;
  }
  auto clients = std::make_unique<Clients>(*mClients);
  clients->push_back(&client);
  useSidesOf(*clients);
  awaitUnread(publish(std::move(clients)));
  // The run may have ended before the callback read the new list. In this case start the device again, as if `add` had
  // been called after the end.
  if (mStarted && !isOver()) return std::nullopt;
  stopDevice();
  auto failure = failureOfRun();
  if (!failure || !isHeld) failure = startDevice();
  if (failure) {
    auto others = without(client);
    useSidesOf(*others);
    awaitUnread(publish(std::move(others)));
  }
  return failure;
}

/// Returns the failure of the run, which stays failed as long as it has clients that hold it. Announces an end that the
/// callback has requested.
std::optional<Failure> AudioHub::failureOfRun() {
  finishRun();
  return mContext->runEnd.failure();
}

void AudioHub::remove(HubClient& client) {
  forbidHere("a stop of an audio client");
  const std::lock_guard lock(mControl);
  if (std::ranges::find(*mClients, &client) == mClients->end()) return;
  // Stop the device before removing its last client, so that no slice runs without clients.
  if (mClients->size() == 1) stopDevice();
  auto others = without(client);
  useSidesOf(*others);
  awaitUnread(publish(std::move(others)));
}

std::optional<Failure> AudioHub::change(const std::function<std::optional<Failure>(const DeviceFormat&)>& prepare) {
  forbidHere("a change of an audio client");
  const std::lock_guard lock(mControl);
  if (!mDevice) return Failure{status::noDevice, "there is no audio device"};
  if (auto failure = prepare(mFormat)) return failure;
  useSidesOf(*mClients);
  awaitUnread(publish(std::make_unique<const Clients>(*mClients)));
  return std::nullopt;
}

void AudioHub::removeSoon(HubClient& client, std::function<bool()> isWanted, std::function<void()> done) {
  withControlSoon([this, &client, isWanted = std::move(isWanted), done = std::move(done)] {
    if (!isWanted()) return;
    if (std::ranges::find(*mClients, &client) == mClients->end()) return mWorker->post(done);
    if (mClients->size() == 1 && mClients->front() == &client) stopDevice();
    auto others = without(client);
    useSidesOf(*others);
    releaseSoon(publish(std::move(others)), done);
  });
}

/// Runs `work` on the hub's worker with `mControl` locked. A task must not wait, so if the mutex is locked, the task is
/// posted again.
void AudioHub::withControlSoon(std::function<void()> work) {
  mWorker->post([this, work = std::move(work)]() mutable {
    const std::unique_lock lock(mControl, std::try_to_lock);
    if (lock) return work();
    mWorker->postAt(mContext->scheduler->clock().now() + 1ms,
                    [this, work = std::move(work)]() mutable { withControlSoon(std::move(work)); });
  });
}

std::optional<Failure> AudioHub::startDevice() {
  const auto earlier = mContext->runEnd.clear();
  mEndOnCallback = DeviceEnd::none;
  mClientFailure = nullptr;
  for (HubClient* client : *mClients) client->newRun();
  auto failure = startInFormat();
  if (!failure) return std::nullopt;
  // The start failed, so the end of the earlier run remains in force, also for what a client has begun meanwhile.
  mContext->runEnd.restore(earlier);
  for (HubClient* client : *mClients) client->newRun();
  return failure;
}

/// Prepares every client for the device's current format and starts the device.
std::optional<Failure> AudioHub::startInFormat() {
  mFormat = mDevice->format();
  for (HubClient* client : *mClients) {
    if (auto failure = client->deviceChanged(mFormat)) return failure;
  }
  {
    const std::lock_guard lock(mFormatMutex);
    mRunningFormat = mFormat;
  }
  labelDevice();
  mFrames.setRate(mFormat.sampleRate);
  mStarted = true;
  mStallWatch.prepare();
  auto failure = mDevice->start(*this);
  if (failure) {
    stopDevice();
    return failure;
  }
  ++mDeviceStarts;
  // The watch begins after the start, because a start may take longer than the stall limit.
  if (!isOver()) mStallWatch.begin(mFormat);
  return std::nullopt;
}

/// Hands the device the session of the first client that has one.
void AudioHub::labelDevice() {
  for (const HubClient* client : *mClients) {
    if (auto session = client->session()) return mDevice->setSession(session);
  }
  mDevice->setSession(std::nullopt);
}

void AudioHub::stopDevice() {
  mStallWatch.end();
  if (mDevice) mDevice->stop();
  mStarted = false;
  const std::lock_guard lock(mFormatMutex);
  mRunningFormat.reset();
}

void AudioHub::useSidesOf(const Clients& clients) {
  mDevice->useSides(std::ranges::any_of(clients, [](const HubClient* client) { return client->takesInput(); }),
                    std::ranges::any_of(clients, [](const HubClient* client) { return client->givesOutput(); }));
}

// ---- the list of clients

std::unique_ptr<const AudioHub::Clients> AudioHub::without(const HubClient& client) const {
  auto others = std::make_unique<Clients>(*mClients);
  std::erase(*others, &client);
  return others;
}

/// Publishes another list of clients, which the callback uses from its next slice on, and returns the old list.
std::unique_ptr<const AudioHub::Clients> AudioHub::publish(std::unique_ptr<const Clients> clients) {
  std::unique_ptr<const Clients> old = std::exchange(mClients, std::move(clients));
  mPublished.store(mClients.get());
  return old;
}

void AudioHub::awaitUnread(std::unique_ptr<const Clients> old) {
  // Each side writes its own flag before it reads the other's, sequentially consistent: either the callback sees the
  // request and fires, or this thread sees that the old list is no longer read.
  mReleaseWanted.store(true);
  while (mRead.load() == old.get()) mReleased->wait(platform::Waiter::forever);
  mReleaseWanted.store(false);
}

void AudioHub::releaseSoon(std::shared_ptr<const Clients> old, std::function<void()> done) {
  if (mRead.load() != old.get()) return mWorker->post(std::move(done));
  mWorker->postAt(mContext->scheduler->clock().now() + 1ms,
                  [this, old = std::move(old), done = std::move(done)] { releaseSoon(old, done); });
}

// ---- the callback

std::uint32_t AudioHub::deviceSlice(const DeviceSlice& slice) {
  const platform::RealTimeSection realTime;
  const NoWaitSection noWait(NoWaitSection::Kind::callback);
  mStallWatch.callbackBegins();
  const std::uint32_t taken = takePart(slice);
  mStallWatch.callbackEnds();
  return taken;
}

std::uint32_t AudioHub::takePart(const DeviceSlice& slice) {
  if (!fits(slice)) {
    // The slice is invalid, so its planes must not be written to.
    endOnCallback(DeviceEnd::failed);
    return 0;
  }
  std::uint32_t taken = 0;
  if (!isOver()) {
    const std::uint64_t limit = mFrameLimit;
    const std::uint64_t left = limit == 0 ? slice.frames : mFrames.left(limit);
    taken = static_cast<std::uint32_t>(std::min<std::uint64_t>(slice.frames, left));
  }
  if (taken > 0) {
    if (slice.missingFrames > 0 || slice.hasGap) ++mDiscontinuities;
    mPosition += slice.missingFrames;
    OutputMix mix(slice.outputs, taken);
    callClients({slice.time, mPosition, taken, slice.inputs}, mix);
    mix.finish();
    mPosition += taken;
    mFrames.add(taken);
    if (taken > mMaxSliceFrames.load(std::memory_order_relaxed)) mMaxSliceFrames = taken;
  }
  for (float* output : slice.outputs) std::fill(output + taken, output + slice.frames, 0.0F);
  if (const std::uint64_t limit = mFrameLimit; limit > 0 && mFrames.frames() >= limit)
    endOnCallback(DeviceEnd::frameLimit);
  return taken;
}

bool AudioHub::fits(const DeviceSlice& slice) const {
  const auto isPlane = [](const float* plane) {
    return plane != nullptr && reinterpret_cast<std::uintptr_t>(plane) % DeviceFormat::planeAlignment == 0;
  };
  return slice.frames >= 1 && slice.frames <= DeviceFormat::maxSliceFrames && slice.inputs.size() == mFormat.inputs &&
         slice.outputs.size() == mFormat.outputs && std::ranges::all_of(slice.inputs, isPlane) &&
         std::ranges::all_of(slice.outputs, isPlane);
}

void AudioHub::callClients(const HubSlice& slice, OutputMix& mix) {
  const Clients* clients = nullptr;
  do {
    clients = mPublished.load();
    mRead.store(clients);
  } while (clients != mPublished.load());
  for (HubClient* client : *clients) {
    if (const char* failure = client->deviceSlice(slice, mix)) {
      mClientFailure = failure;
      endOnCallback(DeviceEnd::failed);
    }
  }
  mRead.store(nullptr);
  if (mReleaseWanted.load() && mReleaseWanted.exchange(false)) mReleaseTrigger->fire();
}

void AudioHub::endOnCallback(DeviceEnd end) {
  DeviceEnd none = DeviceEnd::none;
  if (mEndOnCallback.compare_exchange_strong(none, end)) mFinishTrigger->fire();
}

// ---- the end of a run

/// Ends the run: stops the device, and only then announces the end, so that the device's files are complete when
/// subscribers are notified.
void AudioHub::finishRun() {
  const DeviceEnd end = mEndOnCallback;
  if (end == DeviceEnd::none) return;
  stopDevice();
  std::optional<Failure> failure;
  if (const char* why = mClientFailure; end == DeviceEnd::failed && why != nullptr) {
    failure = {status::ioFailure, why};
  } else if (end == DeviceEnd::failed) {
    failure = {status::badSlice, "the device delivered a slice that does not fit the format it was started in (" +
                                     std::to_string(mFormat.inputs) + " inputs, " + std::to_string(mFormat.outputs) +
                                     " outputs, at most " + std::to_string(DeviceFormat::maxSliceFrames) + " frames)"};
  }
  mContext->runEnd.set(end, std::move(failure));
}

void AudioHub::endRun() {
  withControlSoon([this] {
    if (!mStarted || isOver()) return;
    stopDevice();
    mContext->runEnd.set(DeviceEnd::frameLimit, std::nullopt);
  });
}

void AudioHub::deviceEnded(DeviceEnd end, std::optional<Failure> failure) {
  mStallWatch.end();
  mContext->runEnd.set(end, std::move(failure));
}

void AudioHub::deviceStalled() {
  const auto silence = std::chrono::duration_cast<std::chrono::milliseconds>(StallWatch::limit(format()));
  mContext->runEnd.set(DeviceEnd::failed, Failure{status::stalled, "the device stalled: no callback for " +
                                                                       std::to_string(silence.count()) + " ms"});
}

void AudioHub::deviceChanged() {
  mStallWatch.end();
  withControlSoon([this] { restart(); });
}

/// Stops the device, whose format has changed, and starts it again. Counts a discontinuity.
void AudioHub::restart() {
  if (!mStarted || isOver()) return;
  stopDevice();
  ++mDiscontinuities;
  if (auto failure = startInFormat()) {
    failure->reason = "the device changed its format, and the run cannot continue: " + failure->reason;
    mContext->runEnd.set(DeviceEnd::failed, std::move(failure));
  }
}

}  // namespace orvane::host
