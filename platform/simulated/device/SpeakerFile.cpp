// SPDX-License-Identifier: MIT
#include "platform/simulated/device/SpeakerFile.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/host/files/FileRegistry.h"
#include "platform/simulated/scenario/Refuse.h"

namespace orvane::simulated {

namespace fs = std::filesystem;

bool isSpeakerFile(const std::string& text) {
  return text != "null";
}

void checkSpeakerFile(const Given<std::string>& speaker) {
  checkWritableFile(speaker, "the speaker");
}

void checkWritableFile(const Given<std::string>& file, const std::string& writer) {
  const fs::path path = file.value;
  const fs::path folder = path.has_parent_path() ? path.parent_path() : ".";
  std::error_code error;
  const fs::file_status facts = fs::status(path, error);
  const auto refuseOn = [&](bool fault, const std::string& reason) {
    if (fault) refuse(file.where, '"' + file.value + "\": " + reason);
  };
  refuseOn(!fs::is_directory(folder, error), "there is no such folder");
  refuseOn(fs::exists(facts) && !fs::is_regular_file(facts), "it is not a regular file");
  const bool mayWrite = fs::exists(facts) ? access(path.c_str(), W_OK) == 0 : access(folder.c_str(), W_OK | X_OK) == 0;
  refuseOn(!mayWrite, std::generic_category().message(errno));
  if (const auto read = host::ReadClaim::nameAt(path)) refuse(file.where, writer + " would overwrite " + *read);
}

}  // namespace orvane::simulated
