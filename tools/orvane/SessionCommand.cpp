// SPDX-License-Identifier: MIT
#include "tools/orvane/SessionCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "platform/PlatformSession.h"
#include "platform/Value.h"
#include "session/OVPrimarySession.h"
#include "session/OVSession.h"

namespace orvane::tool {

namespace {

bool isActive(const OVSession& session) {
  const auto platformSession = std::dynamic_pointer_cast<platform::PlatformSession>(session.session());
  return platformSession && platformSession->isActive();
}

platform::Value describe(const OVSession& session, bool primary) {
  platform::Value result = platform::Value::dictionary({{"primary", primary},
                                                        {"active", isActive(session)},
                                                        {"category", session.category()},
                                                        {"mode", session.mode()}});
  for (const CategoryOption& option : categoryOptions) result.set(option.name, (session.*option.isOn)());
  return result;
}

void printText(const OVSession& session, bool primary) {
  std::string options;
  for (const CategoryOption& option : categoryOptions) {
    if ((session.*option.isOn)()) options += (options.empty() ? "" : ", ") + std::string(option.name);
  }
  std::printf("session   %s, %s\n", primary ? "primary" : "auxiliary", isActive(session) ? "active" : "inactive");
  std::printf("category  %s\n", session.category().c_str());
  std::printf("mode      %s\n", session.mode().c_str());
  std::printf("options   %s\n", options.empty() ? "none" : options.c_str());
}

}  // namespace

SessionCommand::SessionCommand(CLI::App& parent)
    : Command(parent, "session", "Configure an audio session and show its settings") {
  options().add_flag("--primary", mPrimary, "Use the process's primary session instead of an auxiliary one");
  mSettings.declareSettings(options());
  mSettings.declareActivation(options());
  options().footer(
      "Settings, --activate and --deactivate are applied in the order given.\n\n"
      "Categories: Ambient SoloAmbient Playback Record PlayAndRecord MultiRoute Narrava VoiceCommand RingtonePreview "
      "Ringtone VoiceMail PhoneCall TTYCall Alarm PlaybackNoSpeaker EmergencyAlert EmergencyAlert_CanBeMuted Locatron "
      "WaterEjection\n\n"
      "Modes: Default VoiceChat GameChat VideoRecording Measurement MoviePlayback SpokenAudio VideoChat "
      "SpeechRecognition VoicePrompt Raw VoiceMessages LocatePhone HearingAccessibility Motiongram SOS\n\n"
      "Example:\n"
      "  orvane session --category PlayAndRecord --mode Measurement --activate");
}

Outcome SessionCommand::run(const Invocation& invocation) {
  const std::shared_ptr<OVSession> session = mPrimary ? OVPrimarySession::init() : OVSession::init();
  mSettings.applyTo(*session);
  if (!invocation.json) printText(*session, mPrimary);
  return {.members = describe(*session, mPrimary)};
}

}  // namespace orvane::tool
