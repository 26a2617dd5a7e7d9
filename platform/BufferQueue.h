// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/Export.h"
#include "platform/Status.h"
#include "platform/StreamDescription.h"
#include "platform/UnitService.h"

namespace orvane::platform {

/// Identifies a buffer queue; `none` (0) is no queue.
enum class BufferQueue : std::uint32_t { none = 0 };

/// A buffer of a queue. The queue owns it, from `allocateBuffer` until it is disposed.
struct QueueBuffer {
  std::uint32_t capacity = 0;  ///< The size of the memory at `data`, in bytes. Must not be changed.
  void* data = nullptr;        ///< Must not be changed.
  std::uint32_t byteSize = 0;  ///< The bytes in use: set by whoever fills the buffer.
};

/// Properties of a queue.
enum class QueueProperty : std::uint32_t {
  isRunning = 1,            ///< Whether the queue runs, 0 or 1 (4 bytes). Read-only.
  streamDescription = 2,    ///< The complete `StreamDescription` of the packets. Read-only.
  magicCookie = 3,          ///< The decoder's set-up data. Read-only in an input queue, where it becomes final when the
                            ///< queue has stopped; size 0 for linear PCM.
  maxOutputPacketSize = 4,  ///< The largest packet that an input queue delivers, in bytes (4 bytes). Read-only.
  converterError = 5,       ///< The `Status` of the last failed conversion (4 bytes); 0 for none. Read-only.
  clientSession = 6,        ///< The identifier of the session (`PlatformSession::identifier`, 4 bytes).
  channelLayout = 7,        ///< The bytes of a channel layout, see `SoundFileService`. Kept, but not interpreted.
};

/// A function that takes the packets of a buffer that is full or holds 100 ms. `buffer.byteSize` bytes are filled, with
/// `packetCount` packets that `packets` describes; `packets` is null for linear PCM. `time` is the time of the first
/// frame: `sampleTime` in frames of the queue's format since the start. The buffer belongs to the client until it
/// enqueues it again.
using QueueInputCallback = void (*)(void* context, BufferQueue queue, QueueBuffer* buffer, const RenderTimeStamp& time,
                                    std::uint32_t packetCount, const PacketDescription* packets);
/// A function that is called when the queue has used up a buffer, which then belongs to the client until it enqueues it
/// again.
using QueueOutputCallback = void (*)(void* context, BufferQueue queue, QueueBuffer* buffer);
/// A function that is called after a property has changed.
using QueuePropertyListener = void (*)(void* context, BufferQueue queue, QueueProperty property);

/// The service for buffer queues. An input queue fills the client's buffers with captured and encoded packets; an
/// output queue decodes and plays the packets of the client's buffers.
///
/// Callbacks and listeners run on the queue's own thread, one at a time, and must not throw. They may enqueue buffers,
/// read and set properties, and those of an output queue may call `stop` with `immediate` false; they must not call
/// `start`, any other `stop`, or `dispose`. The queue never waits for its client: captured sound for which no buffer is
/// enqueued is kept for two seconds and then dropped and counted (`RunCount::overruns`), and an output queue without
/// enqueued buffers plays silence, which is counted as a discontinuity (`RunCount::discontinuities`).
///
/// Formats: linear PCM of 1 to 64 channels, interleaved, signed or unsigned integers of 1 to 32 bits in containers of
/// 1 to 4 bytes (packed, or aligned high or low) or floats of 32 or 64 bits, in either byte order; FLAC ('flac') of 1
/// to 8 channels and 8 to 24 bits, where 0 means 16; Opus ('opus') of 1 or 2 channels (1 to 8 to decode). The queue
/// converts rates (from 1/256 to 256 times the hardware's) and channel counts (as units do) without delay or loss: an
/// input queue delivers as many frames as were captured, times the ratio of the rates, rounded up.
///
/// Integers are the samples times 2 to the power of their width less one, rounded to nearest (ties to even) and
/// clamped; not-a-number becomes 0. Their conversion back is exact for up to 24 bits.
///
/// Thread-safe across queues; calls on one queue must not overlap, except those from its own callbacks. Not real-time
/// safe. Operations return `badParameter` for an unknown queue, buffer or property and for null or wrong-sized data,
/// and may return a status that a scenario (the simulated device's script of faults) injects. Failures of `create…` and
/// `start` are logged, and `DeviceReport::lastRefusal` returns the last of them.
class ORVANE_EXPORT BufferQueueService {
 public:
  virtual ~BufferQueueService() = default;

