// SPDX-License-Identifier: MIT
#include "platform/host/midi/ExclusiveJoiner.h"

#include <cstddef>

namespace orvane::host {

namespace {

constexpr std::uint8_t exclusiveStart = 0xF0;
constexpr std::uint8_t exclusiveEnd = 0xF7;
constexpr std::uint8_t firstRealTime = 0xF8;
constexpr std::size_t maxBytes = 65535;  ///< Of a packet.

}  // namespace

void ExclusiveJoiner::take(std::uint32_t source, std::span<const std::uint8_t> bytes, const Pass& pass) {
  const std::uint8_t first = bytes.front();
  if (first >= firstRealTime) return pass(bytes);
  const auto found = mPending.find(source);
  const bool isPending = found != mPending.end();
  const bool continues = isPending && (first < 0x80 || first == exclusiveEnd);
  if (isPending && (!continues || found->second.size() + bytes.size() > maxBytes)) {
    pass(found->second);
    found->second.clear();
  }
  const bool isComplete = bytes.back() == exclusiveEnd || (first != exclusiveStart && !continues);
  if (isComplete && !continues) {
    if (isPending) mPending.erase(found);
    return pass(bytes);
  }
  std::vector<std::uint8_t>& pending = isPending ? found->second : mPending[source];
  pending.insert(pending.end(), bytes.begin(), bytes.end());
  if (!isComplete) return;
  pass(pending);
  mPending.erase(source);
}

}  // namespace orvane::host
