#include "session/ObjectToDouble.h"

#include <bit>
#include <cmath>
#include <sstream>
#include <stdexcept>

#include "tests/support/CommaLocale.h"
#include "tests/support/ReasonOf.h"
#include "tests/support/ScriptedRoles.h"

namespace {

using orvane::objectToDouble;
using orvane::platform::Value;

/// What a conversion came to, bit by bit, as a text that can be compared.
template <typename Conversion>
std::string outcome(Conversion convert) {
  try {
    return std::to_string(std::bit_cast<std::uint64_t>(convert()));
  } catch (const std::invalid_argument&) {
    return "no number";
  } catch (const std::out_of_range&) {
    return "out of range";
  }
}

TEST(ObjectToDouble, ReadsTextAsTheStandardConversionDoesInAnyLocale) {
  std::vector<std::string> texts = {"", " ", " 2.5abc", "\t\n\v\f\r +7", "- 1", "1 2", "\xE2\x80\x83\x31"};
  std::istringstream words(
      "44100 -0 .5. 5.e 1e+ 1e3 1,5 ,5 . + e5 --1 abc 0x 0x1.8p1 -0XAg 0x.p1 0x1p 0x1p-1074 0x1p-1075 0x1p1024 0e99999 "
      "inf -InFiNiTyx infinit in nan -NaN nan(1) nan( na 1e309 -1e309x 1e-400 4.9e-324 2.2250738585072014e-308 "
      "1.7976931348623157e308 1.7976931348623159e308 123456789012345678901234567890");
  for (std::string word; words >> word;) texts.push_back(word);
  std::vector<std::string> expected;
  for (const std::string& text : texts) expected.push_back(outcome([&] { return std::stod(text); }));
  const orvane::test::CommaLocale comma;
  for (std::size_t index = 0; index < texts.size(); ++index)
    EXPECT_EQ(outcome([&] { return objectToDouble(texts[index]); }), expected[index]) << '"' << texts[index] << '"';
  EXPECT_EQ(objectToDouble(" 2.5abc"), 2.5);
  EXPECT_EQ(outcome([] { return objectToDouble("abc"); }), "no number");
  EXPECT_EQ(outcome([] { return objectToDouble("1e309"); }), "out of range");
}

TEST(ObjectToDouble, TakesNumbersOfAnyKindAndRaisesForAnythingElse) {
  EXPECT_EQ(objectToDouble(44100), 44100.0);
  EXPECT_EQ(objectToDouble(INT64_MAX), 0x1p63);
  EXPECT_EQ(objectToDouble(-2.5), -2.5);
  EXPECT_EQ(objectToDouble(true), 1.0);
  const orvane::test::UsedPlatform used(std::make_shared<testing::NiceMock<orvane::test::ScriptedLog>>());
  const struct {
    Value object;
    std::string described;
  } cases[] = {{Value(), "(null)"}, {Value::Array{1, "2"}, "[1, 2]"}, {Value::Data{0x31}, "<31>"}};
  for (const auto& [object, described] : cases)
    EXPECT_EQ(orvane::test::reasonOf([&object = object] { objectToDouble(object); }),
              "Can't convert " + described + " to double");
}

}  // namespace
