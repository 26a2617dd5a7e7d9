// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/Export.h"

/// Renders a four-character code as text: 'rioc', -50, 0x30d40.
///
/// If all four bytes are printable ASCII (space to tilde), the text is the characters in apostrophes, most significant
/// byte first. Other codes from -199999 to 199999 are rendered in signed decimal, and all others as "0x" and lower-case
/// hexadecimal without leading zeros. Accepts every code; does not depend on the locale. Real-time safe.
class ORVANE_EXPORT PXX4CCString {
 public:
  explicit PXX4CCString(std::int32_t code) noexcept;

  /// Returns the zero-terminated text, at most 10 characters, which is part of this object.
  const char* c_str() const noexcept { return mText; }

 private:
  char mText[16] = {};
};

/// Renders a code as `PXX4CCString` does, without the apostrophes: rioc, -50, 0x30d40.
class ORVANE_EXPORT PXX4CCStringNoQuote {
 public:
  explicit PXX4CCStringNoQuote(std::int32_t code) noexcept;

  /// Returns the zero-terminated text, at most 10 characters, which is part of this object.
  const char* c_str() const noexcept { return mText; }

 private:
  char mText[16] = {};
};
