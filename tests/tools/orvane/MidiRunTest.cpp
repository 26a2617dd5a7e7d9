// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>

#include <map>
#include <sstream>

#include "tests/tools/orvane/Program.h"

namespace orvane::test {
namespace {

/// Runs of the tool's MIDI commands in simulated time, with a file that records what destinations receive.
class MidiRun : public testing::Test {
 protected:
  /// Runs the tool with a scenario, which contains the object `midi` and further members.
  Ended runScenario(const std::string& midi, const std::string& arguments, const std::string& further = {}) const {
    std::ofstream(mScenario) << R"({"audio":{"pace":"fast"},"midi":)" << midi << further << "}";
    return runTool("--simulate scenario=" + mScenario + ",midi-capture=" + mCapture + " " + arguments);
  }
  /// Returns the captured lines, in a short form: "TIME DESTINATION: BYTES\n".
  std::string captured() const {
    std::string lines = readFile(mCapture), result;
    std::filesystem::remove(mCapture);
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
      for (const auto& [text, replacement] :
           {std::pair{R"({"time":)", ""}, {R"(,"destination":")", " "}, {R"(","bytes":")", ": "}, {"\"}", "\n"}}) {
        const std::size_t place = line.find(text);
        if (place == std::string::npos) return lines;
        line.replace(place, std::string(text).size(), replacement);
      }
      result += line;
    }
    return result;
  }
  /// Writes a standard MIDI file with notes at these ticks; a tick is a millisecond.
  std::string notes(const std::vector<int>& ticks) const {
    std::string track;
    int last = 0, key = 0;
    for (const int tick : ticks) {
      for (int shift = 21; shift >= 0; shift -= 7)
        track += static_cast<char>(((tick - last) >> shift & 0x7F) | (shift > 0 ? 0x80 : 0));
      track += {'\x90', static_cast<char>(key++), '\x40'};
      last = tick;
    }
    const std::string path = mFolder.file("notes.mid");
    std::ofstream(path, std::ios::binary)
        << std::string("MThd\0\0\0\6\0\0\0\1\1\xF4MTrk\0\0", 20) << static_cast<char>(track.size() >> 8)
        << static_cast<char>(track.size()) << track;
    return path;
  }

  const TemporaryFolder mFolder;
  const std::string mScenario = mFolder.file("scenario.json");
  const std::string mCapture = mFolder.file("captured.jsonl");
  const std::string mSimulated = "midi-capture=" + mCapture;
};

TEST_F(MidiRun, SendsTextAndReportsIt) {
  const Ended sent = runFast(mSimulated, "--json midi send '90 3C 7F | 80 3C 00' F8 ' '");
  EXPECT_EQ(sent, (Ended{0, "[1000000000]: 90 3C 7F [1000000001]: 80 3C 00\n[1000000001]: F8\n",
                         R"({"command":"midi send","host":"simulated","ended":"finished","seconds":1e-09,)"
                         R"("packets":3,"bytes":7,"discontinuities":0,"overruns":0})"
                         "\n"}));
  EXPECT_EQ(captured(), "0.000000000 Synth: 90 3C 7F\n0.000000001 Synth: 80 3C 00\n0.000000001 Synth: F8\n");
  EXPECT_EQ(runFast(mSimulated, "midi send --to Loopback 90").output, "[1000000000]: 90\n");
  EXPECT_EQ(captured(), "0.000000000 Loopback: 90\n");
  const std::tuple<std::string, int, std::string> failures[] = {
      {"90 9x", 1, "orvane: Hex parse error in: 9x\n"},
      {"--protocol 2.0 90", 1, "orvane: Not yet supporting protocols beyond MIDI 1.0\n"},
      {"--protocol 3 90", 2, "is not a protocol; it takes 1.0, 1.0-ump or 2.0"},
      {"--to '' 90", 1, "orvane: No MIDI destination named ''\n"},
      {"--to synth 90", 1, "orvane: No MIDI destination named 'synth'\n"},
      {"", 2, "orvane: midi send needs a TEXT or -i\n"},
      {"-i 90", 2, "orvane: -i reads from standard input and takes no TEXT\n"}};
  for (const auto& [arguments, status, message] : failures) {
    const Ended ended = runFast(mSimulated, "midi send " + arguments);
    EXPECT_EQ(ended.status, status) << ended;
    EXPECT_THAT(ended.errors, HasSubstr(message));
  }
  EXPECT_EQ(captured(), "0.000000000 Synth: 90\n") << "what was sent before the failure";
}

