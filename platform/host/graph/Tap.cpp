// SPDX-License-Identifier: MIT
#include "platform/host/graph/Tap.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <typeinfo>
#include <utility>
#include <vector>

#include "platform/Clock.h"
#include "platform/PlatformException.h"
#include "platform/host/time/RunAndWait.h"

namespace orvane::host {

using platform::StreamFormat;

namespace {

/// The buffer that a tap's function receives.
class TappedBuffer final : public platform::PcmBuffer {
 public:
  /// `before` are the `framesBefore` frames before the buffer over which its power is measured as well.
  TappedBuffer(const StreamFormat& format, std::span<const float* const> planes, std::uint32_t frames,
               std::span<const float* const> before, std::size_t framesBefore)
      : mFormat(format), mPlanes(planes), mFrames(frames), mBefore(before), mFramesBefore(framesBefore) {}

  const StreamFormat& format() const override { return mFormat; }
  std::uint32_t frames() const override { return mFrames; }
  std::span<const float* const> planes() const override { return mPlanes; }
  std::vector<double> averagePowerPerChannel() const override;

 private:
  const StreamFormat& mFormat;
  const std::span<const float* const> mPlanes;
  const std::uint32_t mFrames;
  const std::span<const float* const> mBefore;
  const std::size_t mFramesBefore;
};

/// The number of frames over which the power is measured at least, if the run has as many: more than the samples of a
/// zero crossing, and so few that a silent end is not missed.
constexpr std::size_t minPowerFrames = 64;

double sumOfSquares(std::span<const float> samples) {
  double sum = 0;
  for (const float sample : samples) {
    if (!std::isnan(sample)) sum += double{sample} * double{sample};
  }
  return sum;
}

std::vector<double> TappedBuffer::averagePowerPerChannel() const {
  constexpr double silence = -160;
  std::vector<double> powers;
  for (std::size_t channel = 0; channel < mPlanes.size(); ++channel) {
    const double sum =
        sumOfSquares({mBefore[channel], mFramesBefore}) + sumOfSquares({mPlanes[channel], std::size_t{mFrames}});
    const auto frames = static_cast<double>(mFramesBefore + mFrames);
    powers.push_back(std::max(silence, 10 * std::log10(sum / frames)));
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
      mBefore(format.channelCount()),
      mWorker(mCore->context->scheduler->makeWorker("tap")),
      mWorkTrigger(mWorker->makeTrigger([this] { work(false); })) {}

void Tap::capture(std::span<const float* const> planes, std::uint32_t frames, const platform::RenderTimeStamp& time) {
  if (mEnded) return;
  const auto first = static_cast<std::uint64_t>(time.sampleTime);
  const bool isRunNew = mIsRunNew.exchange(false, std::memory_order_relaxed);
  if (!isRunNew && first > mNextSample) {
    mLost += first - mNextSample;
    mMarkIsDue = true;
  }
  mNextSample = first + frames;
  mMarkIsDue = mMarkIsDue || isRunNew;
  // Decided once: the worker may make room at any time.
  if (!mRing.hasRoom(frames)) {
    mRing.drop();
    mLost += frames;
    mMarkIsDue = true;
    return mWorkTrigger->fire();
  }
  // The mark is there before its frames.
  if (mMarkIsDue) mMarkIsDue = !mMarks.push({mCaptured, mLost, time.hostTime});
  mCaptured += frames;
  if (mRing.capture(planes, frames)) mWorkTrigger->fire();
}

void Tap::finishRun() {
  runAndWait(*mCore->context->scheduler, *mWorker, [this] {
    work(true);
    mBefore.clear();
    mIsRunNew = true;
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
  const std::size_t measured = std::min<std::size_t>(minPowerFrames, mFrames);
  const std::size_t missing = measured - std::min(measured, mBuffer.frames());
  const std::size_t before = std::min(mBefore.frames(), missing);
  mBefore.drop(mBefore.frames() - before);
  const TappedBuffer buffer(mFormat, mBuffer.planes(), static_cast<std::uint32_t>(mBuffer.frames()), mBefore.planes(),
                            before);
  const platform::RenderTimeStamp time = timeOfNext();
  mDelivered += buffer.frames();
  try {
    mFunction(&buffer, time);
  } catch (const platform::PlatformException& failure) {
    // The library logs its own exceptions, which are of derived classes, where it raises them.
    end(failure.reason(), typeid(failure) != typeid(platform::PlatformException));
  } catch (const std::exception& failure) {
    end(failure.what(), false);
  } catch (...) {
    end("an exception of an unknown type", false);
  }
  std::swap(mBuffer, mBefore);
  mBuffer.clear();
}

/// Returns the time of the first frame that is not delivered yet.
platform::RenderTimeStamp Tap::timeOfNext() {
  mMarks.takeUpTo(mDelivered, mMark);
  const std::chrono::duration<double> since(static_cast<double>(mDelivered - mMark.captured) / mFormat.sampleRate());
  const auto time = std::chrono::duration_cast<platform::HostTime>(since);
  return {.sampleTime = static_cast<double>(mDelivered + mMark.lost),
          .hostTime = mMark.hostTime + static_cast<std::uint64_t>(time.count())};
}

void Tap::end(const std::string& reason, bool isLogged) {
  // The file that the function may hold is complete before anybody hears of the end.
  mFunction = nullptr;
  mFailure = {mCore->statusBehind(reason), reason, "InputNode::tap"};
  mEnded = true;
  if (!isLogged) mCore->log(mFailure);
  mCore->failures.recordOfTap(mFailure);
}

}  // namespace orvane::host
