// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "iounit/OVIOUnit.h"

namespace orvane {
class RecordInputHandler;
}

/// Records the audio input to a file of 16-bit samples in the platform's native container.
///
/// At another rate than the hardware's, whatever stops the recorder (`stop`, `start`, its release) writes the last
/// frames, those that the rate conversion still holds, on the caller's thread.
///
/// The file is made by `start`, at the hardware input's channel count; what was at the path before is replaced when
/// the first sound is written. It is complete once the recorder is released or a later `start` has made its successor;
/// `stop` leaves it open. A render failure in the input handler prints "Error <status> while rendering in IORecord" on
/// standard error and ends the process abnormally. A write that fails later is swallowed here; the host's report tells
/// of it.
class ORVANE_EXPORT AORecord : public OVIOUnit {
 public:
  /// Remembers the path, and makes nothing yet. A plain file-system path, not one of a folder.
  static std::shared_ptr<AORecord> initWithFilePath(std::string filePath);
  /// The inherited one would make no recorder.
  static std::shared_ptr<AORecord> init() = delete;
  ~AORecord() override;

  const std::string& filePath() const { return _filePath; }

  /// The rate in hertz at which the input is recorded; 0, the default, stands for the hardware's. Files take whole
  /// numbers. Takes effect at the next `start`.
  double clientSampleRate() const { return _clientSampleRate; }
  void setClientSampleRate(double clientSampleRate) { _clientSampleRate = clientSampleRate; }

  /// Makes the unit with input enabled and output disabled.
  void lazyInit() override;

  /// Starts recording to a new file. A recorder that runs is stopped first; its file so far is completed, and
  /// replaced if it is at the same path.
  ///
  /// Raises "ConvertingFile is not available on this host", "ConvertingFile::create failed: <status>" and
  /// "ConvertingFile setting client format failed: <status>", and what `stop`, `initializeAU`, the formats and
  /// `OVIOUnit::start` raise. The unit then does not run, unless it was `stop` that failed: then nothing has changed.
  void start() override;

 protected:
  explicit AORecord(std::string filePath);

 private:
  std::unique_ptr<orvane::RecordInputHandler> mInputHandler;
  std::string _filePath;
  double _clientSampleRate = 0.0;
};
