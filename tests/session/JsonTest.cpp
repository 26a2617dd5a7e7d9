// SPDX-License-Identifier: MIT
#include "session/OVJSON.h"

#include <stdio_ext.h>

#include <bit>
#include <clocale>
#include <cstdlib>
#include <map>
#include <sstream>
#include <typeinfo>

#include "platform/Json.h"
#include "platform/Platform.h"
#include "platform/StreamFormat.h"
#include "session/ObjectToDouble.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"

namespace orvane::test {
namespace {

using namespace platform;

std::string written(const Value& value) {
  return current().json->write(value, false).value_or("rejected");
}

TEST(Json, NamesCommonFormatsAndSpellsOutOthers) {
  for (const auto& [kind, bits, name] : {std::tuple{format_flag::isFloat, 32U, std::string("Float32")},
                                         {format_flag::isFloat, 64U, "Float64"},
                                         {format_flag::signedInteger, 16U, "Int16"},
                                         {format_flag::signedInteger, 32U, "Int32"}}) {
    StreamDescription stream = StreamFormat::linearPcm(44100, 2, bits, kind, false).description();
    const std::string start = R"({"sampleRate":44100.0,"channelCount":2,"interleaved":false,)";
    EXPECT_EQ(written(jsonASBD(stream)), start + R"("commonFormat":")" + name + R"("})");
    stream.formatFlags ^= format_flag::bigEndian;
    EXPECT_THAT(written(jsonASBD(stream)), StartsWith(start + R"("formatID":"lpcm","formatFlags":)"));
  }
  EXPECT_EQ(written(jsonASBD({0.5, 0xFFFFFFFF, 0x80000000, 6, 7, 8, 2, 24, 9})),
            R"({"sampleRate":0.5,"channelCount":2,"interleaved":true,"formatID":"-1","formatFlags":2147483648,)"
            R"("bytesPerPacket":6,"framesPerPacket":7,"bytesPerFrame":8,"bitsPerChannel":24})");
  EXPECT_EQ(written(jsonACL({0xFFFF0002, 0x80000001, {{0xFFFFFFFF, 3, {1, 2, 3}}}})),
            R"({"tag":4294901762,"bitmap":2147483649,"numChannelDescs":1,"channelDescs":[{"label":4294967295}]})");
}

TEST(Json, IsPrintedWithOneNewlineAlsoWhereItCannotBeWritten) {
  const Value object = Value::dictionary({{"z", 1}, {"a", Value::Array{1.5, "é\n", std::string("a\0b", 3)}}});
  const std::tuple<Value, bool, std::string> cases[] = {
      {object, false, R"({"z":1,"a":[1.5,"é\n","a\u0000b"]})"},
      {object, true, "{\n  \"z\": 1,\n  \"a\": [\n    1.5,\n    \"é\\n\",\n    \"a\\u0000b\"\n  ]\n}"},
      {Value::dictionary({{"a", Value::Array{Value::Data{}}}}), true, ""},
      {Value::dictionary({{"\xFF", 1}}), false, ""}};
  for (const auto& [value, pretty, printed] : cases) {
    testing::internal::CaptureStdout();
    OVPrintJSON(value, pretty);
    EXPECT_EQ(__fpending(stdout), 0U) << "flushed";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed + "\n");
  }
}

TEST(Json, IsReadInOrderAndWrongTextIsPointedAt) {
  EXPECT_EQ(written(current().json->read(R"( {"b":[{}, [],null,"\u00e9"],"a":{"b":-1}} )")),
            R"({"b":[{},[],null,"é"],"a":{"b":-1}})");
  for (const auto& [text, says] : {std::pair<std::string, const char*>{"[1] 2", "column 5: .*expected end of input"},
                                   {"[1,\n\n 1e999]", "line 3, column 6: .*1e999"},
                                   {"\"\xC3(\"", "line 1, column 3: .*UTF-8"},
                                   {std::string(1'000'000, '['), "column 65: .*64 levels"}})
    EXPECT_THAT(reasonOf([&text = text] { current().json->read(text); }), ContainsRegex(says));
}

/// Returns the outcome of a conversion as a text for comparison: the bits of the result, or the type of the exception.
template <typename Conversion>
std::string outcome(Conversion convert) try {
  return std::to_string(std::bit_cast<std::uint64_t>(convert()));
} catch (const std::exception& failure) {
  return typeid(failure).name();
}

/// Makes the process use a comma as its decimal separator. Compiles a locale for this in `folder`, so that no such
/// locale has to be installed.
void useADecimalComma(const std::string& folder) {
  const std::string build = "cd " + folder + R"( && {
    printf 'LC_NUMERIC\ndecimal_point ","\nthousands_sep ""\nEND LC_NUMERIC\n' >source
    printf '<escape_char> /\nCHARMAP\n<U0000>..<U007F> /x00\nEND CHARMAP\n' >characters
    localedef -c -i source -f ./characters ./comma; } >log 2>&1)";
  // The command's status is always a failure, because the source defines only one locale category. The decimal point
  // shows whether the locale was built.
  [[maybe_unused]] const int status = std::system(build.c_str());
  setenv("LOCPATH", folder.c_str(), 1);
  std::setlocale(LC_NUMERIC, "comma");
  ASSERT_STREQ(std::localeconv()->decimal_point, ",") << "localedef built no locale";
}

