// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/simulated/device/DeviceSettings.h"

namespace orvane::simulated {

/// Whether the text of a speaker is the path of a file.
bool isSpeakerFile(const std::string& text);

/// Refuses a speaker's file that could not be written, or that this process reads, without touching it. Throws
/// `platform::PlatformException`.
void checkSpeakerFile(const Given<std::string>& speaker);

}  // namespace orvane::simulated
