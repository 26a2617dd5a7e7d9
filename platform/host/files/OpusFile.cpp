// SPDX-License-Identifier: MIT
#include "platform/host/files/OpusFile.h"

#include <ogg/ogg.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/NumberText.h"
#include "platform/SoundFileService.h"
#include "platform/Status.h"
#include "platform/host/convert/OpusCodec.h"
#include "platform/host/files/FileRegistry.h"

namespace orvane::host {

using platform::Failure;
using platform::PacketDescription;
using platform::StreamDescription;
namespace status = platform::status;

namespace {

constexpr long maxPacketBytes = 1 << 20;

std::span<const std::byte> bytesOf(const ogg_packet& packet) {
  return {reinterpret_cast<const std::byte*>(packet.packet), static_cast<std::size_t>(packet.bytes)};
}

// ---- reading

/// The packets of the only stream of an Ogg file, in order.
class OggPackets {
 public:
  OggPackets(int file, std::string path) : mFile(file), mPath(std::move(path)) { ogg_sync_init(&mSync); }
  ~OggPackets() {
    if (mHasStream) ogg_stream_clear(&mStream);
    ogg_sync_clear(&mSync);
  }
  OggPackets(const OggPackets&) = delete;
  OggPackets& operator=(const OggPackets&) = delete;

  /// Reads the next packet, which is valid until the next call; `std::nullopt` at the end of the stream. A file that
  /// ends without the last page of its stream is a failure.
  Result<std::optional<ogg_packet>> next();
  /// Returns the granule position of the last page that was read: the number of frames up to its end.
  std::int64_t granule() const { return mGranule; }

 private:
  Result<bool> readPage();
  Result<bool> findPage(ogg_page& page);
  Failure invalid(const std::string& reason) const { return fileFailure(status::invalidFile, mPath, reason); }

  const int mFile;
  const std::string mPath;
  std::uint64_t mPlace = 0;
  ogg_sync_state mSync{};
  ogg_stream_state mStream{};
  bool mHasStream = false;
  bool mHasEnded = false;
  int mReturned = 0;  ///< Packets that were returned.
  std::int64_t mGranule = 0;
};

Result<std::optional<ogg_packet>> OggPackets::next() {
  for (;;) {
    ogg_packet packet{};
    const int got = mHasStream ? ogg_stream_packetout(&mStream, &packet) : 0;
    if (got > 0) {
      ++mReturned;
      return std::optional(packet);
    }
    if (got < 0) return invalid("lacks a page");
    if (mHasEnded) {
      ogg_page page{};
      auto another = findPage(page);
      if (!another) return another.failure();
      if (*another) return invalid("has more than one stream");
      return std::optional<ogg_packet>();
    }
    auto page = readPage();
    if (!page) return page.failure();
    if (!*page) return invalid("lacks its last page");
  }
}

/// Reads the next page. Returns false at the end of the file.
Result<bool> OggPackets::findPage(ogg_page& page) {
  constexpr long blockBytes = 1 << 16;
  for (int got = ogg_sync_pageout(&mSync, &page); got != 1; got = ogg_sync_pageout(&mSync, &page)) {
    if (got < 0) return invalid("has a damaged page");
    char* const room = ogg_sync_buffer(&mSync, blockBytes);
    if (room == nullptr) return Failure{status::ioFailure, "there is not enough memory to read \"" + mPath + "\""};
    const ssize_t read = pread(mFile, room, blockBytes, static_cast<off_t>(mPlace));
    if (read < 0 && errno == EINTR) continue;
    if (read < 0) return systemFailure(mPath, errno);
    if (read == 0) return false;
    mPlace += static_cast<std::uint64_t>(read);
    ogg_sync_wrote(&mSync, read);
  }
  return true;
}

/// Reads the next page into the stream. Returns false at the end of the file.
Result<bool> OggPackets::readPage() {
  ogg_page page{};
  auto isFound = findPage(page);
  if (!isFound || !*isFound) return isFound;
  if (!mHasStream) {
    ogg_stream_init(&mStream, ogg_page_serialno(&page));
    mHasStream = true;
  }
  if (ogg_stream_pagein(&mStream, &page) != 0) return invalid("has more than one stream");
  // The second header may hold a picture.
  constexpr int headers = 2;
  constexpr long maxHeaderBytes = 16 << 20;
  const long maxBytes = mReturned < headers ? maxHeaderBytes : maxPacketBytes;
  if (mStream.body_fill - mStream.body_returned > maxBytes) {
    return invalid("has a packet of more than " + std::to_string(maxBytes >> 20) + " MiB");
  }
  if (ogg_page_granulepos(&page) >= 0) mGranule = ogg_page_granulepos(&page);
  mHasEnded = ogg_page_eos(&page) != 0;
  return true;
}

class OpusReader final : public PacketReader {
 public:
  OpusReader(FileDescriptor file, std::string path)
      : mPath(std::move(path)), mClaim(std::move(file), "the file being played") {}

