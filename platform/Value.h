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

/// An integer of up to 64 bits; `bool` and the character types are none.
template <typename Number>
concept PlainInteger = std::integral<Number> && sizeof(Number) <= sizeof(std::int64_t) && !std::same_as<Number, bool> &&
                       !std::same_as<Number, char> && !std::same_as<Number, wchar_t> &&
                       !std::same_as<Number, char8_t> && !std::same_as<Number, char16_t> &&
                       !std::same_as<Number, char32_t>;

/// The host's generic value: what JSON objects, loosely typed numbers and property dictionaries are made of.
///
/// A plain value: copying copies everything below it. A dictionary keeps the order in which its keys were set. Values
/// may be nested to any depth: copying, comparing and destroying them do not recurse. Not real-time safe.
class ORVANE_EXPORT Value {
 public:
  struct Member;
  using Data = std::vector<std::uint8_t>;
  using Array = std::vector<Value>;
  using Dictionary = std::vector<Member>;

  /// How many arrays and dictionaries may stand inside each other for JSON, and for `description` to show them.
  static constexpr int maxLevels = 64;

  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  Value();  ///< Null: also what stands for an absent object.
  // Exactly a truth value or a float: otherwise pointers and characters would convert to one.
  template <std::same_as<bool> Flag>
  Value(Flag value) : Value(FromFlag{value}) {}
  template <std::floating_point Number>
  requires(sizeof(Number) <= sizeof(double)) Value(Number value) : Value(FromFloat{value}) {}
  /// Held as `std::int64_t`; as `std::uint64_t` where it is larger than that can be.
  template <PlainInteger Number>
  Value(Number value) : Value(FromInteger{static_cast<std::uint64_t>(value), value < Number{}}) {}
  Value(const char* text);  ///< Null where `text` is null.
  Value(std::string text);
  Value(std::string_view text);
  Value(Data data);
  Value(Array array);
  /// Of members with equal keys the value of the last stays, at the place of the first.
  Value(Dictionary dictionary);

  /// A dictionary with these members, in this order; equal keys as above.
  static Value dictionary(std::initializer_list<std::pair<std::string_view, Value>> members = {});

  bool isNull() const { return std::holds_alternative<std::monostate>(mContent); }
  /// The content as one of the alternatives (`bool`, `std::int64_t`, `std::uint64_t`, `double`, `std::string`, `Data`,
  /// `Array`, `Dictionary`), or null where it is another kind. Who adds members to a dictionary through it keeps their
  /// keys unique.
  template <typename Kind>
  const Kind* as() const {
    return std::get_if<Kind>(&mContent);
  }
  template <typename Kind>
  Kind* as() {
    return std::get_if<Kind>(&mContent);
  }

  /// The value at `key` of a dictionary; null where there is none or this is no dictionary.
  const Value* find(std::string_view key) const;
  /// Sets `key` of a dictionary, in place where it exists, else at the end, and returns the dictionary. Null becomes an
  /// empty dictionary first. Throws `PlatformException` for any other kind.
  Value& set(std::string_view key, Value value);

  /// A readable text, close to JSON; data as "<00 11 FF>", null as "(null)", an array or dictionary inside
  /// `maxLevels` others as "…".
  std::string description() const;

  /// Integers are equal where their values are; an integer never equals a float.
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

struct Value::Member {
  std::string key;
  Value value;
  bool operator==(const Member&) const = default;
};

}  // namespace orvane::platform
