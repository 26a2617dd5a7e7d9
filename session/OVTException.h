// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "platform/Export.h"
#include "platform/PlatformException.h"

/// The exception that the exported classes and functions raise. `name()` is "OVTException"; `reason()` is the message,
/// which names the failed step and the reason.
///
/// Derives from the exception of host calls, so one catch of `platform::PlatformException` covers both.
class ORVANE_EXPORT OVTException : public orvane::platform::PlatformException {
 public:
  /// `reason` is any text; it is stored as given.
  explicit OVTException(std::string reason) : PlatformException("OVTException", std::move(reason)) {}
};
