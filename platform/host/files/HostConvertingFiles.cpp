// SPDX-License-Identifier: MIT
#include "platform/host/files/HostConvertingFiles.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/StreamFormat.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/CallGate.h"
#include "platform/host/files/FileRegistry.h"
#include "platform/host/files/RegularFile.h"
#include "platform/host/files/SoundFileWriter.h"
#include "platform/host/files/WaveFile.h"

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
  OpenFile(Handle itsHandle, StreamFormat itsFormat, std::unique_ptr<SoundFileWriter> itsWriter,
           std::uint64_t itsDeviceStarts)
      : handle(itsHandle),
        format(std::move(itsFormat)),
        writer(std::move(itsWriter)),
        deviceStarts(itsDeviceStarts),
        planes(format.channelCount()) {}

  /// Stores pointers to the channel buffers of `list` for `frames` frames. Returns false if the list does not match the
  /// client format.
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
  const StreamFormat format;
  const std::unique_ptr<SoundFileWriter> writer;
  const std::uint64_t deviceStarts;  ///< Number of starts of the device before this file was created.
  std::atomic<bool> hasClientFormat = false;
  std::vector<const float*> planes;  ///< The channel buffers of the current call of `writeAsync`.
};

HostConvertingFiles::HostConvertingFiles(std::shared_ptr<HostContext> context, std::shared_ptr<const AudioHub> hub)
    : mContext(std::move(context)), mHub(std::move(hub)) {}

HostConvertingFiles::~HostConvertingFiles() {
  for (Slot& slot : mSlots) {
    if (const OpenFile* file = slot.load()) complete(file->handle);
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
    return refuse(status::ioFailure, "\"" + path + "\": no thread could be started to write it: " + failure.what());
  }
}

Status HostConvertingFiles::open(const std::string& path, const StreamFormat& format, ExistingFile existing,
                                 Handle& file) {
  const std::lock_guard lock(mMutex);
  const Handle handle = freeHandle();
  if (handle == Handle::none) return refuse(status::ioFailure, "\"" + path + "\": too many recordings are open");
  auto container = WaveFile::make(path, WaveFile::Encoding::int16, {format.sampleRate(), format.channelCount()});
  if (!container) return refuse(container.failure());
  const SoundFileWriter::Target target{.path = path,
                                       .maxFrames = maxFramesAt(format.sampleRate()),
                                       .ifThere = existing == ExistingFile::erase ? IfThere::open : IfThere::refuse,
                                       .handover = WriteClaim::Handover::allowed};
  auto writer = SoundFileWriter::create(target, std::move(*container), mContext);
  if (!writer) return refuse(writer.failure());
  auto open = std::make_unique<OpenFile>(handle, format, std::move(*writer), mHub->deviceStarts());
  file = handle;
  slotOf(handle).store(open.release(), std::memory_order_release);
  return status::success;
}

Status HostConvertingFiles::refuse(Status refusal, std::string reason) const {
  return refuse({refusal, std::move(reason)});
}

Status HostConvertingFiles::refuse(platform::Failure failure) const {
  failure.call = createCall.name();
  return mContext->refuse(std::move(failure));
}

/// Returns the maximum number of frames per call of `writeAsync` at a client's rate: the longest slice (callback
/// block), plus a margin for frames that the unit's rate converter delivers late.
std::uint32_t HostConvertingFiles::maxFramesAt(double sampleRate) const {
  constexpr double margin = 1024;
  const backend::DeviceFormat device = mHub->format();
  const double ratio = device.sampleRate > 0 ? std::max(sampleRate / device.sampleRate, 1.0) : 1.0;
  return static_cast<std::uint32_t>(std::min(std::ceil(device.sliceFrames * ratio) + margin, 1e9));
}

/// Returns the next handle whose slot is free, or `none` if all slots are taken.
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
  return complete(file);
}

Status HostConvertingFiles::complete(Handle file) {
  std::unique_ptr<OpenFile> open;
  {
    const std::lock_guard lock(mMutex);
    open.reset(find(file));
    if (!open) return status::badParameter;
    slotOf(file).store(nullptr);
  }
  using IfSilent = SoundFileWriter::IfSilent;
  open->writer->close(mHub->deviceStarts() != open->deviceStarts ? IfSilent::keep : IfSilent::discard);
  if (auto written = open->writer->written()) mContext->files.completed(*std::move(written));
  return status::success;
}

}  // namespace orvane::host
