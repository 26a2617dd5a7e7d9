#include "platform/host/AudioHub.h"

#include <algorithm>
#include <utility>

#include "platform/RealTime.h"
#include "platform/host/ExitHook.h"

namespace orvane::host {

AudioHub::AudioHub(std::unique_ptr<AudioDevice> device, std::shared_ptr<platform::Scheduler> scheduler)
    : mDevice(std::move(device)),
      mScheduler(std::move(scheduler)),
      mReleased(mScheduler->makeWaiter()),
      mClients(std::make_unique<const Clients>()),
      mPublished(mClients.get()) {}

AudioHub::~AudioHub() {
  mDevice->stop();
}

platform::Status AudioHub::add(HubClient& client) {
  const std::lock_guard lock(mControl);
  auto clients = std::make_unique<Clients>(*mClients);
  clients->push_back(&client);
  publish(std::move(clients));
  if (mDevice->isRunning()) return platform::status::success;
  const platform::Status status = mDevice->start(*this);
  if (status != platform::status::success) {
    auto without = std::make_unique<Clients>(*mClients);
    without->pop_back();
    publish(std::move(without));
  }
  return status;
}

void AudioHub::remove(HubClient& client) {
  const std::lock_guard lock(mControl);
  if (std::ranges::find(*mClients, &client) == mClients->end()) return;
  auto clients = std::make_unique<Clients>(*mClients);
  std::erase(*clients, &client);
  // Stopped before the last client leaves, so that the device's last slice is one that somebody took part in.
  if (clients->empty()) mDevice->stop();
  publish(std::move(clients));
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
  const Clients* clients = nullptr;
  do {
    clients = mPublished.load();
    mRead.store(clients);
  } while (clients != mPublished.load());

  OutputMix mix(slice.outputs, slice.frames);
  for (HubClient* client : *clients) client->deviceSlice(slice, mix);
  mix.finish();

  mRead.store(nullptr);
  if (mReleaseWanted.exchange(false)) mReleased->signal();
}

}  // namespace orvane::host
