// SPDX-License-Identifier: MIT
#include "platform/host/CallGate.h"

#include <algorithm>

namespace orvane::host {

namespace {

/// Returns the list of registered calls, which is filled during static initialisation, in any order, and never
/// destroyed.
std::vector<const GatedCall*>& listedCalls() {
  static std::vector<const GatedCall*>& calls = *new std::vector<const GatedCall*>();
  return calls;
}

}  // namespace

GatedCall::GatedCall(const char* name, Answer answer) : mName(name), mAnswer(answer) {
  if (answer == Answer::hidden) return;
  auto& calls = listedCalls();
  calls.insert(std::ranges::lower_bound(calls, mName, {}, &GatedCall::name), this);
}

const std::vector<const GatedCall*>& GatedCall::all() {
  return listedCalls();
}

}  // namespace orvane::host
