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

/// A category option of a session: its name and the property behind it.
struct CategoryOption {
  const char* name;
  bool (OVSession::*isOn)() const;
  void (OVSession::*set)(bool);
};

/// Every category option.
inline constexpr std::array<CategoryOption, 7> categoryOptions{{
    {"mixWithOthers", &OVSession::mixWithOthers, &OVSession::setMixWithOthers},
    {"duckOthers", &OVSession::duckOthers, &OVSession::setDuckOthers},
    {"allowHFP", &OVSession::allowHFP, &OVSession::setAllowHFP},
    {"allowA2DP", &OVSession::allowA2DP, &OVSession::setAllowA2DP},
    {"defaultToSpeaker", &OVSession::defaultToSpeaker, &OVSession::setDefaultToSpeaker},
    {"mixExceptWithSpokenAudio", &OVSession::mixExceptWithSpokenAudio, &OVSession::setMixExceptWithSpokenAudio},
    {"allowSkycast", &OVSession::allowSkycast, &OVSession::setAllowSkycast},
}};

/// Settings of an audio session, applied in the order in which they were given. The order matters: setting a category
/// clears options that it does not support, and two options share a bit.
class SessionOptions {
 public:
  /// Declares --category, --mode and --option.
  void declareSettings(CLI::App& options);
  /// Declares --activate and --deactivate, which are applied in order with the settings.
  void declareActivation(CLI::App& options);

  bool empty() const { return mSteps.empty(); }
  /// Throws at the first refusal; settings applied before it stay.
  void applyTo(OVSession& session) const;

 private:
  using Step = std::function<void(OVSession&)>;

  void addSetting(CLI::App& options, const char* name, void (OVSession::*set)(const std::string&),
                  const char* description);
  void addSwitch(CLI::App& options, const char* name, Step step, const char* description);

  std::vector<Step> mSteps;
};

}  // namespace orvane::tool
