// SPDX-License-Identifier: MIT
#pragma once

#include <utility>
#include <variant>

#include "platform/Failure.h"

namespace orvane::host {

/// A value or a failure. Operations without a value return `std::optional<Failure>` instead.
template <typename Value>
class [[nodiscard]] Result {
 public:
  Result(Value value) : mContent(std::in_place_index<0>, std::move(value)) {}
  Result(platform::Failure failure) : mContent(std::in_place_index<1>, std::move(failure)) {}

  /// Whether there is a value.
  explicit operator bool() const { return mContent.index() == 0; }

  /// Returns the value. Undefined if there is none.
  Value& operator*() { return *std::get_if<0>(&mContent); }
  Value* operator->() { return std::get_if<0>(&mContent); }
  /// Returns the failure. Undefined if there is a value.
  platform::Failure& failure() { return *std::get_if<1>(&mContent); }

 private:
  std::variant<Value, platform::Failure> mContent;
};

}  // namespace orvane::host
