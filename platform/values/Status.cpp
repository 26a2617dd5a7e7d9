// SPDX-License-Identifier: MIT
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
      {status::wrongState, "wrong state"},
      {status::unknownSession, "unknown session"},
      {status::noInput, "category without input"},
      {status::noOutput, "category without output"},
      {status::ioFailure, "input or output failed"},
      {status::stalled, "device stalled"},
      {status::badSlice, "bad slice"},
  }};
  for (const auto& [status, meaning] : table) {
    if (status == value) return meaning;
  }
  return "unknown status";
}

}  // namespace orvane::platform
