// SPDX-License-Identifier: MIT
#include "platform/host/convert/FlacCodec.h"

#include <FLAC/stream_decoder.h>
#include <FLAC/stream_encoder.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>

#include "platform/NumberText.h"
#include "platform/SoundFileService.h"
#include "platform/Status.h"

namespace orvane::host {

using platform::Failure;
using platform::StreamDescription;
namespace status = platform::status;

namespace {

constexpr std::uint32_t maxChannels = 8;

// ---- decoder

class FlacDecoder final : public PacketDecoder {
 public:
  explicit FlacDecoder(std::uint32_t channels) : mChannels(channels) {}

  std::optional<Failure> setCookie(std::span<const std::byte> cookie) override;
  std::optional<Failure> decode(std::span<const std::byte> packet, std::uint32_t frames, PlanarFifo& output) override;

 private:
  struct Delete {
    void operator()(FLAC__StreamDecoder* decoder) const { FLAC__stream_decoder_delete(decoder); }
  };

  FLAC__StreamDecoderReadStatus read(FLAC__byte* bytes, std::size_t& size);
  FLAC__StreamDecoderWriteStatus write(const FLAC__Frame& frame, const FLAC__int32* const* samples);
  Failure failure(const char* what) const;

  const std::uint32_t mChannels;
  std::unique_ptr<FLAC__StreamDecoder, Delete> mLibrary;
  std::span<const std::byte> mInput;  ///< Bytes that the library has not read yet.
  PlanarFifo* mOutput = nullptr;
  std::uint32_t mFrames = 0;  ///< Frames to keep of the packet; 0 means all.
  std::uint32_t mMade = 0;    ///< Frames that the packet gave.
  const char* mError = nullptr;
};

Failure FlacDecoder::failure(const char* what) const {
  return {status::invalidFile, std::string("a FLAC packet cannot be decoded: ") + (mError != nullptr ? mError : what)};
}

std::optional<Failure> FlacDecoder::setCookie(std::span<const std::byte> cookie) {
  if (cookie.size() != flacCookieBytes) {
    return Failure{status::unsupportedFormat, "a FLAC cookie of " + std::to_string(cookie.size()) +
                                                  " bytes; it is a STREAMINFO block of 34 bytes"};
  }
  mLibrary.reset(FLAC__stream_decoder_new());
  mError = nullptr;
  const auto begun = FLAC__stream_decoder_init_stream(
      mLibrary.get(),
      [](const FLAC__StreamDecoder*, FLAC__byte bytes[], std::size_t* size, void* self) {
        return static_cast<FlacDecoder*>(self)->read(bytes, *size);
      },
      nullptr, nullptr, nullptr, nullptr,
      [](const FLAC__StreamDecoder*, const FLAC__Frame* frame, const FLAC__int32* const samples[], void* self) {
        return static_cast<FlacDecoder*>(self)->write(*frame, samples);
      },
      nullptr,
      [](const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus error, void* self) {
        static_cast<FlacDecoder*>(self)->mError = FLAC__StreamDecoderErrorStatusString[error];
      },
      this);
  // A stream begins with its name and the last of its metadata blocks, which is of type 0 and has 34 bytes.
  std::vector<std::byte> head(flacCookieBytes + 8);
  std::memcpy(head.data(), "fLaC\x80\0\0\x22", 8);
  std::ranges::copy(cookie, head.begin() + 8);
  mInput = head;
  const bool isSet = begun == FLAC__STREAM_DECODER_INIT_STATUS_OK &&
                     FLAC__stream_decoder_process_until_end_of_metadata(mLibrary.get()) != 0 && mError == nullptr;
  mInput = {};
  if (isSet) return std::nullopt;
  mLibrary.reset();
  return Failure{status::unsupportedFormat, "the FLAC cookie is not a valid STREAMINFO block"};
}

std::optional<Failure> FlacDecoder::decode(std::span<const std::byte> packet, std::uint32_t frames,
                                           PlanarFifo& output) {
  if (!mLibrary) return Failure{status::wrongState, "FLAC packets need a cookie before the first packet"};
  mInput = packet;
  mOutput = &output;
  mFrames = frames;
  mMade = 0;
  const bool isDecoded = FLAC__stream_decoder_process_single(mLibrary.get()) != 0;
  mInput = {};
  if (!isDecoded || mError != nullptr || mMade == 0) return failure("it ends early");
  return std::nullopt;
}

FLAC__StreamDecoderReadStatus FlacDecoder::read(FLAC__byte* bytes, std::size_t& size) {
  size = std::min(size, mInput.size());
  if (size == 0) return FLAC__STREAM_DECODER_READ_STATUS_ABORT;
  std::memcpy(bytes, mInput.data(), size);
  mInput = mInput.subspan(size);
  return FLAC__STREAM_DECODER_READ_STATUS_CONTINUE;
}

FLAC__StreamDecoderWriteStatus FlacDecoder::write(const FLAC__Frame& frame, const FLAC__int32* const* samples) {
  if (frame.header.channels != mChannels) {
    mError = "its channel count is not that of the stream";
    return FLAC__STREAM_DECODER_WRITE_STATUS_ABORT;
  }
  mMade = frame.header.blocksize;
  const std::uint32_t kept = mFrames == 0 ? mMade : std::min(mFrames, mMade);
  const float scale = std::ldexp(1.0F, 1 - static_cast<int>(frame.header.bits_per_sample));
  const std::span<float* const> room = mOutput->room(kept);
  for (std::uint32_t channel = 0; channel < mChannels; ++channel) {
    for (std::uint32_t index = 0; index < kept; ++index) {
      room[channel][index] = static_cast<float>(samples[channel][index]) * scale;
    }
  }
  mOutput->commit(kept);
  return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

// ---- encoder

class FlacEncoder final : public PacketEncoder {
 public:
  /// Starts the stream. Returns the failure if libFLAC does not take the format.
  std::optional<Failure> begin(const StreamDescription& format);

  const StreamDescription& format() const override { return mFormat; }
  std::uint32_t maxPacketBytes() const override;
  std::vector<std::byte> cookie() const override { return mCookie; }
  std::optional<Failure> encode(PlanarFifo& input, std::deque<EncodedPacket>& packets) override;
  std::optional<Failure> finish(std::deque<EncodedPacket>& packets) override;

 private:
  struct Delete {
    void operator()(FLAC__StreamEncoder* encoder) const { FLAC__stream_encoder_delete(encoder); }
  };

  void write(std::span<const std::byte> bytes, std::uint32_t frames);
  std::optional<Failure> result(bool isDone) const;

  StreamDescription mFormat;
  std::vector<std::byte> mCookie;
  std::deque<EncodedPacket>* mPackets = nullptr;
  std::vector<std::vector<FLAC__int32>> mSamples;
  std::vector<const FLAC__int32*> mPlanes;
  std::unique_ptr<FLAC__StreamEncoder, Delete> mLibrary{FLAC__stream_encoder_new()};
};

std::optional<Failure> FlacEncoder::begin(const StreamDescription& format) {
  constexpr std::uint32_t defaultBits = 16;
  constexpr std::uint32_t defaultLevel = 5;  // Of the program `flac`.
  mFormat = {.sampleRate = format.sampleRate,
             .formatID = platform::flacFormatID,
             .channelsPerFrame = format.channelsPerFrame,
             .bitsPerChannel = format.bitsPerChannel == 0 ? defaultBits : format.bitsPerChannel};
  FLAC__StreamEncoder* const library = mLibrary.get();
  FLAC__stream_encoder_set_compression_level(library, defaultLevel);
  FLAC__stream_encoder_set_channels(library, mFormat.channelsPerFrame);
  FLAC__stream_encoder_set_bits_per_sample(library, mFormat.bitsPerChannel);
  FLAC__stream_encoder_set_sample_rate(library, static_cast<std::uint32_t>(mFormat.sampleRate));
  FLAC__stream_encoder_set_blocksize(library, format.framesPerPacket);
  const auto begun = FLAC__stream_encoder_init_stream(
      library,
      [](const FLAC__StreamEncoder*, const FLAC__byte bytes[], std::size_t size, std::uint32_t samples, std::uint32_t,
         void* self) {
        static_cast<FlacEncoder*>(self)->write(std::as_bytes(std::span(bytes, size)), samples);
        return FLAC__STREAM_ENCODER_WRITE_STATUS_OK;
      },
      nullptr, nullptr,
      [](const FLAC__StreamEncoder*, const FLAC__StreamMetadata* metadata, void* self) {
        static_cast<FlacEncoder*>(self)->mCookie = flacCookie(metadata->data.stream_info);
      },
      this);
  mFormat.framesPerPacket = FLAC__stream_encoder_get_blocksize(library);
  mSamples.resize(mFormat.channelsPerFrame);
  mPlanes.resize(mFormat.channelsPerFrame);
  if (begun == FLAC__STREAM_ENCODER_INIT_STATUS_OK) return std::nullopt;
  return Failure{status::unsupportedFormat,
                 std::string("FLAC does not take this format: ") + FLAC__StreamEncoderInitStatusString[begun]};
}

/// Takes what the library wrote: the stream's name and metadata blocks, which belong to a file, or a packet.
void FlacEncoder::write(std::span<const std::byte> bytes, std::uint32_t frames) {
  constexpr std::size_t blockHead = 4;
  if (frames > 0) {
    mPackets->push_back({{bytes.begin(), bytes.end()}, frames});
  } else if (mCookie.empty() && bytes.size() == blockHead + flacCookieBytes) {
    mCookie.assign(bytes.begin() + blockHead, bytes.end());
  }
}

std::uint32_t FlacEncoder::maxPacketBytes() const {
  // A frame that is not compressed: its header and checksums, and for each channel a header and the samples, which have
  // one bit more where the codec stores the difference of two channels.
  constexpr std::uint32_t frameBytes = 18;
  const std::uint64_t sampleBits = std::uint64_t{mFormat.framesPerPacket} * (mFormat.bitsPerChannel + 1);
  return frameBytes + mFormat.channelsPerFrame * static_cast<std::uint32_t>(2 + sampleBits / 8);
}

std::optional<Failure> FlacEncoder::result(bool isDone) const {
  if (isDone) return std::nullopt;
  return Failure{status::ioFailure, std::string("the FLAC encoder failed: ") +
                                        FLAC__stream_encoder_get_resolved_state_string(mLibrary.get())};
}

std::optional<Failure> FlacEncoder::encode(PlanarFifo& input, std::deque<EncodedPacket>& packets) {
  const std::size_t frames = input.frames();
  const double scale = std::ldexp(1.0, static_cast<int>(mFormat.bitsPerChannel) - 1);
  for (std::uint32_t channel = 0; channel < mFormat.channelsPerFrame; ++channel) {
    mSamples[channel].resize(frames);
    const float* const samples = input.planes()[channel];
    for (std::size_t index = 0; index < frames; ++index) {
      const double scaled = std::isnan(samples[index]) ? 0.0 : std::nearbyint(samples[index] * scale);
      mSamples[channel][index] = static_cast<FLAC__int32>(std::clamp(scaled, -scale, scale - 1));
    }
    mPlanes[channel] = mSamples[channel].data();
  }
  input.drop(frames);
  mPackets = &packets;
  return result(FLAC__stream_encoder_process(mLibrary.get(), mPlanes.data(), static_cast<std::uint32_t>(frames)) != 0);
}

std::optional<Failure> FlacEncoder::finish(std::deque<EncodedPacket>& packets) {
  mPackets = &packets;
  return result(FLAC__stream_encoder_finish(mLibrary.get()) != 0);
}

}  // namespace

std::vector<std::byte> flacCookie(const FLAC__StreamMetadata_StreamInfo& info) {
  std::vector<std::byte> bytes;
  const auto append = [&bytes](std::uint64_t number, int bits) {
    for (int shift = bits - 8; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::byte>(number >> shift));
  };
  append(info.min_blocksize, 16);
  append(info.max_blocksize, 16);
  append(info.min_framesize, 24);
  append(info.max_framesize, 24);
  // 20 bits of rate, 3 of channels, 5 of width and 36 of length.
  append(std::uint64_t{info.sample_rate} << 44 | std::uint64_t{info.channels - 1} << 41 |
             std::uint64_t{info.bits_per_sample - 1} << 36 | info.total_samples,
         64);
  for (const FLAC__byte byte : info.md5sum) bytes.push_back(static_cast<std::byte>(byte));
  return bytes;
}

Result<std::unique_ptr<PacketDecoder>> makeFlacDecoder(const StreamDescription& format) {
  if (format.channelsPerFrame >= 1 && format.channelsPerFrame <= maxChannels) {
    return std::unique_ptr<PacketDecoder>(std::make_unique<FlacDecoder>(format.channelsPerFrame));
  }
  return Failure{status::unsupportedFormat, std::to_string(format.channelsPerFrame) + " channels; FLAC has 1 to 8"};
}

std::optional<std::string> whyNotFlac(const StreamDescription& format) {
  const bool isRate = format.sampleRate >= 1 && format.sampleRate <= FLAC__MAX_SAMPLE_RATE &&
                      format.sampleRate == std::floor(format.sampleRate);
  const bool isWidth = format.bitsPerChannel == 0 || (format.bitsPerChannel >= 8 && format.bitsPerChannel <= 24);
  if (isRate && isWidth && format.channelsPerFrame >= 1 && format.channelsPerFrame <= maxChannels) return std::nullopt;
  return std::to_string(format.channelsPerFrame) + " channels of " + std::to_string(format.bitsPerChannel) +
         " bits at " + platform::numberText(format.sampleRate) +
         " Hz; FLAC takes 1 to 8 channels of 8 to 24 bits at whole hertz, 1 to " +
         std::to_string(FLAC__MAX_SAMPLE_RATE);
}

Result<std::unique_ptr<PacketEncoder>> makeFlacEncoder(const StreamDescription& format) {
  if (const auto why = whyNotFlac(format)) return Failure{status::unsupportedFormat, *why};
  auto encoder = std::make_unique<FlacEncoder>();
  if (auto failure = encoder->begin(format)) return *std::move(failure);
  return std::unique_ptr<PacketEncoder>(std::move(encoder));
}

}  // namespace orvane::host
