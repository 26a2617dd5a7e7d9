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

/// A value in a scenario and the place where it stands, as messages name it: `faults[2].status`. The value and the
/// source outlive the node.
class ScenarioNode {
 public:
  /// The whole scenario. Messages begin with `source`.
  ScenarioNode(const platform::Value& value, const std::string& source) : mValue(value), mSource(source) {}

  /// Throws `platform::PlatformException`: the source, the place, the reason.
  [[noreturn]] void refuse(const std::string& reason) const;

  /// The value as that kind; throws as `refuse` does if it is another kind or out of range.
  std::vector<ScenarioNode> members() const;
  std::vector<ScenarioNode> items() const;
  const std::string& text() const;
  double number(double min, double max, const std::string& unit) const;
  /// A float without a fraction is a whole number too.
  std::int64_t wholeNumber(std::int64_t min, std::int64_t max) const;

  /// The key under which a member stands.
  const std::string& key() const { return mKey; }
  /// The member of that key, which must be there; `meaning` says what it would hold.
  ScenarioNode member(std::string_view key, const std::string& meaning) const;
  /// The node's place as messages name it: "faults[2].status"; empty for the whole scenario.
  std::string place() const { return mPlace; }
  /// The same with the source before it.
  std::string where() const { return mSource + ": " + mPlace; }

  /// Refuses the value as something else than `wanted`.
  [[noreturn]] void need(const std::string& wanted) const;

 private:
  ScenarioNode(const ScenarioNode& parent, const platform::Value::Member& member);
  ScenarioNode(const ScenarioNode& parent, const platform::Value& item, std::size_t index);

  const platform::Value& mValue;
  const std::string& mSource;
  std::string mPlace;
  std::string mKey;
};

/// Refuses a member whose key is none of `known`.
[[noreturn]] void refuseKey(const ScenarioNode& member, std::span<const std::string_view> known);

/// How a member of an object is read into `Target`.
template <typename Target>
struct ScenarioKey {
  std::string_view name;
  void (*read)(Target&, const ScenarioNode&);
};

/// Reads every member of an object as its key says.
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
