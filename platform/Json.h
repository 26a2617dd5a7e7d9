// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/Value.h"

namespace orvane::platform {

/// The JSON service: converts between `Value` objects and JSON text. Thread-safe; not real-time safe.
class ORVANE_EXPORT Json {
 public:
  virtual ~Json() = default;

  /// Returns the value as UTF-8 JSON text without a final newline: on one line, or indented by two spaces if `pretty`.
  /// Dictionaries keep their order. Finite floats read back as the same float and always show a fraction or an exponent
  /// (48000.0); infinite floats and not-a-number become null. The result does not depend on the locale.
  ///
  /// Returns `std::nullopt` if the value contains binary data (`Value::Data`) or text that is not UTF-8, or if its
  /// arrays and dictionaries are nested more than `Value::maxLevels` (64) deep.
  virtual std::optional<std::string> write(const Value& value, bool pretty) const = 0;

  /// Parses one JSON text and returns its value. An integer outside the range of signed and unsigned 64-bit integers
  /// becomes a float.
  ///
  /// Throws `PlatformException`, with the line and column, for invalid JSON, invalid UTF-8, a key that occurs twice in
  /// one object, nesting deeper than `Value::maxLevels` (64), or a number that overflows a 64-bit float.
  virtual Value read(std::string_view text) const = 0;
};

}  // namespace orvane::platform
