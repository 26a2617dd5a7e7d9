// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Status.h"

namespace orvane::host {

/// A host operation that a scenario can refuse, such as "UnitService::start".
///
/// Each service defines its calls as constants at namespace scope; the constructor registers them for scenarios.
class GatedCall {
 public:
  enum class Answer {
    status,  ///< The call returns a status; a refusal needs one.
    object,  ///< The call returns an object or none; a refusal needs no status.
    hidden,  ///< As `status`, but not listed: scenarios refuse it through keys of their own.
  };

  /// `name` must live as long as the process.
  explicit GatedCall(const char* name, Answer answer = Answer::status);
  GatedCall(const GatedCall&) = delete;
  GatedCall& operator=(const GatedCall&) = delete;

  /// Returns the name, which is zero-terminated.
  std::string_view name() const { return mName; }
  bool answersStatus() const { return mAnswer != Answer::object; }

  /// Returns every call that is not hidden, sorted by name. Thread-safe once static initialisation has ended.
  static const std::vector<const GatedCall*>& all();

 private:
  std::string_view mName;
  Answer mAnswer;
};

/// The status and reason with which a call is refused.
struct Refusal {
  platform::Status status = platform::status::success;  ///< Not 0, except for calls that return an object.
  std::string reason;
};

/// Decides whether a host operation is refused. Every operation that can be refused asks it first. Refuses nothing by
/// default. Thread-safe; `refusal` is real-time safe.
class CallGate {
 public:
  /// Returns the refusal of the named call, or null to allow it. Must be real-time safe. The refusal must live as long
  /// as the gate.
  using Decide = std::function<const Refusal*(std::string_view call)>;

  /// Sets the decision. Call it before the host is used.
  void setDecision(Decide decide) { mDecide = std::move(decide); }

  /// Returns the refusal of `call`; null if it is allowed.
  const Refusal* refusal(const GatedCall& call) const { return mDecide ? mDecide(call.name()) : nullptr; }

 private:
  Decide mDecide;
};

}  // namespace orvane::host
