// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/Export.h"

/// A four-character code as readable text, in apostrophes where it is characters: 'rioc', -50, 0x30d40.
///
/// Characters are shown when all four, most significant byte first, are printable ASCII (the blank to the tilde).
/// Otherwise codes from -199999 to 199999 are shown in signed decimal, all others as "0x" and lower-case hexadecimal
/// without leading zeros. Real-time safe: no allocation, no locale.
class ORVANE_EXPORT PXX4CCString {
 public:
  explicit PXX4CCString(std::int32_t code) noexcept;

  /// The text, ended by a zero character, inside this object: valid as long as the object is.
  const char* c_str() const noexcept { return mText; }

 private:
  char mText[16] = {};
};

/// The same without the apostrophes: rioc, -50, 0x30d40.
class ORVANE_EXPORT PXX4CCStringNoQuote {
 public:
  explicit PXX4CCStringNoQuote(std::int32_t code) noexcept;

  /// The text, ended by a zero character, inside this object: valid as long as the object is.
  const char* c_str() const noexcept { return mText; }

 private:
  char mText[16] = {};
};