TEST_F(MidiRun, InteractiveEntrySendsLinesUntilTheEnd) {
  const std::string prompt = "Interactive MIDISend: enter 8-bit hex bytes; use | to start a new packet.\n";
  for (const std::string verbose : {"", " --verbose"}) {
    const Ended ended =
        run("printf '90 3C 7F|91\\n9G\\n\\n80 3C 00\\n90 3C 7F' | " ORVANE_TOOL " midi send -i --simulate pace=fast," +
            mSimulated + verbose);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, prompt + "[1000000000]: 90 3C 7F [1000000001]: 91\n[1000000002]: 80 3C 00\n");
    EXPECT_EQ(ended.errors, std::string(verbose.empty() ? "" : "log error: Failure: Hex parse error in: 9G\n") +
                                "Caught exception: OVTException, Hex parse error in: 9G\n");
    EXPECT_EQ(captured(), "0.000000000 Synth: 90 3C 7F\n0.000000001 Synth: 91\n0.000000002 Synth: 80 3C 00\n");
  }
  EXPECT_EQ(runFast("", "midi send -i --to none </").status, 1) << "a folder cannot be read";
  EXPECT_THAT(runFast("", "midi send -i </").errors, HasSubstr("IOError!\n"));
  const Ended reported = run("echo 90 | " ORVANE_TOOL " --json midi send -i --simulate pace=fast");
  EXPECT_THAT(reported.errors, HasSubstr(R"("ended":"input-ended","seconds":1e-09,"packets":1,"bytes":1,)"));
  const Ended full = run("echo 90 | " ORVANE_TOOL " midi send -i --simulate pace=fast >/dev/full");
  EXPECT_EQ(full, (Ended{1, "", "orvane: standard output could not be written\n"}));
  EXPECT_EQ(run("head -c 17000000 /dev/zero | " ORVANE_TOOL " midi send -i --simulate pace=fast").errors, "");
  EXPECT_THAT(run("printf '%17000000d\\n' 1 | " ORVANE_TOOL " midi send -i --simulate pace=fast").errors,
              HasSubstr("A line has more than 16777216 bytes"));
  // Signals end it while it waits for a line. A pipe that is also open for writing here has no end.
  const std::string pipe = mFolder.file("pipe");
  mkfifo(pipe.c_str(), 0600);
  const int lines = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Program program(ORVANE_TOOL " midi send -i --simulate " + mSimulated + " <" + pipe);
    ASSERT_EQ(write(lines, "90\n", 3), 3);
    await([&] { return readFile(mCapture).find("90") != std::string::npos; });
    program.send(signal);
    EXPECT_EQ(program.finish().status, 0);
    EXPECT_THAT(captured(), EndsWith(" Synth: 90\n"));
  }
  close(lines);
}

