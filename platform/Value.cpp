#include "platform/Value.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <unordered_map>
#include <utility>

#include "platform/NumberText.h"
#include "platform/PlatformException.h"

namespace orvane::platform {

namespace {

void keepLastOfEqualKeys(Value::Dictionary& members) {
  std::unordered_map<std::string, std::size_t> places;
  std::size_t count = 0;
  for (Value::Member& member : members) {
    const auto [entry, isNew] = places.emplace(member.key, count);
    Value::Member& place = members[entry->second];
    if (&place != &member) place = std::move(member);
    if (isNew) ++count;
  }
  members.resize(count);
}

const char* kindOf(const Value& value) {
  if (value.as<bool>()) return "a boolean";
  if (value.as<std::int64_t>() || value.as<std::uint64_t>()) return "an integer";
  if (value.as<double>()) return "a float";
  if (value.as<std::string>()) return "a text";
  if (value.as<Value::Data>()) return "data";
  if (value.as<Value::Array>()) return "an array";
  return value.as<Value::Dictionary>() ? "a dictionary" : "null";
}

std::string dataText(const Value::Data& data) {
  std::string result = "<";
  for (const std::uint8_t byte : data) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%s%02X", result.size() > 1 ? " " : "", byte);
    result += digits;
  }
  return result + ">";
}

}  // namespace

Value::Value() = default;
Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;
Value::~Value() = default;

// By way of another value: what is assigned may stand inside what goes.
Value& Value::operator=(const Value& other) {
  return *this = Value(other);
}
Value& Value::operator=(Value&& other) noexcept {
  Value taken(std::move(other));
  mContent.swap(taken.mContent);
  return *this;
}

Value::Value(FromFlag from) : mContent(from.flag) {}
Value::Value(FromFloat from) : mContent(from.number) {}
Value::Value(FromInteger from) {
  constexpr auto maxSigned = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (from.isNegative || from.bits <= maxSigned) {
    mContent = static_cast<std::int64_t>(from.bits);
  } else {
    mContent = from.bits;
  }
}
Value::Value(const char* text) {
  if (text != nullptr) mContent = std::string(text);
}
Value::Value(std::string text) : mContent(std::move(text)) {}
Value::Value(std::string_view text) : mContent(std::string(text)) {}
Value::Value(Data data) : mContent(std::move(data)) {}
Value::Value(Array array) : mContent(std::move(array)) {}
Value::Value(Dictionary dictionary) {
  keepLastOfEqualKeys(dictionary);
  mContent = std::move(dictionary);
}

bool Value::operator==(const Value& other) const {
  const auto equalIntegers = [](const Value& one, const Value& another) {
    const auto* integer = one.as<std::int64_t>();
    const auto* large = another.as<std::uint64_t>();
    return integer != nullptr && large != nullptr && std::cmp_equal(*integer, *large);
  };
  return mContent == other.mContent || equalIntegers(*this, other) || equalIntegers(other, *this);
}

Value Value::dictionary(std::initializer_list<std::pair<std::string_view, Value>> members) {
  Dictionary result;
  result.reserve(members.size());
  for (const auto& [key, value] : members) result.push_back({std::string(key), value});
  return result;
}

const Value* Value::find(std::string_view key) const {
  if (const Dictionary* members = as<Dictionary>()) {
    const auto member = std::ranges::find(*members, key, &Member::key);
    if (member != members->end()) return &member->value;
  }
  return nullptr;
}

Value& Value::set(std::string_view key, Value value) {
  if (isNull()) mContent = Dictionary();
  Dictionary* const members = as<Dictionary>();
  if (members == nullptr) {
    throw PlatformException("ValueException", "cannot set \"" + std::string(key) + "\": the value is " + kindOf(*this) +
                                                  ", and a dictionary is needed");
  }
  const auto member = std::ranges::find(*members, key, &Member::key);
  if (member != members->end()) {
    member->value = std::move(value);
  } else {
    members->push_back({std::string(key), std::move(value)});
  }
  return *this;
}

std::string Value::description() const {
  const auto list = [](char open, const auto& items, const auto& text, char close) {
    std::string result(1, open);
    for (const auto& item : items) {
      if (result.size() > 1) result += ", ";
      result += text(item);
    }
    return result + close;
  };
  if (const bool* flag = as<bool>()) return *flag ? "true" : "false";
  if (const auto* integer = as<std::int64_t>()) return std::to_string(*integer);
  if (const auto* large = as<std::uint64_t>()) return std::to_string(*large);
  if (const double* number = as<double>()) return numberText(*number);
  if (const std::string* text = as<std::string>()) return *text;
  if (const Data* data = as<Data>()) return dataText(*data);
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
