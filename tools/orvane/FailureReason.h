// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "platform/Status.h"
#include "tools/orvane/Command.h"

namespace orvane::tool {

/// Reason of a failed command: a sentence with its cause, and the host status behind it, if any.
struct FailureReason {
  std::string text{};
  std::optional<platform::Status> status{};
};

/// Returns the reason of a failure that the library threw. Call it directly after the throw: the classes throw a status
/// without a sentence, and the host keeps the sentence of the last call that it refused. Removes the failure from the
/// log's held lines.
FailureReason reasonOf(const Invocation& invocation, const std::string& thrown);

/// Returns a failure of the device or of a file that no class threw; the text is empty if there was none.
FailureReason failureBehind(const platform::Platform& host);

/// Returns the outcome of a command in which `thrown` was thrown: unavailable if the device was gone before the first
/// frame, failed otherwise.
Outcome refused(const platform::Platform& host, const FailureReason& thrown);

}  // namespace orvane::tool