  /// Reads the whole file once: checks it, and finds its largest packet and its length.
  std::optional<Failure> begin();

  const StreamDescription& format() const override { return mFormat; }
  std::vector<std::byte> cookie() const override { return mCookie; }
  Result<std::uint32_t> packetSizeUpperBound() override { return mMaxBytes; }
  Result<Read> read(std::uint64_t first, std::uint32_t maxPackets, std::span<std::byte> room,
                    PacketDescription* descriptions) override;

 private:
  std::optional<Failure> rewind();
  std::optional<Failure> take();
  Failure invalid(const std::string& reason) const { return fileFailure(status::invalidFile, mPath, reason); }

  const std::string mPath;
  const ReadClaim mClaim;
  StreamDescription mFormat;
  std::vector<std::byte> mCookie;
  std::uint32_t mMaxBytes = 0;
  std::uint64_t mAllFrames = 0;  ///< According to the last page, the pre-skip included.
  std::unique_ptr<OggPackets> mPackets;
  std::uint64_t mNext = 0;              ///< Index of the packet in `mPacket`.
  std::uint64_t mFrames = 0;            ///< Frames before it.
  std::optional<ogg_packet> mPacket{};  ///< The packet that was read ahead; empty at the end.
  std::optional<Failure> mFailure{};    ///< The failure that the next read reports.
};

/// Positions the file at its first packet of sound, and reads its header.
std::optional<Failure> OpusReader::rewind() {
  mPackets = std::make_unique<OggPackets>(mClaim.descriptor(), mPath);
  mNext = mFrames = 0;
  mFailure.reset();
  for (const std::string_view name : {"OpusHead", "OpusTags"}) {
    auto packet = mPackets->next();
    if (!packet) return packet.failure();
    const bool isThere = *packet && std::string_view(reinterpret_cast<const char*>((*packet)->packet),
                                                     static_cast<std::size_t>((*packet)->bytes))
                                        .starts_with(name);
    if (!isThere) return invalid("lacks its " + std::string(name) + " header");
    if (name == "OpusHead") mCookie.assign(bytesOf(**packet).begin(), bytesOf(**packet).end());
  }
  return take();
}

/// Reads the next packet ahead.
std::optional<Failure> OpusReader::take() {
  auto packet = mPackets->next();
  if (!packet) return packet.failure();
  mPacket = *packet;
  if (mPacket && mPacket->bytes == 0 && mPacket->e_o_s != 0) mPacket.reset();  // The end of a stream without sound.
  if (mPacket && opusFrames(bytesOf(*mPacket)) == 0)
    return invalid("has an invalid packet at frame " + std::to_string(mFrames));
  return std::nullopt;
}

std::optional<Failure> OpusReader::begin() {
  if (auto failure = rewind()) return failure;
  const auto head = OpusHead::parse(mCookie);
  if (!head) return invalid("has an Opus header that is not valid or has more than 8 channels");
  mFormat = {.sampleRate = opusRate,
             .formatID = platform::opusFormatID,
             .framesPerPacket = mPacket ? opusFrames(bytesOf(*mPacket)) : 0,
             .channelsPerFrame = head->channels};
  while (mPacket) {
    const std::uint32_t frames = opusFrames(bytesOf(*mPacket));
    if (frames != mFormat.framesPerPacket) mFormat.framesPerPacket = 0;
    mMaxBytes = std::max(mMaxBytes, static_cast<std::uint32_t>(mPacket->bytes));
    mFrames += frames;
    if (auto failure = take()) return failure;
  }
  mAllFrames = std::min(mFrames, static_cast<std::uint64_t>(std::max<std::int64_t>(mPackets->granule(), 0)));
  return rewind();
}

Result<PacketReader::Read> OpusReader::read(std::uint64_t first, std::uint32_t maxPackets, std::span<std::byte> room,
                                            PacketDescription* descriptions) {
  if (first < mNext) {
    if (auto failure = rewind()) return *std::move(failure);
  }
  if (mFailure) return *mFailure;
  Read result;
  // The frames of a packet behind the end that the last page declares are not part of the recording.
  while (mPacket && mFrames < mAllFrames && result.packets < maxPackets) {
    const std::span<const std::byte> packet = bytesOf(*mPacket);
    const std::uint32_t frames = opusFrames(packet);
    if (mNext >= first) {
      if (packet.size() > room.size() - result.bytes) {
        if (result.packets > 0) break;
        return fileFailure(status::badParameter, mPath,
                           "has a packet of " + std::to_string(packet.size()) + " bytes; the buffer is smaller");
      }
      std::ranges::copy(packet, room.begin() + result.bytes);
      const auto kept = static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, mAllFrames - mFrames));
      if (descriptions != nullptr) {
        descriptions[result.packets] = {result.bytes, kept, static_cast<std::uint32_t>(packet.size())};
      }
      result.bytes += static_cast<std::uint32_t>(packet.size());
      ++result.packets;
    }
    ++mNext;
    mFrames += frames;
    if (auto failure = take()) {
      // The packets that were read before are good; the failure shows at the next call.
      mPacket.reset();
      if (result.packets == 0) return *std::move(failure);
      mFailure = std::move(failure);
    }
  }
  return result;
}

