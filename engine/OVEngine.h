// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "platform/Export.h"
#include "platform/Platform.h"
#include "session/OVSessionAssignable.h"

namespace orvane::platform {
class GraphEngine;
class InputNode;
class PcmBuffer;
class PcmFile;
class PlayerNode;
}  // namespace orvane::platform

/// A player and recorder that uses the platform's graph engine: plays audio files one after the other, and records the
/// audio input to a file, optionally with a check for silence.
///
/// Usage: create the object; call `setSession` and `setEnableSilenceDetection` if needed; call `playAudioFile` and
/// `recordAudioFile`; then call `start` and `stop` as often as needed. Releasing the object stops the engine and
/// completes the recording.
///
/// Failures on the caller's thread are raised as `OVTException`. A failure of the recording is raised on the thread of
/// the input tap, where the host catches it: the recording ends, its file is completed, and
/// `platform::GraphEngine::failure` of `engine()` returns the message. The messages are
///
/// - `silenceMessage` if silence detection is on and a channel's average power in a buffer is -160 dB or lower (or not
///   a number); neither this buffer nor later ones are written. `platform::PcmBuffer` says how the host measures the
///   power of a last, shorter buffer;
/// - "Buffer received is nil, cannot write to file" if the host delivers no buffer;
/// - "Writing to input recording file failed: REASON".
///
/// All operations must be called from one thread at a time, except `enableSilenceDetection` and its setter, which are
/// thread-safe; none on the device callback, on the tap's thread or in a worker's task. Not real-time safe.
class ORVANE_EXPORT OVEngine : public OVSessionAssignable {
 public:
  /// The message of the exception that silence raises.
  static constexpr char silenceMessage[] = "Average power per channel is below threshold of -160 dB";

  /// Creates an object with a graph engine of the host in use, without nodes. Raises "GraphService is not available on
  /// this host".
  static std::shared_ptr<OVEngine> init();
  OVEngine(const OVEngine&) = delete;
  OVEngine& operator=(const OVEngine&) = delete;
  /// Stops the engine, removes the tap and completes the recording. Exceptions of the host are logged.
  ~OVEngine() override;

  /// Schedules the audio file at `path`, a file-system path, to be played behind the files scheduled before. A file
  /// that is scheduled after `start` waits for the next `start`. `platform::GraphService::openFile` lists the file
  /// types. Raises "SGE playAudioFile failed: REASON"; nothing has changed then.
  void playAudioFile(const std::string& path);
  /// Creates the file at `url`, the text of a file URL such as "file:///tmp/take.wav", and records the input to it
  /// while the engine runs. The file has the rate, the channels and, if its type can hold it, the sample format of the
  /// input; see `platform::GraphService::createFile`. While it is recorded, other programs can read it up to the last
  /// whole buffer of 4096 frames. A second recording ends the first one, whose file is completed. A running engine
  /// goes on; it may refuse the tap with a `platform::PlatformException`, see `platform::InputNode`, and the file is
  /// empty then.
  ///
  /// Raises "File URL provided is nil" if `platform::Url::parse` finds no URL in the text; an earlier recording then
  /// goes on. Raises "Creating input recording file failed: REASON" if the file cannot be created; an earlier recording
  /// has ended then. In both cases `input` is set.
  void recordAudioFile(const std::string& url);

  /// Binds the engine's output to the session if one is set, starts the engine, and makes the player play all that is
  /// scheduled. A session without a platform session, and the primary session, are not bound. Raises
  ///
  /// - "setSession failed -- UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: IDENTIFIER" if the
  ///   output's unit refuses the session;
  /// - "SGE start failed: REASON" if the engine reports an error, or the engine or the player throws an exception. If
  ///   both occur, REASON is that of the exception.
  void start();
  /// Stops the engine. The recording has everything that was captured when the call returns; player, tap and file
  /// remain for the next `start`.
  void stop();

  /// Returns the graph engine.
  const std::shared_ptr<orvane::platform::GraphEngine>& engine() const { return mEngine; }
  /// Returns the player node; null before the first `playAudioFile`.
  const std::shared_ptr<orvane::platform::PlayerNode>& player() const { return mPlayer; }
  /// Returns the input node; null before the first `recordAudioFile`.
  const std::shared_ptr<orvane::platform::InputNode>& input() const { return mInput; }

  bool enableSilenceDetection() const { return _enableSilenceDetection; }
  /// Switches the check for silence on or off; the default is off. Takes effect with the next buffer.
  void setEnableSilenceDetection(bool enable) { _enableSilenceDetection = enable; }

  std::shared_ptr<OVSession> session() const override { return _session; }
  /// Sets the session that `start` binds the engine to; null, the default, for none.
  void setSession(std::shared_ptr<OVSession> session) override { _session = std::move(session); }

 private:
  OVEngine();

  void makePlayer(const orvane::platform::PcmFile& file);
  void record(const orvane::platform::PcmBuffer* buffer, orvane::platform::PcmFile& file) const;
  void bindSession();

  const orvane::platform::Platform mServices;
  std::atomic<bool> _enableSilenceDetection = false;
  std::shared_ptr<OVSession> _session;
  std::shared_ptr<orvane::platform::GraphEngine> mEngine;
  std::shared_ptr<orvane::platform::PlayerNode> mPlayer;
  std::shared_ptr<orvane::platform::InputNode> mInput;
  bool mHasTap = false;
};
