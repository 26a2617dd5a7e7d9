// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "platform/Export.h"
#include "platform/PlatformException.h"

/// The exception of every failure of the library's classes. `name()` is always "OVTException"; `reason()` is the
/// message, which says which step failed and why. Nothing else is attached.
///
/// It derives from what the host throws: catching `platform::PlatformException` by reference catches both.
class ORVANE_EXPORT OVTException : public orvane::platform::PlatformException {
 public:
  explicit OVTException(std::string reason) : PlatformException("OVTException", std::move(reason)) {}
};
