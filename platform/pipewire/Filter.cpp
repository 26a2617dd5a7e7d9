// SPDX-License-Identifier: MIT
#include "platform/pipewire/Filter.h"

#include <pipewire/filter.h>
#include <pipewire/pipewire.h>
#include <spa/param/latency-utils.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

#include "platform/SessionIdentifiers.h"

namespace orvane::pipewire {

namespace {

using namespace std::chrono_literals;
using backend::DeviceFormat;

constexpr char nodeName[] = "orvane";

std::string portName(Side side, std::size_t number) {
  return (side == Side::input ? "input_" : "output_") + std::to_string(number + 1);
}

const char* category(const FilterSetup& setup) {
  if (setup.source && setup.sink) return "Duplex";
  return setup.source ? "Capture" : "Playback";
}

/// The role that a session's mode has in the server's terms. A client without a session tests.
const char* role(const std::optional<backend::SessionLabels>& session) {
  namespace mode = platform::mode;
  static constexpr std::pair<std::string_view, const char*> roles[] = {{mode::voiceChat, "Communication"},
                                                                       {mode::videoChat, "Communication"},
                                                                       {mode::voiceMessages, "Communication"},
                                                                       {mode::sos, "Communication"},
                                                                       {mode::gameChat, "Game"},
                                                                       {mode::moviePlayback, "Movie"},
                                                                       {mode::spokenAudio, "Music"},
                                                                       {mode::defaultMode, "Music"},
                                                                       {mode::videoRecording, "Camera"},
                                                                       {mode::voicePrompt, "Notification"},
                                                                       {mode::locatePhone, "Notification"},
                                                                       {mode::hearingAccessibility, "Accessibility"},
                                                                       {mode::speechRecognition, "Accessibility"},
                                                                       {mode::motiongram, "Production"},
                                                                       {mode::raw, "Production"}};
  const auto found = std::ranges::find(roles, session ? std::string_view(session->mode) : "",
                                       [](const auto& row) { return row.first; });
  return found == std::end(roles) ? "Test" : found->second;
}

pw_properties* nodeProperties(const FilterSetup& setup) {
  pw_properties* const properties = pw_properties_new(
      PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, category(setup), PW_KEY_MEDIA_ROLE, role(setup.session),
      PW_KEY_NODE_NAME, nodeName, PW_KEY_NODE_DESCRIPTION, "Orvane", PW_KEY_NODE_AUTOCONNECT, "false", nullptr);
  if (setup.rate) pw_properties_setf(properties, PW_KEY_NODE_RATE, "1/%u", *setup.rate);
  // The length is a time for the server: frames at the rate that they are counted in.
  if (setup.sliceFrames) {
    pw_properties_setf(properties, PW_KEY_NODE_LATENCY, "%u/%u", *setup.sliceFrames, setup.rate.value_or(48000));
  }
  if (setup.session) {
    pw_properties_setf(properties, "orvane.session.id", "%u", setup.session->identifier);
    pw_properties_set(properties, "orvane.session.category", setup.session->category.c_str());
    pw_properties_set(properties, "orvane.session.mode", setup.session->mode.c_str());
    pw_properties_setf(properties, "orvane.session.options", "0x%" PRIx64, setup.session->options);
  }
  return properties;
}

}  // namespace

// ---- ports

/// A port of one channel. The data thread takes a buffer from it in each cycle.
class Filter::Port {
 public:
  Port(pw_filter* filter, Side side, const std::string& name, const std::string& channel)
      : mIsInput(side == Side::input) {
    pw_properties* const properties =
        pw_properties_new(PW_KEY_FORMAT_DSP, "32 bit float mono audio", PW_KEY_PORT_NAME, name.c_str(), nullptr);
    if (!channel.empty()) pw_properties_set(properties, PW_KEY_AUDIO_CHANNEL, channel.c_str());
    mHandle = pw_filter_add_port(filter, mIsInput ? PW_DIRECTION_INPUT : PW_DIRECTION_OUTPUT,
                                 PW_FILTER_PORT_FLAG_MAP_BUFFERS, 1, properties, nullptr, 0);
  }

  bool isMade() const { return mHandle != nullptr; }

  /// Takes the cycle's buffer. Returns its samples; a scratch plane if there is no buffer that holds `frames`.
  float* take(std::uint32_t frames, bool& hasBuffer) {
    pw_buffer* const buffer = mHandle == nullptr ? nullptr : pw_filter_dequeue_buffer(mHandle);
    float* const samples = buffer == nullptr ? nullptr : samplesOf(buffer->buffer->datas[0], frames, hasBuffer);
    // The data stay valid until the cycle ends, so the buffer can go back at once.
    if (buffer != nullptr) pw_filter_queue_buffer(mHandle, buffer);
    if (samples != nullptr) return samples;
    hasBuffer = false;
    std::fill_n(mScratch->samples, std::min(frames, DeviceFormat::maxSliceFrames), 0.0F);
    return mScratch->samples;
  }

