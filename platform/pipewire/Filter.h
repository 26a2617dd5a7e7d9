// SPDX-License-Identifier: MIT
#pragma once

#include <spa/param/latency-utils.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/backend/AudioDevice.h"
#include "platform/backend/BackendModule.h"
#include "platform/pipewire/CycleClock.h"
#include "platform/pipewire/Link.h"
#include "platform/pipewire/Server.h"

struct pw_filter;
struct spa_hook;
struct spa_io_position;

namespace orvane::pipewire {

/// The settings of a filter: the endpoints that it is linked to, and its requests to the graph.
struct FilterSetup {
  std::optional<Endpoint> source = {};
  std::optional<Endpoint> sink = {};
  std::optional<std::uint32_t> rate = {};              ///< Hertz to ask for.
  std::optional<std::uint32_t> sliceFrames = {};       ///< Frames per cycle to ask for.
  std::optional<backend::SessionLabels> session = {};  ///< Becomes properties of the node.
};

/// The client's node in the server's graph: ports for each channel of a source and a sink, linked to them, and one
/// real-time callback per cycle.
///
/// Made and destroyed with the lock of the loop. Once the destructor has returned no callback runs.
class Filter {
 public:
  /// A cycle that the graph runs.
  struct Slice {
    Cycle cycle;
    platform::HostTime captureTime{};  ///< Of the first input frame, on the host clock.
    std::uint64_t missingFrames = 0;   ///< Between the cycle before and this one.
    bool isBroken = false;             ///< A port had no buffer, or one that was too short; silence takes its place.
    bool wasLate = false;              ///< The output of the cycle before came after the graph had gone on without it.
    std::vector<const float*>& inputs;
    std::vector<float*>& outputs;
  };
  struct Events {
    /// Runs on the server's data thread; real-time safe. Called from the first cycle on in which every port has a
    /// buffer.
    std::function<void(const Slice&)> onSlice;
    /// Called when `problem` has become known, on the loop's thread, with the lock.
    std::function<void()> onProblem;
  };

  /// Makes the node and starts to link it. `hostOffset` is the host clock's time minus CLOCK_MONOTONIC.
  Filter(std::shared_ptr<Connection> connection, FilterSetup setup, const backend::ModuleServices& services,
         platform::HostTime hostOffset, Events events);
  ~Filter();
  Filter(const Filter&) = delete;
  Filter& operator=(const Filter&) = delete;

  /// Returns the reason why the node cannot run, or `std::nullopt`.
  const std::optional<std::string>& problem() const { return mProblem; }
  /// Makes missing links once the ports of the node are known. Returns whether one was made. Called after each change
  /// of the inventory.
  bool link();
  /// Returns the largest latency that the linked ports of a side report, in frames.
  std::uint32_t latency(Side side) const;
  /// Returns whether every link exists.
  bool isLinked() const { return mIsLinked; }

 private:
  class Port;
  struct Trampolines;

  std::unique_ptr<Port> addPort(Side side, std::size_t number, const std::string& channel);
  bool linkSide(const Endpoint& endpoint, Side side);
  std::optional<std::uint32_t> ownPort(Side side, std::size_t number) const;
  void setProblem(const std::string& problem);
  void process(const spa_io_position& position);
  bool takeBuffers(std::uint32_t frames);

  const std::shared_ptr<Connection> mConnection;
  const FilterSetup mSetup;
  const backend::ModuleServices mServices;
  const Events mEvents;
  std::optional<std::string> mProblem;
  pw_filter* mFilter = nullptr;
  std::unique_ptr<spa_hook> mListener;
  std::vector<std::unique_ptr<Port>> mInputPorts;
  std::vector<std::unique_ptr<Port>> mOutputPorts;
  std::vector<std::unique_ptr<Link>> mLinks;
  bool mIsLinked = false;
  std::map<const void*, spa_latency_info> mInputLatencies;   ///< By port.
  std::map<const void*, spa_latency_info> mOutputLatencies;  ///< By port.
  std::atomic<std::uint32_t> mQuantum = 0;
  std::atomic<std::uint32_t> mRate = 0;

  // The data thread's.
  CycleClock mClock;
  bool mHasBuffers = false;
  bool mWasLate = false;
  std::vector<const float*> mInputs;
  std::vector<float*> mOutputs;
};

}  // namespace orvane::pipewire
