#include "platform/host/files/HostConvertingFiles.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/StreamFormat.h"

namespace orvane::host {

using platform::Status;
using platform::StreamFormat;
namespace status = platform::status;

namespace {

const GatedCall createCall("ConvertingFile::create");
const GatedCall setClientDataFormatCall("ConvertingFile::setClientDataFormat");
const GatedCall writeAsyncCall("ConvertingFile::writeAsync");
const GatedCall disposeCall("ConvertingFile::dispose");

}  // namespace

struct HostConvertingFiles::OpenFile {
  OpenFile(Handle itsHandle, std::string itsPath, StreamFormat itsFormat, std::unique_ptr<SoundFileWriter> itsWriter)
      : handle(itsHandle),
        path(std::move(itsPath)),
        format(std::move(itsFormat)),
        writer(std::move(itsWriter)),
        planes(format.channelCount()) {}

  /// Finds the samples in a list; false where it is not one of this file's client format.
  bool takePlanes(platform::RenderBufferList& list, std::uint32_t frames) {
    if (list.bufferCount != planes.size()) return false;
    for (std::size_t channel = 0; channel < planes.size(); ++channel) {
      const platform::RenderBuffer& buffer = list.buffers()[channel];
      if (buffer.channels != 1 || buffer.data == nullptr || buffer.byteSize / sizeof(float) < frames) return false;
      planes[channel] = static_cast<const float*>(buffer.data);
    }
    return true;
  }

  const Handle handle;
  const std::string path;
  const StreamFormat format;
  const std::unique_ptr<SoundFileWriter> writer;
  std::atomic<bool> hasClientFormat = false;
  std::vector<const float*> planes;  ///< Of the slice that is being written.
};

HostConvertingFiles::HostConvertingFiles(std::shared_ptr<HostContext> context, std::shared_ptr<const AudioHub> hub)
    : mContext(std::move(context)), mHub(std::move(hub)) {}

HostConvertingFiles::~HostConvertingFiles() {
  for (Slot& slot : mSlots) {
    if (const OpenFile* file = slot.load()) dispose(file->handle);
  }
}

Status HostConvertingFiles::create(const std::string& path, std::uint32_t fileType,
                                   const platform::StreamDescription& dataFormat, const platform::ChannelLayout* layout,
                                   ExistingFile existing, Handle& file) {
  file = Handle::none;
  if (const auto refusal = mContext->refusalOf(createCall)) return *refusal;
  if (fileType != nativeContainer) return refuse(status::unsupportedType, "\"" + path + "\": no such file type");
  const StreamFormat format(dataFormat);
  if (format.common() != StreamFormat::Common::int16 || !format.isInterleaved() || layout != nullptr) {
    return refuse(
        status::unsupportedFormat,
        "\"" + path + "\": the native container takes interleaved 16-bit signed integers without a channel layout");
  }
  try {
    return open(path, format, existing, file);
  } catch (const std::bad_alloc&) {
    return refuse(status::ioFailure, "\"" + path + "\": there is not enough memory to buffer it");
  } catch (const std::system_error& failure) {
    return refuse(status::ioFailure, "\"" + path + "\": no thread to write it: " + failure.what());
  }
}

Status HostConvertingFiles::open(const std::string& path, const StreamFormat& format, ExistingFile existing,
                                 Handle& file) {
  const std::lock_guard lock(mMutex);
  const Handle handle = freeHandle();
  if (handle == Handle::none) return refuse(status::ioFailure, "\"" + path + "\": too many recordings are open");
  const SoundFileFormat soundFile{.libraryFormat = SF_FORMAT_RF64 | SF_FORMAT_PCM_16,
                                  .sampleRate = format.sampleRate(),
                                  .channels = format.channelCount()};
  platform::Failure failure;
  auto writer = SoundFileWriter::create(path, soundFile, mostFramesAt(format.sampleRate()), mContext, failure,
                                        existing == ExistingFile::erase ? IfThere::open : IfThere::refuse,
                                        SoundFileWriter::Handover::allowed);
  if (!writer) return refuse(failure.status, failure.reason);
  auto open = std::make_unique<OpenFile>(handle, path, format, std::move(writer));
  file = handle;
  slotOf(handle).store(open.release(), std::memory_order_release);
  return status::success;
}

Status HostConvertingFiles::refuse(Status refusal, std::string reason) const {
  return mContext->refuse({refusal, std::move(reason), std::string(createCall.name())});
}

/// The longest slice that a unit hands over at a client's rate, and some frames for its converter to catch up.
std::uint32_t HostConvertingFiles::mostFramesAt(double sampleRate) const {
  constexpr double margin = 1024;
  const backend::DeviceFormat device = mHub->format();
  const double ratio = device.sampleRate > 0 ? std::max(sampleRate / device.sampleRate, 1.0) : 1.0;
  return static_cast<std::uint32_t>(std::min(std::ceil(device.sliceFrames * ratio) + margin, 1e9));
}

/// A handle that was not given out lately, whose slot is free; none where there is none.
HostConvertingFiles::Handle HostConvertingFiles::freeHandle() {
  for (std::size_t tries = 0; tries < mSlots.size(); ++tries) {
    const auto handle = static_cast<Handle>(++mLastHandle);
    if (handle != Handle::none && slotOf(handle).load() == nullptr) return handle;
  }
  return Handle::none;
}

HostConvertingFiles::OpenFile* HostConvertingFiles::find(Handle file) {
  OpenFile* open = slotOf(file).load(std::memory_order_acquire);
  return open != nullptr && open->handle == file ? open : nullptr;
}

Status HostConvertingFiles::setClientDataFormat(Handle file, const platform::StreamDescription& format) {
  if (const auto refusal = mContext->refusalOf(setClientDataFormatCall)) return *refusal;
  OpenFile* open = find(file);
  if (open == nullptr) return status::badParameter;
  const StreamFormat taken = StreamFormat::standard(open->format.sampleRate(), open->format.channelCount());
  if (format != taken.description()) return status::unsupportedFormat;
  open->hasClientFormat.store(true, std::memory_order_release);
  return status::success;
}

Status HostConvertingFiles::writeAsync(Handle file, std::uint32_t frames, platform::RenderBufferList* list) {
  if (const Refusal* refusal = mContext->gate->refusal(writeAsyncCall)) return refusal->status;
  OpenFile* open = find(file);
  if (open == nullptr) return status::badParameter;
  if (!open->hasClientFormat.load(std::memory_order_acquire)) return status::wrongState;
  if (frames == 0) return status::success;
  if (list == nullptr || !open->takePlanes(*list, frames)) return status::badParameter;
  return open->writer->push(open->planes, frames) ? status::success : status::overrun;
}

Status HostConvertingFiles::dispose(Handle file) {
  if (const auto refusal = mContext->refusalOf(disposeCall)) return *refusal;
  std::unique_ptr<OpenFile> open;
  {
    const std::lock_guard lock(mMutex);
    open.reset(find(file));
    if (!open) return status::badParameter;
    slotOf(file).store(nullptr);
  }
  open->writer->close();
  mContext->files.completed({open->path, nativeContainer, open->writer->frames()});
  return status::success;
}

}  // namespace orvane::host
