// SPDX-License-Identifier: MIT
#pragma once

#include <utility>
#include <variant>

#include "platform/PlatformError.h"

namespace orvane::host {

/// The result of an operation: a value or a failure. Operations without a value return `std::optional<Failure>`
/// instead.
template <typename Value>
class [[nodiscard]] Result {
 public:
  Result(Value value) : mContent(std::in_place_index<0>, std::move(value)) {}
  Result(platform::Failure failure) : mContent(std::in_place_index<1>, std::move(failure)) {}

  /// Returns true if the result is a value, false if it is a failure.
  explicit operator bool() const { return mContent.index() == 0; }

  /// Returns the value. The result must not be a failure.
  Value& operator*() { return *std::get_if<0>(&mContent); }
  /// Returns a pointer to the value. The result must not be a failure.
  Value* operator->() { return std::get_if<0>(&mContent); }
  /// Returns the failure. The result must not be a value.
  platform::Failure& failure() { return *std::get_if<1>(&mContent); }

 private:
  std::variant<Value, platform::Failure> mContent;
};

}  // namespace orvane::host
