// SPDX-License-Identifier: MIT
#include "platform/host/files/PcmFile.h"

#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <utility>

#include "platform/SoundFileService.h"
#include "platform/Status.h"
#include "platform/StreamFormat.h"
#include "platform/host/files/LayoutBytes.h"
#include "platform/host/files/PcmHeader.h"
#include "platform/host/files/SoundFileInput.h"

namespace orvane::host {

using platform::Failure;
using platform::PacketDescription;
using platform::StreamDescription;
namespace flag = platform::format_flag;
namespace status = platform::status;

namespace {

// ---- reading

/// The width and the kind of libsndfile's linear PCM formats.
struct PcmKind {
  int subtype;
  std::uint32_t bits;
  std::uint32_t kind;
};

constexpr PcmKind pcmKinds[] = {
    {SF_FORMAT_PCM_S8, 8, flag::signedInteger},  {SF_FORMAT_PCM_U8, 8, 0},
    {SF_FORMAT_PCM_16, 16, flag::signedInteger}, {SF_FORMAT_PCM_24, 24, flag::signedInteger},
    {SF_FORMAT_PCM_32, 32, flag::signedInteger}, {SF_FORMAT_FLOAT, 32, flag::isFloat},
    {SF_FORMAT_DOUBLE, 64, flag::isFloat},
};

class PcmReader final : public PacketReader {
 public:
  PcmReader(std::string path, std::unique_ptr<SoundFileInput> input, const StreamDescription& format)
      : mPath(std::move(path)), mInput(std::move(input)), mFormat(format) {}

  const StreamDescription& format() const override { return mFormat; }
  std::vector<std::byte> layout() const override;
  Result<std::uint32_t> packetSizeUpperBound() override {
    return mInput->info().frames > 0 ? mFormat.bytesPerPacket : 0;
  }
  Result<Read> read(std::uint64_t first, std::uint32_t maxPackets, std::span<std::byte> room,
                    PacketDescription* descriptions) override;

 private:
  std::optional<Failure> seek(std::uint64_t frame);

  const std::string mPath;
  const std::unique_ptr<SoundFileInput> mInput;
  const StreamDescription mFormat;
  std::uint64_t mNext = 0;  ///< The frame that the next read returns.
};

std::vector<std::byte> PcmReader::layout() const {
  std::vector<int> places(mFormat.channelsPerFrame);
  const int bytes = static_cast<int>(places.size() * sizeof(int));
  if (sf_command(mInput->handle(), SFC_GET_CHANNEL_MAP_INFO, places.data(), bytes) != SF_TRUE) return {};
  platform::ChannelLayout layout;
  for (const int place : places) layout.descriptions.push_back({.label = static_cast<std::uint32_t>(place)});
  return layoutBytes(layout);
}

std::optional<Failure> PcmReader::seek(std::uint64_t frame) {
  if (frame == mNext) return std::nullopt;
  if (sf_seek(mInput->handle(), static_cast<sf_count_t>(frame), SEEK_SET) < 0) {
    return fileFailure(status::ioFailure, mPath, "cannot be positioned at frame " + std::to_string(frame));
  }
  mNext = frame;
  return std::nullopt;
}

Result<PacketReader::Read> PcmReader::read(std::uint64_t first, std::uint32_t maxPackets, std::span<std::byte> room,
                                           PacketDescription* descriptions) {
  const std::uint32_t frameBytes = mFormat.bytesPerFrame;
  const std::uint64_t all = static_cast<std::uint64_t>(std::max<sf_count_t>(mInput->info().frames, 0));
  if (first >= all) return Read{};
  if (auto failure = seek(first)) return *std::move(failure);
  const std::uint64_t wanted = std::min<std::uint64_t>({maxPackets, room.size() / frameBytes, all - first});
  if (wanted == 0 && maxPackets > 0) {
    return fileFailure(status::badParameter, mPath,
                       "has packets of " + std::to_string(frameBytes) + " bytes; the buffer is smaller");
  }
  const sf_count_t bytes = sf_read_raw(mInput->handle(), room.data(), static_cast<sf_count_t>(wanted * frameBytes));
  const auto frames = static_cast<std::uint32_t>(std::max<sf_count_t>(bytes, 0) / frameBytes);
  if (const auto failure = mInput->failure()) {
    return fileFailure(failure->status, mPath, failure->reason + " at frame " + std::to_string(first + frames));
  }
  mNext = first + frames;
  if (frames == 0 && wanted > 0 && mInput->declaredFrames()) {
    return fileFailure(status::invalidFile, mPath,
                       "declares " + std::to_string(all) + " frames and ends at frame " + std::to_string(first));
  }
  for (std::uint32_t frame = 0; descriptions != nullptr && frame < frames; ++frame) {
    descriptions[frame] = {std::int64_t{frame} * frameBytes, 1, frameBytes};
  }
  return Read{frames, frames * frameBytes};
}

// ---- writing

class PcmWriter final : public PacketWriter {
 public:
  PcmWriter(std::string path, std::uint32_t fileType, const StreamDescription& format)
      : mPath(std::move(path)), mType(fileType), mFormat(format) {}

