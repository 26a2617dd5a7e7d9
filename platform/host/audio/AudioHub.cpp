#include "platform/host/audio/AudioHub.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/RealTime.h"
#include "platform/host/ExitHook.h"

namespace orvane::host {

AudioHub::AudioHub(std::unique_ptr<AudioDevice> device, std::shared_ptr<platform::Scheduler> scheduler)
    : mDevice(std::move(device)),
      mScheduler(std::move(scheduler)),
      mReleased(mScheduler->makeWaiter()),
      mWorker(mScheduler->makeWorker("audio watch")),
      mEnd(*mWorker),
      mStallWatch(mScheduler->clock(), *mWorker, [this] { deviceStalled(); }),
      mClients(std::make_unique<const Clients>()),
      mPublished(mClients.get()) {
  ExitHook::add(this, [this] { mDevice->stop(); });
}

AudioHub::~AudioHub() {
  ExitHook::remove(this);
  mStallWatch.end();
  mDevice->stop();
  mWorker->cancel();
}

platform::Status AudioHub::add(HubClient& client) {
  const std::lock_guard lock(mControl);
  const bool runs = mDevice->isRunning();
  if (const auto stall = mEnd.failure(); runs && stall) return stall->status;
  auto clients = std::make_unique<Clients>(*mClients);
  clients->push_back(&client);
  change(std::move(clients));
  const platform::Status status = runs ? platform::status::success : startDevice();
  if (status != platform::status::success) {
    auto without = std::make_unique<Clients>(*mClients);
    without->pop_back();
    change(std::move(without));
  }
  return status;
}

platform::Status AudioHub::startDevice() {
  mEnd.clear();
  mStallWatch.begin(mDevice->format());
  const platform::Status status = mDevice->start(*this);
  if (status != platform::status::success) mStallWatch.end();
  return status;
}

void AudioHub::remove(HubClient& client) {
  const std::lock_guard lock(mControl);
  if (std::ranges::find(*mClients, &client) == mClients->end()) return;
  auto clients = std::make_unique<Clients>(*mClients);
  std::erase(*clients, &client);
  // Stopped before the last client leaves, so that the device's last slice is one that somebody took part in.
  if (clients->empty()) {
    mStallWatch.end();
    mDevice->stop();
  }
  change(std::move(clients));
}

void AudioHub::change(std::unique_ptr<const Clients> clients) {
  const bool taken = std::ranges::any_of(*clients, [](const HubClient* client) { return client->takesInput(); });
  publish(std::move(clients));
  mDevice->useInput(taken);
}

void AudioHub::publish(std::unique_ptr<const Clients> clients) {
  const std::unique_ptr<const Clients> old = std::exchange(mClients, std::move(clients));
  mPublished.store(mClients.get());
  // Each side writes before it reads the other's word, all in one total order: either the callback sees the wish and
  // signals, or this thread sees that the old list is no longer read.
  mReleaseWanted.store(true);
  while (mRead.load() == old.get()) mReleased->wait(platform::Waiter::forever);
  mReleaseWanted.store(false);
}

void AudioHub::deviceSlice(const DeviceSlice& slice) {
  const platform::RealTimeSection realTime;
  mStallWatch.callbackBegins();
  callClients(slice);
  mStallWatch.callbackEnds();
}

void AudioHub::callClients(const DeviceSlice& slice) {
  const Clients* clients = nullptr;
  do {
    clients = mPublished.load();
    mRead.store(clients);
  } while (clients != mPublished.load());

  OutputMix mix(slice.outputs, slice.frames);
  if (mEnd.end() == platform::DeviceEnd::none) {
    for (HubClient* client : *clients) client->deviceSlice(slice, mix);
  }
  mix.finish();

  mRead.store(nullptr);
  if (mReleaseWanted.load() && mReleaseWanted.exchange(false)) mReleased->signal();
}

void AudioHub::deviceEnded(platform::DeviceEnd end, std::optional<platform::Failure> failure) {
  mStallWatch.end();
  mEnd.set(end, std::move(failure));
}

void AudioHub::deviceStalled() {
  const auto silence = std::chrono::duration_cast<std::chrono::milliseconds>(StallWatch::limit(mDevice->format()));
  mEnd.set(platform::DeviceEnd::failed,
           platform::Failure{platform::status::stalled,
                             "the device stalled: no callback for " + std::to_string(silence.count()) + " ms"});
}

}  // namespace orvane::host
