// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/ConvertingFile.h"
#include "platform/Platform.h"
#include "platform/StreamFormat.h"

namespace orvane {

/// The part of `AORecord` that writes: owns the recording's file and the buffer list with the captured samples.
///
/// Not thread-safe. It is created and destroyed on the caller's thread; in between, only the unit's input handler may
/// use it. The input handler runs on the device callback and, for the last frames of a rate conversion, on the thread
/// that stops the unit.
class RecordInputHandler {
 public:
  /// Opens a file of 16-bit samples at `filePath`, replacing an existing file. `clientFormat` is the format of the
  /// samples that will be written; the file has the same rate and channel count. Raises "ConvertingFile is not
  /// available on this host", "ConvertingFile::create failed: STATUS", or "ConvertingFile setting client format failed:
  /// STATUS"; after the last of these the file is closed again.
  RecordInputHandler(const platform::Platform& services, const std::string& filePath,
                     const platform::StreamFormat& clientFormat);
  RecordInputHandler(const RecordInputHandler&) = delete;
  RecordInputHandler& operator=(const RecordInputHandler&) = delete;
  /// Completes and closes the file. If the file service refuses this, the failure is logged and the process aborts.
  ~RecordInputHandler();

  /// Passes the `frames` frames in `mBufferList` to the file service, which writes them on its own thread. Ignores the
  /// returned status, so frames that the service does not accept are lost. Real-time safe.
  void write(std::uint32_t frames);

  const std::uint32_t mChannelCount;
  PX::BufferList mBufferList;
  platform::ConvertingFile::Handle mFile = platform::ConvertingFile::Handle::none;

 private:
  RecordInputHandler(const platform::Platform& services, std::uint32_t channelCount);

  const platform::Platform mServices;  ///< The services of the recorder.
};

}  // namespace orvane
