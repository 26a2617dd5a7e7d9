// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "platform/GraphEngine.h"
#include "platform/Worker.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AlignedSamples.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/audio/OutputMix.h"
#include "platform/host/audio/PlaybackRing.h"
#include "platform/host/convert/BlockConverter.h"
#include "platform/host/convert/PlanarFifo.h"
#include "platform/host/graph/GraphCore.h"
#include "platform/host/report/Notices.h"

namespace orvane::host {

/// The host's player node, see `platform::PlayerNode`. The caller collects files; its worker reads and converts those
/// that are played, half a second ahead; the device callback takes the samples from a ring.
class HostPlayerNode final : public platform::PlayerNode {
 public:
  HostPlayerNode(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub);
  ~HostPlayerNode() override;

  void scheduleFile(std::shared_ptr<platform::PcmFile> file) override;
  void prepare(std::uint32_t frames) override;
  void play() override;
  bool isFinished() const override { return mFinished; }
  platform::Subscription onFinished(std::function<void()> notice) override;

  // For the engine.

  /// Sets the engine and the format to play in. Must be called once, before `render`.
  void connect(std::shared_ptr<GraphCore> core, const platform::StreamFormat& output);
  bool isConnected() const { return mRing != nullptr; }
  bool isConnectedTo(const GraphCore& core) const { return mCore.get() == &core; }
  /// Sets the time from `render` until its samples have been played, in frames.
  void setLatency(std::uint32_t frames) { mLatency = frames; }
  /// Adds the next frames to `mix`. Called on the device callback; real-time safe.
  void render(OutputMix& mix);

 private:
  /// A scheduled file.
  struct Entry {
    std::shared_ptr<platform::PcmFile> file;
    platform::StreamFormat format;
    PlanarFifo read;         ///< Frames that were read and not converted yet.
    std::uint64_t next = 0;  ///< The frame to read next.
  };

  static std::optional<platform::Failure> readMore(Entry& entry, std::uint32_t frames);

  // On the worker.
  std::optional<platform::Failure> begin();
  std::optional<platform::Failure> fill();
  std::optional<platform::Failure> advance();
  std::optional<platform::Failure> convertNext();
  std::optional<platform::Failure> convertFrom(const platform::StreamFormat& format);
  void flush();
  void work();
  void playedOut();

  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<AudioHub> mHub;
  std::shared_ptr<GraphCore> mCore;
  platform::StreamFormat mOutput;

  std::deque<Entry> mWaiting;  ///< Wait for the next `play`. Used by the caller, and by the worker during `play`.

  // Used by the worker.
  std::deque<Entry> mPlaying;
  std::unique_ptr<BlockConverter> mConverter;  ///< Null while no frames are in it.
  platform::StreamFormat mConverterFormat;
  std::unique_ptr<PlanarFifo> mConverted;
  bool mIsAtEnd = true;  ///< Everything is in the ring or in `mConverted`.
  std::atomic<bool> mFinished = false;
  Notices mFinishedNotices;

  // Shared with the device callback. A run is the playback of files until nothing is left to play.
  std::unique_ptr<PlaybackRing> mRing;
  std::unique_ptr<AlignedSamples> mSlice;
  std::atomic<bool> mIsPlaying = false;
  std::atomic<std::uint64_t> mRun = 0;       ///< Counts the runs.
  std::atomic<std::uint64_t> mEndedRun = 0;  ///< The run whose last frame was played.
  std::atomic<std::uint32_t> mLatency = 0;
  std::uint32_t mFramesSinceEnd = 0;  ///< Used by the callback.

  /// The last members, so that no task runs when the others are destroyed.
  const std::unique_ptr<platform::Worker> mWorker;
  const std::unique_ptr<platform::Trigger> mWorkTrigger;
  const std::unique_ptr<platform::Trigger> mEndTrigger;
};

}  // namespace orvane::host
