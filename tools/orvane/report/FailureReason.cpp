// SPDX-License-Identifier: MIT
#include "tools/orvane/report/FailureReason.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/DeviceReport.h"
#include "platform/FileReport.h"
#include "tools/orvane/report/ExitStatus.h"
#include "tools/orvane/report/LogLines.h"

namespace orvane::tool {

namespace {

using platform::Status;

/// Returns the status at the end of a message such as "CALL failed: -77". Recognises only negative numbers, because a
/// positive number may be an identifier.
std::optional<Status> statusAtEnd(std::string_view text) {
  const std::size_t separator = text.rfind(": -");
  if (separator == std::string_view::npos) return std::nullopt;
  Status status = 0;
  const char* const end = text.data() + text.size();
  const auto [parsedTo, error] = std::from_chars(text.data() + separator + 2, end, status);
  return error == std::errc() && parsedTo == end ? std::optional(status) : std::nullopt;
}

/// Returns the failure that ended the device's run or, if there is none, the first failed write to a file.
FailureReason firstFailure(const platform::Platform& host) {
  if (const auto device = host.deviceReport->deviceFailure()) return {device->reason, device->status};
  const auto write = host.fileReport->writeFailure();
  if (!write) return {};
  const bool isFull = write->status == platform::status::diskFull;
  return {std::string("writing failed") + (isFull ? ", disk full: " : ": ") + write->reason, write->status};
}

/// Appends the text of another failure. The status of the first failure that has one is kept.
void append(FailureReason& reason, const char* separator, const FailureReason& next) {
  reason.text += (reason.text.empty() ? "" : separator) + next.text;
  if (!reason.status) reason.status = next.status;
}

}  // namespace

FailureReason reasonOf(const Invocation& invocation, const std::string& thrown) {
  FailureReason result{thrown, statusAtEnd(thrown)};
  const std::string before = invocation.log->takeFailure(thrown);
  const auto refusal = invocation.host.deviceReport->lastRefusal();
  if (!refusal) return result;
  // The last refusal may be an earlier one that the class ignored. It is the cause only if the message quotes its
  // reason, or if its log line directly precedes that of the failure.
  const bool isQuoted = !refusal->reason.empty() && thrown.find(refusal->reason) != std::string::npos;
  if (!isQuoted && before != refusal->call + " failed: " + refusal->reason) return result;
  if (result.status && *result.status != refusal->status) return result;
  if (!isQuoted) result.text += ": " + refusal->reason;
  if (refusal->status != platform::status::success) result.status = refusal->status;
  return result;
}

FailureReason failureBehind(const platform::Platform& host) {
  FailureReason reason = firstFailure(host);
  if (const std::uint64_t lost = host.deviceReport->runCount().overruns; lost > 0) {
    append(reason, "; ",
           {std::to_string(lost) + " slices are missing in the written file: the disk is too slow",
            platform::status::overrun});
  }
  return reason;
}

Outcome unavailable(const platform::Failure& why) {
  const bool isServer = why.status == platform::status::serverLost;
  return failed(ExitStatus::unavailable, why.reason + (isServer ? "; --simulate works without a sound server" : ""),
                why.status);
}

Outcome refused(const platform::Platform& host, const FailureReason& thrown) {
  const auto device = host.deviceReport->deviceFailure();
  if (device && host.deviceReport->runCount().frames == 0) return unavailable(*device);
  const platform::Status status = thrown.status.value_or(platform::status::success);
  const bool isUnreachable = status == platform::status::serverLost || status == platform::status::stalled;
  if (isUnreachable && host.deviceReport->runCount().frames == 0) return unavailable({status, thrown.text});
  FailureReason reason = failureBehind(host);
  append(reason, "; then ", thrown);
  return failed(ExitStatus::failed, reason.text, reason.status);
}

}  // namespace orvane::tool
