// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <deque>
#include <memory>
#include <utility>

#include "platform/host/graph/HostPlayerNode.h"

namespace orvane::host {

/// The players that are connected to an engine's main mixer, in order of connection. Players can be added while the
/// device callback walks through the list; none is ever removed.
class PlayerList {
 public:
  /// Adds a player. Must be called by one thread at a time; not real-time safe.
  void add(std::shared_ptr<HostPlayerNode> player) {
    std::atomic<Entry*>& end = mEntries.empty() ? mFirst : mEntries.back().next;
    mEntries.emplace_back(std::move(player));
    end.store(&mEntries.back(), std::memory_order_release);
  }
  bool empty() const { return mFirst.load(std::memory_order_acquire) == nullptr; }
  /// Calls `call` with each player. Thread-safe; real-time safe if `call` is.
  template <typename Call>
  void forEach(Call call) const {
    for (Entry* entry = mFirst.load(std::memory_order_acquire); entry != nullptr;
         entry = entry->next.load(std::memory_order_acquire)) {
      call(*entry->player);
    }
  }

 private:
  struct Entry {
    explicit Entry(std::shared_ptr<HostPlayerNode> node) : player(std::move(node)) {}
    const std::shared_ptr<HostPlayerNode> player;
    std::atomic<Entry*> next = nullptr;
  };

  std::deque<Entry> mEntries;  ///< Entries keep their addresses.
  std::atomic<Entry*> mFirst = nullptr;
};

}  // namespace orvane::host