  /// Creates a queue that delivers captured sound in `format`, and sets `queue`. Of a compressed format, the fields
  /// that the caller leaves 0 are completed (`QueueProperty::streamDescription`). Returns `unsupportedFormat`, or
  /// `noDevice` if the host has no audio device.
  virtual Status createInput(const StreamDescription& format, QueueInputCallback callback, void* context,
                             BufferQueue& queue) = 0;
  /// Creates a queue that plays packets of `format`, and sets `queue`. Returns what `createInput` returns.
  virtual Status createOutput(const StreamDescription& format, QueueOutputCallback callback, void* context,
                              BufferQueue& queue) = 0;

  /// Sets `byteSize` to the size of a property in bytes.
  virtual Status propertySize(BufferQueue queue, QueueProperty property, std::uint32_t& byteSize) = 0;
  /// Copies a property to `data`, which has room for `byteSize` bytes, and sets `byteSize` to its size. Returns
  /// `badParameter` if the room is too small.
  virtual Status property(BufferQueue queue, QueueProperty property, void* data, std::uint32_t& byteSize) = 0;
  /// Sets a property. Returns `badParameter` for a property that is read-only, `unsupportedFormat` for a cookie that
  /// the decoder does not accept, `unknownSession` if no session has the identifier, and `wrongState` for a cookie
  /// while the queue runs. A session takes effect at the next start.
  virtual Status setProperty(BufferQueue queue, QueueProperty property, const void* data, std::uint32_t byteSize) = 0;
  /// Adds a function that is called each time a property changes. Supported are `isRunning` and `converterError`.
  virtual Status addPropertyListener(BufferQueue queue, QueueProperty property, QueuePropertyListener listener,
                                     void* context) = 0;

  /// Creates a buffer of `byteSize` bytes, 1 to 256 MiB, and sets `buffer`. Returns `ioFailure` if memory is exhausted.
  virtual Status allocateBuffer(BufferQueue queue, std::uint32_t byteSize, QueueBuffer*& buffer) = 0;
  /// Gives a buffer to the queue: to fill it (input) or to play its `byteSize` bytes (output). `packets` describes the
  /// `packetCount` packets of a compressed format and is ignored for linear PCM. Returns `wrongState` if the buffer is
  /// already enqueued, and `badParameter` for packets that do not lie in the buffer.
  virtual Status enqueueBuffer(BufferQueue queue, QueueBuffer* buffer, std::uint32_t packetCount,
                               const PacketDescription* packets) = 0;
  /// Starts the queue as soon as possible. Succeeds without effect if it is running. Returns `noDevice`, `noInput` or
  /// `noOutput` if the hardware or the session's category lacks the side; `wrongState` for an input queue whose encoder
  /// has completed its stream, which cannot be continued; and the statuses of `UnitService::start`.
  virtual Status start(BufferQueue queue) = 0;
  /// Stops the queue. Succeeds without effect if it is not running, except as stated below.
  ///
  /// An input queue delivers what it has captured, the last buffer as far as it is filled, before `stop` returns. With
  /// `immediate`, an output queue plays nothing more, and drops what is enqueued. Otherwise it plays all that is
  /// enqueued and then stops by itself; a queue that is not running keeps this wish for its next start. In every case
  /// `isRunning` is notified afterwards, and buffers that were not used up belong to the client again.
  virtual Status stop(BufferQueue queue, bool immediate) = 0;
  /// Stops the queue as `stop` with `immediate` does, and destroys it and its buffers. No callback is called after
  /// `dispose` has returned.
  virtual Status dispose(BufferQueue queue) = 0;
};

}  // namespace orvane::platform
