// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>

#include "platform/Log.h"

namespace orvane::host {

/// Writes to the sink; without one, or if it throws, to the system's log as "orvane", facility `LOG_USER`. Lines of
/// more than 1 MiB are cut in the system's log.
class HostLog final : public platform::Log {
 public:
  void write(platform::LogLevel level, std::string_view line) override;
  void setSink(Sink sink) override;

 private:
  bool writeToSink(platform::LogLevel level, std::string_view line);

  // Recursive, so that a sink may write a line of its own, or replace itself.
  std::recursive_mutex mMutex;
  Sink mSink;
};

}  // namespace orvane::host
