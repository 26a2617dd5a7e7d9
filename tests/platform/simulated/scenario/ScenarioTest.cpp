// SPDX-License-Identifier: MIT
#include "platform/simulated/scenario/Scenario.h"

#include <fstream>

#include "platform/DeviceReport.h"
#include "platform/Hosts.h"
#include "platform/simulated/scenario/ScenarioFile.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"

namespace orvane::test {
namespace {

using namespace simulated;

using Cases = std::vector<std::pair<std::string, std::string>>;

std::string refusalOf(const std::string& options) {
  return reasonOf([&] { platform::makeSimulatedHost(options); });
}

TEST(SimulatedOptions, WhatIsWrongIsRefusedByItsKey) {
  const TemporaryFolder folder;
  const std::string file = folder.file("mic.wav");
  writeSound(file, {.rate = 44100, .channels = 1, .samples = {0, 0}});
  writeSound(folder.file("a,b.wav"), {.rate = 8000, .channels = 1, .samples = {0}});
  writeSound(folder.file("wide.wav"), {.rate = 48000, .channels = 65, .samples = std::vector<float>(65)});
  writeSound(folder.file("quick.wav"), {.rate = 768001, .channels = 1, .samples = {0}});
  const Cases cases{
      {"colour=red", "unknown key \"colour\"; the keys are mic, speaker, rate, inputs, outputs, slice, pace"},
      {"rate", "\"rate\" needs a value"},
      {"rate=48000.5", "rate=48000.5: a whole number"},
      {"rate=768001", "rate=768001: a whole number from 0 to 768000"},
      {"inputs=65", "inputs=65: a whole number from 0 to 64"},
      {"outputs=-1", "outputs=-1: a whole number from 0 to 64"},
      {"slice=0", "slice=0: a whole number from 1 to 8192"},
      {"pace=slow", "pace=slow: the pace is real or fast"},
      {"rate=1,rate=2", "\"rate\" is given twice"},
      {"mic=a,b.wav",
       "unknown key \"b.wav\"; the keys are mic, speaker, rate, inputs, outputs, slice, pace, scenario, midi, "
       "midi-in, midi-capture; a comma inside a value is written \\,"},
      {R"(mic=/no\,such\\file\x.wav)", R"("/no,such\file\x.wav": No such file)"},
      {R"(mic=/no\\,rate=x)", "rate=x: a whole number"},
      {"mic=/no\\", R"("/no\": No such file)"},
      {"rate=1,", "nothing follows the last comma"},
      {",rate=1", "unknown key \"\""},
      {"mic=", "mic= has no value"},
      {"mic=/no/such/file.wav", "mic=/no/such/file.wav: \"/no/such/file.wav\": No such file"},
      {"mic=" + folder.path().string(), "not a regular file"},
      {"mic=tone:nan", "the frequency in hertz is a number from 0 to 384000"},
      {"mic=tone:24001", "mic=tone:24001: at a rate of 48000 Hz a tone has at most 24000 Hz, not 24001"},
      {"mic=tone:500,rate=999", "at a rate of 999 Hz a tone has at most 499.5 Hz"},
      {"mic=" + folder.file("wide.wav"), "65 channels; a device has 64 at most"},
      {"mic=" + folder.file("quick.wav"), "768001 Hz; a device runs at 1 to 768000 Hz"},
      {"mic=tone:440:2", "the amplitude is a number from 0 to 1"},
      {"mic=noise:x", "the seed is a whole number"},
      {"speaker=" + folder.path().string(), "it is not a regular file"},
      {"inputs=2,mic=" + file, "inputs=2: the microphone's file has 1"},
      {"outputs=0,speaker=x.wav", "a device with outputs=0 has no speaker"},
      {std::string(65537, ','), "the text is longer than 65536 bytes"},
      {"scenario=" + folder.file("no.json"), "no.json\": No such file"}};
  for (const auto& [options, reason] : cases) EXPECT_THAT(refusalOf(options), HasSubstr(reason)) << options;
  EXPECT_THAT(refusalOf(std::string(65536, ',')), HasSubstr("unknown key"));
  for (const std::string& options :
       {"rate=44100,inputs=1,mic=" + file, "mic=" + folder.file("a\\,b.wav") + ",rate=8000",
        std::string("mic=tone:24000"), std::string("mic=tone:24001,rate=0")})
    EXPECT_EQ(refusalOf(options), "");
}

TEST(Scenario, WhatIsWrongIsRefusedByItsPlace) {
  const TemporaryFolder folder;
  const std::string file = folder.file("scenario.json");
  writeSound(folder.file("voice.wav"), {.rate = 44100, .channels = 2, .samples = {0, 0}});
  const std::string longKey(300, 'k');
  std::string many;
  for (int fault = 0; fault < 1000; ++fault) many += "0,";
  const Cases cases{
      {"", "JSON is wrong at line 1, column 1: "},
      {"{\"audio\":\n{\"rate\":}}", "JSON is wrong at line 2, column 9: "},
      {R"({"audio":{"rate":1,"rate":2}})", "the key \"rate\" occurs twice here"},
      {std::string(65, '['), "nested deeper than 64 levels"},
      {std::string(maxScenarioBytes + 1, ' '), "a scenario has 1048576 bytes at most"},
      {"[]", "an object is needed, not []"},
      {R"({"sound":{}})", "sound: unknown key; the keys here are audio, midi, session, faults"},
      {R"({")" + longKey + R"(":0})", ".json: " + longKey.substr(0, 80) + "…: unknown key"},
      {R"({"a\nb":0})", "a?b: unknown key"},
      {R"({"audio":{"rate":"48000"}})", "audio.rate: a whole number from 0 to 768000 is needed, not \"48000\""},
      {R"({"audio":{"rate":48000.5}})", "audio.rate: a whole number from 0 to 768000 is needed, not 48000.5"},
      {R"({"audio":{"rate":1e300}})", "audio.rate: a whole number from 0 to 768000 is needed, not 1e+300"},
      {R"({"audio":{"slice":0}})", "audio.slice: a whole number from 1 to 8192 is needed, not 0"},
      {R"({"audio":{"pace":"slow"}})", "audio.pace: \"real\" or \"fast\" is needed, not \"slow\""},
      {R"({"audio":{"microphone":"none.wav"}})", "audio.microphone: \"" + folder.file("none.wav") + "\": No such file"},
      {R"({"audio":{"microphone":"/no/such.wav"}})", "audio.microphone: \"/no/such.wav\": No such file"},
      {R"({"audio":{"microphone":"./noise"}})", "audio.microphone: \"" + folder.file("./noise") + "\": No such file"},
      {R"({"audio":{"microphone":"voice.wav","rate":48000}})", "audio.rate: the microphone's file has 44100"},
      {R"({"audio":{"microphone":"voice.wav","speaker":"./voice.wav"}})", "audio.speaker: the speaker would overwrite"},
      {R"({"audio":{"speaker":"none/out.wav"}})", "out.wav\": there is no such folder"},
      {R"({"audio":{"speaker":"scenario.json"}})", "audio.speaker: the speaker would overwrite the scenario"},
      {R"({"audio":{"microphone":"scenario.json"}})", "is not a sound file that can be read"},
      {R"({"audio":{"speaker":"a\u0000b"}})", "audio.speaker: a path has no zero byte"},
      {R"({"session":{"deny":{}}})", "session.deny: unknown key; the only key here is refuse"},
      {R"({"faults":{}})", "faults: a list is needed"},
      {R"({"faults":[)" + many + "0]}", "faults: a scenario has 1000 faults at most"},
      {R"({"faults":[{"at":0}]})", "faults[0]: the key \"fault\" is missing: it is one of microphone-unplugged, "},
      {R"({"faults":[{"at":0,"fault":"fire"}]})", "faults[0].fault: one of microphone-unplugged, device-lost"},
      {R"({"faults":[{"at":-1,"fault":"stalled"}]})", "faults[0].at: a number of seconds from 0 to 1000000000"},
      {R"({"faults":[{"at":0,"fault":"stalled","status":1}]})",
       "faults[0].status: unknown key; the keys here are at, "},
      {R"({"faults":[{"at":0,"fault":"discontinuity","frames":0}]})", "frames: a whole number from 1 to 10000000"},
      {R"({"faults":[{"at":0,"fault":"render-status","status":0}]})", "faults[0].status: 0 is success"},
      {R"({"faults":[{"at":0,"fault":"refuse","call":"none","status":-1}]})",
       "call: one of BufferQueueService::addPropertyListener, BufferQueueService::allocateBuffer, "},
      {R"({"faults":[{"at":0,"fault":"refuse","call":"UnitService::start"}]})", "the key \"status\" is missing"}};
  for (const auto& [text, reason] : cases) {
    std::ofstream(file) << text;
    EXPECT_THAT(refusalOf("scenario=" + file), AllOf(StartsWith("scenario=" + file + ": "), HasSubstr(reason)))
        << text.substr(0, 100);
  }
}

TEST(Scenario, RefusesWrongMidiByItsPlace) {
  const TemporaryFolder folder;
  const std::string file = folder.file("midi.json");
  std::ofstream(folder.file("no.mid")) << "text";
  const auto device = [](const std::string& members) { return R"({"devices":[{"uniqueID":1,)" + members + "}]}"; };
  const auto source = [&](const std::string& members) {
    return device(R"("entities":[{"name":"E"},{"sources":[{)" + members + "}]}]");
  };
  const auto event = [&](const std::string& members) {
    return R"({"events":[{"at":0,)" + members + R"(}],"devices":[{"uniqueID":1}]})";
  };
  std::string many;
  for (int object = 0; object < 4096; ++object) many += "{},";
  const Cases cases{
      {"[]", "an object is needed, not []"},
      {R"({"device":[]})", "device: unknown key; the keys here are devices, externalDevices, events, capture"},
      {device(R"("sources":[])"), "devices[0].sources: unknown key"},
      {device(R"("displayName":"x")"), "devices[0].displayName: unknown key"},
      {device(R"("name":null)"), "devices[0].name: a text is needed, not null"},
      {device(R"("driverVersion":2147483648)"), "driverVersion: a whole number from -2147483648 to 2147483647"},
      {device(R"("present":1)"), "devices[0].present: true or false is needed, not 1"},
      {device(R"("properties":[])"), "devices[0].properties: an object is needed"},
      {device(R"("properties":{"a":["data:0"]})"), "properties.a[0]: \"data:\" and pairs of hexadecimal digits"},
      {device(R"("connections":"x")"), "devices[0].connections: a list of unique identifiers, or \"data:\""},
      {device(R"("connections":["1"])"), "devices[0].connections[0]: a whole number"},
      {R"({"devices":[)" + many + "{}]}", "devices[4096]: an inventory has 4096 objects at most"},
      {source(R"("plays":"")"), "devices[0].entities[1].sources[0].plays: the path of a standard MIDI file is needed"},
      {source(R"("plays":"a\u0000b")"), "plays: a path has no zero byte"},
      {source(R"("plays":"no.mid")"), "sources[0].plays: \"" + folder.file("no.mid") + "\": it is not a standard MIDI"},
      {R"({"externalDevices":[{"entities":[{"destinations":[{"plays":"x"}]}]}]})",
       "externalDevices[0].entities[0].destinations[0].plays: unknown key"},
      {R"({"capture":"none/out.jsonl"})", "out.jsonl\": there is no such folder"},
      {R"({"capture":"midi.json"})", "capture: the MIDI capture would overwrite the inventory"},
      {event(R"("notify":"lost")"), "events[0].notify: \"setup\", \"added\", \"removed\", \"property\" or a number"},
      {event(R"("notify":4)"), "events[0].notify: the numbers 1 to 4 have names: setup, added, removed and property"},
      {event(R"("notify":"setup","child":1)"), "events[0].child: unknown key; the keys here are at, notify"},
      {event(R"("notify":"added")"), "events[0]: the key \"child\" is missing: the unique identifier of the object"},
      {event(R"("notify":"added","child":2)"), "events[0].child: no object has the unique identifier 2"},
      {event(R"("notify":"property","object":1)"), "events[0]: the key \"property\" is missing"},
      {event(R"("notify":"property","object":1,"property":"name","value":1)"),
       "events[0].value: a text that is not data is needed, not 1"},
      {event(R"("notify":"property","object":1,"property":"name","value":"data:41")"),
       "a text that is not data is needed"},
      {event(R"("notify":"property","object":1,"property":"offline","value":"1")"), "value: a whole number"}};
  for (const auto& [text, reason] : cases) {
    std::ofstream(file) << text;
    EXPECT_THAT(refusalOf("midi=" + file), AllOf(StartsWith("midi=" + file + ": "), HasSubstr(reason)))
        << text.substr(0, 100);
  }
  std::ofstream(file) << R"({"devices":[{"present":false,"entities":[{"sources":[{}]}]}]})";
  EXPECT_EQ(refusalOf("midi=" + file + ",midi-in=x.mid"),
            "midi-in=x.mid: the inventory has no source that could play the file");
  EXPECT_THAT(refusalOf("midi-in=/no/such.mid"), StartsWith("midi-in=/no/such.mid: \"/no/such.mid\": No such file"));
  EXPECT_THAT(refusalOf("midi-capture=/no/such/out"), StartsWith("midi-capture=/no/such/out: "));
  std::ofstream(file) << R"({"midi":{"devices":[{"entities":[{"sources":[{"plays":"x.mid"}]}]}]}})";
  EXPECT_THAT(refusalOf("scenario=" + file), HasSubstr(": midi.devices[0].entities[0].sources[0].plays: \""));
}

TEST(Scenario, SetsUpTheDeviceWhereNoOptionDoes) {
  const TemporaryFolder folder;
  const std::string file = folder.file("scenario.json");
  std::ofstream(file) << R"({"audio":{"rate":44100.0,"inputs":3,"outputs":0,"slice":64,"microphone":"noise"}})";
  const auto report = platform::makeSimulatedHost("inputs=2,scenario=" + file).deviceReport;
  EXPECT_EQ(report->hardwareInput(), platform::StreamFormat::standard(44100, 2));
  EXPECT_EQ(report->hardwareOutput().channelCount(), 0U);
  EXPECT_EQ(report->sliceFrames(), 64U);
  const Scenario inTone = parseScenario(R"({"audio":{"microphone":"voice.wav"}})", "tone:1/scenario.json");
  EXPECT_EQ(inTone.device.microphone->value, "./tone:1/voice.wav") << "a folder is no tone";
}

}  // namespace
}  // namespace orvane::test