// ---- writing

class OpusWriter final : public PacketWriter {
 public:
  OpusWriter(std::string path, std::uint32_t framesPerPacket)
      : mPath(std::move(path)), mFramesPerPacket(framesPerPacket) {
    // A file has one stream, so any number identifies it.
    ogg_stream_init(&mStream, 1);
  }
  ~OpusWriter() override { ogg_stream_clear(&mStream); }
  OpusWriter(const OpusWriter&) = delete;
  OpusWriter& operator=(const OpusWriter&) = delete;

  std::optional<Failure> begin(int descriptor) override;
  bool takesCookie() const override { return true; }
  std::vector<std::byte> cookie() const override { return mCookie; }
  std::optional<Failure> setCookie(std::span<const std::byte> cookie) override;
  std::optional<Failure> write(std::span<const std::byte> bytes, std::span<const PacketDescription> packets,
                               std::uint32_t& written) override;
  std::optional<Failure> finish() override;
  std::uint64_t frames() const override { return mFrames - std::min<std::uint64_t>(mFrames, mPreSkip); }
  std::uint32_t type() const override { return platform::sound_file_type::opus; }

 private:
  /// The state that changes with each packet.
  struct State {
    std::shared_ptr<const std::vector<std::byte>> held;
    std::uint64_t frames;
    std::int64_t packets;
    long page;
    std::uint64_t end;
  };

  void restore(const State& before);
  std::optional<Failure> writeHeaders();
  void put(std::span<const std::byte> bytes, std::int64_t granule, bool isLast);
  void putHeld(bool isLast);
  std::optional<Failure> flush();

  const std::string mPath;
  const std::uint32_t mFramesPerPacket;
  std::vector<std::byte> mCookie;
  std::uint32_t mPreSkip = 0;
  /// The last packet, which is held back because the last packet of a stream is marked as such.
  std::shared_ptr<const std::vector<std::byte>> mHeld;
  ogg_stream_state mStream{};
  std::int64_t mPackets = 0;
  std::uint64_t mFrames = 0;  ///< The pre-skip included.
  int mFile = -1;
  std::uint64_t mEnd = 0;
  bool mHasHeaders = false;
};

std::optional<Failure> OpusWriter::begin(int descriptor) {
  mFile = descriptor;
  return ftruncate(mFile, 0) != 0 ? std::optional(systemFailure(mPath, errno)) : std::nullopt;
}

std::optional<Failure> OpusWriter::setCookie(std::span<const std::byte> cookie) {
  const auto head = OpusHead::parse(cookie);
  if (!head) return fileFailure(status::unsupportedFormat, mPath, "takes a valid OpusHead as its cookie");
  const std::vector<std::byte> bytes(cookie.begin(), cookie.end());
  if (mHasHeaders && bytes != mCookie) {
    return fileFailure(status::wrongState, mPath, "already has another cookie, which cannot be replaced");
  }
  mCookie = bytes;
  mPreSkip = head->preSkip;
  return mHasHeaders ? std::nullopt : writeHeaders();
}

/// Writes the two headers, each on a page of its own.
std::optional<Failure> OpusWriter::writeHeaders() {
  constexpr std::string_view vendor = "orvane";
  std::string tags = "OpusTags";
  const auto appendNumber = [&tags](std::uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8) tags += static_cast<char>(number >> shift);
  };
  appendNumber(static_cast<std::uint32_t>(vendor.size()));
  tags += vendor;
  appendNumber(0);
  put(mCookie, 0, false);
  if (auto failure = flush()) return failure;
  put(std::as_bytes(std::span(tags)), 0, false);
  mHasHeaders = true;
  return flush();
}

