// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <unordered_map>
#include <vector>

namespace orvane::host {

/// Joins the pieces of system-exclusive messages, which arrive one after the other, for each of several sources. Other
/// messages pass at once, real-time messages also between the pieces. A message that another one interrupts passes
/// incomplete, and one of more than 65535 bytes in several parts. Not thread-safe; not real-time safe.
class ExclusiveJoiner {
 public:
  using Pass = std::function<void(std::span<const std::uint8_t> message)>;

  /// Takes a message or a piece of one, which others may follow; calls `pass` with everything that is complete.
  void take(std::uint32_t source, std::span<const std::uint8_t> bytes, const Pass& pass);

 private:
  void takePiece(std::uint32_t source, std::span<const std::uint8_t> piece, bool isLast, const Pass& pass);

  std::unordered_map<std::uint32_t, std::vector<std::uint8_t>> mPending;  ///< Incomplete messages by source.
};

}  // namespace orvane::host
