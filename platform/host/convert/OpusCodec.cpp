// SPDX-License-Identifier: MIT
#include "platform/host/convert/OpusCodec.h"

#include <opus.h>
#include <opus_multistream.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "platform/NumberText.h"
#include "platform/SoundFileService.h"
#include "platform/Status.h"
#include "platform/host/convert/Interleaving.h"

namespace orvane::host {

using platform::Failure;
using platform::StreamDescription;
namespace status = platform::status;

namespace {

constexpr char magic[] = "OpusHead";
constexpr std::size_t magicBytes = 8;
constexpr std::size_t headBytes = 19;
constexpr std::size_t mappingHeadBytes = headBytes + 2;
constexpr std::uint32_t maxDecodedChannels = 8;
constexpr int maxPacketFrames = 5760;  ///< 120 ms, the longest packet.

const unsigned char* data(std::span<const std::byte> bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

// ---- decoder

class OpusPacketDecoder final : public PacketDecoder {
 public:
  /// Creates the library's decoder. Returns the failure if the header is not one that it takes.
  std::optional<Failure> begin(const OpusHead& head);

  std::optional<Failure> setCookie(std::span<const std::byte> cookie) override;
  std::optional<Failure> decode(std::span<const std::byte> packet, std::uint32_t frames, PlanarFifo& output) override;

 private:
  struct Delete {
    void operator()(OpusMSDecoder* decoder) const { opus_multistream_decoder_destroy(decoder); }
  };

  OpusHead mHead;
  std::uint32_t mToSkip = 0;
  std::vector<float> mInterleaved;
  std::unique_ptr<OpusMSDecoder, Delete> mLibrary;
};

std::optional<Failure> OpusPacketDecoder::begin(const OpusHead& head) {
  int error = OPUS_OK;
  mLibrary.reset(opus_multistream_decoder_create(static_cast<int>(opusRate), static_cast<int>(head.channels),
                                                 static_cast<int>(head.streams), static_cast<int>(head.coupled),
                                                 head.mapping.data(), &error));
  if (!mLibrary) return Failure{status::unsupportedFormat, std::string("Opus: ") + opus_strerror(error)};
  opus_multistream_decoder_ctl(mLibrary.get(), OPUS_SET_GAIN(head.gain));
  mHead = head;
  mToSkip = head.preSkip;
  mInterleaved.resize(std::size_t{maxPacketFrames} * head.channels);
  return std::nullopt;
}

std::optional<Failure> OpusPacketDecoder::setCookie(std::span<const std::byte> cookie) {
  const auto head = OpusHead::parse(cookie);
  if (!head || head->channels != mHead.channels) {
    return Failure{status::unsupportedFormat,
                   "the Opus cookie is not a valid OpusHead of " + std::to_string(mHead.channels) + " channels"};
  }
  return begin(*head);
}

std::optional<Failure> OpusPacketDecoder::decode(std::span<const std::byte> packet, std::uint32_t frames,
                                                 PlanarFifo& output) {
  // libopus would replace an empty packet by invented sound.
  if (packet.empty()) return Failure{status::invalidFile, "an Opus packet cannot be decoded: it is empty"};
  const int made = opus_multistream_decode_float(mLibrary.get(), data(packet), static_cast<opus_int32>(packet.size()),
                                                 mInterleaved.data(), maxPacketFrames, 0);
  if (made < 0) {
    return Failure{status::invalidFile, std::string("an Opus packet cannot be decoded: ") + opus_strerror(made)};
  }
  const auto all = static_cast<std::uint32_t>(made);
  const std::uint32_t kept = frames == 0 ? all : std::min(frames, all);
  const std::uint32_t skipped = std::min(kept, mToSkip);
  mToSkip -= skipped;
  const std::uint32_t left = kept - skipped;
  deinterleave(mInterleaved.data() + std::size_t{skipped} * mHead.channels, output.room(left), 0, left);
  output.commit(left);
  return std::nullopt;
}

// ---- encoder

class OpusPacketEncoder final : public PacketEncoder {
 public:
  static constexpr std::uint32_t packetFrames = 960;

  std::optional<Failure> begin(const StreamDescription& format);

  const StreamDescription& format() const override { return mFormat; }
  /// A packet of one frame has at most a byte of header and 1275 bytes of data (RFC 6716, section 3.4).
  std::uint32_t maxPacketBytes() const override { return 1276; }
  std::vector<std::byte> cookie() const override { return mHead.bytes(); }
  std::optional<Failure> encode(PlanarFifo& input, std::deque<EncodedPacket>& packets) override;
  std::optional<Failure> finish(std::deque<EncodedPacket>& packets) override;

 private:
  struct Delete {
    void operator()(OpusEncoder* encoder) const { opus_encoder_destroy(encoder); }
  };

  std::optional<Failure> encodePacket(std::uint32_t frames, std::deque<EncodedPacket>& packets);

  StreamDescription mFormat;
  OpusHead mHead;
  std::vector<float> mInterleaved;
  std::uint32_t mFilled = 0;   ///< Frames in `mInterleaved`.
  std::uint64_t mTaken = 0;    ///< Frames of the recording.
  std::uint64_t mEncoded = 0;  ///< Frames of the stream, the pre-skip included.
  std::unique_ptr<OpusEncoder, Delete> mLibrary;
};

std::optional<Failure> OpusPacketEncoder::begin(const StreamDescription& format) {
  constexpr opus_int32 bitRate = 96'000;
  const auto channels = static_cast<int>(format.channelsPerFrame);
  int error = OPUS_OK;
  mLibrary.reset(opus_encoder_create(static_cast<opus_int32>(opusRate), channels, OPUS_APPLICATION_AUDIO, &error));
  if (!mLibrary) return Failure{status::unsupportedFormat, std::string("Opus: ") + opus_strerror(error)};
  opus_encoder_ctl(mLibrary.get(), OPUS_SET_BITRATE(bitRate * channels));
  opus_int32 lookahead = 0;
  opus_encoder_ctl(mLibrary.get(), OPUS_GET_LOOKAHEAD(&lookahead));
  mFormat = {.sampleRate = opusRate,
             .formatID = platform::opusFormatID,
             .framesPerPacket = packetFrames,
             .channelsPerFrame = format.channelsPerFrame};
  mHead = {.channels = format.channelsPerFrame,
           .preSkip = static_cast<std::uint32_t>(lookahead),
           .inputRate = static_cast<std::uint32_t>(opusRate)};
  mInterleaved.resize(std::size_t{packetFrames} * format.channelsPerFrame);
  return std::nullopt;
}

std::optional<Failure> OpusPacketEncoder::encode(PlanarFifo& input, std::deque<EncodedPacket>& packets) {
  while (input.frames() > 0) {
    const auto frames = static_cast<std::uint32_t>(std::min<std::size_t>(packetFrames - mFilled, input.frames()));
    interleave(input.planes(), 0, frames, mInterleaved.data() + std::size_t{mFilled} * mFormat.channelsPerFrame);
    input.drop(frames);
    mFilled += frames;
    mTaken += frames;
    if (mFilled < packetFrames) break;
    if (auto failure = encodePacket(packetFrames, packets)) return failure;
  }
  return std::nullopt;
}

/// Encodes the collected frames, of which `frames` belong to the stream.
std::optional<Failure> OpusPacketEncoder::encodePacket(std::uint32_t frames, std::deque<EncodedPacket>& packets) {
  EncodedPacket packet{.bytes = std::vector<std::byte>(maxPacketBytes()), .frames = frames};
  const opus_int32 size = opus_encode_float(mLibrary.get(), mInterleaved.data(), static_cast<int>(packetFrames),
                                            reinterpret_cast<unsigned char*>(packet.bytes.data()),
                                            static_cast<opus_int32>(maxPacketBytes()));
  if (size < 0) return Failure{status::ioFailure, std::string("the Opus encoder failed: ") + opus_strerror(size)};
  packet.bytes.resize(static_cast<std::size_t>(size));
  packets.push_back(std::move(packet));
  mEncoded += frames;
  mFilled = 0;
  return std::nullopt;
}

/// Encodes silence until the decoder will have made every frame of the recording, which it does late by the pre-skip.
std::optional<Failure> OpusPacketEncoder::finish(std::deque<EncodedPacket>& packets) {
  const std::uint64_t end = mTaken == 0 ? 0 : mTaken + mHead.preSkip;
  while (mEncoded < end) {
    std::fill(mInterleaved.begin() + static_cast<std::ptrdiff_t>(std::size_t{mFilled} * mFormat.channelsPerFrame),
              mInterleaved.end(), 0.0F);
    const auto frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(packetFrames, end - mEncoded));
    if (auto failure = encodePacket(frames, packets)) return failure;
  }
  return std::nullopt;
}

}  // namespace

// ---- the header

std::optional<OpusHead> OpusHead::parse(std::span<const std::byte> bytes) {
  const unsigned char* const at = data(bytes);
  if (bytes.size() < headBytes || std::memcmp(at, magic, magicBytes) != 0 || at[8] >> 4 != 0) return std::nullopt;
  const auto little = [at](std::size_t first, std::size_t count) {
    std::uint32_t number = 0;
    for (std::size_t index = 0; index < count; ++index) number |= std::uint32_t{at[first + index]} << (8 * index);
    return number;
  };
  OpusHead head{.channels = at[9],
                .preSkip = little(10, 2),
                .inputRate = little(12, 4),
                .gain = static_cast<std::int16_t>(little(16, 2)),
                .family = at[18]};
  if (head.family == 0) {
    if (head.channels < 1 || head.channels > 2) return std::nullopt;
    head.coupled = head.channels - 1;
    return head;
  }
  if (head.family != 1 || head.channels < 1 || head.channels > maxDecodedChannels ||
      bytes.size() < mappingHeadBytes + head.channels) {
    return std::nullopt;
  }
  head.streams = at[19];
  head.coupled = at[20];
  std::copy_n(at + mappingHeadBytes, head.channels, head.mapping.begin());
  return head;
}

std::vector<std::byte> OpusHead::bytes() const {
  std::vector<std::byte> result(headBytes);
  std::memcpy(result.data(), magic, magicBytes);
  const auto put = [&result](std::size_t first, std::size_t count, std::uint32_t number) {
    for (std::size_t index = 0; index < count; ++index)
      result[first + index] = static_cast<std::byte>(number >> (8 * index));
  };
  put(8, 1, 1);
  put(9, 1, channels);
  put(10, 2, preSkip);
  put(12, 4, inputRate);
  put(16, 2, static_cast<std::uint32_t>(gain));
  put(18, 1, family);
  return result;
}

std::uint32_t opusFrames(std::span<const std::byte> packet) {
  const int frames = opus_packet_get_nb_samples(data(packet), static_cast<opus_int32>(packet.size()),
                                                static_cast<opus_int32>(opusRate));
  return frames > 0 && frames <= maxPacketFrames ? static_cast<std::uint32_t>(frames) : 0;
}

Result<std::unique_ptr<PacketDecoder>> makeOpusDecoder(const StreamDescription& format) {
  if (format.channelsPerFrame < 1 || format.channelsPerFrame > maxDecodedChannels || format.sampleRate != opusRate) {
    return Failure{status::unsupportedFormat, std::to_string(format.channelsPerFrame) + " channels at " +
                                                  platform::numberText(format.sampleRate) +
                                                  " Hz; Opus has 1 to 8 channels at 48000 Hz"};
  }
  OpusHead head{.channels = format.channelsPerFrame};
  if (head.channels <= 2) {
    head.coupled = head.channels - 1;
  } else {
    // Each channel is a stream of its own until the cookie says otherwise.
    head.streams = head.channels;
    for (std::uint32_t channel = 0; channel < head.channels; ++channel) {
      head.mapping[channel] = static_cast<unsigned char>(channel);
    }
  }
  auto decoder = std::make_unique<OpusPacketDecoder>();
  if (auto failure = decoder->begin(head)) return *std::move(failure);
  return std::unique_ptr<PacketDecoder>(std::move(decoder));
}

Result<std::unique_ptr<PacketEncoder>> makeOpusEncoder(const StreamDescription& format) {
  const bool isRate = format.sampleRate == 0 || format.sampleRate == opusRate;
  const bool isLength = format.framesPerPacket == 0 || format.framesPerPacket == OpusPacketEncoder::packetFrames;
  if (!isRate || !isLength || format.channelsPerFrame < 1 || format.channelsPerFrame > maxEncodedOpusChannels) {
    return Failure{status::unsupportedFormat,
                   std::to_string(format.channelsPerFrame) + " channels at " + platform::numberText(format.sampleRate) +
                       " Hz; Opus takes 1 or 2 channels at 48000 Hz in packets of 960 frames"};
  }
  auto encoder = std::make_unique<OpusPacketEncoder>();
  if (auto failure = encoder->begin(format)) return *std::move(failure);
  return std::unique_ptr<PacketEncoder>(std::move(encoder));
}

}  // namespace orvane::host
