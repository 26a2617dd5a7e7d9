#pragma once

#include <string>

#include "platform/simulated/device/DeviceSettings.h"

namespace orvane::simulated {

/// Whether the text of a speaker is the path of a file.
bool isSpeakerFile(const std::string& text);

/// Refuses a speaker's file that could not be written, without touching it. Throws `platform::PlatformException`.
void checkSpeakerFile(const Given<std::string>& speaker);

/// Refuses a speaker's file that is another file of the set-up, called `what`, by whatever path.
void keepFromSpeaker(const std::string& path, const std::string& what, const Given<std::string>& speaker);

}  // namespace orvane::simulated
