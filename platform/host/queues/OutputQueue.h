// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/Worker.h"
#include "platform/host/Result.h"
#include "platform/host/audio/AlignedSamples.h"
#include "platform/host/audio/PlaybackRing.h"
#include "platform/host/convert/BlockConverter.h"
#include "platform/host/convert/PacketCodec.h"
#include "platform/host/convert/PcmCoding.h"
#include "platform/host/convert/PlanarFifo.h"
#include "platform/host/queues/HostQueue.h"

namespace orvane::host {

/// A buffer queue that plays: decodes its buffers on the worker, half a second ahead, and mixes the samples into the
/// output on the device callback.
class OutputQueue final : public HostQueue {
 public:
  struct Client {
    platform::StreamDescription format;
    platform::QueueOutputCallback callback = nullptr;
    void* context = nullptr;
  };
  /// Fails with `unsupportedFormat`.
  static Result<std::shared_ptr<HostQueue>> create(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub,
                                                   platform::BufferQueue handle, const Client& client);
  ~OutputQueue() override;

  std::optional<platform::Failure> start() override;
  platform::Status stop(bool immediate) override;

 private:
  OutputQueue(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub, platform::BufferQueue handle,
              const Client& client);

  platform::StreamDescription format() const override { return mClient.format; }
  std::vector<std::byte> cookie() const override { return mCookie; }
  std::uint32_t maxPacketBytes() const override { return mClient.format.bytesPerPacket; }
  std::optional<platform::Failure> setCookie(std::span<const std::byte> cookie) override;
  bool accepts(const platform::QueueBuffer& buffer,
               std::span<const platform::PacketDescription> packets) const override;
  void bufferArrived() override;

  const char* deviceSlice(const HubSlice& slice, OutputMix& mix) override;
  bool takesInput() const override { return false; }
  std::optional<platform::Failure> deviceChanged(const backend::DeviceFormat& format) override;

  // On the worker, or in `start` before the device runs; with the mutex locked.
  std::optional<platform::Failure> prepare(const backend::DeviceFormat& hardware);
  std::optional<platform::Failure> changeFormat(const backend::DeviceFormat& format);
  std::optional<platform::Failure> fill();
  std::optional<platform::Failure> decodeNext();
  std::optional<platform::Failure> decodeFrom(Buffer& buffer);
  std::size_t decodePcm(const Buffer& buffer);
  void useUp(Buffer& buffer);
  void flush();

  // On the worker.
  void work();
  void playedOut();
  void finish(std::uint64_t run);

  void resetRun();

  const Client mClient;
  std::optional<PcmCoding> mPcm;
  std::unique_ptr<PacketDecoder> mDecoder;  ///< Null for linear PCM.
  std::vector<std::byte> mCookie;

  // Used with the mutex locked.
  backend::DeviceFormat mHardware;
  std::unique_ptr<BlockConverter> mConverter;
  PlanarFifo mDecoded;
  std::unique_ptr<PlanarFifo> mConverted;
  std::size_t mPlace = 0;  ///< Bytes (linear PCM) or packets of the first buffer that were decoded.
  std::vector<platform::QueueBuffer*> mUsedUp;  ///< Buffers whose return the client does not know yet.
  bool mEnding = false;                         ///< Stop when everything that is enqueued has been played.
  bool mFlushed = false;                        ///< No more frames will come.
  bool mPrimed = false;                         ///< The members above hold sound of the next or current run.
  std::atomic<std::uint64_t> mRun = 0;          ///< Counts the starts.
  std::atomic<std::uint64_t> mEndedRun = 0;     ///< The run whose last frame was played.

  // Used by the device callback while the queue runs.
  std::unique_ptr<PlaybackRing> mRing;
  std::unique_ptr<AlignedSamples> mSlice;
  bool mEndAnnounced = false;

  std::unique_ptr<platform::Trigger> mWorkTrigger;
  std::unique_ptr<platform::Trigger> mEndTrigger;
};

}  // namespace orvane::host
