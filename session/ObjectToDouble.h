// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"
#include "platform/Value.h"

namespace orvane {

/// A loosely typed value as a 64-bit float: a number of any kind, true and false as 1 and 0, or the number that a text
/// begins with.
///
/// Of a text, leading white space is skipped, the longest decimal or hexadecimal floating-point number is read
/// ("infinity" and "nan" in all their spellings included), and what follows is ignored: " 2.5x" is 2.5. The decimal
/// point is always a point, whatever the locale.
///
/// Throws `std::invalid_argument` for a text that does not begin with a number, and `std::out_of_range` for one whose
/// number is too large, or too small to be held exactly; raises "Can't convert %@ to double" for anything else, null
/// included. Any thread except the device callback.
ORVANE_EXPORT double objectToDouble(const platform::Value& object);

}  // namespace orvane