TEST(Numbers, AreReadFromTextAsTheStandardConversionDoesAndWrittenAsJsonWhateverTheLocale) {
  std::istringstream texts(
      "| | 2.5abc|\t\n\v\f\r +7|- 1|1 2|\xE2\x80\x83\x31|44100|-0|.5.|5.e|1e+|1e3|1,5|,5|.|+|e5|--1|abc|0x|0x1.8p1|"
      "-0XAg|0x.p1|0x1p|0x1p-1074|0x1p-1075|0x1p1024|0e99999|inf|-InFiNiTyx|infinit|in|nan|-NaN|nan(1)|nan(|na|1e309|"
      "-1e309x|1e-400|4.9e-324|2.2250738585072014e-308|1.7976931348623157e308|1.7976931348623159e308|"
      "123456789012345678901234567890");
  std::map<std::string, std::string> expected;
  for (std::string text; std::getline(texts, text, '|');) expected[text] = outcome([&] { return std::stod(text); });
  const TemporaryFolder folder;
  useADecimalComma(folder.path().string());
  for (const auto& [text, number] : expected)
    EXPECT_EQ(outcome([&text = text] { return objectToDouble(text); }), number) << '"' << text << '"';
  for (const Value& value : {Value(0.1), Value(-0.0), Value(5e-324), Value(1.7976931348623157e308), Value(INT64_MIN)})
    EXPECT_EQ(current().json->read(written(value)), value);
  EXPECT_EQ(written(Value::Array{48000.0, INFINITY, NAN}), "[48000.0,null,null]");
  EXPECT_EQ(current().json->read("18446744073709551616"), Value(0x1p64));
  std::setlocale(LC_NUMERIC, "C");
}

TEST(ObjectToDouble, TakesNumbersOfAnyKindAndRaisesForAnythingElse) {
  for (const auto& [object, number] :
       {std::pair<Value, double>{INT64_MAX, 0x1p63}, {-2.5, -2.5}, {true, 1}, {false, 0}})
    EXPECT_EQ(objectToDouble(object), number);
  for (const auto& [object, shown] : {std::pair<Value, std::string>{{}, "(null)"}, {Value::Array{1, "2"}, "[1, 2]"}})
    EXPECT_EQ(reasonOf([&object = object] { objectToDouble(object); }), "Can't convert " + shown + " to double");
}

}  // namespace
}  // namespace orvane::test
