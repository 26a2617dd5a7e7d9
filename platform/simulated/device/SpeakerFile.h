// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/simulated/device/DeviceSettings.h"

namespace orvane::simulated {

/// Whether a speaker's text is the path of a file.
bool isSpeakerFile(const std::string& text);

/// Throws `platform::PlatformException` if the speaker's file could not be written or this process reads it. Does not
/// change the file system.
void checkSpeakerFile(const Given<std::string>& speaker);

}  // namespace orvane::simulated
