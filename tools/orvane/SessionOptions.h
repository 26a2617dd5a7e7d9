// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "platform/Value.h"
#include "session/OVSession.h"

namespace orvane::tool {

/// A category option of a session: its name and the property behind it.
struct CategoryOption {
  const char* name;
  bool (OVSession::*isOn)() const;
  void (OVSession::*set)(bool);
};

/// Every category option that there is.
inline constexpr std::array<CategoryOption, 7> categoryOptions{{
    {"mixWithOthers", &OVSession::mixWithOthers, &OVSession::setMixWithOthers},
    {"duckOthers", &OVSession::duckOthers, &OVSession::setDuckOthers},
    {"allowHFP", &OVSession::allowHFP, &OVSession::setAllowHFP},
    {"allowA2DP", &OVSession::allowA2DP, &OVSession::setAllowA2DP},
    {"defaultToSpeaker", &OVSession::defaultToSpeaker, &OVSession::setDefaultToSpeaker},
    {"mixExceptWithSpokenAudio", &OVSession::mixExceptWithSpokenAudio, &OVSession::setMixExceptWithSpokenAudio},
    {"allowSkycast", &OVSession::allowSkycast, &OVSession::setAllowSkycast},
}};

/// Settings of an audio session, kept and applied in the order in which they were typed: a category drops options that
/// make no sense with it, and two options may share a bit, so the order is the user's to choose.
class SessionOptions {
 public:
  /// Declares --category, --mode and --option.
  void declareSettings(CLI::App& options);
  /// Declares --activate and --deactivate, which take their place in the order.
  void declareActivation(CLI::App& options);

  bool empty() const { return mSteps.empty(); }
  /// Raises the first refusal; what was set before it stays.
  void applyTo(OVSession& session) const;

 private:
  using Step = std::function<void(OVSession&)>;

  void addSetting(CLI::App& options, const char* name, void (OVSession::*set)(const std::string&),
                  const char* description);
  void addSwitch(CLI::App& options, const char* name, Step step, const char* description);

  std::vector<Step> mSteps;
};

}  // namespace orvane::tool