TEST_F(MidiRun, MonitorsASourceThatPlaysAFile) {
  const std::string file = notes({0, 5, 5, 1000});
  const std::string lines = "[1000000000]: 90 00 40\n[1005000000]: 90 01 40 90 02 40\n[2000000000]: 90 03 40\n";
  const std::string result = R"({"command":"midi monitor","host":"simulated","ended":)";
  EXPECT_EQ(runFast("midi-in=" + file, "--json midi monitor"),
            (Ended{0, lines,
                   result + R"("input-ended","seconds":1.0,"packets":3,"bytes":12,"discontinuities":0,"overruns":0})" +
                       "\n"}));
  EXPECT_EQ(
      runFast("midi-in=" + file, "--json midi monitor --seconds 1"),
      (Ended{0, lines,
             result + R"("seconds","seconds":1.0,"packets":3,"bytes":12,"discontinuities":0,"overruns":0})" + "\n"}));
  EXPECT_THAT(runFast("midi-in=" + file, "midi monitor --seconds 0.5 --from Keyboard").output, EndsWith("02 40\n"));
  EXPECT_EQ(runFast("", "--json midi monitor --from Loopback --seconds 3").output, "");
  EXPECT_EQ(runFast("", "midi monitor --from x").errors, "orvane: No MIDI source named 'x'\n");
  // A source of a scenario, with real-time bytes that are left out.
  std::ofstream(mFolder.file("clock.mid"), std::ios::binary)
      << std::string("MThd\0\0\0\6\0\0\0\1\1\xF4MTrk\0\0\0\x0D\0\xF7\1\xF8\0\xF7\1\x90\1\xF7\1\xF8", 35);
  const std::string midi = R"({"devices":[{"entities":[{"sources":[{"name":"S","plays":"clock.mid"}]}]}]})";
  EXPECT_EQ(runScenario(midi, "midi monitor --no-realtime").output, "[1000000000]: 90\n[1001000000]:");
}

TEST_F(MidiRun, PlaysRealFilesLikeAnIndependentReader) {
  // Files of a game's music, as the Debian package openttd-openmsx installs them.
  const std::filesystem::path folder = "/usr/share/games/openttd/baseset/openmsx";
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".mid") continue;
    ++files;
    // Channel messages by tick and order of tracks, and the tempo map.
    struct Event {
      long tick;
      int track;
      std::string bytes;
    };
    std::vector<Event> events;
    std::map<long, long> tempos{{0, 500000}};
    long division = 0;
    std::istringstream csv(run("midicsv " + entry.path().string()).output);
    const std::map<std::string, int> statuses{{"Note_off_c", 0x80},        {"Note_on_c", 0x90},
                                              {"Poly_aftertouch_c", 0xA0}, {"Control_c", 0xB0},
                                              {"Program_c", 0xC0},         {"Channel_aftertouch_c", 0xD0},
                                              {"Pitch_bend_c", 0xE0}};
    for (std::string line; std::getline(csv, line);) {
      std::istringstream fields(line);
      int track = 0, channel = 0, first = 0, second = 0;
      long tick = 0;
      std::string type;
      char comma = 0;
      fields >> track >> comma >> tick >> comma >> type;
      if (!type.empty() && type.back() == ',') type.pop_back();
      if (type == "Header") fields >> first >> comma >> second >> comma >> division;
      if (type == "Tempo") fields >> tempos[tick];
      if (!statuses.contains(type)) continue;
      fields >> channel >> comma >> first;
      const int status = statuses.at(type);
      char bytes[24];
      if (status == 0xE0) second = first >> 7, first &= 0x7F;
      if (status < 0xC0) fields >> comma >> second;
      std::snprintf(bytes, sizeof bytes, status == 0xC0 || status == 0xD0 ? "%02X %02X" : "%02X %02X %02X",
                    status | channel, first, second);
      events.push_back({tick, track, bytes});
    }
    std::ranges::stable_sort(events, {}, [](const Event& event) { return std::pair(event.tick, event.track); });
    std::string expected;
    long now = -1, position = 0, sum = 0, tempo = 500000;
    auto change = tempos.begin();
    for (const Event& event : events) {
      for (; change != tempos.end() && change->first <= event.tick; ++change) {
        sum += (change->first - position) * tempo;
        position = change->first;
        tempo = change->second;
      }
      const long time = (sum + (event.tick - position) * tempo) * 1000 / division;
      char seconds[40];
      std::snprintf(seconds, sizeof seconds, "%ld.%09ld Synth: ", time / 1'000'000'000, time % 1'000'000'000);
      expected += time == now ? " " : (expected.empty() ? "" : "\n") + std::string(seconds);
      expected += event.bytes;
      now = time;
    }
    const Ended ended = runFast(mSimulated, "midi play " + entry.path().string() + " --to Synth");
    EXPECT_EQ(ended, Ended{0});
    std::string lines = captured();
    // The reader above does not show system-exclusive messages.
    std::string shownLines;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);)
      if (line.find("Synth: F0") == std::string::npos) shownLines += line + "\n";
    EXPECT_TRUE(shownLines == expected + "\n") << entry.path() << shownLines.substr(0, 500) << expected.substr(0, 500);
  }
  EXPECT_GT(files, 20);
}

