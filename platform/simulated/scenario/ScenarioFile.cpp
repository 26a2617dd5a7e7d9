// SPDX-License-Identifier: MIT
#include "platform/simulated/scenario/ScenarioFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <utility>

#include "platform/PlatformException.h"
#include "platform/host/HostJson.h"
#include "platform/host/files/RegularFile.h"
#include "platform/simulated/scenario/Refuse.h"

namespace orvane::simulated {

std::string readScenarioFile(const std::string& path, const std::string& where, const std::string& name,
                             std::shared_ptr<const host::ReadClaim>& claim) {
  auto opened = host::openToRead(path);
  if (!opened) refuse(where, opened.failure().reason);
  claim = std::make_shared<const host::ReadClaim>(std::move(*opened), name);
  std::string text(maxScenarioBytes + 1, '\0');
  std::size_t size = 0;
  while (size < text.size()) {
    const ssize_t count = read(claim->descriptor(), text.data() + size, text.size() - size);
    if (count == 0) break;
    if (count < 0 && errno != EINTR) refuse(where, host::systemFailure(path, errno).reason);
    size += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  text.resize(size);
  return text;
}

platform::Value parseScenarioText(std::string_view text, const std::string& where) {
  if (text.size() > maxScenarioBytes) {
    refuse(where, "a scenario has " + std::to_string(maxScenarioBytes) + " bytes at most");
  }
  try {
    return host::HostJson().read(text);
  } catch (const platform::PlatformException& exception) {
    refuse(where, exception.reason());
  }
}

platform::HostTime readScenarioTime(const ScenarioNode& node) {
  constexpr double maxSeconds = 1e9;
  const double seconds = node.number(0, maxSeconds, "seconds");
  return platform::HostTime(static_cast<std::int64_t>(std::round(seconds * 1e9)));
}

}  // namespace orvane::simulated
