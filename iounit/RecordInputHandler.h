// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "Pexutil/Source/Utility/PXBufferList.h"
#include "platform/ConvertingFile.h"
#include "platform/Platform.h"
#include "platform/StreamFormat.h"

namespace orvane {

/// Owns the file of a recording and the list that its slices are captured through.
///
/// Made and destroyed on the caller's thread. In between only the unit's input handler touches it: on the device
/// callback, and on the caller's thread while the unit stops, for what a rate conversion still holds.
class RecordInputHandler {
 public:
  /// Makes a file of 16-bit samples at `filePath`, in place of one that is there, at the rate and with the channels of
  /// `clientFormat`, in which the samples will come. Raises "ConvertingFile is not available on this host",
  /// "ConvertingFile::create failed: <status>", and
  /// "ConvertingFile setting client format failed: <status>" with the file closed again.
  RecordInputHandler(const platform::Platform& services, const std::string& filePath,
                     const platform::StreamFormat& clientFormat);
  RecordInputHandler(const RecordInputHandler&) = delete;
  RecordInputHandler& operator=(const RecordInputHandler&) = delete;
  /// Completes and closes the file. A service that cannot do so ends the process.
  ~RecordInputHandler();

  /// Writes the `frames` frames that the entries of `mBufferList` refer to, later and on a thread of the service's own.
  /// Frames that it does not take are lost: there is nobody to tell. Called inside the input handler, one call at a
  /// time, on either of its threads; real-time safe.
  void write(std::uint32_t frames);

  const std::uint32_t mChannelCount;
  PX::BufferList mBufferList;
  platform::ConvertingFile::Handle mFile = platform::ConvertingFile::Handle::none;

 private:
  RecordInputHandler(const platform::Platform& services, std::uint32_t channelCount);

  const platform::Platform mServices;  ///< Those of the recorder, whichever host is in use by now.
};

}  // namespace orvane
