// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <string>
#include <utility>

#include "platform/Export.h"

namespace orvane::platform {

/// The exception of host calls, and the base of `OVTException`: catching it by reference covers both.
class ORVANE_EXPORT PlatformException : public std::exception {
 public:
  /// `name` tells the kind of failure; `reason` is a sentence.
  PlatformException(std::string name, std::string reason) : mName(std::move(name)), mReason(std::move(reason)) {}

  const std::string& name() const noexcept { return mName; }
  const std::string& reason() const noexcept { return mReason; }
  /// Returns the text for use in a longer message; the same as `reason()`.
  const std::string& description() const noexcept { return mReason; }
  const char* what() const noexcept override { return mReason.c_str(); }

 private:
  std::string mName;
  std::string mReason;
};

}  // namespace orvane::platform
