// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "platform/Platform.h"
#include "platform/PlatformError.h"
#include "platform/Status.h"
#include "tools/orvane/Command.h"
#include "tools/orvane/report/Outcome.h"

namespace orvane::tool {

/// The reason why a command failed: a sentence with the cause, and the host status that caused it, if any.
struct FailureReason {
  std::string text{};
  std::optional<platform::Status> status{};
};

/// Returns the reason of a failure whose exception had the message `thrown`. Many such messages contain only a status,
/// so this function adds the sentence of the host's last refusal, and must therefore be called directly after the
/// exception. Removes the failure from the lines that the log holds back.
FailureReason reasonOf(const Invocation& invocation, const std::string& thrown);

/// Returns a failure of the device or of a file that was not reported by an exception; the text is empty if there was
/// no such failure.
FailureReason failureBehind(const platform::Platform& host);

/// Returns the outcome of a command that found no device, for the reason `why`.
Outcome unavailable(const platform::Failure& why);

/// Returns the outcome of a command that ended with an exception for the reason `thrown`. The exit status is
/// `unavailable` if the device was gone before the first frame, otherwise `failed`.
Outcome refused(const platform::Platform& host, const FailureReason& thrown);

}  // namespace orvane::tool
