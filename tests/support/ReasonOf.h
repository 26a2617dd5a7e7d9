#pragma once

#include <functional>
#include <string>

#include "session/OVTException.h"

namespace orvane::test {

/// The reason that `action` raises; empty where it raises nothing.
inline std::string reasonOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const OVTException& failure) {
    return failure.reason();
  }
  return {};
}

}  // namespace orvane::test
