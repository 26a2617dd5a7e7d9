#include "iounit/RecordInputHandler.h"

#include "platform/Platform.h"
#include "session/OVThrow.h"

namespace orvane {

using namespace platform;

RecordInputHandler::RecordInputHandler(std::uint32_t channelCount)
    : mChannelCount(channelCount), mBufferList(channelCount), mService(current().convertingFiles) {}

// Once the other constructor is done the object counts as made, so its destructor closes the file where this one fails.
RecordInputHandler::RecordInputHandler(const std::string& filePath, const StreamFormat& clientFormat)
    : RecordInputHandler(clientFormat.channelCount()) {
  const StreamFormat fileFormat =
      StreamFormat::linearPcm(clientFormat.sampleRate(), mChannelCount, 16, format_flag::signedInteger, true);
  const Status created = mService->create(filePath, ConvertingFile::nativeContainer, fileFormat.description(), nullptr,
                                          ConvertingFile::ExistingFile::erase, mFile);
  if (created != status::success) OVThrow("ConvertingFile::create failed", created);
  const Status set = mService->setClientDataFormat(mFile, clientFormat.description());
  if (set != status::success) OVThrow("ConvertingFile setting client format failed", set);
  // Has the service make ready whatever the first write would otherwise make on the device callback.
  mService->writeAsync(mFile, 0, nullptr);
}

RecordInputHandler::~RecordInputHandler() {
  if (mFile == ConvertingFile::Handle::none) return;
  // Nothing may be raised from here, so raising is what ends the process, behind a line in the log.
  if (const Status disposed = mService->dispose(mFile)) OVThrow("ConvertingFile::dispose failed", disposed);
}

void RecordInputHandler::write(std::uint32_t frames) {
  mService->writeAsync(mFile, frames, &mBufferList.GetAudioBufferList());
}

}  // namespace orvane
