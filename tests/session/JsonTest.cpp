#include <gmock/gmock.h>

#include <cmath>

#include "platform/PlatformException.h"
#include "platform/StreamFormat.h"
#include "platform/host/HostJson.h"
#include "session/OVJSON.h"
#include "tests/support/CommaLocale.h"
#include "tests/support/ScriptedRoles.h"

namespace {

using namespace orvane::platform;
using orvane::host::HostJson;

std::string compact(const Value& value) {
  return HostJson().write(value, false).value_or("rejected");
}

TEST(JsonASBD, NamesCommonFormatsAndSpellsOutOthers) {
  const struct {
    std::uint32_t kind;
    std::uint32_t bits;
    const char* name;
  } kinds[] = {{format_flag::isFloat, 32, "Float32"},     {format_flag::isFloat, 64, "Float64"},
               {format_flag::signedInteger, 16, "Int16"}, {format_flag::signedInteger, 32, "Int32"},
               {format_flag::signedInteger, 24, nullptr}, {0, 16, nullptr}};
  for (const auto& [kind, bits, name] : kinds) {
    for (const int variant : {0, 1, 2, 3}) {
      const bool interleaved = (variant & 1) != 0, otherByteOrder = (variant & 2) != 0;
      StreamDescription stream = StreamFormat::linearPcm(44100, 2, bits, kind, interleaved).description();
      if (otherByteOrder) stream.formatFlags ^= format_flag::bigEndian;
      const std::string text = compact(orvane::jsonASBD(stream));
      const std::string format = name != nullptr && !otherByteOrder ? R"("commonFormat":")" + std::string(name) + "\"}"
                                                                    : R"("formatID":"lpcm","formatFlags":)";
      EXPECT_THAT(text, testing::StartsWith(R"({"sampleRate":44100.0,"channelCount":2,"interleaved":)" +
                                            std::string(interleaved ? "true," : "false,") + format));
    }
  }
  EXPECT_EQ(compact(orvane::jsonASBD({0.5, 0xFFFFFFFF, 0x80000000, 6, 7, 8, 2, 24, 9})),
            R"({"sampleRate":0.5,"channelCount":2,"interleaved":true,"formatID":"-1","formatFlags":2147483648,)"
            R"("bytesPerPacket":6,"framesPerPacket":7,"bytesPerFrame":8,"bitsPerChannel":24})");
}

TEST(JsonACL, ListsTheLabelOfEachChannel) {
  EXPECT_EQ(compact(orvane::jsonACL({})), R"({"tag":0,"bitmap":0,"numChannelDescs":0,"channelDescs":[]})");
  const ChannelLayout layout{0xFFFF0002, 0x80000001, {{7, 3, {1, 2, 3}}, {0xFFFFFFFF, 0, {}}}};
  EXPECT_EQ(compact(orvane::jsonACL(layout)), R"({"tag":4294901762,"bitmap":2147483649,"numChannelDescs":2,)"
                                              R"("channelDescs":[{"label":7},{"label":4294967295}]})");
  EXPECT_EQ(compact(orvane::jsonASBD(StreamFormat::standard(48000, 3).description())),
            R"({"sampleRate":48000.0,"channelCount":3,"interleaved":false,"commonFormat":"Float32",)"
            R"("channelLayout":{"tag":65539,"bitmap":0,"numChannelDescs":3,)"
            R"("channelDescs":[{"label":1},{"label":2},{"label":3}]}})");
}

TEST(OVPrintJSON, PrintsWhatTheWriterGivesAndOneNewline) {
  const orvane::test::UsedPlatform used(nullptr, nullptr, std::make_shared<HostJson>());
  const Value object = Value::dictionary({{"z", 1}, {"a", Value::Array{1.5, "é\n", Value()}}});
  const struct {
    Value object;
    bool pretty;
    std::string printed;
  } cases[] = {{object, false, "{\"z\":1,\"a\":[1.5,\"é\\n\",null]}\n"},
               {object, true, "{\n  \"z\": 1,\n  \"a\": [\n    1.5,\n    \"é\\n\",\n    null\n  ]\n}\n"},
               {std::string("a\0b", 3), false, "\"a\\u0000b\"\n"},
               {Value::dictionary({{"a", Value::Array{Value::Data{}}}}), true, "\n"},
               {"\xC3(", false, "\n"},
               {Value::dictionary({{"\xFF", 1}}), false, "\n"}};
  for (const auto& [value, pretty, printed] : cases) {
    testing::internal::CaptureStdout();
    OVPrintJSON(value, pretty);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), printed);
  }
}

TEST(HostJson, KeepsEveryNumberWhateverTheLocale) {
  const orvane::test::CommaLocale comma;
  const struct {
    Value value;
    const char* text;
  } cases[] = {{48000.0, "48000.0"},
               {0.1, "0.1"},
               {-0.0, "-0.0"},
               {5e-324, "5e-324"},
               {1e22, "1e+22"},
               {1.7976931348623157e308, "1.7976931348623157e+308"},
               {INT64_MIN, "-9223372036854775808"},
               {false, "false"}};
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(compact(value), text);
    EXPECT_EQ(HostJson().read(text), value) << text;
  }
  EXPECT_EQ(compact(Value::Array{INFINITY, -INFINITY, NAN}), "[null,null,null]");
  EXPECT_EQ(HostJson().read("[9223372036854775807, 9223372036854775808, 18446744073709551615, 1e20]"),
            Value(Value::Array{INT64_MAX, 0x1p63, 0x1p64, 1e20}));
}

TEST(HostJson, ReadsInOrderAndSaysWhereTextIsWrong) {
  EXPECT_EQ(compact(HostJson().read(R"( {"b":[{}, [],null,"\u00e9"],"a":{"b":-1}} )")),
            R"({"b":[{},[],null,"é"],"a":{"b":-1}})");
  const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_EQ(compact(HostJson().read(nested(64))), nested(64));
  const struct {
    std::string text;
    const char* says;
  } cases[] = {{"", "line 1, column 1: .*unexpected end of input"},
               {"{\n  \"a\": 1,\n  }", "line 3, column 3: .*'}'"},
               {"[1] 2", "line 1, column 5: .*expected end of input"},
               {"[1,\n\n 1e999]", "line 3, column 6: .*1e999"},
               {"\"\xC3(\"", "line 1, column 3: .*UTF-8"},
               {"{\"a\":1,\n\"b\":{\"a\":1},\"a\":2}", "line 2, column 15: the key \"a\" stands twice"},
               {"\n" + nested(65), "line 2, column 65: .*64 levels"},
               {std::string(1'000'000, '['), "line 1, column 65: .*64 levels"},
               {"\"" + std::string(100'000, 'x'), "unexpected end|missing closing quote"}};
  for (const auto& [text, says] : cases) {
    try {
      HostJson().read(text);
      ADD_FAILURE() << "accepted, but should say " << says;
    } catch (const PlatformException& exception) {
      EXPECT_THAT(exception.reason(), testing::ContainsRegex(says));
      EXPECT_LT(exception.reason().size(), 300U);
    }
  }
}

}  // namespace
