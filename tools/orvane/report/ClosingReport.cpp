// SPDX-License-Identifier: MIT
#include "tools/orvane/report/ClosingReport.h"

#include <cstdio>

#include "platform/Status.h"
#include "platform/Value.h"
#include "tools/orvane/report/EscapedText.h"
#include "tools/orvane/report/StandardStreams.h"

namespace orvane::tool {

namespace {

using platform::Value;

constexpr char outputLost[] = "standard output could not be written";

Value describe(const ClosingReport& report, const Outcome& outcome) {
  Value object = Value::dictionary(
      {{"command", report.command}, {"host", jsonText(*report.json, report.host)}, {"ended", outcome.ended}});
  if (!outcome.error.empty()) object.set("error", jsonText(*report.json, outcome.error));
  if (outcome.hostStatus) {
    object.set("status", *outcome.hostStatus);
    object.set("cause", platform::statusMeaning(*outcome.hostStatus));
  }
  for (const auto& [key, value] : *outcome.members.as<Value::Dictionary>()) object.set(key, value);
  return object;
}

}  // namespace

ExitStatus ClosingReport::print(Outcome outcome) const {
  if (!standardOutputArrived() && outcome.exitStatus == ExitStatus::done) outcome.fail(ExitStatus::failed, outputLost);
  if (!outcome.error.empty()) say(outcome.error);
  if (!json) return outcome.exitStatus;

  const std::string line = json->write(describe(*this, outcome), false).value_or("null");
  if (onStandardError) {
    sayLine(line);
    return outcome.exitStatus;
  }
  std::puts(line.c_str());
  if (standardOutputArrived() || outcome.exitStatus != ExitStatus::done) return outcome.exitStatus;
  say(outputLost);
  return ExitStatus::failed;
}

std::string jsonText(const platform::Json& json, const std::string& text) {
  if (json.write(platform::Value(text), false)) return text;
  return escapeBytes(text, [](unsigned char byte) { return byte >= 0x80; });
}

}  // namespace orvane::tool
