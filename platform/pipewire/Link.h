// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/pipewire/Server.h"

struct pw_proxy;
struct spa_hook;

namespace orvane::pipewire {

/// A link between two ports of the server. One that this object makes is removed with it; one that exists already is
/// only observed. Made, used and destroyed with the lock of the loop.
class Link {
 public:
  using OnError = std::function<void(const std::string& reason)>;

  /// Links an output port to an input port. `onError` is called on the loop's thread, with the lock, if the server
  /// refuses the link.
  static std::unique_ptr<Link> make(Connection& connection, std::uint32_t from, std::uint32_t to, OnError onError);
  /// Observes the link with this identifier.
  static std::unique_ptr<Link> observe(Connection& connection, std::uint32_t identifier,
                                       const Inventory::Link& existing);
  ~Link();
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  bool joins(std::uint32_t from, std::uint32_t to) const { return mFrom == from && mTo == to; }
  /// Returns whether somebody removed the link, or the server refused it.
  bool isGone() const { return mIsGone; }
  /// Returns why the server refused the link; empty if it did not.
  const std::string& refusal() const { return mRefusal; }
  /// Returns whether the link carries data.
  bool isActive() const { return mIsActive && !mIsGone; }
  /// Returns whether the link has ever carried data.
  bool wasActive() const { return mWasActive; }

 private:
  struct Trampolines;

  Link(std::uint32_t from, std::uint32_t to, pw_proxy* proxy, OnError onError);

  const std::uint32_t mFrom;
  const std::uint32_t mTo;
  pw_proxy* const mProxy;
  const OnError mOnError;
  const std::unique_ptr<spa_hook> mProxyListener;
  const std::unique_ptr<spa_hook> mInfoListener;
  bool mIsGone = false;
  bool mIsActive = false;
  bool mWasActive = false;
  std::string mRefusal;
};

}  // namespace orvane::pipewire
