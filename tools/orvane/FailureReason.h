// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "platform/Status.h"
#include "tools/orvane/Command.h"

namespace orvane::tool {

/// Why a command failed: a sentence with its cause, and the host status behind it, where there is one.
struct FailureReason {
  std::string text{};
  std::optional<platform::Status> status{};
};

/// The reason for what the library threw, called directly after it did: the classes throw a status without a sentence,
/// and the host keeps the sentence of the call that it refused. Takes the failure out of the log's held lines.
FailureReason reasonOf(const Invocation& invocation, const std::string& thrown);

/// The failure behind the classes, of the device or of a file; an empty text if there was none.
FailureReason failureBehind(const platform::Platform& host);

/// The outcome of a command in which `thrown` was thrown. A device that was gone before the first frame is unavailable.
Outcome refused(const platform::Platform& host, const FailureReason& thrown);

}  // namespace orvane::tool
