// SPDX-License-Identifier: MIT
#include "queue/OVQueuePlayer.h"

#include "platform/Status.h"
#include "queue/QueuePlayer.h"
#include "session/RaiseOn.h"

namespace platform = orvane::platform;

std::shared_ptr<OVQueuePlayer> OVQueuePlayer::initWithFilePath(std::string filePath) {
  return std::shared_ptr<OVQueuePlayer>(new OVQueuePlayer(std::move(filePath)));
}

OVQueuePlayer::OVQueuePlayer(std::string filePath)
    : mImpl(std::make_unique<orvane::QueuePlayer>(filePath)), _filePath(std::move(filePath)) {}

OVQueuePlayer::~OVQueuePlayer() {
  // The properties are released before the worker is destroyed.
  _session.reset();
}

const platform::StreamDescription& OVQueuePlayer::fileFormat() const {
  return mImpl->format();
}

void OVQueuePlayer::start() {
  if (_session) mImpl->bindToSession(*_session);
  const platform::Status status = mImpl->start();
  if (status != platform::status::success) orvane::raiseOn(mImpl->services(), "OVQueuePlayer start failed", status);
}

void OVQueuePlayer::stop() {
  mImpl->stop();
}

bool OVQueuePlayer::isFinished() const {
  return mImpl->isFinished();
}

bool OVQueuePlayer::waitUntilFinished(platform::HostTime limit) {
  return mImpl->waitUntilFinished(limit);
}

void OVQueuePlayer::setFinishedHandler(std::function<void()> handler) {
  mImpl->setFinishedHandler(std::move(handler));
}
