// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace orvane::pipewire {

/// A side of the audio hardware, as the client sees it.
enum class Side { input, output };

/// The server's objects by their identifiers, as its registry announces them. Not thread-safe: used with the lock of
/// the server's loop.
struct Inventory {
  using Properties = std::map<std::string, std::string>;

  struct Node {
    std::string name = {};
    std::string description = {};
    std::string mediaClass = {};
    std::int32_t priority = 0;  ///< `priority.session`.
    std::uint64_t serial = 0;
    std::uint32_t client = 0;    ///< `client.id`.
    Properties properties = {};  ///< All of them, for nodes with MIDI ports; empty until they are known.
  };
  struct Port {
    std::uint32_t node = 0;
    std::uint32_t index = 0;  ///< `port.id`: the order of a node's ports.
    bool isOutput = false;
    bool isMonitor = false;
    std::string name = {};
    std::string channel = {};  ///< `audio.channel`, such as "FL"; may be empty.
    bool isMidi = false;
    Properties properties = {};  ///< All of them, for MIDI ports; empty until they are known.
  };
  struct Link {
    std::uint32_t outputPort = 0;
    std::uint32_t inputPort = 0;
  };

  std::optional<std::uint32_t> ownClient;  ///< The identifier of this process's client, once it is known.
  std::map<std::uint32_t, Node> nodes;
  std::map<std::uint32_t, Port> ports;
  std::map<std::uint32_t, Link> links;
  std::map<std::string, std::string> defaults;  ///< Of the metadata "default", such as "default.audio.sink".
  std::map<std::string, std::string> settings;  ///< Of the metadata "settings", such as "clock.rate".
};

/// A port of an endpoint.
struct EndpointPort {
  std::uint32_t identifier = 0;
  std::string channel;

  bool operator==(const EndpointPort&) const = default;
};

/// Something that the device can be linked to: a source, a sink, or the monitor of a sink.
struct Endpoint {
  std::uint32_t node = 0;
  std::string name;  ///< `node.name`, with ".monitor" behind it for the monitor of a sink.
  std::string description;
  std::int32_t priority = 0;
  std::uint64_t serial = 0;
  bool isMonitor = false;  ///< The monitor of a sink.
  bool isDefault = false;
  std::vector<EndpointPort> ports;  ///< In order of `port.id`, 64 at most.

  bool operator==(const Endpoint&) const = default;
};

/// Returns the endpoints of `side` that have at least one port, in order of their serial numbers. Among the inputs, the
/// monitors of sinks come after all sources.
std::vector<Endpoint> endpoints(const Inventory& inventory, Side side);

/// Outcome of a search for an endpoint.
struct Choice {
  std::optional<Endpoint> endpoint = {};  ///< Nothing if the side is not to be used, or if there is no endpoint.
  std::string problem = {};               ///< Why a name that was asked for cannot be used; empty otherwise.
};

/// Chooses the endpoint of a side: by `wanted` (a name, a description that only one endpoint has, or "none"), else the
/// server's default, else the one with the highest priority, then the lowest serial number. A monitor is used only if
/// it is asked for, or if it is the default.
Choice choose(const Inventory& inventory, Side side, const std::optional<std::string>& wanted);

/// The sample rate in hertz in which the server runs its graph unless clients ask for another; 0 if unknown.
std::uint32_t graphRate(const Inventory& inventory);
/// The length in frames of the graph's cycles unless clients ask for another; 0 if unknown.
std::uint32_t graphQuantum(const Inventory& inventory);

}  // namespace orvane::pipewire
