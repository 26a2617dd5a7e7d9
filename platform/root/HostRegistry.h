// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Platform.h"

namespace orvane::root {

/// A kind of host.
struct HostKind {
  std::string name;
  std::function<bool()> isAvailable;  ///< Whether it can be made on this machine.
  std::function<platform::Platform(std::string_view options)> make;
};

/// The kinds of host, in order of preference. Thread-safe; not real-time safe.
class HostRegistry {
 public:
  void add(HostKind kind);

  /// Returns the names of all kinds, and of the available ones, whose first is the default.
  std::vector<std::string> known() const;
  std::vector<std::string> available() const;

  /// Makes a host. Throws `platform::PlatformException` for an unknown or unavailable name, with the names that are
  /// available, and what making the host throws.
  platform::Platform make(std::string_view name, std::string_view options) const;

 private:
  std::vector<HostKind> kinds() const;

  mutable std::mutex mMutex;
  std::vector<HostKind> mKinds;
};

}  // namespace orvane::root
