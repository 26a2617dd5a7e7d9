// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/PlatformException.h"

namespace orvane::test {

/// The reason that `action` raises; empty where it raises nothing.
template <typename Action>
std::string reasonOf(const Action& action) try {
  action();
  return {};
} catch (const platform::PlatformException& failure) {
  return failure.reason();
}

}  // namespace orvane::test
