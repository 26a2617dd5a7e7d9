// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "platform/Export.h"
#include "platform/PlatformException.h"

/// The exception that the exported classes and functions raise. `name()` returns "OVTException"; `reason()` returns the
/// message, which states the failed step and the reason.
///
/// It derives from `platform::PlatformException`, the exception of host calls, so that one catch clause handles both.
class ORVANE_EXPORT OVTException : public orvane::platform::PlatformException {
 public:
  /// Creates an exception. `reason` may be any text and is stored unchanged.
  explicit OVTException(std::string reason) : PlatformException("OVTException", std::move(reason)) {}
};
