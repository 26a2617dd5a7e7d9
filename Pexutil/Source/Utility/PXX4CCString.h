// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/Export.h"

/// The text form of a four-character code, such as 'rioc', -50 or 0x30d40.
///
/// If all four bytes are printable ASCII (space to tilde), the text consists of these four characters in apostrophes,
/// most significant byte first. Any other code from -199999 to 199999 is shown as a signed decimal number, and all
/// remaining codes as "0x" and lower-case hexadecimal digits without leading zeros. Does not depend on the locale.
/// Real-time safe.
class ORVANE_EXPORT PXX4CCString {
 public:
  explicit PXX4CCString(std::int32_t code) noexcept;

  /// Returns the zero-terminated text of up to 10 characters, which lives as long as this object.
  const char* c_str() const noexcept { return mText; }

 private:
  char mText[16] = {};
};

/// The text form of a four-character code without apostrophes, such as rioc, -50 or 0x30d40; otherwise like
/// `PXX4CCString`.
class ORVANE_EXPORT PXX4CCStringNoQuote {
 public:
  explicit PXX4CCStringNoQuote(std::int32_t code) noexcept;

  /// Returns the zero-terminated text of up to 10 characters, which lives as long as this object.
  const char* c_str() const noexcept { return mText; }

 private:
  char mText[16] = {};
};
