// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/Export.h"
#include "platform/StreamDescription.h"
#include "platform/StreamFormat.h"
#include "session/OVSessionAssignable.h"

namespace orvane {
class QueueRecorder;
}

/// A recorder: records the audio input to a sound file through a buffer queue.
///
/// The extension of the path selects the file type (see `PXAudioFileFormats` and `platform::SoundFileService`); without
/// a known extension the file is of the platform's native container. By default it holds 44100 Hz, 16-bit, mono linear
/// PCM, big-endian in AIFF and AIFC files and little-endian in all others. A file type that cannot hold linear PCM
/// needs a format of its own.
///
/// The file is created, and an existing file erased, when the recorder is created. It is complete when the recorder is
/// released. `start` and `stop` may be called repeatedly and append to the file; a compressed recording cannot be
/// continued after `stop` (`start` raises with the status `wrongState`). Failed writes raise no exception;
/// `platform::FileReport::writeFailure` returns the first one. If the encoder fails, "*** queue converter error: CODE"
/// is printed on standard output.
///
/// All operations must be called from one thread at a time, none of them on the device callback or on a queue's thread.
class ORVANE_EXPORT OVQueueRecorder : public OVSessionAssignable {
 public:
  /// Creates a recorder for the file at `filePath`, a file-system path, in the default format. Raises:
  ///
  /// - "BufferQueueService is not available on this host", and likewise for SoundFileService;
  /// - "BufferQueueService::createInput failed: STATUS", "SoundFileService::create failed: STATUS",
  ///   "BufferQueueService::allocateBuffer failed: STATUS" and "BufferQueueService::addPropertyListener failed:
  ///   STATUS";
  /// - "Couldn't get queue's format: STATUS", "Couldn't get queue's maximum output packet size: STATUS", "Couldn't get
  ///   audio queue's magic cookie: STATUS" and "Set audio file's magic cookie: STATUS".
  ///
  /// The statuses are those of `platform::BufferQueueService` and `platform::SoundFileService`. An existing file is
  /// erased only after the queue was created and the path and format were checked.
  static std::shared_ptr<OVQueueRecorder> initWithFilePath(std::string filePath);
  /// Creates a recorder whose file has the data format `fileFormat`. Raises what the other overload raises.
  static std::shared_ptr<OVQueueRecorder> initWithFilePath(std::string filePath,
                                                           const orvane::platform::StreamFormat& fileFormat);
  /// Stops the recording and completes the file. A failure to stop ends the process.
  ~OVQueueRecorder() override;

  /// Returns the path given to `initWithFilePath`.
  const std::string& filePath() const { return _filePath; }

  /// Returns the format that was set or given to `initWithFilePath`, or `std::nullopt`.
  const std::optional<orvane::platform::StreamFormat>& fileFormat() const { return _fileFormat; }
  /// Sets the data format of the file. Takes effect at the first `start` that succeeds, which creates the file anew;
  /// has no effect after it.
  void setFileFormat(std::optional<orvane::platform::StreamFormat> fileFormat);
  /// Returns the complete format of the file's data, as the queue delivers it.
  const orvane::platform::StreamDescription& recordedFormat() const;

  std::shared_ptr<OVSession> session() const override { return _session; }
  /// Sets the session that `start` binds the queue to; null, the default, for none. The primary session is not bound.
  void setSession(std::shared_ptr<OVSession> session) override { _session = std::move(session); }

  /// Starts recording. Raises "setSession failed STATUS --
  /// BufferQueueService::setProperty(QueueProperty::clientSession) sessionID: IDENTIFIER",
  /// "BufferQueueService::enqueueBuffer failed: STATUS" and "BufferQueueService::start failed: STATUS", and after
  /// `setFileFormat` what `initWithFilePath` raises.
  void start();
  /// Stops recording; the file then has every frame that was captured. Does nothing if the recorder is not running.
  /// Raises "BufferQueueService::stop failed: STATUS", "stop failed: the queue did not report within 5 s that it
  /// stopped", and the exceptions about the magic cookie of `initWithFilePath`.
  void stop();

 private:
  OVQueueRecorder(std::string filePath, std::optional<orvane::platform::StreamFormat> fileFormat);
  void makeImplementation();

  std::unique_ptr<orvane::QueueRecorder> mImpl;
  std::shared_ptr<OVSession> _session;
  std::string _filePath;
  std::optional<orvane::platform::StreamFormat> _fileFormat;
  bool _isFormatNew = false;  ///< Set before the first start, and not used yet.
  bool _hasStarted = false;
};
