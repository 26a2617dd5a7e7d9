#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/Log.h"
#include "platform/Platform.h"

namespace orvane::test {

/// Has services replaced for the length of a test, the log by one whose lines are kept.
class UsedPlatform : public platform::Log {
 public:
  explicit UsedPlatform(platform::Platform services = platform::current()) {
    services.log = std::shared_ptr<platform::Log>(std::shared_ptr<void>(), this);
    platform::use(std::move(services));
  }
  UsedPlatform(const UsedPlatform&) = delete;
  UsedPlatform& operator=(const UsedPlatform&) = delete;
  ~UsedPlatform() override { platform::use(mBefore); }

  void write(platform::LogLevel, std::string_view line) override { logged.emplace_back(line); }
  void setSink(Sink) override {}

  std::vector<std::string> logged;

 private:
  const platform::Platform mBefore = platform::current();
};

}  // namespace orvane::test
