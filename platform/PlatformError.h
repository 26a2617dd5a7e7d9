#pragma once

#include <string>
#include <utility>

#include "platform/Status.h"

namespace orvane::platform {

/// Why a host call was refused: what `std::optional<PlatformError>` results carry. An empty optional is success.
class PlatformError {
 public:
  /// `where` is the host operation ("PlatformSession::setCategory"); `reason` a sentence for people.
  PlatformError(Status code, std::string where, std::string reason)
      : mCode(code), mWhere(std::move(where)), mReason(std::move(reason)) {}

  Status code() const { return mCode; }
  /// The reason alone, as a person would want to read it.
  const std::string& localizedDescription() const { return mReason; }
  /// Everything there is to say: the operation, the status in digits and words, and the reason.
  std::string description() const {
    return mWhere + ": " + mReason + " (status " + std::to_string(mCode) + ", " + std::string(statusMeaning(mCode)) +
           ")";
  }

 private:
  Status mCode;
  std::string mWhere;
  std::string mReason;
};

}  // namespace orvane::platform
