// SPDX-License-Identifier: MIT
#include "platform/host/files/FlacFile.h"

#include <FLAC/stream_decoder.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string_view>
#include <utility>

#include "platform/SoundFileService.h"
#include "platform/Status.h"
#include "platform/host/convert/FlacCodec.h"
#include "platform/host/files/FileRegistry.h"

namespace orvane::host {

using platform::Failure;
using platform::PacketDescription;
using platform::StreamDescription;
namespace status = platform::status;

namespace {

constexpr std::uint32_t maxPacketBytes = 1 << 20;

// ---- reading

/// A FLAC file being read. libFLAC finds where each packet ends; the packets themselves are read from the file.
class FlacReader final : public PacketReader {
 public:
  FlacReader(FileDescriptor file, std::string path)
      : mPath(std::move(path)), mClaim(std::move(file), "the file being played") {}

  std::optional<Failure> begin();

  const StreamDescription& format() const override { return mFormat; }
  std::vector<std::byte> cookie() const override { return mCookie; }
  Result<std::uint32_t> packetSizeUpperBound() override;
  Result<Read> read(std::uint64_t first, std::uint32_t maxPackets, std::span<std::byte> room,
                    PacketDescription* descriptions) override;

 private:
  struct Delete {
    void operator()(FLAC__StreamDecoder* decoder) const { FLAC__stream_decoder_delete(decoder); }
  };
  /// The place of a packet in the file.
  struct Place {
    std::uint64_t offset;
    std::uint32_t bytes;
    std::uint32_t frames;
  };

  FLAC__StreamDecoderReadStatus readBytes(FLAC__byte* bytes, std::size_t& size);
  void takeStreamInfo(const FLAC__StreamMetadata_StreamInfo& info);
  std::optional<Failure> findPacket();
  std::optional<Failure> findUpTo(std::uint64_t packets);
  std::optional<Failure> invalid(const std::string& reason) const;
  std::optional<Failure> readAt(std::uint64_t offset, std::span<std::byte> room) const;