void OpusWriter::put(std::span<const std::byte> bytes, std::int64_t granule, bool isLast) {
  // The library copies the packet.
  auto* const data = reinterpret_cast<unsigned char*>(const_cast<std::byte*>(bytes.data()));
  ogg_packet packet{.packet = data,
                    .bytes = static_cast<long>(bytes.size()),
                    .b_o_s = mPackets == 0 ? 1 : 0,
                    .e_o_s = isLast ? 1 : 0,
                    .granulepos = granule,
                    .packetno = mPackets};
  ++mPackets;
  ogg_stream_packetin(&mStream, &packet);
}

void OpusWriter::putHeld(bool isLast) {
  if (mHeld) put(*mHeld, static_cast<std::int64_t>(mFrames), isLast);
  mHeld.reset();
}

/// Writes all packets that were put.
std::optional<Failure> OpusWriter::flush() {
  ogg_page page{};
  while (ogg_stream_flush(&mStream, &page) != 0) {
    const std::pair<const unsigned char*, long> parts[] = {{page.header, page.header_len}, {page.body, page.body_len}};
    for (const auto& [data, size] : parts) {
      const std::span part(reinterpret_cast<const std::byte*>(data), static_cast<std::size_t>(size));
      const WrittenBytes written = writeAt(mFile, part, mEnd);
      if (written.error != 0) return systemFailure(mPath, written.error);
      mEnd += part.size();
    }
  }
  return std::nullopt;
}

/// Forgets packets that could not be written, so that the file can be continued.
void OpusWriter::restore(const State& before) {
  [[maybe_unused]] const int ignored = ftruncate(mFile, static_cast<off_t>(before.end));
  mHeld = before.held;
  mFrames = before.frames;
  mPackets = before.packets;
  mEnd = before.end;
  ogg_stream_reset(&mStream);
  mStream.pageno = before.page;
  mStream.b_o_s = 1;  // The first page has been written.
}

std::optional<Failure> OpusWriter::write(std::span<const std::byte> bytes, std::span<const PacketDescription> packets,
                                         std::uint32_t& written) {
  if (!mHasHeaders) return fileFailure(status::wrongState, mPath, "needs a cookie before the first packet");
  const State before{mHeld, mFrames, mPackets, mStream.pageno, mEnd};
  for (const PacketDescription& packet : packets) {
    putHeld(false);
    const auto content = bytes.subspan(static_cast<std::size_t>(packet.startOffset), packet.byteSize);
    mHeld = std::make_shared<const std::vector<std::byte>>(content.begin(), content.end());
    mFrames += packet.framesInPacket != 0 ? packet.framesInPacket : mFramesPerPacket;
  }
  if (auto failure = flush()) {
    restore(before);
    return failure;
  }
  written += static_cast<std::uint32_t>(packets.size());
  return std::nullopt;
}

std::optional<Failure> OpusWriter::finish() {
  if (!mHasHeaders) return std::nullopt;
  // A stream without sound ends with an empty packet.
  if (!mHeld) mHeld = std::make_shared<const std::vector<std::byte>>();
  putHeld(true);
  return flush();
}

}  // namespace

Result<std::unique_ptr<PacketReader>> openOpusFile(FileDescriptor file, const std::string& path) {
  auto reader = std::make_unique<OpusReader>(std::move(file), path);
  if (auto failure = reader->begin()) return *std::move(failure);
  return std::unique_ptr<PacketReader>(std::move(reader));
}

Result<std::unique_ptr<PacketWriter>> makeOpusWriter(const std::string& path, const StreamDescription& format) {
  if (format.formatID != platform::opusFormatID) {
    return fileFailure(status::unsupportedFormat, path, "cannot be written: an Opus file holds Opus packets only");
  }
  if (format.sampleRate != opusRate || format.channelsPerFrame < 1 ||
      format.channelsPerFrame > maxEncodedOpusChannels) {
    return fileFailure(status::unsupportedFormat, path,
                       "cannot be written: " + std::to_string(format.channelsPerFrame) + " channels at " +
                           platform::numberText(format.sampleRate) +
                           " Hz; an Opus file takes 1 or 2 channels at 48000 Hz");
  }
  return std::unique_ptr<PacketWriter>(std::make_unique<OpusWriter>(path, format.framesPerPacket));
}

}  // namespace orvane::host
