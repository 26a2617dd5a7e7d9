// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "session/OVSession.h"

namespace CLI {
class App;
}  // namespace CLI

namespace orvane::tool {

/// A category option of a session: its name on the command line, and the getter and setter of the `OVSession` property.
struct CategoryOption {
  const char* name;
  bool (OVSession::*isOn)() const;
  void (OVSession::*set)(bool);
};

/// All category options.
inline constexpr std::array<CategoryOption, 7> categoryOptions{{
    {"mixWithOthers", &OVSession::mixWithOthers, &OVSession::setMixWithOthers},
    {"duckOthers", &OVSession::duckOthers, &OVSession::setDuckOthers},
    {"allowHFP", &OVSession::allowHFP, &OVSession::setAllowHFP},
    {"allowA2DP", &OVSession::allowA2DP, &OVSession::setAllowA2DP},
    {"defaultToSpeaker", &OVSession::defaultToSpeaker, &OVSession::setDefaultToSpeaker},
    {"mixExceptWithSpokenAudio", &OVSession::mixExceptWithSpokenAudio, &OVSession::setMixExceptWithSpokenAudio},
    {"allowSkycast", &OVSession::allowSkycast, &OVSession::setAllowSkycast},
}};

/// The settings of an audio session that are given on the command line. They are applied in the given order, which
/// matters: setting a category clears options that the category does not accept, and two options share a bit.
class SessionOptions {
 public:
  /// Adds the options --category, --mode and --option to the parser.
  void declareSettings(CLI::App& options);
  /// Adds the options --activate and --deactivate to the parser. They are applied in the given order together with the
  /// settings.
  void declareActivation(CLI::App& options);

  bool empty() const { return mSteps.empty(); }
  /// Applies all settings to the session. If one is refused, throws the library's exception; the settings before it
  /// remain applied.
  void applyTo(OVSession& session) const;

 private:
  using Step = std::function<void(OVSession&)>;

  void addSetting(CLI::App& options, const char* name, void (OVSession::*set)(const std::string&),
                  const char* description);
  void addSwitch(CLI::App& options, const char* name, Step step, const char* description);

  std::vector<Step> mSteps;
};

}  // namespace orvane::tool
