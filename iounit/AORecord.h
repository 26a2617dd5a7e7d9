// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "iounit/OVIOUnit.h"

namespace orvane {
class RecordInputHandler;
}

/// Records the audio input to a file of 16-bit integer samples in the platform's native container
/// (`platform::ConvertingFile::nativeContainer`).
///
/// `start` opens the file with the input hardware's channel count and `clientSampleRate`. An existing file is replaced
/// when the first frames are written. The file is complete when the recorder is released, or when a later `start` has
/// opened the next file; `stop` leaves it open. If the client rate differs from the hardware's, every call that stops
/// the recorder (`stop`, `start`, its release) writes the last frames on the caller's thread.
///
/// If rendering the input fails, "Error STATUS while rendering in IORecord" is printed to standard error and the
/// process ends abnormally. Failed writes are not raised; `platform::FileReport::writeFailure` has the first one. If
/// the file cannot be disposed (a refusal, by a scenario, say), the failure is logged and the process ends.
///
/// `stop` is inherited. Thread rules are those of `OVIOUnit`.
class ORVANE_EXPORT AORecord : public OVIOUnit {
 public:
  /// Makes a recorder for the file at `filePath`, a file-system path. The path is checked by `start`; nothing is opened
  /// before that.
  static std::shared_ptr<AORecord> initWithFilePath(std::string filePath);
  /// Deleted: the inherited factory would not make a recorder.
  static std::shared_ptr<AORecord> init() = delete;
  ~AORecord() override;

  /// Returns the path given to `initWithFilePath`.
  const std::string& filePath() const { return _filePath; }

  /// The sample rate of the file in hertz; 0, the default, is the hardware's rate. `start` accepts a whole number from
  /// 1 to 6144000 that is at least 1/256 and at most 256 times the hardware's rate. Takes effect at the next `start`.
  double clientSampleRate() const { return _clientSampleRate; }
  void setClientSampleRate(double clientSampleRate) { _clientSampleRate = clientSampleRate; }

  /// Makes the unit with input enabled and output disabled. Raises what `OVIOUnit::lazyInit` raises.
  void lazyInit() override;

  /// Starts recording to a new file. Stops the recorder first if it is running; the earlier file is completed, and then
  /// replaced, as the path is the same.
  ///
  /// Raises "ConvertingFile is not available on this host", "ConvertingFile::create failed: STATUS" and "ConvertingFile
  /// setting client format failed: STATUS" with the statuses of `platform::ConvertingFile`, and what `stop`,
  /// `initializeAU`, `inputHardwareFormat`, `setInputClientFormat` and `OVIOUnit::start` raise. The recorder is then
  /// stopped; if `stop` failed, nothing has changed.
  void start() override;

 protected:
  explicit AORecord(std::string filePath);

 private:
  std::unique_ptr<orvane::RecordInputHandler> mInputHandler;
  std::string _filePath;
  double _clientSampleRate = 0.0;
};
