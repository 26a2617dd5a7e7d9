// SPDX-License-Identifier: MIT
#include "platform/pipewire/MidiNode.h"

#include <pipewire/data-loop.h>
#include <pipewire/filter.h>
#include <pipewire/pipewire.h>
#include <spa/control/control.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

namespace orvane::pipewire {

namespace {

using namespace std::chrono_literals;
using backend::MidiEvent;
using backend::MidiProtocol;

constexpr std::size_t queueBytes = std::size_t{512} << 10;
/// Newer servers also have controls of Universal MIDI Packets; the headers of older ones lack the name.
constexpr std::uint32_t controlOfPackets = 4;

pw_properties* nodeProperties(const MidiNodeSetup& setup, const backend::MidiPortLabels& labels) {
  pw_properties* const properties =
      pw_properties_new(PW_KEY_MEDIA_TYPE, "Midi", PW_KEY_MEDIA_CATEGORY, labels.isInput ? "Capture" : "Playback",
                        PW_KEY_MEDIA_ROLE, "Test", PW_KEY_NODE_NAME, labels.client.c_str(), PW_KEY_NODE_DESCRIPTION,
                        labels.client.c_str(), PW_KEY_NODE_AUTOCONNECT, "false", nullptr);
  if (setup.sliceFrames) pw_properties_setf(properties, PW_KEY_NODE_LATENCY, "%u/48000", *setup.sliceFrames);
  return properties;
}

}  // namespace

struct MidiNode::Trampolines {
  static void stateChanged(void* data, pw_filter_state, pw_filter_state state, const char* error) {
    auto& self = *static_cast<MidiNode*>(data);
    // The state before the connection is `unconnected` too.
    const bool isRemoved = state == PW_FILTER_STATE_UNCONNECTED && self.mIsConnected;
    if (state == PW_FILTER_STATE_PAUSED || state == PW_FILTER_STATE_STREAMING) self.mIsConnected = true;
    if (isRemoved) self.mProblem = "the sound server removed the port \"" + self.name() + "\"";
    if (state == PW_FILTER_STATE_ERROR) {
      self.mProblem = "the port \"" + self.name() + "\" failed" + (error == nullptr ? "" : std::string(": ") + error);
    }
    if (!isRemoved && state != PW_FILTER_STATE_ERROR) return;
    self.mSetup.failed.fire();
  }
  static void process(void* data, spa_io_position* position) {
    if (position == nullptr || position->clock.duration == 0 || position->clock.rate.denom == 0) return;
    auto& self = *static_cast<MidiNode*>(data);
    std::pair<MidiNode&, const spa_io_position&> call(self, *position);
    self.mSetup.services.runInRealTime(
        [](void* part) {
          const auto& [node, cycle] = *static_cast<std::pair<MidiNode&, const spa_io_position&>*>(part);
          node.process(cycle);
        },
        &call);
  }

