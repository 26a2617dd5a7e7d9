#include "tools/orvane/LogLines.h"

#include <string>
#include <string_view>

#include "tools/orvane/StandardStreams.h"

namespace orvane::tool {

void showLog(platform::Log& log, bool verbose) {
  log.setSink([verbose](platform::LogLevel level, std::string_view line) {
    switch (level) {
      case platform::LogLevel::error:
        return sayLine("log error: " + printable(line));
      case platform::LogLevel::warning:
        if (verbose) sayLine("log warning: " + printable(line));
        return;
      case platform::LogLevel::notice:
        if (verbose) sayLine("log notice: " + printable(line));
        return;
    }
  });
}

}  // namespace orvane::tool
