// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Platform.h"

namespace orvane::root {

/// A kind of host that this library can set up.
struct HostKind {
  std::string name;
  std::function<bool()> isAvailable;  ///< Whether it can be made on this machine: its module is there, say.
  std::function<platform::Platform(std::string_view options)> make;
};

/// The kinds of host, in order of preference. Any thread.
class HostRegistry {
 public:
  void add(HostKind kind);

  /// The names of all kinds, and of those that are available; the first available one is the default.
  std::vector<std::string> known() const;
  std::vector<std::string> available() const;

  /// Makes a host. Throws `platform::PlatformException` for a name that is not known, or not available, with the names
  /// that are; and what the host itself throws.
  platform::Platform make(std::string_view name, std::string_view options) const;

 private:
  std::vector<HostKind> kinds() const;

  mutable std::mutex mMutex;
  std::vector<HostKind> mKinds;
};

}  // namespace orvane::root
