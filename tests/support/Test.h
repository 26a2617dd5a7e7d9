// SPDX-License-Identifier: MIT
#pragma once

// The test framework and the parts of the standard library that most tests use; tests take them from here.

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/PlatformException.h"

namespace orvane::test {

using namespace std::chrono_literals;
using testing::AllOf, testing::ContainsRegex, testing::Each, testing::ElementsAre, testing::EndsWith,
    testing::HasSubstr, testing::IsEmpty, testing::MatchesRegex, testing::Not, testing::StartsWith;

/// Runs `action` and returns the reason of the `PlatformException` that it raises; empty if it raises none.
template <typename Action>
std::string reasonOf(const Action& action) try {
  action();
  return {};
} catch (const platform::PlatformException& failure) {
  return failure.reason();
}

/// Names the cases of a parameterised test by the member `name` of their parameters.
inline constexpr auto byName = [](const auto& each) { return each.param.name; };

}  // namespace orvane::test
