// SPDX-License-Identifier: MIT
#include "platform/host/HostLog.h"

#include <syslog.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace orvane::host {

namespace {

int priority(platform::LogLevel level) {
  switch (level) {
    case platform::LogLevel::error:
      return LOG_ERR;
    case platform::LogLevel::warning:
      return LOG_WARNING;
    case platform::LogLevel::notice:
      break;
  }
  return LOG_NOTICE;
}

void writeToSystem(platform::LogLevel level, std::string_view line) {
  // `openlog` affects the whole process, so it is called for the first line only.
  [[maybe_unused]] static const bool opened = (openlog("orvane", 0, LOG_USER), true);
  constexpr std::size_t maxBytes = 1 << 20;
  syslog(priority(level), "%.*s", static_cast<int>(std::min(line.size(), maxBytes)), line.data());
}

}  // namespace

void HostLog::write(platform::LogLevel level, std::string_view line) {
  const std::lock_guard lock(mMutex);
  if (!mSink || !writeToSink(level, line)) writeToSystem(level, line);
}

/// Passes the line to the sink. Returns false if the sink throws. The exception is dropped, because a failure to log
/// must not replace the failure that is logged.
bool HostLog::writeToSink(platform::LogLevel level, std::string_view line) try {
  const Sink sink = mSink;  // The sink may replace itself while it runs.
  sink(level, line);
  return true;
} catch (...) {
  return false;
}

void HostLog::setSink(Sink sink) {
  const std::lock_guard lock(mMutex);
  mSink = std::move(sink);
}

}  // namespace orvane::host
