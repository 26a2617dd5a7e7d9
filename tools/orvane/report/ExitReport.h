// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "tools/orvane/report/ExitStatus.h"
#include "tools/orvane/report/Outcome.h"

namespace orvane::tool {

/// The closing report of a command that does not return, because the library ends the process. Without it, output that
/// was lost would be taken for a success.
class ExitReport {
 public:
  /// Prepares for such commands; `print` prints an outcome and returns the exit status. Must be called before a host is
  /// made, so that the report comes after the hosts have completed their files.
  static void prepare(std::function<ExitStatus(Outcome)> print);
  /// Makes the process, if it ends with status 0 from now on, report the outcome that `outcome` returns.
  static void expect(std::function<Outcome()> outcome);
};

}  // namespace orvane::tool
