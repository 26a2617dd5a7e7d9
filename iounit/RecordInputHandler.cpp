// SPDX-License-Identifier: MIT
#include "iounit/RecordInputHandler.h"

#include "platform/Status.h"
#include "platform/StreamDescription.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"

namespace orvane {

using platform::ConvertingFile;
using platform::Platform;
using platform::Status;
using platform::StreamFormat;
namespace status = platform::status;

RecordInputHandler::RecordInputHandler(const Platform& services, std::uint32_t channelCount)
    : mChannelCount(channelCount), mBufferList(channelCount), mServices(services) {}

// Delegates to another constructor, so that the object counts as constructed and its destructor closes the file if this
// constructor throws.
RecordInputHandler::RecordInputHandler(const Platform& services, const std::string& filePath,
                                       const StreamFormat& clientFormat)
    : RecordInputHandler(services, clientFormat.channelCount()) {
  auto& files = requiredRole(mServices, mServices.convertingFiles, "ConvertingFile");
  const StreamFormat fileFormat =
      StreamFormat::linearPcm(clientFormat.sampleRate(), mChannelCount, 16, platform::format_flag::signedInteger, true);
  const Status created = files.create(filePath, ConvertingFile::nativeContainer, fileFormat.description(), nullptr,
                                      ConvertingFile::ExistingFile::erase, mFile);
  if (created != status::success) raiseOn(mServices, "ConvertingFile::create failed", created);
  const Status set = files.setClientDataFormat(mFile, clientFormat.description());
  if (set != status::success) raiseOn(mServices, "ConvertingFile setting client format failed", set);
  // A first call without frames lets the service allocate memory here, and not on the device callback.
  files.writeAsync(mFile, 0, nullptr);
}

RecordInputHandler::~RecordInputHandler() {
  if (mFile == ConvertingFile::Handle::none) return;
  // An exception from a destructor ends the process; `raiseOn` logs the failure before that.
  if (const Status disposed = mServices.convertingFiles->dispose(mFile))
    raiseOn(mServices, "ConvertingFile::dispose failed", disposed);
}

void RecordInputHandler::write(std::uint32_t frames) {
  mServices.convertingFiles->writeAsync(mFile, frames, &mBufferList.GetAudioBufferList());
}

}  // namespace orvane
