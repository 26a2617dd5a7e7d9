// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Value.h"

namespace orvane::platform {

/// The host's JSON writer and reader. Any thread; not real-time safe.
class ORVANE_EXPORT Json {
 public:
  virtual ~Json() = default;

  /// The value as UTF-8 JSON text without a newline at its end: compact, or indented over several lines when `pretty`.
  /// Dictionaries keep their order. Nothing where the value holds data or text that is not UTF-8, or where more than 64
  /// (`Value::maxLevels`) arrays and dictionaries stand inside each other. A float that is infinite or not a number is
  /// written as null.
  virtual std::optional<std::string> write(const Value& value, bool pretty) const = 0;

  /// Reads one JSON text, at most 64 levels deep. Throws `PlatformException` that says where the text is wrong.
  virtual Value read(std::string_view text) const = 0;
};

}  // namespace orvane::platform
