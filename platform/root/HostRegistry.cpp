// SPDX-License-Identifier: MIT
#include "platform/root/HostRegistry.h"

#include <algorithm>
#include <utility>

#include "platform/PlatformException.h"

namespace orvane::root {

namespace {

std::string listOf(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  return list.empty() ? "none" : list;
}

}  // namespace

void HostRegistry::add(HostKind kind) {
  const std::lock_guard lock(mMutex);
  mKinds.push_back(std::move(kind));
}

/// Returns a copy of the kinds, because their functions may call the registry and must therefore be called without its
/// lock.
std::vector<HostKind> HostRegistry::kinds() const {
  const std::lock_guard lock(mMutex);
  return mKinds;
}

std::vector<std::string> HostRegistry::known() const {
  std::vector<std::string> names;
  for (const HostKind& kind : kinds()) names.push_back(kind.name);
  return names;
}

std::vector<std::string> HostRegistry::available() const {
  std::vector<std::string> names;
  for (const HostKind& kind : kinds()) {
    if (kind.isAvailable()) names.push_back(kind.name);
  }
  return names;
}

platform::Platform HostRegistry::make(std::string_view name, std::string_view options) const {
  const auto all = kinds();
  const auto kind = std::ranges::find(all, name, &HostKind::name);
  if (kind == all.end()) {
    throw platform::PlatformException("HostException",
                                      "unknown host \"" + std::string(name) + "\"; the hosts are " + listOf(known()));
  }
  if (!kind->isAvailable()) {
    throw platform::PlatformException(
        "HostException",
        "the host \"" + std::string(name) + "\" is not available here; available: " + listOf(available()));
  }
  return kind->make(options);
}

}  // namespace orvane::root
