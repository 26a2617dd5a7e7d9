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
/// Each service defines one constant of this class per refusable operation, at namespace scope; the constructor
/// registers the operation's name for use in scenarios.
class GatedCall {
 public:
  enum class Answer {
    status,  ///< The call returns a status, so a refusal must have one.
    object,  ///< The call returns an object or none, so a refusal needs no status.
    hidden,  ///< Like `status`, but not in `all()`: scenarios have a separate key to refuse it.
  };

  /// Creates and registers a call. `name` must live as long as the process.
  explicit GatedCall(const char* name, Answer answer = Answer::status);
  GatedCall(const GatedCall&) = delete;
  GatedCall& operator=(const GatedCall&) = delete;

  /// Returns the name. Its characters are followed by a zero.
  std::string_view name() const { return mName; }
  bool answersStatus() const { return mAnswer != Answer::object; }

  /// Returns all calls that are not hidden, sorted by name. Thread-safe once static initialisation has ended.
  static const std::vector<const GatedCall*>& all();

 private:
  std::string_view mName;
  Answer mAnswer;
};

/// The status and the reason with which a call is refused.
struct Refusal {
  platform::Status status = platform::status::success;  ///< Not 0, except for calls that return an object.
  std::string reason;
};

/// The gate that decides whether a host operation is refused. Every operation that can be refused asks the gate first.
/// By default nothing is refused. Thread-safe; only `refusal` is real-time safe.
class CallGate {
 public:
  /// A function that decides whether the call named `call` is allowed: returns null to allow it, otherwise the refusal
  /// to report. It must be real-time safe. The refusal must live as long as the gate.
  using Decide = std::function<const Refusal*(std::string_view call)>;

  /// Sets the function that decides. Must be called before the host is used.
  void setDecision(Decide decide) { mDecide = std::move(decide); }

  /// Returns the refusal of `call`, or null if the call is allowed.
  const Refusal* refusal(const GatedCall& call) const { return mDecide ? mDecide(call.name()) : nullptr; }

 private:
  Decide mDecide;
};

}  // namespace orvane::host
