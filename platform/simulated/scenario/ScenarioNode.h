// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Value.h"

namespace orvane::simulated {

/// A value in a scenario, together with its place for use in messages, such as "faults[2].status". The value and the
/// source must outlive the node.
class ScenarioNode {
 public:
  /// Creates the node of the whole scenario. `source` is the beginning of all messages.
  ScenarioNode(const platform::Value& value, const std::string& source) : mValue(value), mSource(source) {}

  /// Throws a `platform::PlatformException` with the text "SOURCE: PLACE: REASON".
  [[noreturn]] void refuse(const std::string& reason) const;

  /// Returns the members of an object. Throws as `refuse` does if the value is not an object.
  std::vector<ScenarioNode> members() const;
  /// Returns the items of an array. Throws as `refuse` does if the value is not an array.
  std::vector<ScenarioNode> items() const;
  /// Returns a text. Throws as `refuse` does if the value is not a text.
  const std::string& text() const;
  /// Returns a number. Throws as `refuse` does if the value is not a number from `min` to `max`; the message then
  /// contains `unit`.
  double number(double min, double max, const std::string& unit) const;
  /// Returns a whole number from `min` to `max`; throws as `refuse` does for any other value. A float without a
  /// fraction is accepted.
  std::int64_t wholeNumber(std::int64_t min, std::int64_t max) const;

  /// Returns true or false. Throws as `refuse` does if the value is neither.
  bool flag() const;
  /// Returns the value itself.
  const platform::Value& value() const { return mValue; }

  /// Returns the key of this node, if it is a member of an object; otherwise an empty text.
  const std::string& key() const { return mKey; }
  /// Returns the member with this key. If it is missing, throws as `refuse` does, with a message that contains
  /// `meaning`.
  ScenarioNode member(std::string_view key, const std::string& meaning) const;
  /// Returns the node's place, such as "faults[2].status"; the place of the whole scenario is empty.
  std::string place() const { return mPlace; }
  /// Returns the source and the place: "SOURCE: PLACE".
  std::string where() const { return mSource + ": " + mPlace; }

  /// Throws as `refuse` does, with a message that shows the value and says that `wanted` is needed instead.
  [[noreturn]] void need(const std::string& wanted) const;

 private:
  ScenarioNode(const ScenarioNode& parent, const platform::Value::Member& member);
  ScenarioNode(const ScenarioNode& parent, const platform::Value& item, std::size_t index);

  const platform::Value& mValue;
  const std::string& mSource;
  std::string mPlace;
  std::string mKey;
};

/// Throws, as `ScenarioNode::refuse` does, the exception for a member with an unknown key. `known` are the keys to list
/// in the message.
[[noreturn]] void refuseKey(const ScenarioNode& member, std::span<const std::string_view> known);

/// A key that an object may have, and the function that stores the member with this key in a `Target`.
template <typename Target>
struct ScenarioKey {
  std::string_view name;
  void (*read)(Target&, const ScenarioNode&);
};

/// Reads every member of a JSON object into `target`. Throws a `platform::PlatformException` for unknown keys and
/// invalid values.
template <typename Target, std::size_t count>
void readMembers(const ScenarioNode& object, const std::array<ScenarioKey<Target>, count>& keys, Target& target) {
  for (const ScenarioNode& member : object.members()) {
    const auto key = std::ranges::find(keys, member.key(), &ScenarioKey<Target>::name);
    if (key == keys.end()) {
      std::array<std::string_view, count> names;
      std::ranges::transform(keys, names.begin(), &ScenarioKey<Target>::name);
      refuseKey(member, names);
    }
    key->read(target, member);
  }
}

}  // namespace orvane::simulated
