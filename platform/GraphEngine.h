// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "platform/Object.h"
#include "platform/PcmFile.h"
#include "platform/PlatformError.h"
#include "platform/StreamFormat.h"
#include "platform/Subscription.h"
#include "platform/UnitService.h"
#include "platform/Url.h"

namespace orvane::platform {

/// A node of a graph.
class ORVANE_EXPORT GraphNode : public Object {};

/// A node that plays files one after the other, without a gap.
///
/// Files of any rate and channel count are converted to the format of the output, as buffer queues do; successive files
/// of one format are converted as one recording. A file that cannot be played to its end is left at that place, and the
/// next one follows; `GraphEngine::failure` returns the reason.
///
/// Operations must be called from one thread at a time, and not in a worker's task, except `isFinished` and
/// `onFinished`, which are thread-safe. Not real-time safe.
class ORVANE_EXPORT PlayerNode : public GraphNode {
 public:
  /// Schedules the whole file to be played behind those scheduled before. It waits for the next call of `play`.
  virtual void scheduleFile(std::shared_ptr<PcmFile> file) = 0;
  /// Reads up to `frames` frames of the files that wait for `play` in advance. A failure to read is kept until they are
  /// played.
  virtual void prepare(std::uint32_t frames) = 0;
  /// Begins, or goes on, to play the files scheduled so far; they are heard while the engine runs. Reads and converts
  /// the first half second. Throws `PlatformException` if the node is not connected, if a file cannot be read or
  /// converted, or if a scenario refuses the call. In the second case this file is left out; the next call of `play`
  /// begins with the other ones.
  virtual void play() = 0;

  /// Returns whether the last sample of all files that `play` was called for has been played.
  virtual bool isFinished() const = 0;
  /// Subscribes a notice that is called, on a worker, each time `isFinished` becomes true.
  virtual Subscription onFinished(std::function<void()> notice) = 0;
};

/// The function of a tap. It takes the captured buffers on the tap's own thread, one at a time, with the time of their
/// first frame: `sampleTime` in frames of the input format captured since the tap was installed, those included that
/// were missing or dropped. The host passes no null buffer.
///
/// An exception that leaves the function ends the tap: the function is released and not called again, and
/// `GraphEngine::failure` returns the reason. The failure is logged, except for an exception of a class derived from
/// `PlatformException`, which whoever raises it has logged. The function must not start, stop or release the engine,
/// nor install or remove a tap.
using TapFunction = std::function<void(const PcmBuffer* buffer, const RenderTimeStamp& time)>;

/// The node of the audio input. The thread rules are those of `GraphEngine`.
class ORVANE_EXPORT InputNode : public GraphNode {
 public:
  /// Returns the format in which a bus delivers the input. There is one bus, 0, whose format is that of the hardware
  /// when the engine was created; it has 0 channels if the hardware has no input. If the hardware changes later, its
  /// input is converted. Throws `PlatformException` for any other bus.
  virtual StreamFormat inputFormat(std::uint32_t bus) const = 0;
  /// Installs a tap: `function` receives the input in buffers of exactly `frames` frames, and a shorter one at each
  /// stop of the engine. No frame is lost or delivered twice, unless the function is more than two seconds late: slices
  /// that then do not fit are dropped and counted (`RunCount::overruns`). A tap remains across stops and starts, and
  /// replaces an earlier one as `removeTap` does. It can be installed while the engine is running, which goes on; a
  /// device that has to take on the input may interrupt the sound, which `RunCount::discontinuities` counts.
  /// `GraphEngine::failure` forgets the failure of an earlier tap, unless that tap failed in its removal.
  ///
  /// `frames` must be 1 to 65536, and `format` the input format of the bus; otherwise throws `PlatformException`. Also
  /// throws if the engine is running and the session's category or the hardware has no input; then there is no tap.
  virtual void installTap(std::uint32_t bus, std::uint32_t frames, const StreamFormat& format,
                          TapFunction function) = 0;
  /// Removes the tap, after it has delivered everything that was captured. The function has been released when the call
  /// returns. Does nothing if there is no tap. A running engine goes on as in `installTap`.
  virtual void removeTap(std::uint32_t bus) = 0;
};

/// The node of the audio output.
class ORVANE_EXPORT OutputNode : public GraphNode {
 public:
  /// Returns the I/O unit through which the engine captures and plays. It accepts `UnitService::setProperty`, which
  /// binds the engine to a session at its next start; all else is up to the engine.
  virtual UnitInstance unit() const = 0;
};

/// A graph: an input node that can be tapped, player nodes, a main mixer and an output node.
///
/// The output is used if a player is connected, the input if a tap is installed. The mixer adds up the players. If the
/// run of the device ends by itself (see `DeviceReport::deviceEnd`), the next `start` begins another one.
///
/// All operations must be called from one thread at a time, except `failure` and `onFailure`, which are thread-safe;
/// none on the device callback or in a worker's task. Not real-time safe. Releasing the last reference stops the
/// engine and removes its tap.
class ORVANE_EXPORT GraphEngine : public Object {
 public:
  /// Starts the engine; succeeds without effect if it is running. Returns an error with the statuses of
  /// `UnitService::initialize` and `start`: `noInput` or `noOutput`, say, if the session's category lacks a side that
  /// the engine uses. May throw `PlatformException`; the engines of Orvane's hosts do not.
  virtual std::optional<PlatformError> start() = 0;
  /// Stops the engine. The tap has received everything that was captured when the call returns. Players keep their
  /// place. Succeeds without effect if the engine is not running.
  virtual void stop() = 0;