TEST_F(MidiRun, PlayDoesNotOverwriteTheFileThatItPlays) {
  const std::string file = notes({0, 250});
  const std::string before = readFile(file);
  const Ended ended = runFast("midi-capture=" + file, "midi play --to Synth " + file);
  EXPECT_EQ(ended.status, 1) << ended;
  EXPECT_THAT(ended.errors, HasSubstr("is the MIDI file being played of this run"));
  EXPECT_EQ(readFile(file), before);
}

TEST_F(MidiRun, EventsMayGiveWholeNumbersAsFloats) {
  const std::string scenario = mFolder.file("midi.json");
  std::ofstream(scenario) << R"({"devices":[{"name":"A","uniqueID":1,"properties":{}}],
    "events":[{"at":0.1,"notify":"property","object":1,"property":"offline","value":1.0}]})";
  const Ended ended = runFast("midi=" + scenario, "midi watch --seconds 0.2");
  EXPECT_EQ(ended.status, 0) << ended;
}

TEST_F(MidiRun, PlayReportsItsEnd) {
  const std::string file = notes({0, 250}), result = R"({"command":"midi play","host":"simulated","ended":)";
  EXPECT_EQ(runFast(mSimulated, "--json midi play --to Synth " + file),
            (Ended{0, result + R"("finished","seconds":0.25,"packets":2,"bytes":6,"discontinuities":0,"overruns":0})" +
                          "\n"}));
  EXPECT_EQ(captured(), "0.000000000 Synth: 90 00 40\n0.250000000 Synth: 90 01 40\n");
  EXPECT_EQ(runFast("", "--json midi play --seconds 0.1 --to Synth " + file).output,
            result + R"("seconds","seconds":0.1,"packets":1,"bytes":3,"discontinuities":0,"overruns":0})" + "\n");
  EXPECT_EQ(runFast("", "midi play " + file).errors, "orvane: No MIDI destination named '(null)'\n");
  EXPECT_EQ(runFast("", "midi play --to Synth /no/such.mid").errors,
            "orvane: SequencePlayer::loadFile failed: -2: \"/no/such.mid\": No such file or directory\n");
  EXPECT_THAT(runFast("", "midi play --to Synth " ORVANE_SOURCE_FOLDER "/README.md").errors,
              HasSubstr("it is not a standard MIDI file"));
}

TEST_F(MidiRun, FaultsEndARunWithTheirReason) {
  const std::string file = notes({0, 2000});
  const auto fault = [](const std::string& members) { return R"(,"faults":[{"at":)" + members + "}]"; };
  const Ended lost = runScenario("{}", "--json midi monitor", fault(R"(1,"fault":"server-lost")"));
  EXPECT_EQ(lost.errors, "orvane: No MIDI sources present\n" + lost.errors.substr(lost.errors.find('{')));
  const std::string simulated =
      R"({"devices":[{"entities":[{"sources":[{"name":"S"}],"destinations":[{"name":"D"}]}]}]})";
  for (const std::string command : {"midi monitor", "midi watch"}) {
    const Ended ended = runScenario(simulated, command + " --json", fault(R"(1,"fault":"server-lost")"));
    EXPECT_EQ(ended.status, 1) << ended;
    EXPECT_THAT(ended.errors, AllOf(StartsWith("orvane: the sound server was lost\n"), HasSubstr(R"("ended":"failed")"),
                                    HasSubstr(R"("status":-10,"cause":"server lost")")));
  }
  EXPECT_EQ(runScenario(simulated, "midi play --to D " + file, fault(R"(1,"fault":"server-lost")")).errors,
            "orvane: the sound server was lost\n");
  EXPECT_EQ(captured(), "0.000000000 D: 90 00 40\n");
  for (const std::string command : {"midi list", "midi send 90", "midi watch"}) {
    const Ended ended = runScenario(simulated, command, fault(R"(0,"fault":"server-lost")"));
    EXPECT_EQ(ended.status, 77) << ended;
    EXPECT_THAT(ended.errors, StartsWith("orvane: the sound server was lost"));
  }
  EXPECT_THAT(
      runScenario(simulated, "midi send 90", fault(R"(0,"fault":"refuse","call":"MidiService::send","status":-77)"))
          .errors,
      HasSubstr("orvane: MidiService::send failed: -77: refused by the scenario with status -77\n"));
  const Ended full = runScenario(simulated, "midi send 90", fault(R"(0,"fault":"disk-full")"));
  EXPECT_EQ(full.status, 1);
  EXPECT_THAT(full.errors, HasSubstr("writing failed, disk full: "));
}

