// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/Clock.h"
#include "platform/Export.h"
#include "platform/StreamDescription.h"
#include "session/OVSessionAssignable.h"

namespace orvane {
class QueuePlayer;
}

/// A player: plays a sound file through a buffer queue, once.
///
/// `platform::SoundFileService` and `platform::BufferQueueService` describe which files and formats are played. If the
/// packets of the file cannot be read to its end, the process exits with status 1 after "Error reading from file:
/// STATUS" was written to the log as an error; likewise if the queue refuses to play out. If a packet cannot be
/// decoded, the run of the device fails (`platform::DeviceReport::deviceFailure`), and the player never finishes.
///
/// All operations must be called from one thread at a time, except `isFinished`, which is thread-safe. None may be
/// called on the device callback or on a queue's thread.
class ORVANE_EXPORT OVQueuePlayer : public OVSessionAssignable {
 public:
  /// Creates a player for the file at `filePath`, a file-system path. Raises:
  ///
  /// - "BufferQueueService is not available on this host", and likewise for SoundFileService and Scheduler;
  /// - "SoundFileService::open failed: STATUS", "couldn't get file's format list info: STATUS", "couldn't get file's
  ///   data format: STATUS", "get audio file's channel layout: STATUS", "couldn't get file's max packet size: STATUS"
  ///   and "get cookie from file: STATUS";
  /// - "Don't know how to handle multiple available formats", and "zero length file" for a file without sound;
  /// - "BufferQueueService::createOutput failed: STATUS", "set cookie on queue: STATUS", "set channel layout on queue:
  ///   STATUS", "BufferQueueService::allocateBuffer failed: STATUS" and "BufferQueueService::addPropertyListener
  ///   failed: STATUS".
  static std::shared_ptr<OVQueuePlayer> initWithFilePath(std::string filePath);
  /// Stops the playback.
  ~OVQueuePlayer() override;

  /// Returns the path given to `initWithFilePath`.
  const std::string& filePath() const { return _filePath; }
  /// Returns the format of the file's data.
  const orvane::platform::StreamDescription& fileFormat() const;

  std::shared_ptr<OVSession> session() const override { return _session; }
  /// Sets the session that `start` binds the queue to; null, the default, for none. The primary session is not bound.
  void setSession(std::shared_ptr<OVSession> session) override { _session = std::move(session); }

  /// Starts the playback; has no effect while it is running. After the end of the file there is nothing more to play:
  /// create another player. Raises "setSession failed STATUS --
  /// BufferQueueService::setProperty(QueueProperty::clientSession) sessionID: IDENTIFIER" and "OVQueuePlayer start
  /// failed: STATUS", where STATUS is a status of `platform::BufferQueueService::start`.
  void start();
  /// Stops the playback at once. The file is then not played to its end, and `isFinished` remains false.
  void stop();

  /// Returns whether the last sample of the file has been played.
  bool isFinished() const;
  /// Waits until the last sample of the file has been played, but at most for `limit` of host time
  /// (`platform::Waiter::forever` waits without a limit). Returns `isFinished()`.
  bool waitUntilFinished(orvane::platform::HostTime limit);
  /// Sets a function that is called once, on the queue's thread, when the last sample of the file has been played. It
  /// must not throw, stop or release the player. Must be called before `start`.
  void setFinishedHandler(std::function<void()> handler);

 private:
  explicit OVQueuePlayer(std::string filePath);

  std::unique_ptr<orvane::QueuePlayer> mImpl;
  std::shared_ptr<OVSession> _session;
  std::string _filePath;
};
