// SPDX-License-Identifier: MIT
#include "platform/host/midi/ExclusiveJoiner.h"

#include <algorithm>

#include <cstddef>

namespace orvane::host {

namespace {

constexpr std::uint8_t exclusiveStart = 0xF0;
constexpr std::uint8_t exclusiveEnd = 0xF7;
constexpr std::uint8_t firstRealTime = 0xF8;
constexpr std::size_t maxBytes = 65535;  ///< Of a packet.

}  // namespace

void ExclusiveJoiner::take(std::uint32_t source, std::span<const std::uint8_t> bytes, const Pass& pass) {
  while (!bytes.empty()) {
    const std::uint8_t first = bytes.front();
    if (first >= firstRealTime) return pass(bytes);
    const auto found = mPending.find(source);
    const bool continues = found != mPending.end() && (first < 0x80 || first == exclusiveEnd);
    if (found != mPending.end() && !continues) {
      pass(found->second);
      mPending.erase(found);
    }
    if (!continues && first != exclusiveStart) return pass(bytes);
    const auto size = static_cast<std::size_t>(std::ranges::find(bytes, exclusiveEnd) - bytes.begin());
    const bool isComplete = size < bytes.size();
    const auto piece = bytes.first(isComplete ? size + 1 : size);
    takePiece(source, piece, isComplete, pass);
    // Other messages may follow in the same event.
    bytes = bytes.subspan(piece.size());
  }
}

void ExclusiveJoiner::takePiece(std::uint32_t source, std::span<const std::uint8_t> piece, bool isLast,
                                const Pass& pass) {
  std::vector<std::uint8_t>& pending = mPending[source];
  if (pending.size() + piece.size() > maxBytes) {
    pass(pending);
    pending.clear();
  }
  pending.insert(pending.end(), piece.begin(), piece.end());
  if (!isLast) return;
  pass(pending);
  mPending.erase(source);
}

}  // namespace orvane::host
