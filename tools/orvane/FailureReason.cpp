#include "tools/orvane/FailureReason.h"

#include <charconv>
#include <string_view>

#include "platform/DeviceReport.h"
#include "tools/orvane/LogLines.h"

namespace orvane::tool {

namespace {

using platform::Status;

/// The status at the end of "SOMETHING failed: -77". Only a negative number: a message may end with an identifier.
std::optional<Status> statusAtEnd(std::string_view text) {
  const std::size_t separator = text.rfind(": -");
  if (separator == std::string_view::npos) return std::nullopt;
  Status status = 0;
  const char* const end = text.data() + text.size();
  const auto [parsedTo, error] = std::from_chars(text.data() + separator + 2, end, status);
  return error == std::errc() && parsedTo == end ? std::optional(status) : std::nullopt;
}

}  // namespace

FailureReason reasonOf(const Invocation& invocation, const std::string& thrown) {
  FailureReason result{thrown, statusAtEnd(thrown)};
  const std::string before = invocation.log->takeFailure(thrown);
  const auto refusal = invocation.host.deviceReport->lastRefusal();
  // A class may have gone on after an earlier refusal, so this failure's line must follow the refusal's.
  if (!refusal || before != refusal->call + " failed: " + refusal->reason) return result;
  if (result.status && *result.status != refusal->status) return result;
  if (thrown.find(refusal->reason) == std::string::npos) result.text += ": " + refusal->reason;
  if (refusal->status != platform::status::success) result.status = refusal->status;
  return result;
}

}  // namespace orvane::tool
