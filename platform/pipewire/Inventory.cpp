// SPDX-License-Identifier: MIT
#include "platform/pipewire/Inventory.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "platform/backend/AudioDevice.h"
#include "platform/backend/BackendModule.h"

namespace orvane::pipewire {

namespace {

using backend::DeviceChoice;
using backend::DeviceFormat;

constexpr char monitorSuffix[] = ".monitor";

bool isSource(const Inventory::Node& node) {
  return node.mediaClass == "Audio/Source" || node.mediaClass == "Audio/Source/Virtual" ||
         node.mediaClass == "Audio/Duplex";
}

bool isSink(const Inventory::Node& node) {
  return node.mediaClass == "Audio/Sink" || node.mediaClass == "Audio/Duplex";
}

/// The ports of a node for which `fits` holds, in order of their numbers.
template <typename Predicate>
std::vector<EndpointPort> portsOf(const Inventory& inventory, std::uint32_t node, Predicate fits) {
  std::vector<const std::pair<const std::uint32_t, Inventory::Port>*> found;
  for (const auto& entry : inventory.ports) {
    if (entry.second.node == node && fits(entry.second)) found.push_back(&entry);
  }
  std::ranges::sort(found, {}, [](const auto* entry) { return entry->second.index; });
  if (found.size() > DeviceFormat::maxChannels) found.resize(DeviceFormat::maxChannels);
  std::vector<EndpointPort> ports;
  for (const auto* entry : found) ports.push_back({entry->first, entry->second.channel});
  return ports;
}

std::vector<EndpointPort> capturePorts(const Inventory& inventory, std::uint32_t node, bool monitors) {
  return portsOf(inventory, node, [monitors](const auto& port) { return port.isOutput && port.isMonitor == monitors; });
}

/// The ports that a source delivers on. Those of a virtual source may be marked as monitors, all of them.
std::vector<EndpointPort> sourcePorts(const Inventory& inventory, std::uint32_t node) {
  auto ports = capturePorts(inventory, node, false);
  return ports.empty() ? capturePorts(inventory, node, true) : ports;
}

/// The value of "name" in the JSON object of a default: {"name":"alsa_output.pci"}. Names have no escapes in practice;
/// one that had would match no node.
std::string defaultName(const Inventory& inventory, const char* key) {
  const auto found = inventory.defaults.find(key);
  if (found == inventory.defaults.end()) return {};
  const std::string& text = found->second;
  std::size_t at = text.find("\"name\"");
  if (at != std::string::npos) at = text.find('"', text.find(':', at));
  if (at == std::string::npos) return {};
  return text.substr(at + 1, text.find('"', at + 1) - at - 1);
}

std::string listOf(const std::vector<Endpoint>& all) {
  std::string list;
  for (const Endpoint& endpoint : all) list += (list.empty() ? "" : ", ") + endpoint.name;
  return list.empty() ? "there is none" : "there is " + list;
}

Choice chooseNamed(const std::vector<Endpoint>& all, Side side, const std::string& wanted) {
  const auto named = std::ranges::find(all, wanted, &Endpoint::name);
  if (named != all.end()) return {.endpoint = *named};
  const auto hasDescription = [&wanted](const Endpoint& endpoint) { return endpoint.description == wanted; };
  const char* const kind = side == Side::input ? "input" : "output";
  switch (std::ranges::count_if(all, hasDescription)) {
    case 1:
      return {.endpoint = *std::ranges::find_if(all, hasDescription)};
    case 0:
      return {.problem = std::string("no audio ") + kind + " is named \"" + wanted + "\"; " + listOf(all)};
    default:
      return {.problem = std::string("several audio ") + kind + "s have the description \"" + wanted +
                         "\"; give a name: " + listOf(all)};
  }
}

std::uint32_t setting(const Inventory& inventory, const char* key) {
  const auto found = inventory.settings.find(key);
  if (found == inventory.settings.end()) return 0;
  std::uint32_t value = 0;
  std::from_chars(found->second.data(), found->second.data() + found->second.size(), value);
  return value;
}

}  // namespace

std::vector<Endpoint> endpoints(const Inventory& inventory, Side side) {
  std::vector<Endpoint> sources;
  std::vector<Endpoint> monitors;
  const auto add = [](std::vector<Endpoint>& list, std::uint32_t identifier, const Inventory::Node& node,
                      bool isMonitor, std::vector<EndpointPort> ports) {
    if (ports.empty()) return;
    list.push_back({identifier, node.name + (isMonitor ? monitorSuffix : ""),
                    (isMonitor ? "Monitor of " : "") + node.description, node.priority, node.serial, isMonitor, false,
                    std::move(ports)});
  };
  for (const auto& [identifier, node] : inventory.nodes) {
    if (side == Side::output) {
      const auto isInput = [](const auto& port) { return !port.isOutput; };
      if (isSink(node)) add(sources, identifier, node, false, portsOf(inventory, identifier, isInput));
      continue;
    }
    if (isSource(node)) add(sources, identifier, node, false, sourcePorts(inventory, identifier));
    if (isSink(node)) add(monitors, identifier, node, true, capturePorts(inventory, identifier, true));
  }
  std::ranges::sort(sources, {}, &Endpoint::serial);
  std::ranges::sort(monitors, {}, &Endpoint::serial);
  sources.insert(sources.end(), monitors.begin(), monitors.end());
  const std::string chosen =
      defaultName(inventory, side == Side::input ? "default.audio.source" : "default.audio.sink");
  const auto found = std::ranges::find(sources, chosen, &Endpoint::name);
  if (found != sources.end()) {
    found->isDefault = true;
    return sources;
  }
  // The server has no policy, or its choice is gone: the most important one.
  const auto best = std::ranges::max_element(sources, [](const Endpoint& left, const Endpoint& right) {
    if (left.isMonitor != right.isMonitor) return left.isMonitor;
    return left.priority < right.priority;  // Of equal ones the first stays, which has the lowest serial number.
  });
  if (best != sources.end() && !best->isMonitor) best->isDefault = true;
  return sources;
}

Choice choose(const Inventory& inventory, Side side, const std::optional<std::string>& wanted) {
  if (wanted == DeviceChoice::none) return {};
  const std::vector<Endpoint> all = endpoints(inventory, side);
  if (wanted) return chooseNamed(all, side, *wanted);
  const auto standard = std::ranges::find(all, true, &Endpoint::isDefault);
  return standard == all.end() ? Choice{} : Choice{.endpoint = *standard};
}

std::uint32_t graphRate(const Inventory& inventory) {
  const std::uint32_t forced = setting(inventory, "clock.force-rate");
  return forced != 0 ? forced : setting(inventory, "clock.rate");
}

std::uint32_t graphQuantum(const Inventory& inventory) {
  const std::uint32_t forced = setting(inventory, "clock.force-quantum");
  return forced != 0 ? forced : setting(inventory, "clock.quantum");
}

}  // namespace orvane::pipewire
