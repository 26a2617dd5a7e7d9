// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Export.h"

namespace orvane::platform {

class BufferQueueService;
class ConvertingFile;
class DeviceReport;
class EventLoop;
class FileReport;
class FormatInfoService;
class GraphService;
class Json;
class Log;
class MidiReport;
class MidiService;
class RunControl;
class Scheduler;
class SequencePlayer;
class SessionService;
class SoundFileService;
class SystemSoundService;
class UnitService;

/// The services of a host, one pointer per service ("role"). A null pointer means that the host does not provide that
/// role: operations that need it raise "ROLE is not available on this host". Without a log, nothing is logged. A plain
/// value: a test can copy the set, replace a role and pass the set to `use`.
struct Platform {
  std::shared_ptr<Log> log;
  std::shared_ptr<Json> json;
  std::shared_ptr<Scheduler> scheduler;
  std::shared_ptr<EventLoop> eventLoop;
  std::shared_ptr<SessionService> sessions;
  std::shared_ptr<UnitService> units;
  std::shared_ptr<ConvertingFile> convertingFiles;
  std::shared_ptr<BufferQueueService> bufferQueues;
  std::shared_ptr<SoundFileService> soundFiles;
  std::shared_ptr<FormatInfoService> formatInfo;
  std::shared_ptr<SystemSoundService> systemSounds;
  std::shared_ptr<GraphService> graphs;
  std::shared_ptr<DeviceReport> deviceReport;
  std::shared_ptr<RunControl> runControl;
  std::shared_ptr<FileReport> fileReport;
  std::shared_ptr<MidiService> midi;
  std::shared_ptr<SequencePlayer> sequences;
  std::shared_ptr<MidiReport> midiReport;
};

/// Returns the services in use. If `use` was not called before, the first call creates the default host, which is the
/// first of `availableHosts()` with default options, and may throw what `makeHost` throws. Thread-safe; not real-time
/// safe.
ORVANE_EXPORT Platform current();

/// Replaces the services in use. Existing objects keep the services with which they were created. The previous host is
/// destroyed when nothing else refers to its services. Thread-safe; not real-time safe.
ORVANE_EXPORT void use(Platform platform);

}  // namespace orvane::platform
