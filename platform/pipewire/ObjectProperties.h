// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/pipewire/Inventory.h"

struct pw_proxy;
struct pw_registry;
struct spa_dict;
struct spa_hook;

namespace orvane::pipewire {

/// Follows all properties of a node or port of the server, of which the registry tells some only. Made and destroyed
/// with the lock of the loop.
class ObjectProperties {
 public:
  enum class Kind { node, port };
  /// Called on the loop's thread, with the lock, with all properties at first and after each change.
  using OnChange = std::function<void(const Inventory::Properties& properties)>;

  ObjectProperties(pw_registry* registry, std::uint32_t identifier, Kind kind, OnChange onChange);
  ~ObjectProperties();
  ObjectProperties(const ObjectProperties&) = delete;
  ObjectProperties& operator=(const ObjectProperties&) = delete;

 private:
  struct Trampolines;

  void take(const spa_dict* properties);

  const OnChange mOnChange;
  pw_proxy* mProxy = nullptr;
  const std::unique_ptr<spa_hook> mListener;
};

}  // namespace orvane::pipewire