  const std::string mPath;
  const ReadClaim mClaim;
  StreamDescription mFormat;
  std::vector<std::byte> mCookie;
  std::uint32_t mMaxBytes = 0;        ///< The size of the largest packet as declared; 0 if unknown.
  std::uint64_t mDeclaredFrames = 0;  ///< 0 if unknown.
  std::vector<Place> mPackets;        ///< The packets found so far.
  std::uint64_t mFoundFrames = 0;
  bool mAtEnd = false;
  std::uint64_t mPlace = 0;  ///< Where libFLAC reads next.
  int mReadError = 0;        ///< An `errno` value; 0 for none.
  const char* mError = nullptr;
  std::unique_ptr<FLAC__StreamDecoder, Delete> mLibrary{FLAC__stream_decoder_new()};
};

std::optional<Failure> FlacReader::invalid(const std::string& reason) const {
  if (mReadError != 0) return systemFailure(mPath, mReadError);
  return fileFailure(status::invalidFile, mPath, reason);
}

std::optional<Failure> FlacReader::begin() {
  const auto begun = FLAC__stream_decoder_init_stream(
      mLibrary.get(),
      [](const FLAC__StreamDecoder*, FLAC__byte bytes[], std::size_t* size, void* self) {
        return static_cast<FlacReader*>(self)->readBytes(bytes, *size);
      },
      nullptr,
      [](const FLAC__StreamDecoder*, FLAC__uint64* place, void* self) {
        *place = static_cast<FlacReader*>(self)->mPlace;
        return FLAC__STREAM_DECODER_TELL_STATUS_OK;
      },
      nullptr, nullptr,
      [](const FLAC__StreamDecoder*, const FLAC__Frame*, const FLAC__int32* const[], void*) {
        return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
      },
      [](const FLAC__StreamDecoder*, const FLAC__StreamMetadata* metadata, void* self) {
        if (metadata->type != FLAC__METADATA_TYPE_STREAMINFO) return;
        static_cast<FlacReader*>(self)->takeStreamInfo(metadata->data.stream_info);
      },
      [](const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus error, void* self) {
        static_cast<FlacReader*>(self)->mError = FLAC__StreamDecoderErrorStatusString[error];
      },
      this);
  if (begun != FLAC__STREAM_DECODER_INIT_STATUS_OK ||
      FLAC__stream_decoder_process_until_end_of_metadata(mLibrary.get()) == 0 || mCookie.empty() ||
      mFormat.sampleRate <= 0) {
    return invalid("is not a FLAC file that can be read");
  }
  return std::nullopt;
}

void FlacReader::takeStreamInfo(const FLAC__StreamMetadata_StreamInfo& info) {
  mCookie = flacCookie(info);
  // A larger size than any packet may have is treated as unknown, so that no memory is reserved for it.
  mMaxBytes = info.max_framesize <= maxPacketBytes ? info.max_framesize : 0;
  mDeclaredFrames = info.total_samples;
  mFormat = {.sampleRate = static_cast<double>(info.sample_rate),
             .formatID = platform::flacFormatID,
             .framesPerPacket = info.min_blocksize == info.max_blocksize ? info.max_blocksize : 0,
             .channelsPerFrame = info.channels,
             .bitsPerChannel = info.bits_per_sample};
}

FLAC__StreamDecoderReadStatus FlacReader::readBytes(FLAC__byte* bytes, std::size_t& size) {
  ssize_t read = 0;
  do {
    read = pread(mClaim.descriptor(), bytes, size, static_cast<off_t>(mPlace));
  } while (read < 0 && errno == EINTR);
  if (read < 0) mReadError = errno;
  size = read > 0 ? static_cast<std::size_t>(read) : 0;
  mPlace += size;
  if (read < 0) return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
  return read == 0 ? FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM : FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
}

/// Finds the next packet, or the end of the file.
std::optional<Failure> FlacReader::findPacket() {
  // What follows the last declared frame, such as a tag, is not sound.
  if (mDeclaredFrames != 0 && mFoundFrames >= mDeclaredFrames) {
    mAtEnd = true;
    return std::nullopt;
  }
  const auto problem = [this](const std::string& what) {
    return invalid(what + " at frame " + std::to_string(mFoundFrames));
  };
  FLAC__uint64 begin = 0;
  FLAC__uint64 end = 0;
  FLAC__StreamDecoder* const library = mLibrary.get();
  if (FLAC__stream_decoder_get_decode_position(library, &begin) == 0) return problem("cannot be decoded");
  const bool isFound = FLAC__stream_decoder_skip_single_frame(library) != 0;
  if (mError != nullptr || mReadError != 0) {
    return problem(std::string("cannot be decoded (") + (mError != nullptr ? mError : "") + ")");
  }
  if (FLAC__stream_decoder_get_state(library) == FLAC__STREAM_DECODER_END_OF_STREAM) {
    if (mFoundFrames < mDeclaredFrames) {
      return problem("declares " + std::to_string(mDeclaredFrames) + " frames and ends");
    }
    if (begin < mPlace) return problem("ends inside a packet");
    mAtEnd = true;
    return std::nullopt;
  }
  const std::uint32_t frames = FLAC__stream_decoder_get_blocksize(library);
  if (!isFound || FLAC__stream_decoder_get_decode_position(library, &end) == 0 || end <= begin || frames == 0 ||
      end - begin > maxPacketBytes) {
    return problem("cannot be decoded");
  }
  mPackets.push_back({begin, static_cast<std::uint32_t>(end - begin), frames});
  mFoundFrames += frames;
  return std::nullopt;
}

/// Finds packets until there are `packets` or the file ends.
std::optional<Failure> FlacReader::findUpTo(std::uint64_t packets) {
  while (!mAtEnd && mPackets.size() < packets) {
    if (auto failure = findPacket()) return failure;
  }
  return std::nullopt;
}

Result<std::uint32_t> FlacReader::packetSizeUpperBound() {
  const std::uint64_t needed = mMaxBytes == 0 ? std::numeric_limits<std::uint64_t>::max() : 1;
  if (auto failure = findUpTo(needed)) return *std::move(failure);
  if (mPackets.empty()) return 0U;
  if (mMaxBytes != 0) return mMaxBytes;
  return std::ranges::max(mPackets, {}, &Place::bytes).bytes;
}

std::optional<Failure> FlacReader::readAt(std::uint64_t offset, std::span<std::byte> room) const {
  std::size_t done = 0;
  while (done < room.size()) {
    const ssize_t read =
        pread(mClaim.descriptor(), room.data() + done, room.size() - done, static_cast<off_t>(offset + done));
    if (read < 0 && errno == EINTR) continue;
    if (read < 0) return systemFailure(mPath, errno);
    if (read == 0) return invalid("became shorter while it was read");
    done += static_cast<std::size_t>(read);
  }
  return std::nullopt;
}

Result<PacketReader::Read> FlacReader::read(std::uint64_t first, std::uint32_t maxPackets, std::span<std::byte> room,
                                            PacketDescription* descriptions) {
  Read result;
  for (; result.packets < maxPackets; ++result.packets) {
    const std::uint64_t index = first + result.packets;
    // A failure behind packets that could be read shows at the next call.
    if (auto failure = findUpTo(index + 1)) {
      if (result.packets > 0) break;
      return *std::move(failure);
    }
    if (index >= mPackets.size()) break;
    const Place& packet = mPackets[index];
    if (packet.bytes > room.size() - result.bytes) {
      if (result.packets > 0) break;
      return fileFailure(
          mMaxBytes != 0 && packet.bytes > mMaxBytes ? status::invalidFile : status::badParameter, mPath,
          "has a packet of " + std::to_string(packet.bytes) + " bytes, more than the buffer or its header allows");
    }
    if (auto failure = readAt(packet.offset, room.subspan(result.bytes, packet.bytes))) return *std::move(failure);
    if (descriptions != nullptr) descriptions[result.packets] = {result.bytes, packet.frames, packet.bytes};
    result.bytes += packet.bytes;
  }
  return result;
}

// ---- writing

/// The name of the format, and the head of the only metadata block.
constexpr std::string_view fileHead("fLaC\x80\0\0\x22", 8);

class FlacWriter final : public PacketWriter {
 public:
  FlacWriter(std::string path, std::uint32_t framesPerPacket)
      : mPath(std::move(path)), mFramesPerPacket(framesPerPacket) {}

