#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/Json.h"
#include "platform/Log.h"
#include "platform/Platform.h"
#include "platform/PlatformSession.h"

namespace orvane::test {

/// A platform session whose every answer a test writes.
class ScriptedSession : public platform::PlatformSession {
 public:
  using Outcome = std::optional<platform::PlatformError>;
  MOCK_METHOD(std::string, category, (), (const, override));
  MOCK_METHOD(Outcome, setCategory, (const std::string& category), (override));
  MOCK_METHOD(Outcome, setCategory, (const std::string& category, std::uint64_t options), (override));
  MOCK_METHOD(std::string, mode, (), (const, override));
  MOCK_METHOD(Outcome, setMode, (const std::string& mode), (override));
  MOCK_METHOD(std::uint64_t, categoryOptions, (), (const, override));
  MOCK_METHOD(bool, isActive, (), (const, override));
  MOCK_METHOD(Outcome, setActive, (bool active), (override));
  MOCK_METHOD(std::uint32_t, identifier, (), (const, override));
};

class ScriptedSessionService : public platform::SessionService {
 public:
  MOCK_METHOD(std::shared_ptr<platform::PlatformSession>, primary, (), (override));
  MOCK_METHOD(std::shared_ptr<platform::PlatformSession>, makeAuxiliary, (), (override));
};

class ScriptedLog : public platform::Log {
 public:
  MOCK_METHOD(void, write, (platform::LogLevel level, std::string_view line), (override));
  MOCK_METHOD(void, setSink, (Sink sink), (override));
};

/// Puts roles in use for the length of a test, and none after it, so that no scripted role outlives its test.
class UsedPlatform {
 public:
  explicit UsedPlatform(std::shared_ptr<platform::Log> log,
                        std::shared_ptr<platform::SessionService> sessions = nullptr,
                        std::shared_ptr<platform::Json> json = nullptr) {
    platform::Platform services;
    services.log = std::move(log);
    services.sessions = std::move(sessions);
    services.json = std::move(json);
    platform::use(std::move(services));
  }
  UsedPlatform(const UsedPlatform&) = delete;
  UsedPlatform& operator=(const UsedPlatform&) = delete;
  ~UsedPlatform() { platform::use({}); }
};

}  // namespace orvane::test
