// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/Clock.h"
#include "platform/Worker.h"
#include "platform/host/Result.h"
#include "platform/host/audio/CaptureRing.h"
#include "platform/host/convert/BlockConverter.h"
#include "platform/host/convert/PacketCodec.h"
#include "platform/host/convert/PcmCoding.h"
#include "platform/host/convert/PlanarFifo.h"
#include "platform/host/queues/HostQueue.h"

namespace orvane::host {

/// A buffer queue that captures: the device callback pushes its input into a ring of two seconds, and the worker
/// converts and encodes it into the client's buffers.
class InputQueue final : public HostQueue {
 public:
  struct Client {
    platform::StreamDescription format;
    platform::QueueInputCallback callback = nullptr;
    void* context = nullptr;
  };
  /// Fails with `unsupportedFormat`.
  static Result<std::shared_ptr<HostQueue>> create(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub,
                                                   platform::BufferQueue handle, const Client& client);
  ~InputQueue() override;

  std::optional<platform::Failure> start() override;
  platform::Status stop(bool immediate) override;

 private:
  InputQueue(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub, platform::BufferQueue handle,
             const Client& client);

  platform::StreamDescription format() const override { return mFormat; }
  std::vector<std::byte> cookie() const override { return mEncoder ? mEncoder->cookie() : std::vector<std::byte>(); }
  std::uint32_t maxPacketBytes() const override;
  std::optional<platform::Failure> setCookie(std::span<const std::byte> cookie) override;
  bool accepts(const platform::QueueBuffer&, std::span<const platform::PacketDescription>) const override;
  void bufferArrived() override;

  const char* deviceSlice(const HubSlice& slice, OutputMix& mix) override;
  bool givesOutput() const override { return false; }
  std::optional<platform::Failure> deviceChanged(const backend::DeviceFormat& format) override;

  // On the worker, or while it has no task; with the mutex locked.
  std::optional<platform::Failure> prepare(const backend::DeviceFormat& hardware);
  Result<Buffer*> fillNext();
  std::optional<platform::Failure> encodeMore(bool& isAtEnd);
  bool takeFromRing();
  bool fillWithPcm(Buffer& buffer);
  Result<bool> fillWithPackets(Buffer& buffer);
  Buffer* complete(Buffer& buffer);

  // On the worker.
  void work();
  void deliver(Buffer& buffer, std::uint64_t firstFrame);
  void finish();

  const Client mClient;
  platform::StreamDescription mFormat;
  std::optional<PcmCoding> mPcm;
  std::unique_ptr<PacketEncoder> mEncoder;  ///< Null for linear PCM.
  bool mEncoderEnded = false;

  // Used with the mutex locked.
  backend::DeviceFormat mHardware;
  std::unique_ptr<BlockConverter> mConverter;
  PlanarFifo mConverted;
  std::deque<EncodedPacket> mPackets;
  std::uint64_t mFilledFrames = 0;  ///< Frames in delivered buffers and in the first buffer.
  std::uint64_t mBufferFrame = 0;   ///< The first frame of the first buffer.
  bool mFinishing = false;          ///< The run has ended; deliver what is left.
  bool mConverterEnded = false;

  // Used by the device callback while the queue runs.
  std::unique_ptr<CaptureRing> mRing;
  std::atomic<platform::HostTime> mFirstTime{};  ///< Capture time of the first frame of the run; 0 before.

  std::unique_ptr<platform::Trigger> mWorkTrigger;
};

}  // namespace orvane::host
