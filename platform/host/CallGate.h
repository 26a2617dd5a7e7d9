// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Status.h"

namespace orvane::host {

/// A host operation that can be refused, named as messages spell it ("UnitService::start").
///
/// Each service defines its calls as constants at namespace scope; that alone makes them known to scenarios.
class GatedCall {
 public:
  enum class Answer {
    status,  ///< The call answers with a status, which a refusal gives.
    object,  ///< The call answers with an object or none.
    hidden,  ///< As `status`; refused by other means than its name, so it is not listed.
  };

  explicit GatedCall(const char* name, Answer answer = Answer::status);
  GatedCall(const GatedCall&) = delete;
  GatedCall& operator=(const GatedCall&) = delete;

  /// Terminated by a zero character.
  std::string_view name() const { return mName; }
  bool answersStatus() const { return mAnswer != Answer::object; }

  /// Every call that is not hidden, by name.
  static const std::vector<const GatedCall*>& all();

 private:
  std::string_view mName;
  Answer mAnswer;
};

/// Why a gate refuses a call.
struct Refusal {
  platform::Status status = platform::status::success;  ///< Not 0, except for calls that answer with an object.
  std::string reason;
};

/// Asked by every host operation that can be refused before it does anything. Lets everything pass unless told
/// otherwise. Any thread; asking is real-time safe.
class CallGate {
 public:
  /// Decides about a call by name; null lets it pass. Real-time safe. What it returns lives as long as the gate.
  using Decide = std::function<const Refusal*(std::string_view call)>;

  /// Set before the host is used.
  void setDecision(Decide decide) { mDecide = std::move(decide); }

  const Refusal* refusal(const GatedCall& call) const { return mDecide ? mDecide(call.name()) : nullptr; }

 private:
  Decide mDecide;
};

}  // namespace orvane::host
