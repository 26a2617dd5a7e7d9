// SPDX-License-Identifier: MIT
#include "platform/host/files/HostSoundFiles.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "platform/host/Bytes.h"
#include "platform/host/ExitHook.h"
#include "platform/host/Result.h"
#include "platform/host/files/PacketFile.h"
#include "platform/host/files/RegularFile.h"
#include "platform/host/files/SoundFileOutput.h"
#include "platform/host/files/SoundFileTypes.h"

namespace orvane::host {

using platform::Failure;
using platform::PacketDescription;
using platform::SoundFile;
using platform::SoundFileInfo;
using platform::SoundFileProperty;
using platform::Status;
namespace status = platform::status;

namespace {

const GatedCall createCall("SoundFileService::create");
const GatedCall openCall("SoundFileService::open");
const GatedCall propertyInfoCall("SoundFileService::propertyInfo");
const GatedCall propertyCall("SoundFileService::property");
const GatedCall setPropertyCall("SoundFileService::setProperty");
const GatedCall writePacketsCall("SoundFileService::writePackets");
const GatedCall readPacketsCall("SoundFileService::readPackets");
const GatedCall globalInfoSizeCall("SoundFileService::globalInfoSize");
const GatedCall globalInfoCall("SoundFileService::globalInfo");

using Bytes = std::vector<std::byte>;

/// Copies the bytes that fit into `data`, and sets `byteSize` to their number.
Status copyOut(const Bytes& bytes, std::uint32_t& byteSize, void* data) {
  if (data == nullptr && byteSize > 0) return status::badParameter;
  byteSize = static_cast<std::uint32_t>(std::min<std::size_t>(byteSize, bytes.size()));
  if (byteSize > 0) std::memcpy(data, bytes.data(), byteSize);
  return status::success;
}

}  // namespace

/// A file that is read or written; exactly one of its pointers is set.
struct HostSoundFiles::OpenFile {
  std::unique_ptr<PacketReader> reader{};
  std::unique_ptr<SoundFileOutput> output{};
  platform::StreamDescription format;

