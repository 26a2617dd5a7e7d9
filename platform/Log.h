// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string_view>

#include "platform/Export.h"

namespace orvane::platform {

enum class LogLevel { error, warning, notice };

/// The platform log. Any thread; not real-time safe.
class ORVANE_EXPORT Log {
 public:
  using Sink = std::function<void(LogLevel, std::string_view line)>;

  virtual ~Log() = default;

  /// Writes one line; `line` has no newline at its end and is never taken as a format.
  virtual void write(LogLevel level, std::string_view line) = 0;

  /// Sends all lines to `sink` instead of the system's log; an empty sink restores the system's log. Lines reach the
  /// sink one at a time, on the thread that writes them. What a sink throws is dropped, and the line goes to the
  /// system's log instead.
  virtual void setSink(Sink sink) = 0;
};

}  // namespace orvane::platform
