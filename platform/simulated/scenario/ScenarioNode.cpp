// SPDX-License-Identifier: MIT
#include "platform/simulated/scenario/ScenarioNode.h"

#include <cmath>

#include "platform/NumberText.h"
#include "platform/simulated/scenario/Refuse.h"

namespace orvane::simulated {

using platform::Value;

namespace {

/// Returns text from a file for use in messages: truncated to 80 bytes, with control characters replaced.
std::string shown(const std::string& text) {
  constexpr std::size_t maxBytes = 80;
  std::size_t end = std::min(text.size(), maxBytes);
  const auto isInsideCharacter = [&] { return end < text.size() && (static_cast<unsigned char>(text[end]) >> 6) == 2; };
  while (end > 0 && isInsideCharacter()) --end;
  std::string result = text.substr(0, end);
  std::ranges::replace_if(
      result, [](char character) { return static_cast<unsigned char>(character) < ' ' || character == '\x7F'; }, '?');
  return end < text.size() ? result + "…" : result;
}

std::string shown(const Value& value) {
  if (value.isNull()) return "null";
  if (const std::string* text = value.as<std::string>()) return '"' + shown(*text) + '"';
  if (const double* number = value.as<double>()) return platform::numberText(*number);
  return shown(value.description());
}

}  // namespace

ScenarioNode::ScenarioNode(const ScenarioNode& parent, const Value::Member& member)
    : mValue(member.value),
      mSource(parent.mSource),
      mPlace(parent.mPlace + (parent.mPlace.empty() ? "" : ".") + shown(member.key)),
      mKey(member.key) {}

ScenarioNode::ScenarioNode(const ScenarioNode& parent, const Value& item, std::size_t index)
    : mValue(item), mSource(parent.mSource), mPlace(parent.mPlace + "[" + std::to_string(index) + "]") {}

void ScenarioNode::refuse(const std::string& reason) const {
  simulated::refuse(mPlace.empty() ? mSource : where(), reason);
}

void ScenarioNode::need(const std::string& wanted) const {
  refuse(wanted + " is needed, not " + shown(mValue));
}

std::vector<ScenarioNode> ScenarioNode::members() const {
  const auto* dictionary = mValue.as<Value::Dictionary>();
  if (dictionary == nullptr) need("an object");
  std::vector<ScenarioNode> nodes;
  for (const Value::Member& member : *dictionary) nodes.push_back(ScenarioNode(*this, member));
  return nodes;
}

std::vector<ScenarioNode> ScenarioNode::items() const {
  const auto* array = mValue.as<Value::Array>();
  if (array == nullptr) need("a list");
  std::vector<ScenarioNode> nodes;
  for (const Value& item : *array) nodes.push_back(ScenarioNode(*this, item, nodes.size()));
  return nodes;
}

const std::string& ScenarioNode::text() const {
  const auto* text = mValue.as<std::string>();
  if (text == nullptr) need("a text");
  return *text;
}

bool ScenarioNode::flag() const {
  const auto* flag = mValue.as<bool>();
  if (flag == nullptr) need("true or false");
  return *flag;
}

double ScenarioNode::number(double min, double max, const std::string& unit) const {
  const auto* whole = mValue.as<std::int64_t>();
  const auto* fraction = mValue.as<double>();
  const double number = whole != nullptr ? static_cast<double>(*whole) : fraction != nullptr ? *fraction : NAN;
  if (!(number >= min && number <= max)) {
    need("a number of " + unit + " from " + platform::numberText(min) + " to " + platform::numberText(max));
  }
  return number;
}

std::int64_t ScenarioNode::wholeNumber(std::int64_t min, std::int64_t max) const {
  const std::string wanted = "a whole number from " + std::to_string(min) + " to " + std::to_string(max);
  if (const auto* whole = mValue.as<std::int64_t>()) {
    if (*whole < min || *whole > max) need(wanted);
    return *whole;
  }
  const auto* fraction = mValue.as<double>();
  const bool isWhole = fraction != nullptr && *fraction == std::trunc(*fraction) &&
                       *fraction >= static_cast<double>(min) && *fraction <= static_cast<double>(max);
  if (!isWhole) need(wanted);
  return static_cast<std::int64_t>(*fraction);
}

ScenarioNode ScenarioNode::member(std::string_view key, const std::string& meaning) const {
  for (const ScenarioNode& member : members()) {
    if (member.key() == key) return member;
  }
  refuse("the key \"" + std::string(key) + "\" is missing: " + meaning);
}

void refuseKey(const ScenarioNode& member, std::span<const std::string_view> known) {
  std::string text = "unknown key; ";
  text += known.size() == 1 ? "the only key here is" : "the keys here are";
  const char* separator = " ";
  for (const std::string_view key : known) {
    text += separator + std::string(key);
    separator = ", ";
  }
  member.refuse(text);
}

}  // namespace orvane::simulated
