// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/MidiReport.h"

namespace orvane::host {

/// Counts packets. One thread at a time adds, any thread may read; the numbers read may belong to different moments.
class MidiCounter {
 public:
  void add(std::uint64_t packets, std::uint64_t bytes) {
    // Without a read-modify-write operation, which would cost more than all the rest of a delivery's bookkeeping.
    mPackets.store(mPackets.load(std::memory_order_relaxed) + packets, std::memory_order_relaxed);
    mBytes.store(mBytes.load(std::memory_order_relaxed) + bytes, std::memory_order_relaxed);
  }
  platform::MidiCount count() const {
    return {mPackets.load(std::memory_order_relaxed), mBytes.load(std::memory_order_relaxed)};
  }

 private:
  std::atomic<std::uint64_t> mPackets = 0;
  std::atomic<std::uint64_t> mBytes = 0;
};

}  // namespace orvane::host