  Result<Bytes> property(SoundFileProperty which) {
    switch (which) {
      case SoundFileProperty::formatList:
        return bytesOf(platform::SoundFileFormat{.description = format});
      case SoundFileProperty::channelLayout:
        return reader ? reader->layout() : Bytes();
      case SoundFileProperty::magicCookie:
        return reader ? reader->cookie() : output->cookie();
      case SoundFileProperty::packetSizeUpperBound: {
        if (!reader) return Failure{status::wrongState, "the file is being written"};
        auto bound = reader->packetSizeUpperBound();
        if (!bound) return bound.failure();
        return bytesOf(*bound);
      }
    }
    return Failure{status::badParameter, "no such property"};
  }
};

HostSoundFiles::HostSoundFiles(std::shared_ptr<HostContext> context) : mContext(std::move(context)) {
  ExitHook::add(this, [this] { completeAtExit(); });
}

HostSoundFiles::~HostSoundFiles() {
  ExitHook::remove(this);
}

void HostSoundFiles::completeAtExit() {
  const std::lock_guard lock(mMutex);
  for (const auto& [handle, file] : mFiles) {
    if (file->output) file->output->close();
  }
}

SoundFile HostSoundFiles::keep(std::shared_ptr<OpenFile> file) {
  const std::lock_guard lock(mMutex);
  const auto handle = static_cast<SoundFile>(++mLastFile);
  mFiles[handle] = std::move(file);
  return handle;
}

std::shared_ptr<HostSoundFiles::OpenFile> HostSoundFiles::find(SoundFile file) const {
  const std::lock_guard lock(mMutex);
  const auto found = mFiles.find(file);
  return found == mFiles.end() ? nullptr : found->second;
}

Status HostSoundFiles::refuse(const GatedCall& call, Failure failure) const {
  failure.call = call.name();
  return mContext->refuse(std::move(failure));
}

// ---- files

Status HostSoundFiles::create(const std::string& path, std::uint32_t fileType,
                              const platform::StreamDescription& format, SoundFile& file) {
  file = SoundFile::none;
  if (const auto refusal = mContext->refusalOf(createCall)) return *refusal;
  auto writer = makePacketWriter(path, fileType, format);
  if (!writer) return refuse(createCall, writer.failure());
  auto output = SoundFileOutput::create(path, std::move(*writer), mContext);
  if (!output) return refuse(createCall, output.failure());
  file = keep(std::make_shared<OpenFile>(OpenFile{.output = std::move(*output), .format = format}));
  return status::success;
}

Status HostSoundFiles::open(const std::string& path, SoundFile& file) {
  file = SoundFile::none;
  if (const auto refusal = mContext->refusalOf(openCall)) return *refusal;
  auto descriptor = openToRead(path);
  if (!descriptor) return refuse(openCall, descriptor.failure());
  try {
    auto reader = openPacketFile(std::move(*descriptor), path);
    if (!reader) return refuse(openCall, reader.failure());
    const platform::StreamDescription format = (*reader)->format();
    file = keep(std::make_shared<OpenFile>(OpenFile{.reader = std::move(*reader), .format = format}));
    return status::success;
  } catch (const std::bad_alloc&) {
    return refuse(openCall, {status::ioFailure, "there is not enough memory to read \"" + path + "\""});
  }
}

Status HostSoundFiles::close(SoundFile file) {
  std::shared_ptr<OpenFile> closed;
  {
    const std::lock_guard lock(mMutex);
    const auto found = mFiles.find(file);
    if (found == mFiles.end()) return status::badParameter;
    closed = std::move(found->second);
    mFiles.erase(found);
  }
  if (closed->output) closed->output->close();
  return status::success;
}

// ---- properties

Status HostSoundFiles::propertyInfo(SoundFile file, SoundFileProperty property, std::uint32_t& byteSize,
                                    bool& isWritable) {
  if (const auto refusal = mContext->refusalOf(propertyInfoCall)) return *refusal;
  const std::shared_ptr<OpenFile> open = find(file);
  if (!open) return status::badParameter;
  auto bytes = open->property(property);
  if (!bytes) return bytes.failure().status;
  byteSize = static_cast<std::uint32_t>(bytes->size());
  isWritable = property == SoundFileProperty::magicCookie && open->output && open->output->takesCookie();
  return status::success;
}

Status HostSoundFiles::property(SoundFile file, SoundFileProperty property, std::uint32_t& byteSize, void* data) {
  if (const auto refusal = mContext->refusalOf(propertyCall)) return *refusal;
  const std::shared_ptr<OpenFile> open = find(file);
  if (!open) return status::badParameter;
  auto bytes = open->property(property);
  if (!bytes) return bytes.failure().reason.empty() ? bytes.failure().status : refuse(propertyCall, bytes.failure());
  return copyOut(*bytes, byteSize, data);
}

Status HostSoundFiles::setProperty(SoundFile file, SoundFileProperty property, std::uint32_t byteSize,
                                   const void* data) {
  if (const auto refusal = mContext->refusalOf(setPropertyCall)) return *refusal;
  const std::shared_ptr<OpenFile> open = find(file);
  constexpr std::uint32_t maxBytes = 1 << 20;
  if (!open || data == nullptr || byteSize > maxBytes) return status::badParameter;
  if (property != SoundFileProperty::magicCookie || !open->output || !open->output->takesCookie()) {
    return status::wrongState;
  }
  auto failure = open->output->setCookie({static_cast<const std::byte*>(data), byteSize});
  return failure ? refuse(setPropertyCall, *std::move(failure)) : status::success;
}

// ---- packets

Status HostSoundFiles::writePackets(SoundFile file, std::uint32_t byteSize, const PacketDescription* packets,
                                    std::int64_t startingPacket, std::uint32_t& packetCount, const void* data) {
  const std::uint32_t wanted = std::exchange(packetCount, 0);
  if (const auto refusal = mContext->refusalOf(writePacketsCall)) return *refusal;
  const std::shared_ptr<OpenFile> open = find(file);
  if (!open || data == nullptr) return status::badParameter;
  if (!open->output) return status::wrongState;
  const std::uint32_t packetBytes = open->format.bytesPerPacket;
  const std::span descriptions(packets, packets == nullptr ? 0 : wanted);
  const bool fits = packetBytes != 0 ? std::uint64_t{wanted} * packetBytes <= byteSize
                                     : packets != nullptr && lieWithin(descriptions, byteSize);
  if (!fits || startingPacket < 0 || static_cast<std::uint64_t>(startingPacket) != open->output->packets()) {
    return status::badParameter;
  }
  const std::size_t bytes = packetBytes != 0 ? std::size_t{wanted} * packetBytes : byteSize;
  auto failure = open->output->write({static_cast<const std::byte*>(data), bytes}, descriptions, packetCount);
  return failure ? refuse(writePacketsCall, *std::move(failure)) : status::success;
}

Status HostSoundFiles::readPackets(SoundFile file, std::uint32_t& byteSize, PacketDescription* packets,
                                   std::int64_t startingPacket, std::uint32_t& packetCount, void* data) {
  const std::uint32_t room = std::exchange(byteSize, 0);
  const std::uint32_t wanted = std::exchange(packetCount, 0);
  if (const auto refusal = mContext->refusalOf(readPacketsCall)) return *refusal;
  const std::shared_ptr<OpenFile> open = find(file);
  if (!open || startingPacket < 0 || data == nullptr) return status::badParameter;
  if (!open->reader) return status::wrongState;
  if (open->format.bytesPerPacket == 0 && packets == nullptr) return status::badParameter;
  try {
    auto read = open->reader->read(static_cast<std::uint64_t>(startingPacket), wanted,
                                   {static_cast<std::byte*>(data), room}, packets);
    if (!read) return refuse(readPacketsCall, read.failure());
    byteSize = read->bytes;
    packetCount = read->packets;
    return status::success;
  } catch (const std::bad_alloc&) {
    return refuse(readPacketsCall, {status::ioFailure, "there is not enough memory to read the file"});
  }
}

// ---- information

namespace {

/// An item of information: its bytes, or a shared object.
struct Information {
  Bytes bytes;
  std::shared_ptr<const std::string> name;
  std::shared_ptr<const std::vector<std::string>> extensions;

