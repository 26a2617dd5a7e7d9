// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Platform.h"

namespace orvane::root {

/// A kind of host (implementation of the audio services) that can be created by name.
struct HostKind {
  std::string name;
  std::function<bool()> isAvailable;  ///< Returns whether such a host can be created on this machine.
  std::function<platform::Platform(std::string_view options)> make;
};

/// The list of the kinds of host, in order of preference. Thread-safe; not real-time safe.
class HostRegistry {
 public:
  void add(HostKind kind);

  /// Returns the names of all kinds.
  std::vector<std::string> known() const;
  /// Returns the names of the kinds that can be created on this machine. The first of them is the default.
  std::vector<std::string> available() const;

  /// Creates the host called `name`. Throws `platform::PlatformException` for an unknown or unavailable name, listing
  /// the available names, and whatever the kind's `make` throws.
  platform::Platform make(std::string_view name, std::string_view options) const;

 private:
  std::vector<HostKind> kinds() const;

  mutable std::mutex mMutex;
  std::vector<HostKind> mKinds;
};

}  // namespace orvane::root
