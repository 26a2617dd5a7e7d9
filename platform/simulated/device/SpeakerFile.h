// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/simulated/device/DeviceSettings.h"

namespace orvane::simulated {

/// Returns whether a speaker's text is the path of a file.
bool isSpeakerFile(const std::string& text);

/// Checks that a file can be written, without changing the file system. Throws `platform::PlatformException` if it
/// cannot be written or this process reads it. `writer` is used in messages: "the speaker", for example.
void checkWritableFile(const Given<std::string>& file, const std::string& writer);

/// Checks that the speaker's file can be written, without changing the file system. Throws
/// `platform::PlatformException` if it cannot be written or this process reads it.
void checkSpeakerFile(const Given<std::string>& speaker);

}  // namespace orvane::simulated
