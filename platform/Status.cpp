#include "platform/Status.h"

#include <array>
#include <utility>

namespace orvane::platform {

std::string_view statusMeaning(Status value) {
  static constexpr std::array<std::pair<Status, std::string_view>, 20> table{{
      {status::success, "success"},
      {status::badParameter, "bad parameter"},
      {status::notFound, "not found"},
      {status::noPermission, "no permission"},
      {status::diskFull, "disk full"},
      {status::notRegularFile, "not a regular file"},
      {status::invalidFile, "invalid file"},
      {status::unsupportedType, "unsupported file type"},
      {status::unsupportedFormat, "unsupported format"},
      {status::deviceLost, "device lost"},
      {status::serverLost, "server lost"},
      {status::overrun, "overrun"},
      {status::noDevice, "no such device"},
      {status::wrongState, "not possible in this state"},
      {status::unknownSession, "no session has this identifier"},
      {status::noInput, "the session's category has no input"},
      {status::noOutput, "the session's category has no output"},
      {status::ioFailure, "input or output failed"},
      {status::stalled, "the device stalled"},
      {status::badSlice, "the device delivered a bad slice"},
  }};
  for (const auto& [status, meaning] : table) {
    if (status == value) return meaning;
  }
  return "unknown status";
}

}  // namespace orvane::platform