  std::optional<Failure> begin(int descriptor) override;
  bool takesCookie() const override { return true; }
  std::vector<std::byte> cookie() const override { return mHasCookie ? mCookie : std::vector<std::byte>(); }
  std::optional<Failure> setCookie(std::span<const std::byte> cookie) override;
  std::optional<Failure> write(std::span<const std::byte> bytes, std::span<const PacketDescription> packets,
                               std::uint32_t& written) override;
  std::uint64_t frames() const override { return mFrames; }
  std::uint32_t type() const override { return platform::sound_file_type::flac; }

 private:
  const std::string mPath;
  const std::uint32_t mFramesPerPacket;
  std::vector<std::byte> mCookie = std::vector<std::byte>(flacCookieBytes);
  bool mHasCookie = false;
  int mFile = -1;
  std::uint64_t mEnd = fileHead.size() + flacCookieBytes;
  std::uint64_t mFrames = 0;
};

std::optional<Failure> FlacWriter::begin(int descriptor) {
  mFile = descriptor;
  std::string head(fileHead);
  head.append(reinterpret_cast<const char*>(mCookie.data()), mCookie.size());
  const WrittenBytes written = writeAt(mFile, std::as_bytes(std::span(head)), 0);
  if (written.error != 0) return systemFailure(mPath, written.error);
  if (ftruncate(mFile, static_cast<off_t>(head.size())) != 0) return systemFailure(mPath, errno);
  return std::nullopt;
}

std::optional<Failure> FlacWriter::setCookie(std::span<const std::byte> cookie) {
  if (cookie.size() != flacCookieBytes) {
    return fileFailure(status::unsupportedFormat, mPath, "takes a STREAMINFO block of 34 bytes as its cookie");
  }
  const WrittenBytes written = writeAt(mFile, cookie, fileHead.size());
  if (written.error != 0) return systemFailure(mPath, written.error);
  mCookie.assign(cookie.begin(), cookie.end());
  mHasCookie = true;
  return std::nullopt;
}

std::optional<Failure> FlacWriter::write(std::span<const std::byte> bytes, std::span<const PacketDescription> packets,
                                         std::uint32_t& written) {
  if (!mHasCookie) return fileFailure(status::wrongState, mPath, "needs a cookie before the first packet");
  for (const PacketDescription& packet : packets) {
    const auto content = bytes.subspan(static_cast<std::size_t>(packet.startOffset), packet.byteSize);
    const WrittenBytes done = writeAt(mFile, content, mEnd);
    if (done.error != 0) {
      [[maybe_unused]] const int ignored = ftruncate(mFile, static_cast<off_t>(mEnd));
      return systemFailure(mPath, done.error);
    }
    mEnd += packet.byteSize;
    mFrames += packet.framesInPacket != 0 ? packet.framesInPacket : mFramesPerPacket;
    ++written;
  }
  return std::nullopt;
}

}  // namespace

Result<std::unique_ptr<PacketReader>> openFlacFile(FileDescriptor file, const std::string& path) {
  auto reader = std::make_unique<FlacReader>(std::move(file), path);
  if (auto failure = reader->begin()) return *std::move(failure);
  return std::unique_ptr<PacketReader>(std::move(reader));
}

Result<std::unique_ptr<PacketWriter>> makeFlacWriter(const std::string& path, const StreamDescription& format) {
  if (format.formatID != platform::flacFormatID) {
    return fileFailure(status::unsupportedFormat, path, "cannot be written: a FLAC file holds FLAC packets only");
  }
  if (const auto why = whyNotFlac(format)) {
    return fileFailure(status::unsupportedFormat, path, "cannot be written: " + *why);
  }
  return std::unique_ptr<PacketWriter>(std::make_unique<FlacWriter>(path, format.framesPerPacket));
}

}  // namespace orvane::host
