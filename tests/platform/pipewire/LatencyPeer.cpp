// SPDX-License-Identifier: MIT

// A client of the sound server that is an output device with a given latency: LatencyPeer NAME FRAMES

#include <pipewire/filter.h>
#include <pipewire/pipewire.h>
#include <spa/param/latency-utils.h>
#include <spa/pod/builder.h>

#include <array>
#include <cstdint>
#include <cstdlib>

int main(int count, char** arguments) {
  if (count != 3) return 2;
  pw_init(nullptr, nullptr);
  pw_main_loop* const loop = pw_main_loop_new(nullptr);
  static constexpr pw_filter_events events{.version = PW_VERSION_FILTER_EVENTS};
  pw_filter* const filter = pw_filter_new_simple(
      pw_main_loop_get_loop(loop), arguments[1],
      pw_properties_new(PW_KEY_NODE_NAME, arguments[1], PW_KEY_MEDIA_CLASS, "Audio/Sink", nullptr), &events, nullptr);

  const auto frames = static_cast<std::uint32_t>(std::atoi(arguments[2]));
  spa_latency_info info{};
  info.direction = SPA_DIRECTION_INPUT;
  info.min_rate = info.max_rate = frames;
  std::array<std::uint8_t, 1024> memory{};
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, memory.data(), memory.size());
  const spa_pod* latency = spa_latency_build(&builder, SPA_PARAM_Latency, &info);
  pw_filter_add_port(
      filter, PW_DIRECTION_INPUT, PW_FILTER_PORT_FLAG_MAP_BUFFERS, sizeof(int),
      pw_properties_new(PW_KEY_FORMAT_DSP, "32 bit float mono audio", PW_KEY_PORT_NAME, "playback_1", nullptr),
      &latency, 1);
  const auto flags = static_cast<pw_filter_flags>(PW_FILTER_FLAG_RT_PROCESS | PW_FILTER_FLAG_CUSTOM_LATENCY);
  if (pw_filter_connect(filter, flags, nullptr, 0) < 0) return 1;
  return pw_main_loop_run(loop);
}