  /// Adds a node to the graph. Throws `PlatformException` for a node of another service.
  virtual void attach(const std::shared_ptr<GraphNode>& node) = 0;
  /// Connects an attached player to the main mixer, with the format of its first file. A running engine goes on;
  /// a device that has to take on the output may interrupt the sound, which `RunCount::discontinuities` counts. Throws
  /// `PlatformException` for a node that is not attached or is connected to another engine, for any other target than
  /// the mixer, and if the engine is running and the session's category or the hardware has no output.
  virtual void connect(const std::shared_ptr<GraphNode>& source, const std::shared_ptr<GraphNode>& target,
                       const StreamFormat& format) = 0;
  /// Returns the same nodes at every call. They must not be used after the engine has been released.
  virtual std::shared_ptr<GraphNode> mainMixerNode() = 0;
  virtual std::shared_ptr<InputNode> inputNode() = 0;
  virtual std::shared_ptr<OutputNode> outputNode() = 0;

  /// Returns the first failure behind the caller's back since the engine was started: an exception that left a tap's
  /// function (the reason is its message, the status that of the host's failure that the message quotes, otherwise 0),
  /// or a file that could not be played to its end. `std::nullopt` if there was none. The failure of a tap stays as
  /// long as the tap is installed, because no later run is captured, or until the next start if it came in the removal
  /// of the tap.
  virtual std::optional<Failure> failure() const = 0;
  /// Subscribes a notice that is called, on a worker, each time `failure` begins to return one; soon if it already
  /// does.
  virtual Subscription onFailure(std::function<void()> notice) = 0;
};

/// The service for graphs: creates engines and player nodes, and opens the files that they play and record.
/// Thread-safe; not real-time safe.
class ORVANE_EXPORT GraphService {
 public:
  virtual ~GraphService() = default;

  /// Creates an engine. Never fails: a host without a device refuses the start.
  virtual std::shared_ptr<GraphEngine> makeEngine() = 0;
  /// Creates a player node, to be attached to an engine of this service.
  virtual std::shared_ptr<PlayerNode> makePlayerNode() = 0;

  /// Opens a file to play: WAVE, RF64, AIFF, AU, CAF, W64, FLAC, Ogg Vorbis, Ogg Opus, MP3 and whatever else libsndfile
  /// reads, of up to 64 channels. Until it is released, the file is not overwritten. Returns null and sets `error` if
  /// the URL names no file, or the file cannot be opened (statuses of `SoundFileService::open`) or is shorter than its
  /// header declares.
  virtual std::shared_ptr<PcmFile> openFile(const Url& url, std::optional<PlatformError>& error) = 0;
  /// Creates a file, and erases an existing one. The extension of the URL's path selects the type: WAVE, RF64, AIFC and
  /// AU get samples of 32-bit float, AIFF 24-bit integers. FLAC and Opus are not written; record them through a buffer
  /// queue. `settings` give rate and channels. Returns null and sets `error`, and erases nothing, for a URL that names
  /// no file (`badParameter`), any other extension (`unsupportedType`), settings that the type does not hold
  /// (`unsupportedFormat`) and with the file-system statuses of `SoundFileService::create`; a file that is being read
  /// or recorded by others is refused with `noPermission`. A file that an engine or queue of this process records is
  /// taken over: its recording is completed first.
  virtual std::shared_ptr<PcmFile> createFile(const Url& url, const FormatSettings& settings,
                                              std::optional<PlatformError>& error) = 0;
};

}  // namespace orvane::platform