 private:
  struct alignas(64) Scratch {
    float samples[DeviceFormat::maxSliceFrames];
  };

  float* samplesOf(spa_data& data, std::uint32_t frames, bool& hasBuffer) {
    const std::size_t wanted = frames * sizeof(float);
    auto* const bytes = static_cast<std::byte*>(data.data);
    if (bytes == nullptr || (!mIsInput && data.maxsize < wanted)) return nullptr;
    if (!mIsInput) {
      *data.chunk = {.offset = 0, .size = static_cast<std::uint32_t>(wanted), .stride = sizeof(float), .flags = 0};
      return reinterpret_cast<float*>(bytes);
    }
    // Right after the cycles have become longer a buffer may hold fewer frames; behind them are samples of an earlier
    // cycle.
    const std::size_t offset = std::min<std::size_t>(data.chunk->offset, data.maxsize);
    const std::size_t size = std::min<std::size_t>(data.chunk->size, data.maxsize - offset);
    if (size >= wanted && offset % DeviceFormat::planeAlignment == 0) return reinterpret_cast<float*>(bytes + offset);
    if (size < wanted) hasBuffer = false;
    std::memset(mScratch->samples, 0, std::min(wanted, sizeof mScratch->samples));
    std::memcpy(mScratch->samples, bytes + offset, std::min({size, wanted, sizeof mScratch->samples}));
    return mScratch->samples;
  }

  const bool mIsInput;
  void* mHandle = nullptr;
  const std::unique_ptr<Scratch> mScratch = std::make_unique<Scratch>();
};

// ---- the node

struct Filter::Trampolines {
  static void stateChanged(void* data, pw_filter_state, pw_filter_state state, const char* error) {
    auto& self = *static_cast<Filter*>(data);
    if (state == PW_FILTER_STATE_ERROR) self.setProblem(error == nullptr ? "the sound server's node failed" : error);
  }
  static void process(void* data, spa_io_position* position) {
    if (position == nullptr || position->clock.duration == 0 || position->clock.rate.denom == 0) return;
    auto& self = *static_cast<Filter*>(data);
    std::pair<Filter&, const spa_io_position&> call(self, *position);
    self.mServices.runInRealTime(
        [](void* part) {
          const auto& [filter, cycle] = *static_cast<std::pair<Filter&, const spa_io_position&>*>(part);
          filter.process(cycle);
        },
        &call);
  }

  static void paramChanged(void* data, void* port, std::uint32_t identifier, const spa_pod* parameter) {
    spa_latency_info latency{};
    if (port == nullptr || identifier != SPA_PARAM_Latency || parameter == nullptr) return;
    if (spa_latency_parse(parameter, &latency) < 0) return;
    auto& self = *static_cast<Filter*>(data);
    // What a source reports goes in the direction of the sound, what a sink reports against it.
    auto& latencies = latency.direction == SPA_DIRECTION_OUTPUT ? self.mInputLatencies : self.mOutputLatencies;
    latencies[port] = latency;
  }

