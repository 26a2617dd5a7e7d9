// SPDX-License-Identifier: MIT
#include "platform/pipewire/Link.h"

#include <pipewire/link.h>
#include <pipewire/pipewire.h>

#include <utility>

namespace orvane::pipewire {

struct Link::Trampolines {
  static void removed(void* data) { static_cast<Link*>(data)->mIsGone = true; }
  static void error(void* data, int, int, const char* message) {
    auto& self = *static_cast<Link*>(data);
    self.mIsGone = true;
    self.mRefusal = message == nullptr ? "no reason given" : message;
    if (self.mOnError) self.mOnError(self.mRefusal);
  }
  static void info(void* data, const pw_link_info* info) {
    if ((info->change_mask & PW_LINK_CHANGE_MASK_STATE) == 0) return;
    auto& self = *static_cast<Link*>(data);
    self.mIsActive = info->state == PW_LINK_STATE_ACTIVE;
    self.mWasActive = self.mWasActive || self.mIsActive;
  }

  static constexpr pw_proxy_events proxyEvents = {
      .version = PW_VERSION_PROXY_EVENTS, .removed = removed, .error = error};
  static constexpr pw_link_events linkEvents = {.version = PW_VERSION_LINK_EVENTS, .info = info};
};

std::unique_ptr<Link> Link::make(Connection& connection, std::uint32_t from, std::uint32_t to, OnError onError) {
  pw_properties* const properties = pw_properties_new(nullptr, nullptr);
  pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_PORT, "%u", from);
  pw_properties_setf(properties, PW_KEY_LINK_INPUT_PORT, "%u", to);
  auto* const proxy = static_cast<pw_proxy*>(pw_core_create_object(
      connection.core(), "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties->dict, 0));
  pw_properties_free(properties);
  return std::unique_ptr<Link>(new Link(from, to, proxy, std::move(onError)));
}

std::unique_ptr<Link> Link::observe(Connection& connection, std::uint32_t identifier, const Inventory::Link& existing) {
  auto* const proxy = static_cast<pw_proxy*>(
      pw_registry_bind(connection.registry(), identifier, PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, 0));
  return std::unique_ptr<Link>(new Link(existing.outputPort, existing.inputPort, proxy, nullptr));
}

Link::Link(std::uint32_t from, std::uint32_t to, pw_proxy* proxy, OnError onError)
    : mFrom(from),
      mTo(to),
      mProxy(proxy),
      mOnError(std::move(onError)),
      mProxyListener(std::make_unique<spa_hook>()),
      mInfoListener(std::make_unique<spa_hook>()),
      mIsGone(proxy == nullptr) {
  if (mProxy == nullptr) return;
  pw_proxy_add_listener(mProxy, mProxyListener.get(), &Trampolines::proxyEvents, this);
  pw_link_add_listener(reinterpret_cast<pw_link*>(mProxy), mInfoListener.get(), &Trampolines::linkEvents, this);
}

Link::~Link() {
  if (mProxy == nullptr) return;
  spa_hook_remove(mInfoListener.get());
  spa_hook_remove(mProxyListener.get());
  pw_proxy_destroy(mProxy);
}

}  // namespace orvane::pipewire
