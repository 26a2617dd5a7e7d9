// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Value.h"

namespace orvane::simulated {

/// A value in a scenario, with its place for messages: `faults[2].status`. The value and the source must outlive the
/// node.
class ScenarioNode {
 public:
  /// Makes the node of the whole scenario. Messages begin with `source`.
  ScenarioNode(const platform::Value& value, const std::string& source) : mValue(value), mSource(source) {}

  /// Throws `platform::PlatformException` with the text "SOURCE: PLACE: REASON".
  [[noreturn]] void refuse(const std::string& reason) const;

  /// Returns the value as the given kind; throws as `refuse` does for another kind and a number out of range.
  std::vector<ScenarioNode> members() const;
  std::vector<ScenarioNode> items() const;
  const std::string& text() const;
  double number(double min, double max, const std::string& unit) const;
  /// Also accepts a float without a fraction.
  std::int64_t wholeNumber(std::int64_t min, std::int64_t max) const;

  /// Returns the key of a member.
  const std::string& key() const { return mKey; }
  /// Returns the member with this key; throws as `refuse` does if it is missing, with its `meaning`.
  ScenarioNode member(std::string_view key, const std::string& meaning) const;
  /// Returns the node's place: "faults[2].status"; empty for the whole scenario.
  std::string place() const { return mPlace; }
  /// Returns "SOURCE: PLACE".
  std::string where() const { return mSource + ": " + mPlace; }

  /// Throws as `refuse` does: `wanted` is needed, not the value.
  [[noreturn]] void need(const std::string& wanted) const;

 private:
  ScenarioNode(const ScenarioNode& parent, const platform::Value::Member& member);
  ScenarioNode(const ScenarioNode& parent, const platform::Value& item, std::size_t index);

  const platform::Value& mValue;
  const std::string& mSource;
  std::string mPlace;
  std::string mKey;
};

/// Throws as `ScenarioNode::refuse` does for a member whose key is not among `known`.
[[noreturn]] void refuseKey(const ScenarioNode& member, std::span<const std::string_view> known);

/// A key of an object, and the function that reads its member into `Target`.
template <typename Target>
struct ScenarioKey {
  std::string_view name;
  void (*read)(Target&, const ScenarioNode&);
};

/// Reads every member of an object into `target`; throws for unknown keys and wrong values.
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
