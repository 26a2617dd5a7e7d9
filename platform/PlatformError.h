// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "platform/Status.h"

namespace orvane::platform {

/// A failure inside the host: its status, its reason and the operation that failed.
struct Failure {
  Status status = status::success;
  std::string reason = {};  ///< A sentence that states what is wrong and, if not obvious, what would be right.
  std::string call = {};    ///< The operation that failed, such as "UnitService::start"; empty outside a call.

  bool operator==(const Failure&) const = default;
};

/// The reason for a refused host call. Operations return it as `std::optional<PlatformError>`, where an empty optional
/// is success. A plain value.
class PlatformError {
 public:
  explicit PlatformError(Failure failure) : mFailure(std::move(failure)) {}
  /// Creates an error. `code` must not be 0; `where` is the operation, such as "PlatformSession::setCategory"; `reason`
  /// is a sentence.
  PlatformError(Status code, std::string where, std::string reason)
      : mFailure{code, std::move(reason), std::move(where)} {}

  Status code() const { return mFailure.status; }
  /// Returns the reason without the operation and the status.
  const std::string& localizedDescription() const { return mFailure.reason; }
  /// Returns "CALL: REASON (status STATUS, MEANING)", where MEANING is `statusMeaning(STATUS)`.
  std::string description() const {
    return mFailure.call + ": " + mFailure.reason + " (status " + std::to_string(code()) + ", " +
           std::string(statusMeaning(code())) + ")";
  }

 private:
  Failure mFailure;
};

}  // namespace orvane::platform
