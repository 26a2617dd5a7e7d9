// SPDX-License-Identifier: MIT
#include "platform/Value.h"

#include <concepts>

#include "platform/Json.h"
#include "platform/Platform.h"
#include "session/ObjectToDouble.h"
#include "tests/support/Test.h"

namespace orvane::test {
namespace {

using namespace platform;

// A pointer must not convert to a boolean, nor a character to a number or a text.
template <typename... Others>
constexpr bool noneMakesAValue = (!std::constructible_from<Value, Others> && ...);
static_assert(noneMakesAValue<int*, void*, const void*, const Value*, const char**, void (*)(), int Value::*>);
static_assert(noneMakesAValue<char, wchar_t, char8_t, char16_t, char32_t>);
template <typename... Others>
constexpr bool eachMakesAValue = (std::constructible_from<Value, Others> && ...);
static_assert(
    eachMakesAValue<bool, std::int8_t, std::uint8_t, short, unsigned, long, unsigned long long, float, double>);
static_assert(eachMakesAValue<char*, const char*, char (&)[3], std::nullptr_t, std::string, std::string_view>);

std::string written(const Value& value) {
  return current().json->write(value, false).value_or("rejected");
}

TEST(Value, IntegersKeepTheirValueWhateverTheirSign) {
  const std::tuple<Value, const char*, double> cases[] = {{UINT64_MAX, "18446744073709551615", 0x1p64},
                                                          {0x8000000000000000U, "9223372036854775808", 0x1p63},
                                                          {0x7FFFFFFFFFFFFFFFU, "9223372036854775807", 0x1p63},
                                                          {INT64_MIN, "-9223372036854775808", -0x1p63}};
  for (const auto& [value, text, number] : cases) {
    EXPECT_EQ(written(value), text);
    EXPECT_EQ(value.description(), text);
    EXPECT_EQ(objectToDouble(value), number);
    EXPECT_EQ(current().json->read(text), value);
    for (const auto& [other, itsText, itsNumber] : cases) EXPECT_EQ(value == other, text == itsText);
  }
  EXPECT_NE(Value(UINT64_MAX), Value(-1));
  Value stored(UINT64_MAX);
  *stored.as<std::uint64_t>() = 5;
  EXPECT_EQ(stored, Value(5));
  EXPECT_EQ(Value(5), stored);
  EXPECT_EQ(Value(5U).as<std::uint64_t>(), nullptr);
  EXPECT_NE(Value(1), Value(1.0));
  EXPECT_TRUE(Value(static_cast<const char*>(nullptr)).isNull() && Value(nullptr).isNull());
}

TEST(Value, SettersChainAddSiblingsAndRefuseWhatIsNoDictionary) {
  Value chained;
  chained.set("a", 1).set("b", 2).set("a", 3);
  EXPECT_EQ(written(chained), R"({"a":3,"b":2})");
  const std::pair<Value, const char*> others[] = {
      {true, "a boolean"}, {5, "an integer"},        {UINT64_MAX, "an integer"},   {0.5, "a float"},
      {"text", "a text"},  {Value::Data{1}, "data"}, {Value::Array{1}, "an array"}};
  for (const auto& [value, kind] : others) {
    Value changed = value;
    EXPECT_EQ(reasonOf([&] { changed.set("key", 1); }),
              std::string("cannot set \"key\": the value is ") + kind + ", and a dictionary is needed");
    EXPECT_EQ(changed, value);
  }
}

TEST(Value, TheLastOfEqualKeysWinsInPlace) {
  for (const Value& value :
       {Value::dictionary({{"a", 1}, {"b", 2}, {"a", 3}}), Value(Value::Dictionary{{"a", 1}, {"b", 2}, {"a", 3}})}) {
    EXPECT_EQ(written(value), R"({"a":3,"b":2})");
    EXPECT_EQ(value.description(), "{a: 3, b: 2}");
    EXPECT_EQ(*value.find("a"), Value(3));
  }
}

TEST(Value, TakesTheFormOfAValueInsideItself) {
  Value value = Value::Array{Value::dictionary({{"inner", Value::Array{"deep"}}})};
  value = std::move(value.as<Value::Array>()->front());
  EXPECT_EQ(value.description(), "{inner: [deep]}");
  value = *value.find("inner");
  EXPECT_EQ(value.description(), "[deep]");
}

/// Returns `innermost` nested inside `levels` arrays and dictionaries, which alternate.
Value nested(int levels, Value innermost = 1) {
  for (int level = 0; level < levels; ++level) {
    Value outer = level % 2 == 0 ? Value(Value::Array(1)) : Value(Value::Dictionary{{"k", {}}});
    (level % 2 == 0 ? outer.as<Value::Array>()->front() : outer.as<Value::Dictionary>()->front().value) =
        std::move(innermost);
    innermost = std::move(outer);
  }
  return innermost;
}

TEST(Value, IsWrittenAndDescribedDownToSixtyFourLevels) {
  EXPECT_EQ(current().json->read(written(nested(64))), nested(64));
  EXPECT_EQ(written(nested(65)), "rejected");
  EXPECT_THAT(nested(64).description(), HasSubstr("[1]"));
  EXPECT_THAT(nested(65).description(), HasSubstr("{k: [{k: …}]}"));
}

TEST(Value, AnyDepthIsCopiedComparedAndDestroyed) {
  const Value deep = nested(100'000);
  EXPECT_EQ(written(deep), "rejected");
  EXPECT_LT(deep.description().size(), 1000U);
  Value copy = deep;
  EXPECT_TRUE(copy == deep);
  EXPECT_FALSE(copy == nested(100'000, 2));
  EXPECT_FALSE(copy == nested(100'002));
  copy = 1;
  EXPECT_EQ(copy, Value(1));
}

TEST(Value, EqualityLooksAtKeysOrderAndLength) {
  const Value value = Value::dictionary({{"a", Value::Array{UINT64_MAX, 2}}, {"b", {}}});
  EXPECT_EQ(value, Value(value));
  for (const Value& other : {Value::dictionary({{"b", {}}, {"a", Value::Array{UINT64_MAX, 2}}}),
                             Value::dictionary({{"a", Value::Array{UINT64_MAX, 3}}, {"b", {}}}),
                             Value::dictionary({{"a", Value::Array{UINT64_MAX}}, {"b", {}}}),
                             Value::dictionary({{"a", Value::Array{UINT64_MAX, 2}}}), Value()})
    EXPECT_NE(value, other);
}

}  // namespace
}  // namespace orvane::test
