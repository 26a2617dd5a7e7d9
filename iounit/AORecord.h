// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "iounit/OVIOUnit.h"
#include "platform/Export.h"

namespace orvane {
class RecordInputHandler;
}

/// A recorder: records the audio input to a WAVE file of 16-bit integer samples
/// (`platform::ConvertingFile::nativeContainer`).
///
/// `start` opens the file with the input hardware's channel count and the rate `clientSampleRate`. An existing file is
/// replaced when the first frames are written. `stop` leaves the file open; it is completed when the recorder is
/// released or when a later `start` opens the file again. If the client rate differs from the hardware's, every
/// operation that stops the recorder (`stop`, `start` and its destructor) queues the last frames on the caller's
/// thread.
///
/// If rendering the input fails, "Error STATUS while rendering in IORecord" is printed on standard error and the
/// process aborts. Failed writes raise no exception; `platform::FileReport::writeFailure` returns the first one. If the
/// file service refuses to close the file (because a scenario says so, for example), the failure is logged and the
/// process aborts.
///
/// `stop` is inherited. The thread rules are those of `OVIOUnit`.
class ORVANE_EXPORT AORecord : public OVIOUnit {
 public:
  /// Creates a recorder for the file at `filePath`, a file-system path. The path is not checked, and no file is opened,
  /// before `start`.
  static std::shared_ptr<AORecord> initWithFilePath(std::string filePath);
  /// Deleted, because the inherited factory would not create a recorder.
  static std::shared_ptr<AORecord> init() = delete;
  ~AORecord() override;

  /// Returns the path given to `initWithFilePath`.
  const std::string& filePath() const { return _filePath; }

  /// Returns the rate set by `setClientSampleRate`.
  double clientSampleRate() const { return _clientSampleRate; }
  /// Sets the sample rate of the file in hertz. 0, the default, means the hardware's rate. Any other rate must be a
  /// whole number from 1 to 6144000 that is from 1/256 to 256 times the hardware's rate; `start` checks this. Takes
  /// effect at the next `start`.
  void setClientSampleRate(double clientSampleRate) { _clientSampleRate = clientSampleRate; }

  /// Creates the unit, with input enabled and output disabled. Raises the exceptions of `OVIOUnit::lazyInit`.
  void lazyInit() override;

  /// Starts a new recording, stopping the recorder first if it is running. The previous recording is completed; because
  /// the path is the same, the new recording replaces it.
  ///
  /// Raises "ConvertingFile is not available on this host"; "ConvertingFile::create failed: STATUS" and "ConvertingFile
  /// setting client format failed: STATUS" with the statuses of `platform::ConvertingFile`; and the exceptions of
  /// `stop`, `initializeAU`, `inputHardwareFormat`, `setInputClientFormat` and `OVIOUnit::start`. After an exception
  /// the recorder is stopped, except that an exception of `stop` leaves its state unchanged.
  void start() override;

 protected:
  explicit AORecord(std::string filePath);

 private:
  std::unique_ptr<orvane::RecordInputHandler> mInputHandler;
  std::string _filePath;
  double _clientSampleRate = 0.0;
};