  std::optional<Failure> begin(int descriptor) override;
  std::optional<Failure> write(std::span<const std::byte> bytes, std::span<const PacketDescription> packets,
                               std::uint32_t& written) override;
  std::optional<Failure> finish() override;
  std::uint64_t frames() const override { return mFrames; }
  std::uint32_t type() const override { return pcmTypeWritten(mType, mFormat, mFrames); }

 private:
  std::optional<Failure> writeHeader() const;
  std::uint64_t end() const { return mHeaderBytes + mFrames * mFormat.bytesPerFrame; }

  const std::string mPath;
  const std::uint32_t mType;
  const StreamDescription mFormat;
  const std::uint64_t mHeaderBytes = pcmHeader(mType, mFormat, 0).size();
  int mFile = -1;
  std::uint64_t mFrames = 0;
};

std::optional<Failure> PcmWriter::begin(int descriptor) {
  mFile = descriptor;
  // The old content goes only when the new header is there.
  if (auto failure = writeHeader()) return failure;
  if (ftruncate(mFile, static_cast<off_t>(mHeaderBytes)) != 0) return systemFailure(mPath, errno);
  return std::nullopt;
}

std::optional<Failure> PcmWriter::writeHeader() const {
  const std::string header = pcmHeader(mType, mFormat, mFrames);
  const WrittenBytes written = writeAt(mFile, std::as_bytes(std::span(header)), 0);
  return written.error == 0 ? std::nullopt : std::optional(systemFailure(mPath, written.error));
}

std::optional<Failure> PcmWriter::write(std::span<const std::byte> bytes, std::span<const PacketDescription>,
                                        std::uint32_t& written) {
  const std::uint64_t frames = bytes.size() / mFormat.bytesPerFrame;
  if (frames > maxPcmFrames(mType, mFormat) - mFrames) {
    return fileFailure(status::ioFailure, mPath, "is full: files of its type end at 4 GiB");
  }
  const WrittenBytes done = writeAt(mFile, bytes.first(frames * mFormat.bytesPerFrame), end());
  const std::uint64_t whole = done.bytes / mFormat.bytesPerFrame;
  mFrames += whole;
  written += static_cast<std::uint32_t>(whole);
  // Remove a partial frame, because other programs may not be able to read it.
  if (done.error != 0) [[maybe_unused]]
    const int ignored = ftruncate(mFile, static_cast<off_t>(end()));
  auto failure = writeHeader();
  if (done.error != 0) return systemFailure(mPath, done.error);
  return failure;
}

std::optional<Failure> PcmWriter::finish() {
  constexpr std::byte pad[1] = {};
  // An AU file has no chunks.
  if (end() % 2 == 1 && mType != platform::sound_file_type::au) {
    if (const WrittenBytes written = writeAt(mFile, pad, end()); written.error != 0) {
      return systemFailure(mPath, written.error);
    }
  }
  return writeHeader();
}

}  // namespace

Result<std::unique_ptr<PacketReader>> openPcmFile(FileDescriptor file, const std::string& path) {
  auto input = SoundFileInput::open(std::move(file), path, "the file being played");
  if (!input) return input.failure();
  const SF_INFO& info = (*input)->info();
  const auto* const kind = std::ranges::find(pcmKinds, info.format & SF_FORMAT_SUBMASK, &PcmKind::subtype);
  const int container = info.format & SF_FORMAT_TYPEMASK;
  // Their bytes are not plain samples, although the library calls the format so.
  const bool isCoded = container == SF_FORMAT_FLAC || container == SF_FORMAT_SDS ||
                       (container == SF_FORMAT_PAF && kind != std::end(pcmKinds) && kind->bits == 24);
  if (kind == std::end(pcmKinds) || isCoded) {
    return fileFailure(status::unsupportedFormat, path,
                       "holds a data format that queues do not play; they play linear PCM, FLAC and Opus");
  }
  const auto channels = static_cast<std::uint32_t>(info.channels);
  StreamDescription format =
      platform::StreamFormat::linearPcm(info.samplerate, channels, kind->bits, kind->kind, true).description();
  const bool isSwapped = sf_command((*input)->handle(), SFC_RAW_DATA_NEEDS_ENDSWAP, nullptr, 0) == SF_TRUE;
  const bool isBigEndian = isSwapped == (std::endian::native == std::endian::little);
  format.formatFlags &= ~flag::bigEndian;
  if (isBigEndian && kind->bits > 8) format.formatFlags |= flag::bigEndian;
  return std::unique_ptr<PacketReader>(std::make_unique<PcmReader>(path, std::move(*input), format));
}

Result<std::unique_ptr<PacketWriter>> makePcmWriter(const std::string& path, std::uint32_t fileType,
                                                    const StreamDescription& format) {
  if (const auto why = whyNotPcm(fileType, format))
    return fileFailure(status::unsupportedFormat, path, "cannot be written: " + *why);
  return std::unique_ptr<PacketWriter>(std::make_unique<PcmWriter>(path, fileType, format));
}

}  // namespace orvane::host
