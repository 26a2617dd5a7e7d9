// SPDX-License-Identifier: MIT
#pragma once

#include <utility>
#include <variant>

#include "platform/Failure.h"

namespace orvane::host {

/// A value, or the failure that stands in its place. Operations without a value return `std::optional<Failure>`.
template <typename Value>
class [[nodiscard]] Result {
 public:
  Result(Value value) : mContent(std::in_place_index<0>, std::move(value)) {}
  Result(platform::Failure failure) : mContent(std::in_place_index<1>, std::move(failure)) {}

  explicit operator bool() const { return mContent.index() == 0; }

  /// The value; there is one where this is true.
  Value& operator*() { return *std::get_if<0>(&mContent); }
  Value* operator->() { return std::get_if<0>(&mContent); }
  /// The failure; there is one where this is false.
  platform::Failure& failure() { return *std::get_if<1>(&mContent); }

 private:
  std::variant<Value, platform::Failure> mContent;
};

}  // namespace orvane::host