  static constexpr pw_filter_events table = {
      .version = PW_VERSION_FILTER_EVENTS, .state_changed = stateChanged, .process = process};
};

MidiNode::MidiNode(MidiNodeSetup setup, const backend::MidiPortLabels& labels)
    : mSetup(std::move(setup)),
      mLabels(labels),
      mListener(std::make_unique<spa_hook>()),
      mAhead(labels.isInput ? 0 : queueBytes),
      mUrgent(0) {
  mFilter = pw_filter_new(mSetup.connection->core(), labels.client.c_str(), nodeProperties(mSetup, labels));
  if (mFilter == nullptr) {
    mProblem = "the sound server refuses a node";
    return;
  }
  pw_filter_add_listener(mFilter, mListener.get(), &Trampolines::table, this);
  mPort = pw_filter_add_port(
      mFilter, labels.isInput ? PW_DIRECTION_INPUT : PW_DIRECTION_OUTPUT, PW_FILTER_PORT_FLAG_MAP_BUFFERS, 1,
      pw_properties_new(PW_KEY_FORMAT_DSP, "8 bit raw midi", PW_KEY_PORT_NAME, labels.name.c_str(), nullptr), nullptr,
      0);
  if (mPort == nullptr || pw_filter_connect(mFilter, PW_FILTER_FLAG_RT_PROCESS, nullptr, 0) < 0) {
    mProblem = "the sound server refuses a port";
  }
}

MidiNode::~MidiNode() {
  if (mFilter == nullptr) return;
  spa_hook_remove(mListener.get());
  // Returns once the data thread has let go of the node.
  pw_filter_destroy(mFilter);
}

std::optional<std::uint32_t> MidiNode::port() const {
  if (mFilter == nullptr) return std::nullopt;
  const std::uint32_t node = pw_filter_get_node_id(mFilter);
  for (const auto& [identifier, port] : mSetup.connection->inventory().ports) {
    if (port.node == node && port.name == mLabels.name) return identifier;
  }
  return std::nullopt;
}

bool MidiNode::send(const MidiEvent& event) {
  Lane& lane = mAhead.queue.isEmpty() || event.time >= mAhead.lastTime ? mAhead : mUrgent;
  if (!lane.queue.hasRoomFor(event)) return false;
  // Counted before it can leave, so that the node is never idle in between.
  mQueued.add(event.bytes.size());
  lane.lastTime = event.time;
  ++lane.queued;
  return lane.queue.push(event);
}

std::size_t MidiNode::discard() {
  std::pair<MidiNode&, std::size_t> call(*this, 0);
  const auto drop = [](spa_loop*, bool, std::uint32_t, const void*, std::size_t, void* data) {
    auto& [node, number] = *static_cast<std::pair<MidiNode&, std::size_t>*>(data);
    number = node.dropLanes();
    return 0;
  };
  pw_data_loop_invoke(mSetup.dataLoop, drop, 0, nullptr, 0, true, &call);
  return call.second;
}

backend::MidiBacklog MidiNode::backlog() const {
  // The others first, which are never greater.
  const platform::MidiCount left = mLeft.value();
  const platform::MidiCount dropped = mDropped.value();
  const platform::MidiCount queued = mQueued.value();
  return {.waiting = {queued.packets - left.packets - dropped.packets, queued.bytes - left.bytes - dropped.bytes},
          .lost = dropped};
}

// ---- the data thread

void MidiNode::process(const spa_io_position& position) {
  const spa_io_clock& clock = position.clock;
  const Cycle cycle{.nanoseconds = clock.nsec,
                    .position = clock.position,
                    .frames = static_cast<std::uint32_t>(clock.duration),
                    .rate = clock.rate.denom,
                    .driver = clock.id};
  pw_buffer* const buffer = pw_filter_dequeue_buffer(mPort);
  if (buffer == nullptr || buffer->buffer->datas[0].data == nullptr) {
    mClock.reset();
    ++mQuietCycles;
    return confirm();
  }
  if (!mClock) mClock.emplace(mSetup.hostOffset);
  bool isBroken = mClock->advance(cycle) > 0;
  const MidiCycle times(cycle, mSetup.hostOffset);
  spa_data& data = buffer->buffer->datas[0];
  mLabels.isInput ? readCycle(data, times) : writeCycle(data, times);
  pw_filter_queue_buffer(mPort, buffer);
  mCycles.fetch_add(1, std::memory_order_release);
  // The clock does not show that the graph has gone on without what was written in this cycle.
  const auto now = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch() / 1ns);
  isBroken = isBroken || (!mLabels.isInput && mQuietCycles == 0 && now > clock.next_nsec);
  if (isBroken) mSetup.discontinuities.fetch_add(1, std::memory_order_relaxed);
  confirm();
}

void MidiNode::readCycle(const spa_data& data, const MidiCycle& cycle) {
  if (!mIsListening) return;
  auto* const pod =
      static_cast<spa_pod*>(spa_pod_from_data(data.data, data.maxsize, data.chunk->offset, data.chunk->size));
  const bool isSequence = pod != nullptr && spa_pod_is_sequence(pod);
  // Whatever it was is lost.
  if (!isSequence && data.chunk->size > 0) mSetup.discontinuities.fetch_add(1, std::memory_order_relaxed);
  if (!isSequence) return;
  deliver(*reinterpret_cast<spa_pod_sequence*>(pod), cycle);
}

