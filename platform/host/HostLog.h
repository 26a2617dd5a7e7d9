// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>
#include <string_view>

#include "platform/Log.h"

namespace orvane::host {

/// The host's implementation of `platform::Log`. Writes each line to the sink. Without a sink, or if the sink throws,
/// writes to syslog as "orvane" with facility `LOG_USER`, truncating lines of more than 1 MiB.
class HostLog final : public platform::Log {
 public:
  void write(platform::LogLevel level, std::string_view line) override;
  void setSink(Sink sink) override;

 private:
  bool writeToSink(platform::LogLevel level, std::string_view line);

  // Recursive, so that the sink may write lines to this log and replace itself.
  std::recursive_mutex mMutex;
  Sink mSink;
};

}  // namespace orvane::host