TEST_F(MidiRun, ListsAndWatchesTheInventory) {
  const std::string midi =
      R"({"devices":[{"name":"D","uniqueID":1,"driverVersion":3,"properties":{"a":"text:data:x","b":1}},
    {"name":"H","uniqueID":2,"present":false,"entities":[{"sources":[{"name":"S","uniqueID":3,"displayName":"Shown"}]}]}],
    "events":[{"at":0,"notify":"added","child":2},{"at":0.5,"notify":"property","object":1,"property":"b","value":[true]},
              {"at":0.5,"notify":"property","object":1,"property":"name","value":"New"},
              {"at":1,"notify":"removed","parent":1,"child":2},{"at":1,"notify":"setup"},{"at":1.5,"notify":-9}]})";
  const std::string device = "device \"D\", id 0x00000001, ref 0x00000001\n",
                    hidden = "device \"H\", id 0x00000002, ref 0x00000002\n";
  const std::string rest = "\nSources:\n\nDestinations:\n\nExternal devices:\n";
  EXPECT_EQ(runScenario(midi, "midi list").output, "\nDevices:\n\t" + device + rest);
  const std::string properties = "\t{\n\t  a = data:x\n\t  b = 1\n\t}\n";
  EXPECT_EQ(runScenario(midi, "midi list --properties").output, "\nDevices:\n\t" + device + properties + rest);
  const std::string named = "device \"New\", id 0x00000001, ref 0x00000001\n";
  EXPECT_EQ(runScenario(midi, "midi watch --seconds 1").output,
            "\nDevices:\n\t" + device + properties + rest + "\nWatching for notifications...\n" +
                "MidiNotification::objectAdded:\n         (added object's driver version is 0)\nparent<NULL>\nchild " +
                hidden + "MidiNotification::propertyChanged:\nobject" + device + "  property \"b\"\n\n" +
                "MidiNotification::propertyChanged:\nobject" + named + "  property \"name\"\n\n" +
                "MidiNotification::objectRemoved:\nparent" + named + "child " + hidden +
                "MidiNotification::setupChanged\n\nDevices:\n\t" + named + rest);
  // Each notification can be read through a pipe as it happens, and SIGINT ends the command well.
  std::ofstream(mScenario) << R"({"midi":)" << midi << "}";
  Program watch(ORVANE_TOOL " --json midi watch --simulate scenario=" + mScenario);
  await([&] { return watch.output().ends_with("unknown message -9\n"); });
  watch.send(SIGINT);
  const Ended ended = watch.finish();
  EXPECT_EQ(ended.status, 0) << ended;
  EXPECT_THAT(ended.errors, HasSubstr(R"("ended":"signal")"));
  // A reader that goes away ends it quietly.
  const std::string command = ORVANE_TOOL " midi watch --simulate scenario=" + mScenario + "; echo $? >&2";
  EXPECT_EQ(run("sh -c '{ " + command + "; } | head -n 2'").errors, "0\n");
}

}  // namespace
}  // namespace orvane::test
