// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Json.h"
#include "platform/Value.h"

namespace orvane::host {

/// The host's implementation of `platform::Json`, based on nlohmann's JSON library. Has no state.
class HostJson final : public platform::Json {
 public:
  std::optional<std::string> write(const platform::Value& value, bool pretty) const override;
  platform::Value read(std::string_view text) const override;
};

}  // namespace orvane::host
