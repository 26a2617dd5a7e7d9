// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string_view>

#include "platform/Export.h"

namespace orvane::platform {

/// Severity of a log line, from most to least severe.
enum class LogLevel { error, warning, notice };

/// The log to which the library and the host write errors, warnings and notices. Thread-safe; not real-time safe.
/// Operations never fail.
class ORVANE_EXPORT Log {
 public:
  /// Receives log lines; `line` is valid during the call.
  using Sink = std::function<void(LogLevel, std::string_view line)>;

  virtual ~Log() = default;

  /// Writes one line, given without a final newline. It is never interpreted as a format string.
  virtual void write(LogLevel level, std::string_view line) = 0;

  /// Sends all lines to `sink` instead of the system's log (syslog, as "orvane"); an empty sink, the default, restores
  /// the system's log. The sink is called with one line at a time, on the thread that writes it. It may write lines and
  /// replace itself. If it throws, the exception is dropped and the line goes to the system's log.
  virtual void setSink(Sink sink) = 0;
};

}  // namespace orvane::platform
