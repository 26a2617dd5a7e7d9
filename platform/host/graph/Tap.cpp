// SPDX-License-Identifier: MIT
#include "platform/host/graph/Tap.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <utility>
#include <vector>

#include "platform/Clock.h"
#include "platform/host/time/RunAndWait.h"

namespace orvane::host {

using platform::StreamFormat;

namespace {

/// The buffer that a tap's function receives.
class TappedBuffer final : public platform::PcmBuffer {
 public:
  TappedBuffer(const StreamFormat& format, std::span<const float* const> planes, std::uint32_t frames)
      : mFormat(format), mPlanes(planes), mFrames(frames) {}

  const StreamFormat& format() const override { return mFormat; }
  std::uint32_t frames() const override { return mFrames; }
  std::span<const float* const> planes() const override { return mPlanes; }
  std::vector<double> averagePowerPerChannel() const override;

 private:
  const StreamFormat& mFormat;
  const std::span<const float* const> mPlanes;
  const std::uint32_t mFrames;
};

std::vector<double> TappedBuffer::averagePowerPerChannel() const {
  constexpr double silence = -160;
  std::vector<double> powers;
  for (const float* const plane : mPlanes) {
    double sum = 0;
    for (const float sample : std::span(plane, mFrames)) {
      if (!std::isnan(sample)) sum += double{sample} * double{sample};
    }
    powers.push_back(std::max(silence, 10 * std::log10(sum / mFrames)));
  }
  return powers;
}

}  // namespace

Tap::Tap(std::shared_ptr<GraphCore> core, const StreamFormat& format, std::uint32_t frames,
         platform::TapFunction function)
    : mCore(std::move(core)),
      mFormat(format),
      mFrames(frames),
      mRing(format.channelCount(), format.sampleRate(), frames),
      mFunction(std::move(function)),
      mBuffer(format.channelCount()),
      mWorker(mCore->context->scheduler->makeWorker("tap")),
      mWorkTrigger(mWorker->makeTrigger([this] { work(false); })) {}

void Tap::capture(std::span<const float* const> planes, std::uint32_t frames, std::uint64_t hostTime) {
  if (mEnded) return;
  if (mFirstTime.load(std::memory_order_relaxed) == 0) mFirstTime = hostTime;
  if (mRing.capture(planes, frames)) mWorkTrigger->fire();
}

void Tap::finishRun() {
  runAndWait(*mCore->context->scheduler, *mWorker, [this] {
    work(true);
    mFirstTime = 0;
    mRunBegin = mDelivered;
  });
}

void Tap::work(bool isRunOver) {
  mRing.countOverruns(*mCore->context, "the tap");
  while (mFunction) {
    const auto wanted = static_cast<std::uint32_t>(mFrames - mBuffer.frames());
    mRing.takeUpTo(wanted, [this](const SliceQueue::Block& block) {
      const std::span<float* const> room = mBuffer.room(block.frames);
      for (std::size_t channel = 0; channel < room.size(); ++channel)
        std::copy_n(block.planes[channel], block.frames, room[channel]);
      mBuffer.commit(block.frames);
    });
    const bool isDue = mBuffer.frames() == mFrames || (isRunOver && mBuffer.frames() > 0);
    if (!isDue) return;
    deliver();
  }
}

void Tap::deliver() {
  const TappedBuffer buffer(mFormat, mBuffer.planes(), static_cast<std::uint32_t>(mBuffer.frames()));
  const std::chrono::duration<double> sinceBegin(static_cast<double>(mDelivered - mRunBegin) / mFormat.sampleRate());
  const auto time = std::chrono::duration_cast<platform::HostTime>(sinceBegin);
  const platform::RenderTimeStamp stamp{.sampleTime = static_cast<double>(mDelivered),
                                        .hostTime = mFirstTime + static_cast<std::uint64_t>(time.count())};
  mDelivered += buffer.frames();
  try {
    mFunction(&buffer, stamp);
  } catch (const std::exception& failure) {
    end(failure.what());
  } catch (...) {
    end("an exception of an unknown type");
  }
  mBuffer.clear();
}

void Tap::end(const std::string& reason) {
  mEnded = true;
  // The file that the function may hold is complete before anybody hears of the end.
  mFunction = nullptr;
  mCore->fail({.status = platform::status::success, .reason = reason, .call = "InputNode::tap"});
}

}  // namespace orvane::host
