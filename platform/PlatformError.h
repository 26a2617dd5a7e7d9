// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "platform/Failure.h"

namespace orvane::platform {

/// Why a host call was refused: what `std::optional<PlatformError>` results carry. An empty optional is success.
class PlatformError {
 public:
  explicit PlatformError(Failure failure) : mFailure(std::move(failure)) {}
  /// `where` is the host operation ("PlatformSession::setCategory"); `reason` a sentence for people.
  PlatformError(Status code, std::string where, std::string reason)
      : mFailure{code, std::move(reason), std::move(where)} {}

  Status code() const { return mFailure.status; }
  /// The reason alone, as a person would want to read it.
  const std::string& localizedDescription() const { return mFailure.reason; }
  /// The operation, the reason, and the status in digits and words.
  std::string description() const {
    return mFailure.call + ": " + mFailure.reason + " (status " + std::to_string(code()) + ", " +
           std::string(statusMeaning(code())) + ")";
  }

 private:
  Failure mFailure;
};

}  // namespace orvane::platform
