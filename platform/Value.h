#pragma once

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "platform/NumberText.h"

namespace orvane::platform {

/// The host's generic value: what JSON objects, loosely typed numbers and property dictionaries are made of.
///
/// A plain value: copying copies everything below it. A dictionary keeps the order in which its keys were set.
class Value {
 public:
  struct Member;
  using Data = std::vector<std::uint8_t>;
  using Array = std::vector<Value>;
  using Dictionary = std::vector<Member>;

  // Special members are defined below, where `Member` is complete.
  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  Value();  ///< Null: also what stands for an absent object.
  Value(bool value);
  template <typename Integer>
  requires(std::is_integral_v<Integer> && !std::is_same_v<Integer, bool>) Value(Integer value)
      : Value(Wide{static_cast<std::int64_t>(value)}) {}
  Value(double value);
  Value(const char* text);
  Value(std::string text);
  Value(std::string_view text);
  Value(Data data);
  Value(Array array);
  Value(Dictionary dictionary);

  /// A dictionary with these members, in this order.
  static Value dictionary(std::initializer_list<std::pair<std::string_view, Value>> members = {});

  bool isNull() const { return std::holds_alternative<std::monostate>(mContent); }
  /// The content as one of the alternatives, or null where it is another kind.
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
  /// Sets `key` of a dictionary, in place where it exists, else at the end. Null becomes an empty dictionary first.
  Value& set(std::string_view key, Value value);

  /// A readable text, close to JSON; data as "<00 11 FF>", null as "(null)".
  std::string description() const;

  bool operator==(const Value& other) const;

 private:
  struct Wide {
    std::int64_t integer;
  };
  Value(Wide wide);

  std::variant<std::monostate, bool, std::int64_t, double, std::string, Data, Array, Dictionary> mContent;
};

struct Value::Member {
  std::string key;
  Value value;
  bool operator==(const Member&) const = default;
};

inline Value::Value(const Value& other) = default;
inline Value::Value(Value&& other) noexcept = default;
inline Value& Value::operator=(const Value& other) = default;
inline Value& Value::operator=(Value&& other) noexcept = default;
inline Value::~Value() = default;

inline Value::Value() = default;
inline Value::Value(bool value) : mContent(value) {}
inline Value::Value(double value) : mContent(value) {}
inline Value::Value(const char* text) : mContent(std::string(text)) {}
inline Value::Value(std::string text) : mContent(std::move(text)) {}
inline Value::Value(std::string_view text) : mContent(std::string(text)) {}
inline Value::Value(Data data) : mContent(std::move(data)) {}
inline Value::Value(Array array) : mContent(std::move(array)) {}
inline Value::Value(Dictionary dictionary) : mContent(std::move(dictionary)) {}
inline Value::Value(Wide wide) : mContent(wide.integer) {}

inline bool Value::operator==(const Value& other) const {
  return mContent == other.mContent;
}

inline Value Value::dictionary(std::initializer_list<std::pair<std::string_view, Value>> members) {
  Dictionary result;
  result.reserve(members.size());
  for (const auto& [key, value] : members) result.push_back({std::string(key), value});
  return result;
}

inline const Value* Value::find(std::string_view key) const {
  if (const Dictionary* members = as<Dictionary>()) {
    for (const Member& member : *members) {
      if (member.key == key) return &member.value;
    }
  }
  return nullptr;
}

inline Value& Value::set(std::string_view key, Value value) {
  if (isNull()) mContent = Dictionary();
  if (Dictionary* members = as<Dictionary>()) {
    for (Member& member : *members) {
      if (member.key == key) return member.value = std::move(value);
    }
    members->push_back({std::string(key), std::move(value)});
    return members->back().value;
  }
  return *this;
}

inline std::string Value::description() const {
  const auto list = [](char open, const auto& items, const auto& text, char close) {
    std::string result(1, open);
    for (const auto& item : items) {
      if (result.size() > 1) result += ", ";
      result += text(item);
    }
    return result + close;
  };
  if (const bool* flag = as<bool>()) return *flag ? "true" : "false";
  if (const std::int64_t* integer = as<std::int64_t>()) return std::to_string(*integer);
  if (const double* number = as<double>()) return numberText(*number);
  if (const std::string* text = as<std::string>()) return *text;
  if (const Data* data = as<Data>()) {
    std::string result = "<";
    for (const std::uint8_t byte : *data) {
      char digits[4];
      std::snprintf(digits, sizeof digits, "%s%02X", result.size() > 1 ? " " : "", byte);
      result += digits;
    }
    return result + ">";
  }
  if (const Array* array = as<Array>())
    return list(
        '[', *array, [](const Value& item) { return item.description(); }, ']');
  if (const Dictionary* members = as<Dictionary>()) {
    return list(
        '{', *members, [](const Member& item) { return item.key + ": " + item.value.description(); }, '}');
  }
  return "(null)";
}

}  // namespace orvane::platform
