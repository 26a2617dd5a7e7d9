// SPDX-License-Identifier: MIT
#include "session/ObjectToDouble.h"

#include <locale.h>
#include <stdlib.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "session/OVThrow.h"

namespace orvane {

namespace {

/// Returns the "C" locale, in which numbers are parsed. It is never freed.
locale_t plainLocale() {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", locale_t());
  return plain;
}

/// Parses a number as `std::stod` does, but independently of the process's locale, and with the text in the messages of
/// its exceptions.
double textToDouble(const std::string& text) {
  const int savedErrno = errno;
  errno = 0;
  char* end = nullptr;
  const double number = strtod_l(text.c_str(), &end, plainLocale());
  const bool outOfRange = errno == ERANGE;
  errno = savedErrno;
  if (end == text.c_str()) throw std::invalid_argument("\"" + text + "\" does not begin with a number");
  if (outOfRange) throw std::out_of_range("\"" + text + "\" is out of the range of a 64-bit float");
  return number;
}

}  // namespace

double objectToDouble(const platform::Value& object) {
  if (const bool* flag = object.as<bool>()) return *flag ? 1 : 0;
  if (const std::int64_t* integer = object.as<std::int64_t>()) return static_cast<double>(*integer);
  if (const std::uint64_t* large = object.as<std::uint64_t>()) return static_cast<double>(*large);
  if (const double* number = object.as<double>()) return *number;
  if (const std::string* text = object.as<std::string>()) return textToDouble(*text);
  _OVThrowMsg("Can't convert " + object.description() + " to double");
}

}  // namespace orvane
