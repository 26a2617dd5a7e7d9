// SPDX-License-Identifier: MIT
#include "platform/pipewire/ObjectProperties.h"

#include <pipewire/pipewire.h>

#include <utility>

namespace orvane::pipewire {

struct ObjectProperties::Trampolines {
  static void nodeInfo(void* data, const pw_node_info* info) {
    if ((info->change_mask & PW_NODE_CHANGE_MASK_PROPS) != 0) static_cast<ObjectProperties*>(data)->take(info->props);
  }
  static void portInfo(void* data, const pw_port_info* info) {
    if ((info->change_mask & PW_PORT_CHANGE_MASK_PROPS) != 0) static_cast<ObjectProperties*>(data)->take(info->props);
  }

  static constexpr pw_node_events nodeEvents = {.version = PW_VERSION_NODE_EVENTS, .info = nodeInfo};
  static constexpr pw_port_events portEvents = {.version = PW_VERSION_PORT_EVENTS, .info = portInfo};
};

ObjectProperties::ObjectProperties(pw_registry* registry, std::uint32_t identifier, Kind kind, OnChange onChange)
    : mOnChange(std::move(onChange)), mListener(std::make_unique<spa_hook>()) {
  const bool isNode = kind == Kind::node;
  mProxy = static_cast<pw_proxy*>(pw_registry_bind(registry, identifier,
                                                   isNode ? PW_TYPE_INTERFACE_Node : PW_TYPE_INTERFACE_Port,
                                                   isNode ? PW_VERSION_NODE : PW_VERSION_PORT, 0));
  if (mProxy == nullptr) return;
  if (isNode) {
    pw_node_add_listener(reinterpret_cast<pw_node*>(mProxy), mListener.get(), &Trampolines::nodeEvents, this);
  } else {
    pw_port_add_listener(reinterpret_cast<pw_port*>(mProxy), mListener.get(), &Trampolines::portEvents, this);
  }
}

ObjectProperties::~ObjectProperties() {
  if (mProxy == nullptr) return;
  spa_hook_remove(mListener.get());
  pw_proxy_destroy(mProxy);
}

void ObjectProperties::take(const spa_dict* properties) {
  Inventory::Properties copy;
  const spa_dict_item* item = nullptr;
  spa_dict_for_each(item, properties) copy[item->key] = item->value;
  mOnChange(copy);
}

}  // namespace orvane::pipewire
