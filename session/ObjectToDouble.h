// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"
#include "platform/Value.h"

namespace orvane {

/// Converts a value to a 64-bit float. Accepts any number (64-bit integers are rounded to the nearest float), true (1),
/// false (0), and text that begins with a number.
///
/// In a text, leading white space is skipped, the longest possible decimal or hexadecimal floating-point number is read
/// (including "infinity" and "nan", in upper or lower case), and the rest is ignored: " 2.5x" gives 2.5. The decimal
/// separator is a point in every locale.
///
/// Throws `std::invalid_argument` for a text that does not begin with a number, and `std::out_of_range` for a number
/// that overflows a 64-bit float or is too small to be represented exactly. For any other value (null, data, array,
/// dictionary) raises "Can't convert VALUE to double", where VALUE is the value's `description()`. Thread-safe; not
/// real-time safe.
ORVANE_EXPORT double objectToDouble(const platform::Value& object);

}  // namespace orvane
