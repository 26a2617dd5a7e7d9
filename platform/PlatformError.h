// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "platform/Failure.h"

namespace orvane::platform {

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
