// SPDX-License-Identifier: MIT
#include "platform/pipewire/MidiNode.h"

#include <pipewire/filter.h>
#include <pipewire/pipewire.h>
#include <spa/control/control.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace orvane::pipewire {

namespace {

using namespace std::chrono_literals;
using backend::MidiEvent;
using backend::MidiProtocol;

constexpr std::size_t queueBytes = std::size_t{512} << 10;
/// Number of cycles after which the reader of a cycle's events has had its turn.
constexpr int cyclesToRead = 2;
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
    if (state != PW_FILTER_STATE_ERROR) return;
    self.mProblem = error == nullptr ? "the sound server's node failed" : error;
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
      mQueue(labels.isInput ? 0 : queueBytes) {
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
  // Counted before it can leave, so that the node is never idle in between.
  ++mQueued;
  if (mQueue.push(event)) return true;
  --mQueued;
  return false;
}

// ---- the data thread

void MidiNode::process(const spa_io_position& position) {
  const spa_io_clock& clock = position.clock;
  const Cycle cycle{.nanoseconds = clock.nsec,
                    .position = clock.position,
                    .frames = static_cast<std::uint32_t>(clock.duration),
                    .rate = clock.rate.denom,
                    .driver = clock.id};
  if (mDiscards.exchange(false)) dropQueue();
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
  if (pod == nullptr || !spa_pod_is_sequence(pod)) return;
  deliver(*reinterpret_cast<spa_pod_sequence*>(pod), cycle);
}

void MidiNode::deliver(const spa_pod_sequence& sequence, const MidiCycle& cycle) {
  bool hasEvents = false;
  const spa_pod_control* control = nullptr;
  SPA_POD_SEQUENCE_FOREACH(&sequence, control) {
    if (control->type != SPA_CONTROL_Midi && control->type != controlOfPackets) continue;
    const std::size_t size = SPA_POD_BODY_SIZE(&control->value);
    if (size == 0 || size > MidiEvent::maxBytes) continue;
    const auto* const bytes = static_cast<const std::uint8_t*>(SPA_POD_BODY_CONST(&control->value));
    const bool isTaken = mSetup.callback.received(
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
  constexpr std::size_t controlHeader = sizeof(spa_pod_control);
  const std::size_t limit = std::min<std::size_t>(data.maxsize, MidiCycleLimits::cycleBytes);
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, data.data, static_cast<std::uint32_t>(data.maxsize));
  spa_pod_frame frame{};
  spa_pod_builder_push_sequence(&builder, &frame, 0);
  ++mQuietCycles;
  while (const auto event = mQueue.front()) {
    if (event->time >= cycle.end()) break;
    const auto left = event->bytes.subspan(mWritten);
    const std::size_t size = firstPiece(left);
    // Each control is padded to eight bytes.
    if (builder.state.offset + controlHeader + size + 7 > limit) break;
    spa_pod_builder_control(&builder, cycle.frameOf(event->time), SPA_CONTROL_Midi);
    spa_pod_builder_bytes(&builder, left.data(), static_cast<std::uint32_t>(size));
    mQuietCycles = 0;
    mWritten = size == left.size() ? 0 : mWritten + size;
    if (mWritten > 0) continue;
    mQueue.pop();
    ++mTaken;
  }
  spa_pod_builder_pop(&builder, &frame);
  *data.chunk = {.offset = 0, .size = builder.state.offset, .stride = 1, .flags = 0};
}

void MidiNode::dropQueue() {
  while (mQueue.front()) {
    mQueue.pop();
    ++mTaken;
  }
  mWritten = 0;
}

/// Counts what has left once its reader has had its turn.
void MidiNode::confirm() {
  if (mConfirmed.load(std::memory_order_relaxed) == mTaken || mQuietCycles < cyclesToRead) return;
  mConfirmed = mTaken;
  if (mQueue.isEmpty()) mSetup.sent.fire();
}

}  // namespace orvane::pipewire
