// SPDX-License-Identifier: MIT
#include "session/OVThrow.h"

#include "platform/Log.h"
#include "platform/Platform.h"
#include "session/OVTException.h"
#include "session/RaiseOn.h"

namespace platform = orvane::platform;

namespace {

std::string withReason(const std::string& message, const std::string& why) {
  return message + ": " + why;
}

}  // namespace

namespace orvane {

void raiseOn(const platform::Platform& services, const std::string& message) {
  logOn(services, platform::LogLevel::error, "Failure: " + message);
  throw OVTException(message);
}

void raiseOn(const platform::Platform& services, const std::string& message, const platform::PlatformError& error) {
  raiseOn(services, withReason(message, error.localizedDescription()));
}

void raiseOn(const platform::Platform& services, const std::string& message,
             const platform::PlatformException& exception) {
  raiseOn(services, withReason(message, exception.description()));
}

void raiseOn(const platform::Platform& services, const std::string& message, platform::Status status) {
  raiseOn(services, withReason(message, std::to_string(status)));
}

void logOn(const platform::Platform& services, platform::LogLevel level, const std::string& line) {
  if (services.log) services.log->write(level, line);
}

}  // namespace orvane

void _OVThrowMsg(const std::string& message) {
  orvane::raiseOn(platform::current(), message);
}

void OVThrow(const std::string& message, const platform::PlatformError& error) {
  orvane::raiseOn(platform::current(), message, error);
}

void OVThrow(const std::string& message, const platform::PlatformException& exception) {
  orvane::raiseOn(platform::current(), message, exception);
}

void OVThrow(const std::string& message, platform::Status status) {
  orvane::raiseOn(platform::current(), message, status);
}
