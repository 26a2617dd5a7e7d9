// SPDX-License-Identifier: MIT
#include "platform/Value.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

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

/// Calls `use` with each direct child (array item or dictionary value) of `value`.
template <typename AnyValue, typename Use>
void forEachChild(AnyValue& value, const Use& use) {
  if (auto* array = value.template as<Value::Array>()) {
    for (auto& item : *array) use(item);
  } else if (auto* members = value.template as<Value::Dictionary>()) {
    for (auto& member : *members) use(member.value);
  }
}

bool hasChildren(const Value& value) {
  const auto* array = value.as<Value::Array>();
  const auto* members = value.as<Value::Dictionary>();
  return (array && !array->empty()) || (members && !members->empty());
}

template <typename First, typename Second>
using PairsToVisit = std::vector<std::pair<First*, Second*>>;

/// Returns whether two arrays or dictionaries have the same length and keys, and appends the pairs of their children to
/// `pending`.
template <typename Container>
bool compareOuter(const Container& one, const Container& other, PairsToVisit<const Value, const Value>& pending) {
  if (one.size() != other.size()) return false;
  for (std::size_t i = 0; i < one.size(); ++i) {
    if constexpr (std::is_same_v<Container, Value::Dictionary>) {
      if (one[i].key != other[i].key) return false;
      pending.emplace_back(&one[i].value, &other[i].value);
    } else {
      pending.emplace_back(&one[i], &other[i]);
    }
  }
  return true;
}

std::string described(const Value& value, int levelsLeft);

template <typename Items, typename Text>
std::string describedList(char open, const Items& items, const Text& text, char close) {
  std::string result(1, open);
  for (const auto& item : items) {
    if (result.size() > 1) result += ", ";
    result += text(item);
  }
  return result + close;
}

std::string describedContainer(const Value& value, int levelsLeft) {
  if (levelsLeft == 0) return "…";
  const auto inner = [levelsLeft](const Value& item) { return described(item, levelsLeft - 1); };
  if (const auto* array = value.as<Value::Array>()) return describedList('[', *array, inner, ']');
  const auto text = [&inner](const Value::Member& member) { return member.key + ": " + inner(member.value); };
  return describedList('{', *value.as<Value::Dictionary>(), text, '}');
}

std::string described(const Value& value, int levelsLeft) {
  if (const auto* flag = value.as<bool>()) return *flag ? "true" : "false";
  if (const auto* integer = value.as<std::int64_t>()) return std::to_string(*integer);
  if (const auto* large = value.as<std::uint64_t>()) return std::to_string(*large);
  if (const auto* number = value.as<double>()) return numberText(*number);
  if (const auto* text = value.as<std::string>()) return *text;
  if (const auto* data = value.as<Value::Data>()) return dataText(*data);
  return value.isNull() ? "(null)" : describedContainer(value, levelsLeft);
}

}  // namespace

Value::Value() = default;
Value::Value(const Value& other) {
  PairsToVisit<const Value, Value> pending{{&other, this}};
  while (!pending.empty()) {
    const auto [from, to] = pending.back();
    pending.pop_back();
    if (const Array* array = from->as<Array>()) {
      Array& copies = to->mContent.emplace<Array>(array->size());
      for (std::size_t i = 0; i < copies.size(); ++i) pending.emplace_back(&(*array)[i], &copies[i]);
    } else if (const Dictionary* members = from->as<Dictionary>()) {
      Dictionary& copies = to->mContent.emplace<Dictionary>();
      copies.reserve(members->size());
      for (const Member& member : *members) {
        pending.emplace_back(&member.value, &copies.emplace_back(Member{member.key, {}}).value);
      }
    } else {
      to->mContent = from->mContent;
    }
  }
}
Value::Value(Value&& other) noexcept = default;
Value::~Value() {
  Array pending;
  const auto take = [&pending](Value& child) {
    if (hasChildren(child)) pending.push_back(std::move(child));
  };
  forEachChild(*this, take);
  while (!pending.empty()) {
    Value last = std::move(pending.back());
    pending.pop_back();
    forEachChild(last, take);
  }
}

// Copies into a temporary first, because `other` may be part of this value.
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
  PairsToVisit<const Value, const Value> pending{{this, &other}};
  while (!pending.empty()) {
    const auto [left, right] = pending.back();
    pending.pop_back();
    if (left->as<Array>() && right->as<Array>()) {
      if (!compareOuter(*left->as<Array>(), *right->as<Array>(), pending)) return false;
    } else if (left->as<Dictionary>() && right->as<Dictionary>()) {
      if (!compareOuter(*left->as<Dictionary>(), *right->as<Dictionary>(), pending)) return false;
    } else if (left->mContent != right->mContent && !equalIntegers(*left, *right) && !equalIntegers(*right, *left)) {
      return false;
    }
  }
  return true;
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
  return described(*this, maxLevels);
}

}  // namespace orvane::platform
