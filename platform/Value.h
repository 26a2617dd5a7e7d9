// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "platform/Export.h"

namespace orvane::platform {

/// Any integer type of up to 64 bits, except `bool` and the character types.
template <typename Number>
concept PlainInteger = std::integral<Number> && sizeof(Number) <= sizeof(std::int64_t) && !std::same_as<Number, bool> &&
                       !std::same_as<Number, char> && !std::same_as<Number, wchar_t> &&
                       !std::same_as<Number, char8_t> && !std::same_as<Number, char16_t> &&
                       !std::same_as<Number, char32_t>;

/// A generic value, used for JSON, for property dictionaries, and for numbers that may be integer or float. It holds
/// null, a boolean, an integer, a float, text, binary data, an array or a dictionary.
///
/// Has value semantics: copies are deep. A dictionary keeps the order in which its keys were set. Values may be nested
/// to any depth; copying, comparing and destroying them do not recurse. Text is not checked, but `Json::write` requires
/// UTF-8. Not real-time safe.
class ORVANE_EXPORT Value {
 public:
  struct Member;
  using Data = std::vector<std::uint8_t>;  ///< Bytes.
  using Array = std::vector<Value>;
  using Dictionary = std::vector<Member>;

  /// The maximum nesting depth of arrays and dictionaries that `Json` and `description` support.
  static constexpr int maxLevels = 64;
  /// The name of this class for use in messages.
  static constexpr char className[] = "Value";

  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  Value();  ///< Null, which also represents an absent object.
  // Templates, so that pointers and characters do not convert to booleans and floats.
  template <std::same_as<bool> Flag>
  Value(Flag value) : Value(FromFlag{value}) {}
  template <std::floating_point Number>
  requires(sizeof(Number) <= sizeof(double)) Value(Number value) : Value(FromFloat{value}) {}
  /// Stores the integer as `std::int64_t`, or as `std::uint64_t` if it is too large for that.
  template <PlainInteger Number>
  Value(Number value) : Value(FromInteger{static_cast<std::uint64_t>(value), value < Number{}}) {}
  Value(const char* text);  ///< Zero-terminated text; a null pointer gives null.
  Value(std::string text);
  Value(std::string_view text);
  Value(Data data);
  Value(Array array);
  /// Stores a dictionary. If a key occurs several times, keeps its last value, at the position of its first.
  Value(Dictionary dictionary);

  /// Returns a dictionary with these members in this order. If a key occurs several times, keeps its last value, at the
  /// position of its first.
  static Value dictionary(std::initializer_list<std::pair<std::string_view, Value>> members = {});

  bool isNull() const { return std::holds_alternative<std::monostate>(mContent); }
  /// Returns a pointer to the content if its type is `Kind`, otherwise null. `Kind` is one of `bool`, `std::int64_t`,
  /// `std::uint64_t`, `double`, `std::string`, `Data`, `Array` and `Dictionary`. Callers that add members to a
  /// dictionary through this pointer must keep the keys unique.
  template <typename Kind>
  const Kind* as() const {
    return std::get_if<Kind>(&mContent);
  }
  template <typename Kind>
  Kind* as() {
    return std::get_if<Kind>(&mContent);
  }

  /// Returns a pointer to the value of `key`, or null if the key is missing or this value is not a dictionary. The
  /// pointer is valid until the dictionary changes.
  const Value* find(std::string_view key) const;
  /// Sets the value of `key` in this dictionary, appending the key if it is missing, and returns `*this`. If this value
  /// is null, it becomes a dictionary. Throws `PlatformException` if this value is of any other kind.
  Value& set(std::string_view key, Value value);

  /// Returns a text for messages that resembles JSON without quotation marks. Data appears as "<00 11 FF>", null as
  /// "(null)", and an array or dictionary nested inside `maxLevels` others as "…".
  std::string description() const;

  /// Returns whether two values have the same kind and content; in dictionaries the order of keys must be the same.
  /// Signed and unsigned integers are compared by value. An integer never equals a float.
  bool operator==(const Value& other) const;

 private:
  struct FromFlag {
    bool flag;
  };
  struct FromFloat {
    double number;
  };
  struct FromInteger {
    std::uint64_t bits;  ///< Two's complement.
    bool isNegative;
  };
  explicit Value(FromFlag from);
  explicit Value(FromFloat from);
  explicit Value(FromInteger from);

  std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, Data, Array, Dictionary>
      mContent;
};

/// A member of a dictionary: a key and its value.
struct Value::Member {
  std::string key;
  Value value;
  bool operator==(const Member&) const = default;
};

}  // namespace orvane::platform
