// SPDX-License-Identifier: MIT
#include "platform/host/graph/RecordedFile.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <new>
#include <utility>

#include "platform/SoundFileService.h"
#include "platform/Status.h"
#include "platform/host/CallGate.h"
#include "platform/host/ExitHook.h"
#include "platform/host/files/PacketFile.h"
#include "platform/host/files/PcmHeader.h"
#include "platform/host/files/SoundFileTypes.h"

namespace orvane::host {

using platform::Failure;
using platform::FormatSettings;
using platform::PlatformError;
using platform::StreamDescription;
using platform::StreamFormat;
namespace flag = platform::format_flag;
namespace status = platform::status;

namespace {

const GatedCall writeCall("PcmFile::write");

/// Returns the type that the extension of a path selects.
Result<std::uint32_t> typeOf(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  for (char& character : extension) character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  for (const SoundFileType& type : soundFileTypes()) {
    if (extension.empty() || std::ranges::find(*type.extensions, extension.substr(1)) == type.extensions->end()) {
      continue;
    }
    if (type.formatIDs.front() == platform::linearPcmFormatID) return type.code;
    return fileFailure(status::unsupportedType, path,
                       "cannot be recorded by a graph, which does not compress; a buffer queue records " + *type.name);
  }
  return fileFailure(status::unsupportedType, path,
                     "has no extension of a file type that a graph records: aif, aifc, aiff, au, rf64, snd, wav, wave");
}

/// Returns the format of the samples in a file: as the settings ask if the type holds it in either byte order,
/// otherwise integers of 24 bits.
Result<StreamDescription> formatIn(std::uint32_t type, const std::string& path, const FormatSettings& settings) {
  const std::array<std::pair<std::uint32_t, std::uint32_t>, 2> widths{
      {{settings.bitsPerChannel, settings.isFloat ? flag::isFloat : flag::signedInteger}, {24, flag::signedInteger}}};
  std::string reason = "the data format is not linear PCM";
  for (const auto& [bits, kind] : widths) {
    StreamDescription format =
        StreamFormat::linearPcm(settings.sampleRate, settings.channels, bits, kind, true).description();
    for (const std::uint32_t order : {0U, flag::bigEndian}) {
      format.formatFlags = (format.formatFlags & ~flag::bigEndian) | order;
      if (settings.formatID != platform::linearPcmFormatID) continue;
      const auto why = whyNotPcm(type, format);
      if (!why && PcmCoding::make(format)) return format;
      if (why) reason = *why;
    }
  }
  return fileFailure(status::unsupportedFormat, path, "cannot be written: " + reason);
}

}  // namespace

Result<std::shared_ptr<platform::PcmFile>> RecordedFile::create(std::shared_ptr<HostContext> context,
                                                                const std::string& path,
                                                                const FormatSettings& settings) {
  auto type = typeOf(path);
  if (!type) return type.failure();
  auto format = formatIn(*type, path, settings);
  if (!format) return format.failure();
  auto writer = makePacketWriter(path, *type, *format);
  if (!writer) return writer.failure();
  auto output = SoundFileOutput::create(path, std::move(*writer), context);
  if (!output) return output.failure();
  return std::shared_ptr<platform::PcmFile>(
      new RecordedFile(std::move(context), path, StreamFormat::standard(settings.sampleRate, settings.channels),
                       *PcmCoding::make(*format), std::move(*output)));
}

RecordedFile::RecordedFile(std::shared_ptr<HostContext> context, std::string path, const StreamFormat& format,
                           PcmCoding coding, std::unique_ptr<SoundFileOutput> output)
    : mContext(std::move(context)),
      mPath(std::move(path)),
      mFormat(format),
      mCoding(coding),
      mOutput(std::move(output)) {
  ExitHook::add(this, [this] { mOutput->close(); });
}

RecordedFile::~RecordedFile() {
  ExitHook::remove(this);
}

std::optional<PlatformError> RecordedFile::read(std::uint64_t, std::uint32_t, std::span<float* const>,
                                                std::uint32_t& read) {
  read = 0;
  return PlatformError(status::wrongState, "PcmFile::read", "\"" + mPath + "\" is being written");
}

std::optional<PlatformError> RecordedFile::write(const platform::PcmBuffer& buffer) {
  const auto refused = [this](Failure failure) {
    failure.call = writeCall.name();
    mContext->keepRefusal(failure);
    return PlatformError(std::move(failure));
  };
  if (const Refusal* refusal = mContext->gate->refusal(writeCall)) {
    return refused(fileFailure(refusal->status, mPath, "cannot be written: " + refusal->reason));
  }
  if (buffer.format() != mFormat) {
    return refused(fileFailure(status::unsupportedFormat, mPath, "has another rate or channel count than the buffer"));
  }
  try {
    mBytes.resize(std::size_t{buffer.frames()} * mCoding.frameBytes());
  } catch (const std::bad_alloc&) {
    return refused(fileFailure(status::ioFailure, mPath, "cannot be written: there is not enough memory"));
  }
  mCoding.encode(buffer.planes(), 0, buffer.frames(), mBytes.data());
  std::uint32_t written = 0;
  auto failure = mOutput->write(mBytes, {}, written);
  return failure ? std::optional(refused(*std::move(failure))) : std::nullopt;
}

}  // namespace orvane::host
