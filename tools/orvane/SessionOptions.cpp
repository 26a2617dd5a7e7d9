// SPDX-License-Identifier: MIT
#include "tools/orvane/SessionOptions.h"

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace orvane::tool {

namespace {

/// Parses NAME=on or NAME=off, and returns the function that applies this setting to a session.
std::function<void(OVSession&)> categoryOptionStep(const std::string& text) {
  const auto refuse = [&text](const std::string& why) {
    throw CLI::ValidationError("--option", "\"" + text + "\": " + why);
  };
  const std::size_t equals = text.find('=');
  const std::string name = text.substr(0, equals);
  const std::string state = equals == std::string::npos ? "" : text.substr(equals + 1);
  std::string known;
  for (const CategoryOption& option : categoryOptions) {
    if (!known.empty()) known += ", ";
    known += option.name;
    if (option.name != name) continue;
    if (state != "on" && state != "off") refuse("it takes " + name + "=on or " + name + "=off");
    return [set = option.set, isOn = state == "on"](OVSession& session) { (session.*set)(isOn); };
  }
  refuse("unknown category option; the options are " + known + ", each with =on or =off");
  return {};
}

}  // namespace

void SessionOptions::declareSettings(CLI::App& options) {
  addSetting(options, "--category", &OVSession::setCategory,
             "Category by short name, such as PlayAndRecord, or as the platform spells it");
  addSetting(options, "--mode", &OVSession::setMode,
             "Mode by short name, such as Measurement, or as the platform spells it");
  // Each occurrence is stored when it is parsed, which preserves the order of different options.
  options
      .add_option_function<std::string>(
          "--option", [this](const std::string& text) { mSteps.push_back(categoryOptionStep(text)); },
          "Category option to turn on or off, one of mixWithOthers, duckOthers, allowHFP, allowA2DP, defaultToSpeaker, "
          "mixExceptWithSpokenAudio (off also clears mixWithOthers), allowSkycast; may be given several times")
      ->type_name("NAME=on|off")
      ->trigger_on_parse();
}

void SessionOptions::declareActivation(CLI::App& options) {
  addSwitch(
      options, "--activate", [](OVSession& session) { session.activate(); }, "Make the session active");
  addSwitch(
      options, "--deactivate", [](OVSession& session) { session.deactivate(); }, "Make the session inactive");
}

void SessionOptions::applyTo(OVSession& session) const {
  for (const Step& step : mSteps) step(session);
}

void SessionOptions::addSetting(CLI::App& options, const char* name, void (OVSession::*set)(const std::string&),
                                const char* description) {
  const auto take = [this, set](const std::string& value) {
    mSteps.emplace_back([set, value](OVSession& session) { (session.*set)(value); });
  };
  options.add_option_function<std::string>(name, take, description)->type_name("NAME")->trigger_on_parse();
}

void SessionOptions::addSwitch(CLI::App& options, const char* name, Step step, const char* description) {
  const auto take = [this, step = std::move(step)](std::int64_t) { mSteps.push_back(step); };
  options.add_flag_function(name, take, description)->trigger_on_parse();
}

}  // namespace orvane::tool