  static constexpr pw_filter_events table = {.version = PW_VERSION_FILTER_EVENTS,
                                             .state_changed = stateChanged,
                                             .param_changed = paramChanged,
                                             .process = process};
};

Filter::Filter(std::shared_ptr<Connection> connection, FilterSetup setup, const backend::ModuleServices& services,
               platform::HostTime hostOffset, Events events)
    : mConnection(std::move(connection)),
      mSetup(std::move(setup)),
      mServices(services),
      mEvents(std::move(events)),
      mListener(std::make_unique<spa_hook>()),
      mClock(hostOffset) {
  mFilter = pw_filter_new(mConnection->core(), nodeName, nodeProperties(mSetup));
  if (mFilter == nullptr) {
    mProblem = "the sound server refuses a node";
    return;
  }
  pw_filter_add_listener(mFilter, mListener.get(), &Trampolines::table, this);
  for (const auto& port : mSetup.source ? mSetup.source->ports : std::vector<EndpointPort>()) {
    mInputPorts.push_back(addPort(Side::input, mInputPorts.size(), port.channel));
  }
  for (const auto& port : mSetup.sink ? mSetup.sink->ports : std::vector<EndpointPort>()) {
    mOutputPorts.push_back(addPort(Side::output, mOutputPorts.size(), port.channel));
  }
  mInputs.resize(mInputPorts.size());
  mOutputs.resize(mOutputPorts.size());
  if (pw_filter_connect(mFilter,
                        static_cast<pw_filter_flags>(PW_FILTER_FLAG_RT_PROCESS | PW_FILTER_FLAG_CUSTOM_LATENCY),
                        nullptr, 0) < 0) {
    mProblem = "the sound server refuses the node's connection";
  }
}

Filter::~Filter() {
  mLinks.clear();
  if (mFilter == nullptr) return;
  spa_hook_remove(mListener.get());
  // Returns once the data thread has let go of the node.
  pw_filter_destroy(mFilter);
}

std::unique_ptr<Filter::Port> Filter::addPort(Side side, std::size_t number, const std::string& channel) {
  auto port = std::make_unique<Port>(mFilter, side, portName(side, number), channel);
  if (!port->isMade()) mProblem = "the sound server refuses a port";
  return port;
}

std::uint32_t Filter::latency(Side side) const {
  double max = 0;
  for (const auto& [port, latency] : side == Side::input ? mInputLatencies : mOutputLatencies) {
    max = std::max(max, static_cast<double>(latency.max_quantum) * mQuantum + latency.max_rate +
                            static_cast<double>(latency.max_ns) * 1e-9 * mRate);
  }
  return static_cast<std::uint32_t>(max + 0.5);
}

void Filter::setProblem(const std::string& problem) {
  mProblem = problem;
  mEvents.onProblem();
}

bool Filter::link() {
  if (mFilter == nullptr || mConnection->isLost()) return false;
  std::erase_if(mLinks, [](const auto& link) { return link->isGone(); });
  const std::size_t before = mLinks.size();
  const bool hasSource = !mSetup.source || linkSide(*mSetup.source, Side::input);
  const bool hasSink = !mSetup.sink || linkSide(*mSetup.sink, Side::output);
  mIsLinked = hasSource && hasSink;
  return mLinks.size() > before;
}

/// Makes the missing links of a side; returns whether all of them exist already.
bool Filter::linkSide(const Endpoint& endpoint, Side side) {
  bool isComplete = true;
  for (std::size_t number = 0; number < endpoint.ports.size(); ++number) {
    const std::uint32_t theirs = endpoint.ports[number].identifier;
    const std::optional<std::uint32_t> own = ownPort(side, number);
    if (!own) return false;
    const std::uint32_t from = side == Side::input ? theirs : *own;
    const std::uint32_t to = side == Side::input ? *own : theirs;
    const auto joins = [from, to](const auto& link) { return link.outputPort == from && link.inputPort == to; };
    const Inventory& inventory = mConnection->inventory();
    if (std::ranges::any_of(inventory.links, [&joins](const auto& entry) { return joins(entry.second); })) continue;
    isComplete = false;
    if (std::ranges::any_of(mLinks, [from, to](const auto& link) { return link->joins(from, to); })) continue;
    if (!inventory.ports.contains(theirs)) continue;
    mLinks.push_back(Link::make(*mConnection, from, to, [this](const std::string& reason) {
      setProblem("the sound server refuses a link: " + reason);
    }));
  }
  return isComplete;
}

std::optional<std::uint32_t> Filter::ownPort(Side side, std::size_t number) const {
  const std::uint32_t node = pw_filter_get_node_id(mFilter);
  const std::string name = portName(side, number);
  for (const auto& [identifier, port] : mConnection->inventory().ports) {
    if (port.node == node && port.name == name) return identifier;
  }
  return std::nullopt;
}

// ---- the data thread

void Filter::process(const spa_io_position& position) {
  const spa_io_clock& clock = position.clock;
  const Cycle cycle{
      .nanoseconds = clock.nsec,
      .position = clock.position,
      .frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(clock.duration, DeviceFormat::maxSliceFrames)),
      .rate = clock.rate.denom,
      .driver = clock.id};
  mQuantum.store(cycle.frames, std::memory_order_relaxed);
  mRate.store(cycle.rate, std::memory_order_relaxed);
  const bool hasBuffers = takeBuffers(cycle.frames);
  // The links come up one after the other; the run begins with the first cycle in which all of them carry sound.
  if (!hasBuffers && !mHasBuffers) {
    for (float* output : mOutputs) std::fill_n(output, cycle.frames, 0.0F);
    return;
  }
  mHasBuffers = true;
  const std::uint64_t missing = mClock.advance(cycle);
  mEvents.onSlice({cycle, mClock.captureTime(cycle), missing, !hasBuffers, mWasLate, mInputs, mOutputs});
  // The clock's position does not show it if the graph has gone on without this cycle's output.
  const auto now = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch() / 1ns);
  mWasLate = !mOutputs.empty() && now > clock.next_nsec;
}

bool Filter::takeBuffers(std::uint32_t frames) {
  bool hasBuffers = true;
  for (std::size_t i = 0; i < mInputPorts.size(); ++i) mInputs[i] = mInputPorts[i]->take(frames, hasBuffers);
  for (std::size_t i = 0; i < mOutputPorts.size(); ++i) mOutputs[i] = mOutputPorts[i]->take(frames, hasBuffers);
  return hasBuffers;
}

}  // namespace orvane::pipewire
