// SPDX-License-Identifier: MIT
#include "platform/host/graph/HostPlayerNode.h"

#include <exception>
#include <iterator>
#include <new>
#include <string>
#include <utility>

#include "platform/NumberText.h"
#include "platform/PlatformException.h"
#include "platform/Status.h"
#include "platform/host/convert/EdgeFormat.h"
#include "platform/host/convert/RateConverter.h"
#include "platform/host/time/RunAndWait.h"

namespace orvane::host {

using platform::Failure;
using platform::PlatformException;
using platform::StreamFormat;
namespace status = platform::status;

namespace {

const GatedCall playCall("PlayerNode::play");

/// Frames that are read at a time.
constexpr std::uint32_t blockFrames = 4096;

EdgeFormat edgeFormat(const StreamFormat& format) {
  return {format.channelCount(), format.sampleRate()};
}

}  // namespace

HostPlayerNode::HostPlayerNode(std::shared_ptr<HostContext> context, std::shared_ptr<AudioHub> hub)
    : mContext(std::move(context)),
      mHub(std::move(hub)),
      mFinishedNotices(mContext->notices()),
      mWorker(mContext->scheduler->makeWorker("graph player")),
      mWorkTrigger(mWorker->makeTrigger([this] { work(); })),
      mEndTrigger(mWorker->makeTrigger([this] { playedOut(); })) {}

HostPlayerNode::~HostPlayerNode() = default;

// ---- control

void HostPlayerNode::scheduleFile(std::shared_ptr<platform::PcmFile> file) {
  const StreamFormat format = file->processingFormat();
  mWaiting.push_back({std::move(file), format, PlanarFifo(format.channelCount())});
}

void HostPlayerNode::prepare(std::uint32_t frames) {
  std::uint64_t prepared = 0;
  for (Entry& entry : mWaiting) {
    if (entry.next == 0 && readMore(entry, static_cast<std::uint32_t>(frames - prepared))) return;
    prepared += entry.next;
    if (prepared >= frames) return;
  }
}

void HostPlayerNode::play() {
  if (const auto refusal = mContext->errorOf(playCall)) {
    throw PlatformException("GraphException", refusal->localizedDescription());
  }
  if (!isConnected()) throw PlatformException("GraphException", "the player node is not connected to the main mixer");
  std::optional<Failure> failure;
  runAndWait(*mContext->scheduler, *mWorker, [&] { failure = begin(); });
  if (failure) mCore->refuse(*std::move(failure), playCall.name().data());
}

/// Begins to play the waiting files. The first slice must find its samples.
std::optional<Failure> HostPlayerNode::begin() {
  if (!mWaiting.empty()) {
    std::ranges::move(mWaiting, std::back_inserter(mPlaying));
    mWaiting.clear();
    mFinished = false;
    if (mIsAtEnd) {
      // The ring is open again before the callback learns of the new run.
      mIsAtEnd = false;
      mRing->reopen();
      ++mRun;
    }
  }
  auto failure = fill();
  if (!failure) mIsPlaying = true;
  return failure;
}

platform::Subscription HostPlayerNode::onFinished(std::function<void()> notice) {
  return mFinishedNotices.subscribe(std::move(notice), mFinished);
}

void HostPlayerNode::connect(std::shared_ptr<GraphCore> core, const StreamFormat& output) {
  mCore = std::move(core);
  mOutput = output;
  mConverted = std::make_unique<PlanarFifo>(output.channelCount());
  mSlice = std::make_unique<AlignedSamples>(output.channelCount(), backend::DeviceFormat::maxSliceFrames);
  mRing = std::make_unique<PlaybackRing>(output.channelCount(), output.sampleRate());
}

// ---- reading and converting

/// Fills the ring, or pushes everything that is left. Returns the first failure; the file that failed is not played any
/// further, and the next one follows.
std::optional<Failure> HostPlayerNode::fill() {
  std::optional<Failure> first;
  for (;;) {
    mRing->fillFrom(*mConverted);
    if (mConverted->frames() > 0 || mIsAtEnd) return first;
    auto failure = advance();
    if (!failure) continue;
    if (!mPlaying.empty()) mPlaying.pop_front();
    if (!first) first = std::move(failure);
  }
}

/// Converts the next part of the files, or declares the end. No exception leaves the worker: one of a file or of the
/// converter becomes the failure.
std::optional<Failure> HostPlayerNode::advance() {
  try {
    if (!mPlaying.empty()) return convertNext();
    flush();
    mRing->endAfter(mConverted->frames());
    mIsAtEnd = true;
    return std::nullopt;
  } catch (const std::bad_alloc&) {
    return Failure{status::ioFailure, "there is not enough memory to play a file"};
  } catch (const std::exception& failure) {
    return Failure{status::unsupportedFormat, failure.what()};
  } catch (...) {
    return Failure{status::ioFailure, "playing a file failed with an exception of an unknown type"};
  }
}

/// Reads and converts a part of the first file, or removes the file at its end.
std::optional<Failure> HostPlayerNode::convertNext() {
  Entry& entry = mPlaying.front();
  if (auto failure = convertFrom(entry.format)) return failure;
  if (entry.read.frames() == 0) {
    if (auto failure = readMore(entry, blockFrames)) return failure;
  }
  const std::size_t frames = entry.read.frames();
  if (frames > 0) {
    mConverter->convert(entry.read.planes(), frames, *mConverted);
    entry.read.drop(frames);
  } else {
    mPlaying.pop_front();
  }
  return std::nullopt;
}

std::optional<Failure> HostPlayerNode::readMore(Entry& entry, std::uint32_t frames) {
  std::uint32_t read = 0;
  const auto error = entry.file->read(entry.next, frames, entry.read.room(frames), read);
  if (error) return Failure{error->code(), error->localizedDescription()};
  entry.read.commit(read);
  entry.next += read;
  return std::nullopt;
}

/// Makes the converter of a format. The converter of the file before goes on if that file had the same format.
std::optional<Failure> HostPlayerNode::convertFrom(const StreamFormat& format) {
  if (mConverter && format == mConverterFormat) return std::nullopt;
  flush();
  const double from = format.sampleRate();
  const double to = mOutput.sampleRate();
  if (mOutput.channelCount() == 0 || (from != to && !RateConverter::canConvert(from, to))) {
    return Failure{status::unsupportedFormat,
                   "a file of " + platform::numberText(from) + " Hz cannot be played on an output of " +
                       std::to_string(mOutput.channelCount()) + " channels at " + platform::numberText(to) + " Hz"};
  }
  mConverter = std::make_unique<BlockConverter>(edgeFormat(format), edgeFormat(mOutput));
  mConverterFormat = format;
  return std::nullopt;
}

/// Takes the last frames out of the converter, which is gone afterwards even if it fails.
void HostPlayerNode::flush() {
  if (const auto converter = std::move(mConverter)) converter->finish(*mConverted);
}

// ---- the worker

void HostPlayerNode::work() {
  auto failure = fill();
  if (!failure) return;
  failure->call = playCall.name();
  mCore->log(*failure);
  mCore->failures.record(*std::move(failure));
}

void HostPlayerNode::playedOut() {
  if (mEndedRun != mRun) return;
  mFinished = true;
  mFinishedNotices.announce();
}

// ---- the device callback

void HostPlayerNode::render(OutputMix& mix) {
  if (!mIsPlaying) return;
  const std::uint64_t run = mRun;
  if (mRing->isPlayedOut()) {
    mFramesSinceEnd += mix.frames();
    if (mEndedRun == run || mFramesSinceEnd <= mLatency) return;
    mEndedRun = run;
    mEndTrigger->fire();
    return;
  }
  mFramesSinceEnd = 0;
  const std::uint32_t taken = mRing->take(mix.frames(), mSlice->planes());
  if (mRing->beganToStarve()) mHub->countDiscontinuity();
  if (mRing->isLow()) mWorkTrigger->fire();
  if (taken == 0) return;
  for (std::uint32_t channel = 0; channel < mix.channels(); ++channel) mix.add(channel, mSlice->plane(channel));
}

}  // namespace orvane::host
