// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/ConvertingFile.h"
#include "platform/Platform.h"
#include "platform/StreamFormat.h"

namespace orvane {

/// Owns the file of a recording and the buffer list for its slices.
///
/// Not thread-safe: made and destroyed on the caller's thread, and used by the unit's input handler only in between, on
/// the device callback and, for the last frames of a rate conversion, on the thread that stops the unit.
class RecordInputHandler {
 public:
  /// Opens a file of 16-bit samples at `filePath`, replacing an existing one, with the rate and channels of
  /// `clientFormat`, the format of the samples to write. Raises "ConvertingFile is not available on this host",
  /// "ConvertingFile::create failed: STATUS", and "ConvertingFile setting client format failed: STATUS"; in the last
  /// case the file is closed again.
  RecordInputHandler(const platform::Platform& services, const std::string& filePath,
                     const platform::StreamFormat& clientFormat);
  RecordInputHandler(const RecordInputHandler&) = delete;
  RecordInputHandler& operator=(const RecordInputHandler&) = delete;
  /// Completes and closes the file. If the service refuses, the failure is logged and the process ends.
  ~RecordInputHandler();

  /// Queues the `frames` frames in `mBufferList` for writing on a thread of the service. Ignores the status: frames
  /// that the service does not accept are lost. Real-time safe.
  void write(std::uint32_t frames);

  const std::uint32_t mChannelCount;
  PX::BufferList mBufferList;
  platform::ConvertingFile::Handle mFile = platform::ConvertingFile::Handle::none;

 private:
  RecordInputHandler(const platform::Platform& services, std::uint32_t channelCount);

  const platform::Platform mServices;  ///< The services of the recorder.
};

}  // namespace orvane