  std::uint32_t size() const {
    return static_cast<std::uint32_t>(name ? sizeof name : extensions ? sizeof extensions : bytes.size());
  }
};

Result<Information> lookUp(SoundFileInfo info, std::span<const std::uint32_t> specifier) {
  const std::size_t needed = info == SoundFileInfo::writableTypes        ? 0
                             : info == SoundFileInfo::streamDescriptions ? 2
                                                                         : 1;
  if (specifier.size() != needed) return Failure{status::badParameter};
  Information result;
  if (info == SoundFileInfo::writableTypes) {
    std::vector<std::uint32_t> codes;
    for (const SoundFileType& each : soundFileTypes()) codes.push_back(each.code);
    result.bytes = bytesOf(codes);
    return result;
  }
  const auto types = soundFileTypes();
  const auto found = std::ranges::find(types, specifier[0], &SoundFileType::code);
  if (found == types.end()) return Failure{status::unsupportedType};
  switch (info) {
    case SoundFileInfo::typeName:
      result.name = found->name;
      return result;
    case SoundFileInfo::typeExtensions:
      result.extensions = found->extensions;
      return result;
    case SoundFileInfo::dataFormatIDs:
      result.bytes = bytesOf(found->formatIDs);
      return result;
    case SoundFileInfo::streamDescriptions:
      result.bytes = bytesOf(found->variants(specifier[1]));
      if (result.bytes.empty()) return Failure{status::unsupportedFormat};
      return result;
    default:
      return Failure{status::badParameter};
  }
}

Result<Information> lookUp(SoundFileInfo info, std::uint32_t specifierSize, const void* specifier) {
  std::uint32_t words[2] = {};
  if (specifierSize > sizeof words || specifierSize % sizeof(std::uint32_t) != 0 ||
      (specifier == nullptr && specifierSize > 0)) {
    return Failure{status::badParameter};
  }
  if (specifierSize > 0) std::memcpy(words, specifier, specifierSize);
  return lookUp(info, std::span(words).first(specifierSize / sizeof(std::uint32_t)));
}

}  // namespace

Status HostSoundFiles::globalInfoSize(SoundFileInfo info, std::uint32_t specifierSize, const void* specifier,
                                      std::uint32_t& byteSize) {
  if (const auto refusal = mContext->refusalOf(globalInfoSizeCall)) return *refusal;
  auto found = lookUp(info, specifierSize, specifier);
  if (!found) return found.failure().status;
  byteSize = found->size();
  return status::success;
}

Status HostSoundFiles::globalInfo(SoundFileInfo info, std::uint32_t specifierSize, const void* specifier,
                                  std::uint32_t& byteSize, void* data) {
  if (const auto refusal = mContext->refusalOf(globalInfoCall)) return *refusal;
  auto found = lookUp(info, specifierSize, specifier);
  if (!found) return found.failure().status;
  if (!found->name && !found->extensions) return copyOut(found->bytes, byteSize, data);
  if (data == nullptr || byteSize != found->size()) return status::badParameter;
  if (found->name) *static_cast<std::shared_ptr<const std::string>*>(data) = found->name;
  if (found->extensions) *static_cast<std::shared_ptr<const std::vector<std::string>>*>(data) = found->extensions;
  return status::success;
}

}  // namespace orvane::host
