// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Json.h"

namespace orvane::host {

/// The host's JSON writer and reader; keeps no state.
///
/// Writing: numbers do not depend on the locale; a float reads back as the same float, and shows that it is one
/// (48000.0). The indented form is by two blanks.
///
/// Reading: a key that stands twice in one object is refused, as is text that is no UTF-8. A whole number that no
/// 64-bit integer holds, signed or unsigned, becomes a float; one that no float holds is refused.
class HostJson final : public platform::Json {
 public:
  std::optional<std::string> write(const platform::Value& value, bool pretty) const override;
  platform::Value read(std::string_view text) const override;
};

}  // namespace orvane::host
