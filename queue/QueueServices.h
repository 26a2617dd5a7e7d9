// SPDX-License-Identifier: MIT
#pragma once

#include "platform/BufferQueue.h"
#include "platform/Platform.h"
#include "platform/SoundFileService.h"
#include "platform/Status.h"

class OVSession;

// Shared by the recorder and the player. All functions raise an `OVTException` through the log of `services`.

namespace orvane {

/// Returns the queue service. Raises "BufferQueueService is not available on this host" if there is none.
platform::BufferQueueService& queuesOf(const platform::Platform& services);
/// Returns the file service. Raises "SoundFileService is not available on this host" if there is none.
platform::SoundFileService& filesOf(const platform::Platform& services);
/// Raises "MESSAGE: STATUS" unless `result` is `success`.
void check(const platform::Platform& services, platform::Status result, const char* message);

/// Binds a queue to the platform session of `session`. Does nothing if the session has none, or if it is the process's
/// primary session, to which every queue belongs anyway. Raises "setSession failed STATUS --
/// BufferQueueService::setProperty(QueueProperty::clientSession) sessionID: IDENTIFIER" if the queue refuses it.
void bindQueueToSession(const platform::Platform& services, platform::BufferQueue queue, const OVSession& session);

}  // namespace orvane
