// SPDX-License-Identifier: MIT
#include "platform/pipewire/PipeWireDevice.h"

#include <algorithm>
#include <utility>

#include "platform/PlatformSession.h"
#include "platform/SessionIdentifiers.h"

namespace orvane::pipewire {

namespace {

using backend::DeviceChoice;
using backend::DeviceFormat;
using platform::AudioSide;
using platform::DeviceEnd;
using platform::Failure;
using platform::LogLevel;
namespace status = platform::status;

/// Time that the server has for a change of its settings.
constexpr platform::HostTime settingsPause = std::chrono::seconds(1);
constexpr platform::HostTime retryTime = std::chrono::seconds(1);

std::uint32_t portCount(const std::optional<Endpoint>& endpoint) {
  return endpoint ? static_cast<std::uint32_t>(endpoint->ports.size()) : 0;
}

/// The host clock's time minus CLOCK_MONOTONIC, which the graph's time stamps are on.
platform::HostTime hostOffset(const platform::Clock& clock) {
  return clock.now() - std::chrono::steady_clock::now().time_since_epoch();
}

/// Whether the endpoint still has all the ports that it had.
bool exists(const Inventory& inventory, const std::optional<Endpoint>& endpoint) {
  if (!endpoint) return true;
  return inventory.nodes.contains(endpoint->node) &&
         std::ranges::all_of(endpoint->ports, [&inventory](const EndpointPort& port) {
           return inventory.ports.contains(port.identifier);
         });
}

}  // namespace

PipeWireDevice::PipeWireDevice(backend::ModuleServices services, DeviceChoice choice)
    : mServices(std::move(services)),
      mChoice(std::move(choice)),
      mServer(Server::get()),
      mWorker(mServices.scheduler->makeWorker("sound server")),
      mSeenTrigger(mWorker->makeTrigger([this] {
        const Loop::Lock lock(mServer->loop());
        mServer->loop().signal();
      })),
      mChangeTrigger(mWorker->makeTrigger([this] {
        backend::DeviceCallback* const callback = mCallback.exchange(nullptr);
        if (callback == nullptr) return;
        {
          // The next start announces what the graph has now.
          const Loop::Lock lock(mServer->loop());
          mLearned.rate = mSeenRate;
          mLearned.frames = mSeenFrames;
        }
        callback->deviceChanged();
      })),
      mFollowTrigger(mWorker->makeTrigger([this] { follow(); })) {}

PipeWireDevice::~PipeWireDevice() {
  stop();
}

// ---- what there is

std::shared_ptr<Connection> PipeWireDevice::connect(Failure& failure) const {
  std::string problem;
  auto connection = mServer->connect(problem);
  if (!connection) failure = {status::serverLost, problem};
  return connection;
}

bool PipeWireDevice::isPresent() const {
  const std::lock_guard control(mServer->control());
  const Loop::Lock lock(mServer->loop());
  Failure ignored;
  return connect(ignored) != nullptr;
}

std::optional<Failure> PipeWireDevice::chooseEnds(const Inventory& inventory, Ends& ends) const {
  Choice source = choose(inventory, Side::input, mChoice.input);
  Choice sink = choose(inventory, Side::output, mChoice.output);
  if (!source.problem.empty()) return Failure{status::noDevice, source.problem};
  if (!sink.problem.empty()) return Failure{status::noDevice, sink.problem};
  ends = {std::move(source.endpoint), std::move(sink.endpoint)};
  return std::nullopt;
}

/// Finds what a start would link to, and the format that the graph has with it.
std::optional<Failure> PipeWireDevice::prepare(Ends& ends) const {
  if (mWatched) {
    ends = mEnds;
    return std::nullopt;
  }
  Failure failure;
  const auto connection = connect(failure);
  if (!connection) return failure;
  if (auto problem = chooseEnds(connection->inventory(), ends)) return problem;
  return learn(connection, ends);
}

/// Learns the graph's rate and quantum, with one side only: an output that is not used shall not open the microphone,
/// and a side that does not run shall not keep the other one from running.
std::optional<Failure> PipeWireDevice::learn(const std::shared_ptr<Connection>& connection, const Ends& ends) const {
  const auto& settings = connection->inventory().settings;
  if (mLearned.rate != 0 && mLearned.ends == ends && mLearned.settings == settings) return std::nullopt;
  if (!ends.source && !ends.sink) {
    mLearned = {ends, settings, graphRate(connection->inventory()), graphQuantum(connection->inventory())};
    return std::nullopt;
  }
  // Several callers ask one after the other; a graph that does not run shall not delay each of them.
  const platform::HostTime now = mServices.scheduler->clock().now();
  if (mLearnFailure && now - mLearnTime < retryTime) return mLearnFailure;
  const Ends used = usedOf(ends);
  mLearnFailure = runGraph(connection, used.sink ? Ends{{}, used.sink} : Ends{used.source, {}});
  if (mLearnFailure && used.sink && used.source) mLearnFailure = runGraph(connection, {used.source, {}});
  mLearnTime = mServices.scheduler->clock().now();
  mFilter.reset();
  if (!mLearnFailure) mLearned = {ends, settings, mSeenRate, mSeenFrames};
  return mLearnFailure;
}

DeviceFormat PipeWireDevice::formatOf(const Ends& ends) const {
  return {static_cast<double>(mLearned.rate), portCount(ends.source), portCount(ends.sink),
          std::min(mLearned.frames, DeviceFormat::maxSliceFrames)};
}

DeviceFormat PipeWireDevice::format() const {
  const std::lock_guard control(mServer->control());
  const Loop::Lock lock(mServer->loop());
  Ends ends;
  if (!prepare(ends)) mLastFormat = formatOf(ends);
  return mLastFormat;
}

std::optional<Failure> PipeWireDevice::whyUnavailable() const {
  const std::lock_guard control(mServer->control());
  const Loop::Lock lock(mServer->loop());
  Ends ends;
  return prepare(ends);
}

std::vector<platform::AudioEndpoint> PipeWireDevice::endpoints(AudioSide side) const {
  const std::lock_guard control(mServer->control());
  const Loop::Lock lock(mServer->loop());
  Failure ignored;
  const auto connection = connect(ignored);
  if (!connection) return {};
  const Inventory& inventory = connection->inventory();
  std::vector<platform::AudioEndpoint> result;
  for (const Endpoint& endpoint :
       pipewire::endpoints(inventory, side == AudioSide::input ? Side::input : Side::output)) {
    result.push_back({endpoint.name, endpoint.description, portCount(endpoint),
                      static_cast<double>(graphRate(inventory)), endpoint.isDefault});
  }
  return result;
}

// ---- control

void PipeWireDevice::useSides(bool input, bool output) {
  mUsesInput = input;
  mUsesOutput = output;
  mFollowTrigger->fire();
}

backend::DeviceLatency PipeWireDevice::latency() const {
  const Loop::Lock lock(mServer->loop());
  if (!mFilter) return {};
  return {mFilter->latency(Side::input), mFilter->latency(Side::output)};
}

void PipeWireDevice::setSession(const std::optional<backend::SessionLabels>& session) {
  {
    const Loop::Lock lock(mServer->loop());
    mSession = session;
  }
  // Mixing with others is what a sound server does in any case.
  const bool asksMore = session && (session->options & ~platform::session_option::mixWithOthers) != 0;
  if (!asksMore || mHasLoggedOptions.exchange(true)) return;
  mServices.log->write(LogLevel::notice,
                       "the sound server does not enforce session options; they are properties of the node only");
}

/// The ends that clients use; all of them if there is no client.
PipeWireDevice::Ends PipeWireDevice::usedOf(const Ends& ends) const {
  const bool isIdle = !mUsesInput && !mUsesOutput;
  return {mUsesInput || isIdle ? ends.source : std::nullopt, mUsesOutput || isIdle ? ends.sink : std::nullopt};
}

/// Puts a node into the graph and waits until the graph runs it.
std::optional<Failure> PipeWireDevice::runGraph(const std::shared_ptr<Connection>& connection, const Ends& ends) const {
  mSeenRate = 0;
  mHasChanged = false;
  mFilter = std::make_unique<Filter>(connection,
                                     FilterSetup{ends.source, ends.sink, mChoice.rate, mChoice.sliceFrames, mSession},
                                     mServices, hostOffset(mServices.scheduler->clock()),
                                     Filter::Events{.onSlice = [this](const Filter::Slice& slice) { onSlice(slice); },
                                                    .onProblem =
                                                        [this] {
                                                          mServer->loop().signal();
                                                          mFollowTrigger->fire();
                                                        }});
  const auto isGone = [&] {
    return !exists(connection->inventory(), ends.source) || !exists(connection->inventory(), ends.sink);
  };
  const auto isSettled = [&] {
    mFilter->link();
    return connection->isLost() || mFilter->problem() || isGone() || (mFilter->isLinked() && mSeenRate != 0);
  };
  const bool inTime = mServer->loop().waitUntil(isSettled, answerLimit);
  if (connection->isLost()) return Failure{status::serverLost, "the sound server was lost"};
  if (const auto& problem = mFilter->problem()) return Failure{status::noDevice, *problem};
  if (isGone()) return Failure{status::deviceLost, "the audio device was removed while it started"};
  if (inTime) return std::nullopt;
  return Failure{status::stalled,
                 "the sound server did not run its graph within " + std::to_string(answerLimit.count() / 1000) + " s"};
}

std::optional<Failure> PipeWireDevice::start(backend::DeviceCallback& callback) {
  const std::lock_guard control(mServer->control());
  stopRun();
  const Loop::Lock lock(mServer->loop());
  Ends ends;
  if (auto failure = prepare(ends)) return failure;
  const DeviceFormat announced = formatOf(ends);
  Failure failure;
  const auto connection = connect(failure);
  if (!connection) return failure;
  mEnds = ends;
  mUsedEnds = usedOf(ends);
  if (auto problem = runGraph(connection, mUsedEnds)) {
    mFilter.reset();
    return problem;
  }
  mWatched = connection;
  mSettings = connection->inventory().settings;
  connection->watch(*this);
  // The host has prepared its clients for the format that it was told. Anything else is a change like any other, and
  // nothing is handed out until the host has started the device again.
  mFormat = mLastFormat;
  preparePlanes();
  const bool differs = announced.sampleRate != mFormat.sampleRate || announced.inputs != mFormat.inputs ||
                       announced.outputs != mFormat.outputs || mSeenRate != mLearned.rate;
  mHasChanged = differs;
  mCallback = &callback;
  // What changed while the graph started has reached no watcher.
  mFollowTrigger->fire();
  if (differs) mChangeTrigger->fire();
  return std::nullopt;
}

void PipeWireDevice::stop() {
  const std::lock_guard control(mServer->control());
  stopRun();
}

void PipeWireDevice::stopRun() {
  mCallback = nullptr;
  mWorker->cancel();
  {
    const Loop::Lock lock(mServer->loop());
    if (mWatched) mWatched->unwatch(*this);
    mWatched.reset();
    mFilter.reset();
  }
  mWorker->cancel();
}

void PipeWireDevice::preparePlanes() {
  mInputs.assign(mFormat.inputs, mSilence->samples);
  mOutputs.assign(mFormat.outputs, mUnheard->samples);
  mIsBroken = false;
  mWasUnlinked = false;
}

// ---- the callback

void PipeWireDevice::onSlice(const Filter::Slice& slice) const {
  if (mSeenRate == 0) {
    mSeenFrames = slice.cycle.frames;
    mSeenRate = slice.cycle.rate;
    mSeenTrigger->fire();
  }
  backend::DeviceCallback* const callback = mCallback;
  if (callback != nullptr && !mHasChanged && slice.cycle.rate == static_cast<std::uint32_t>(mFormat.sampleRate)) {
    return handOut(slice, *callback);
  }
  for (float* output : slice.outputs) std::fill_n(output, slice.cycle.frames, 0.0F);
  if (callback == nullptr || mHasChanged.exchange(true)) return;
  mSeenFrames = slice.cycle.frames;
  mSeenRate = slice.cycle.rate;
  mChangeTrigger->fire();
}

void PipeWireDevice::handOut(const Filter::Slice& slice, backend::DeviceCallback& callback) const {
  std::copy(slice.inputs.begin(), slice.inputs.end(), mInputs.begin());
  std::copy(slice.outputs.begin(), slice.outputs.end(), mOutputs.begin());
  const bool wasUnlinked = mWasUnlinked.exchange(false);
  const bool wasBroken = std::exchange(mIsBroken, slice.isBroken);
  callback.deviceSlice({.time = slice.captureTime,
                        .missingFrames = slice.missingFrames,
                        .frames = slice.cycle.frames,
                        .inputs = mInputs,
                        .outputs = mOutputs,
                        .hasGap = (slice.isBroken && !wasBroken) || slice.wasLate || wasUnlinked});
}

// ---- what the server does meanwhile

/// Finds out what has changed. Runs on the worker.
void PipeWireDevice::follow() {
  backend::DeviceCallback* const callback = mCallback;
  if (callback == nullptr) return;
  Change change;
  {
    const Loop::Lock lock(mServer->loop());
    if (!mFilter) return;
    change = whatChanged();
    // Another rate or quantum makes the server stop its graph for a while, longer than a stall if it is busy.
    if (mWatched && std::exchange(mSettings, mWatched->inventory().settings) != mWatched->inventory().settings) {
      callback->deviceInterrupted(mServices.scheduler->clock().now() + settingsPause);
    }
    if (!change.failure && !change.moves && mFilter->link()) {
      mWasUnlinked = true;
      change.message = "a link of the sound server was removed and is made again";
    }
  }
  // Not with the lock: whoever shows the message may block. An error, because sound was lost.
  if (!change.message.empty()) mServices.log->write(LogLevel::error, change.message);
  if (!change.failure && !change.moves) return;
  mCallback = nullptr;
  change.failure ? callback->deviceEnded(DeviceEnd::failed, std::move(change.failure)) : callback->deviceChanged();
}

PipeWireDevice::Change PipeWireDevice::whatChanged() {
  if (!mWatched || mWatched->isLost()) return {.failure = Failure{status::serverLost, "the sound server was lost"}};
  if (const auto& problem = mFilter->problem()) return {.failure = Failure{status::deviceLost, *problem}};
  const Inventory& inventory = mWatched->inventory();
  if (exists(inventory, mUsedEnds.source) && exists(inventory, mUsedEnds.sink)) {
    return {.moves = !(usedOf(mEnds) == mUsedEnds)};
  }
  const bool isSource = !exists(inventory, mUsedEnds.source);
  const Endpoint& lost = isSource ? *mUsedEnds.source : *mUsedEnds.sink;
  const std::string what = std::string(isSource ? "the input" : "the output") + " \"" + lost.name + "\" was removed";
  Ends ends;
  const bool canMove =
      !chooseEnds(inventory, ends) && (!mUsedEnds.source || ends.source) && (!mUsedEnds.sink || ends.sink);
  if (!canMove) return {.failure = Failure{status::deviceLost, what}};
  mLearned = {};
  return {.moves = true,
          .message = what + "; the run continues with \"" + (isSource ? ends.source->name : ends.sink->name) + "\""};
}

}  // namespace orvane::pipewire