void MidiNode::deliver(const spa_pod_sequence& sequence, const MidiCycle& cycle) {
  bool hasEvents = false;
  const spa_pod_control* control = nullptr;
  SPA_POD_SEQUENCE_FOREACH(&sequence, control) {
    if (control->type != SPA_CONTROL_Midi && control->type != controlOfPackets) continue;
    const std::size_t size = SPA_POD_BODY_SIZE(&control->value);
    if (size == 0) continue;
    const auto* const bytes = static_cast<const std::uint8_t*>(SPA_POD_BODY_CONST(&control->value));
    const bool isTaken =
        size <= MidiEvent::maxBytes &&
        mSetup.callback.received(
            {.time = cycle.timeOf(control->offset),
             .endpoint = mRoute,
             .bytes = {bytes, size},
             .protocol = control->type == controlOfPackets ? MidiProtocol::packets : MidiProtocol::bytes});
    if (!isTaken) mSetup.callback.dropped(1);
    hasEvents = true;
  }
  if (hasEvents) mSetup.callback.cycleEnded();
}

void MidiNode::writeCycle(spa_data& data, const MidiCycle& cycle) {
  const std::size_t limit = std::min<std::size_t>(data.maxsize, MidiCycleLimits::cycleBytes);
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, data.data, static_cast<std::uint32_t>(data.maxsize));
  spa_pod_frame frame{};
  spa_pod_builder_push_sequence(&builder, &frame, 0);
  ++mQuietCycles;
  for (Lane* lane = nextLane(cycle); lane != nullptr; lane = nextLane(cycle)) {
    if (!writeFirst(*lane, builder, limit, cycle)) break;
    mQuietCycles = 0;
  }
  spa_pod_builder_pop(&builder, &frame);
  *data.chunk = {.offset = 0, .size = builder.state.offset, .stride = 1, .flags = 0};
}

/// Returns the lane with the next event of a cycle; null if there is none.
MidiNode::Lane* MidiNode::nextLane(const MidiCycle& cycle) {
  Lane* next = nullptr;
  platform::HostTime time = platform::HostTime::max();
  for (Lane* const lane : {&mAhead, &mUrgent}) {
    while (lane->written == 0 && lane->taken < lane->dropEnd) pop(*lane, mDropped);
    const auto event = lane->queue.front();
    // No other event interrupts one of which a part has left.
    if (lane->written > 0) return lane;
    if (!event || !cycle.isDue(event->time) || event->time >= time) continue;
    next = lane;
    time = event->time;
  }
  return next;
}

/// Writes the first piece of the first event of a lane. Returns false if the cycle has no room.
bool MidiNode::writeFirst(Lane& lane, spa_pod_builder& builder, std::size_t limit, const MidiCycle& cycle) {
  // Each control is padded to eight bytes.
  const std::size_t used = builder.state.offset + sizeof(spa_pod_control) + 7;
  const auto event = lane.queue.front();
  const auto left = event->bytes.subspan(lane.written);
  const bool isFirst = builder.state.offset == sizeof(spa_pod_sequence);
  // A buffer that is smaller than a piece gets a smaller one.
  const std::size_t size = firstPiece(left, isFirst && used < limit ? limit - used : MidiCycleLimits::pieceBytes);
  if (used + size > limit) return false;
  spa_pod_builder_control(&builder, cycle.frameOf(event->time), SPA_CONTROL_Midi);
  spa_pod_builder_bytes(&builder, left.data(), static_cast<std::uint32_t>(size));
  lane.written = size == left.size() ? 0 : lane.written + size;
  if (lane.written == 0) pop(lane, mLeft);
  return true;
}

/// Takes out the first event of a lane.
void MidiNode::pop(Lane& lane, Count& count) {
  count.add(lane.queue.front()->bytes.size());
  lane.queue.pop();
  ++lane.taken;
}

/// Drops what is queued. Called on the data thread between cycles, while no event is queued. Returns the number of
/// events.
std::size_t MidiNode::dropLanes() {
  std::size_t number = 0;
  for (Lane* const lane : {&mAhead, &mUrgent}) {
    lane->dropEnd = lane->queued;
    number += lane->queued - lane->taken - (lane->written > 0 ? 1 : 0);
    while (lane->written == 0 && lane->taken < lane->dropEnd) pop(*lane, mDropped);
  }
  confirm();
  return number;
}

/// Counts what has left once its reader has had its turn.
void MidiNode::confirm() {
  const std::uint64_t taken = mAhead.taken + mUrgent.taken;
  if (mConfirmed.load(std::memory_order_relaxed) == taken || mQuietCycles < cyclesToRead) return;
  mConfirmed = taken;
  if (mAhead.queue.isEmpty() && mUrgent.queue.isEmpty()) mSetup.sent.fire();
}

}  // namespace orvane::pipewire
