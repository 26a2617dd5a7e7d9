#include "session/OVThrow.h"

#include "platform/Log.h"
#include "platform/Platform.h"

namespace platform = orvane::platform;

void _OVThrowMsg(const std::string& message) {
  // A set of services without a log must not turn a failure into a crash.
  if (const auto log = platform::current().log) log->write(platform::LogLevel::error, "Failure: " + message);
  throw OVTException(message);
}

void OVThrow(const std::string& message, const platform::PlatformError& error) {
  _OVThrowMsg(message + ": " + error.localizedDescription());
}

void OVThrow(const std::string& message, const platform::PlatformException& exception) {
  _OVThrowMsg(message + ": " + exception.description());
}

void OVThrow(const std::string& message, platform::Status status) {
  _OVThrowMsg(message + ": " + std::to_string(status));
}
