// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>

#include "platform/Log.h"

namespace orvane::host {

/// Writes to the system's log as "orvane", facility `LOG_USER`, until it is given a sink, and where the sink throws.
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
