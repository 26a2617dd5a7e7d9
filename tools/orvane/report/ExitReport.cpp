// SPDX-License-Identifier: MIT
#include "tools/orvane/report/ExitReport.h"

#include <cstdlib>
#include <utility>

namespace orvane::tool {

namespace {

struct Report {
  std::function<ExitStatus(Outcome)> print;
  std::function<Outcome()> outcome;
};

/// The report, which is never destroyed because it is used at exit.
Report& report() {
  static Report& instance = *new Report;
  return instance;
}

void reportAtExit(int status, void*) {
  if (status != 0 || !report().outcome) return;
  const ExitStatus result = report().print(report().outcome());
  if (result != ExitStatus::done) std::_Exit(static_cast<int>(result));
}

}  // namespace

void ExitReport::prepare(std::function<ExitStatus(Outcome)> print) {
  report().print = std::move(print);
  on_exit(reportAtExit, nullptr);
}

void ExitReport::expect(std::function<Outcome()> outcome) {
  report().outcome = std::move(outcome);
}

}  // namespace orvane::tool
