#pragma once

#include "platform/Log.h"

namespace orvane::tool {

/// Sends the platform log's lines to standard error, each behind "log error: ", "log warning: " or "log notice: ":
/// errors always, the others when `verbose`. The log says that something failed before anybody knows whether it will be
/// caught, so the reason with which a command ends comes after it, in a line of its own.
void showLog(platform::Log& log, bool verbose);

}  // namespace orvane::tool
