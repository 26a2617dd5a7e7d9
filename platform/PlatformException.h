// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <string>
#include <utility>

#include "platform/Export.h"

namespace orvane::platform {

/// The exception thrown by host calls, and the base class of `OVTException`, so that one catch clause handles both.
class ORVANE_EXPORT PlatformException : public std::exception {
 public:
  /// Creates an exception. `name` identifies the kind of failure; `reason` is a sentence.
  PlatformException(std::string name, std::string reason) : mName(std::move(name)), mReason(std::move(reason)) {}

  const std::string& name() const noexcept { return mName; }
  const std::string& reason() const noexcept { return mReason; }
  /// Returns the text to quote in a longer message. This is the same text as `reason()`.
  const std::string& description() const noexcept { return mReason; }
  const char* what() const noexcept override { return mReason.c_str(); }

 private:
  std::string mName;
  std::string mReason;
};

}  // namespace orvane::platform
