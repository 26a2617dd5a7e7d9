// SPDX-License-Identifier: MIT

// Runs of the MIDI commands on a private sound server, against the server's own programs and each other.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/pipewire/PrivateServer.h"

namespace orvane::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

constexpr char senderPort[] = "OVMIDISend:Output port";
constexpr char monitorPort[] = "OVMIDIMonitor:Input port";

void awaitPort(const std::string& port) {
  await([&] { return run("pw-link -io").output.find(port + "\n") != std::string::npos; });
}
void awaitLink(const std::string& from, const std::string& to) {
  const std::regex link(from + "\n(  \\|-> .*\n)*  \\|-> " + to + "\n");
  await([&] { return std::regex_search(run("pw-link -l").output, link); });
}

/// A run of `midi send -i`, whose port exists until the end of its input.
class Sender {
 public:
  explicit Sender(const PrivateServer& server, const std::string& options = "") {
    const std::string pipe = server.file("lines");
    mkfifo(pipe.c_str(), 0600);
    mInput = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    mTool = std::make_unique<Program>(ORVANE_TOOL " midi send -i " + options + " <" + pipe);
    awaitPort(senderPort);
    // From now on only this end keeps the pipe open.
    unlink(pipe.c_str());
  }
  ~Sender() {
    if (mInput != -1) close(mInput);
  }
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;

  void write(const std::string& line) const { ASSERT_GT(::write(mInput, (line + "\n").c_str(), line.size() + 1), 0); }
  /// Ends the input.
  Ended finish() {
    close(std::exchange(mInput, -1));
    return mTool->finish();
  }

 private:
  int mInput = -1;
  std::unique_ptr<Program> mTool;
};

/// A run of `midi monitor`, from the moment when it is linked.
class Monitor {
 public:
  explicit Monitor(const std::string& source = senderPort)
      : mTool(ORVANE_TOOL " --json midi monitor --from \"" + source + "\"") {
    awaitLink(source, monitorPort);
  }

  /// Returns the bytes that were printed so far, without times.
  std::string bytes() const {
    std::string text = mTool.output();
    text = std::regex_replace(text.substr(0, text.rfind('\n') + 1), std::regex(R"( ?\[\d+\]:|\n)"), "");
    return text.empty() ? text : text.substr(1);
  }
  std::string text() const { return mTool.output(); }
  void awaitBytes(const std::string& last) const {
    await([&] { return bytes().ends_with(last); });
  }
  Ended finish() { return mTool.finish(); }
  Ended interrupt() {
    mTool.send(SIGINT);
    return mTool.finish();
  }

 private:
  Program mTool;
};

std::string hex(int byte) {
  char digits[8];
  std::snprintf(digits, sizeof digits, "%02X", byte);
  return digits;
}

/// A system-exclusive message of `size` bytes.
std::string exclusive(int size) {
  std::string text = "F0";
  for (int i = 0; i < size - 2; ++i) text += " " + hex(i * 7 % 128);
  return text + " F7";
}

/// A MIDI file of numbered notes on 16 channels, `interval` tenths of milliseconds apart, the first one after `rest`.
std::string noteFile(const PrivateServer& server, int notes, int interval, int rest = 0) {
  const auto quantity = [](int value) {
    std::string bytes(1, static_cast<char>(value & 0x7F));
    while ((value >>= 7) != 0) bytes.insert(0, 1, static_cast<char>(0x80 | (value & 0x7F)));
    return bytes;
  };
  const auto number = [](std::size_t value) {
    return std::string{static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
                       static_cast<char>(value)};
  };
  // 5000 ticks of a quarter note, which lasts half a second.
  std::string track;
  for (int i = 0; i < notes; ++i) {
    track += quantity(i == 0 ? rest : interval) + static_cast<char>(0x90 | (i >> 14)) +
             static_cast<char>(i >> 7 & 0x7F) + static_cast<char>(i & 0x7F);
  }
  track += std::string("\0\xFF\x2F\0", 4);
  std::ofstream(server.file("notes.mid"), std::ios::binary)
      << "MThd" << number(6) << std::string("\0\0\0\1\x13\x88", 6) << "MTrk" << number(track.size()) << track;
  return server.file("notes.mid");
}
std::string note(int number) {
  return hex(0x90 | (number >> 14)) + " " + hex(number >> 7 & 0x7F) + " " + hex(number & 0x7F);
}

TEST(MidiRun, SendsToAnotherProgram) {
  const PrivateServer server;
  const Program dump("pw-mididump");
  awaitPort("midi-dump:input");
  const std::string big = exclusive(2048);
  const Ended ended = runTool("--json midi send '90 3C 7F 80 3C 00 | B1 07 40 C0 05' '" + big + "' 'E0 00 40'");
  EXPECT_EQ(ended.status, 0) << ended;
  EXPECT_THAT(ended.errors, HasSubstr(R"("packets":4,"bytes":2062,)"));
  EXPECT_THAT(ended.errors, HasSubstr(R"("overruns":0)"));
  await([&] { return dump.output().find("Pitch") != std::string::npos; });
  EXPECT_THAT(dump.output(), testing::ContainsRegex("Note On +\\(channel  1\\): note +C4, velocity 127(.|\n)*"
                                                    "Note Off +\\(channel  1\\): note +C4, velocity +0(.|\n)*"
                                                    "Controller \\(channel  2\\): controller +7 [^,]*, value +64(.|\n)*"
                                                    "Program +\\(channel  1\\): program +5"));
  // The dump shows the pieces of a long message as one text each; together they are the message.
  std::string bytes;
  std::istringstream words(dump.output().substr(dump.output().find("f0 ")));
  for (std::string word; words >> word;) {
    if (word.size() == 2 && word.find_first_not_of("0123456789abcdef") == std::string::npos) bytes += word + " ";
  }
  std::string expected = big + " ";
  std::ranges::transform(expected, expected.begin(), [](unsigned char each) { return std::tolower(each); });
  EXPECT_THAT(bytes, testing::StartsWith(expected));
}

TEST(MidiRun, ReceivesFromAnotherProgramUntilItEnds) {
  const PrivateServer server;
  const Program peer("pw-midiplay " + noteFile(server, 40, 100, 20'000));
  awaitPort("pw-midiplay:out_0");
  const Ended ended = Monitor("pw-midiplay:out_0").finish();
  std::string all;
  for (int i = 0; i < 40; ++i) all += "[^\n]*\\]: " + note(i) + "[^\n]*\n?";
  EXPECT_THAT(ended.output, testing::ContainsRegex(all));
  EXPECT_EQ(ended.status, 1) << ended;
  EXPECT_THAT(ended.errors, HasSubstr(R"("error":"the MIDI source \"pw-midiplay:out_0\" was removed","status":-9)"));
}

TEST(MidiRun, LetsTwoProcessesTalk) {
  const PrivateServer server;
  const std::string lines[] = {"90 3C 7F", exclusive(2048), "F1 02 | F2 03 04 | F3 05 | F6 | F8 | FF",
                               exclusive(20'000), "F0 01 02 F8 03 F7 81 00 00"};
  Sender sender(server, std::string("--to \"") + monitorPort + "\"");
  Monitor monitor;
  std::string expected;
  for (const std::string& line : lines) {
    sender.write(line);
    expected += (expected.empty() ? "" : " ") + line;
  }
  // A real-time message passes before the message that it interrupts.
  expected = std::regex_replace(expected, std::regex(" \\|"), "");
  expected = std::regex_replace(expected, std::regex("F0 01 02 F8 03 F7"), "F8 F0 01 02 03 F7");
  monitor.awaitBytes("81 00 00");
  EXPECT_EQ(monitor.bytes(), expected);
  EXPECT_EQ(run("pw-cli ls Link | grep -c link.output.port").output, "1\n") << "the monitor's link serves the sender";
  const Ended ended = monitor.interrupt();
  EXPECT_EQ(ended.status, 0) << ended;
  // The monitor has gone, which the next line tells.
  await([] { return run("pw-link -i").output.find(monitorPort) == std::string::npos; });
  sender.write("80 3C 00");
  EXPECT_THAT(sender.finish().errors, HasSubstr("Caught exception: "));
}

TEST(MidiRun, ShowsPortsThatComeAndGo) {
  const PrivateServer server;
  EXPECT_EQ(runTool("midi list").output, "\nDevices:\n\nSources:\n\nDestinations:\n\nExternal devices:\n");
  Program watch(ORVANE_TOOL " midi watch");
  const auto shows = [&](const std::string& text) {
    return await([&] { return watch.output().find(text) != std::string::npos; });
  };
  EXPECT_TRUE(shows("Watching for notifications"));
  {
    Sender sender(server);
    EXPECT_TRUE(shows("child source \"OVMIDISend:Output port\", id 0xCCDB393D, ref 0x00000003\n"));
    EXPECT_THAT(runTool("midi list --properties").output,
                testing::ContainsRegex("\tdevice \"OVMIDISend\", id 0x36CBD975(.|\n)*node.name = OVMIDISend\n(.|\n)*"
                                       "\t\t\tsource \"OVMIDISend:Output port\", id 0xCCDB393D(.|\n)*"
                                       "port.direction = out\n(.|\n)*Sources:\n\tsource \"OVMIDISend:Output port\""));
    EXPECT_THAT(watch.output(), Not(HasSubstr("objectRemoved")));
    sender.finish();
  }
  EXPECT_TRUE(shows("MidiNotification::objectRemoved:\nparententity \"OVMIDISend\""));
  EXPECT_TRUE(shows("parent<NULL>\nchild device \"OVMIDISend\", id 0x36CBD975, ref 0x00000001\n"));
  EXPECT_THAT(watch.output(), Not(HasSubstr("###")));
  {
    // What comes back is the same object.
    Sender sender(server);
    await([&] { return watch.output().rfind("objectAdded") > watch.output().rfind("objectRemoved"); });
    EXPECT_THAT(watch.output(), Not(HasSubstr("ref 0x00000004")));
  }
  watch.send(SIGINT);
  EXPECT_EQ(watch.finish().status, 0);
}

TEST(MidiRun, PlaysAFileToAnotherProgram) {
  const PrivateServer server;
  const std::string file = noteFile(server, 300, 50);
  Program recorder("pw-midirecord " + server.file("recorded.mid"));
  awaitPort("pw-midirecord:in_0");
  const Ended ended = runTool("--json midi play " + file + " --to pw-midirecord:in_0");
  EXPECT_THAT(ended.output, HasSubstr(R"("ended":"finished")")) << ended;
  EXPECT_THAT(ended.output, HasSubstr(R"("packets":300,"bytes":900,)"));
  recorder.send(SIGINT);
  recorder.finish();
  // Another program reads both files.
  const auto notes = [](const std::string& path) {
    std::istringstream text(run("pw-mididump " + path + " | grep -o 'Note.*'").output);
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
  };
  const std::vector<std::string> played = notes(file);
  const std::vector<std::string> recorded = notes(server.file("recorded.mid"));
  ASSERT_EQ(played.size(), 300U);
  // A recorder that gets no processor in time misses a cycle, but nothing changes places.
  auto place = played.begin();
  for (const std::string& line : recorded) {
    place = std::find(place, played.end(), line);
    ASSERT_NE(place++, played.end()) << line;
  }
  EXPECT_GE(recorded.size(), played.size() - busyLosses);
}

TEST(MidiRun, PassesFiveThousandMessagesASecond) {
  for (const auto& [slice, count] : {std::pair("256", 15'000), {"1024", 50'000}}) {
    const PrivateServer server;
    const Sender source(server);
    const std::string file = noteFile(server, count, 2);
    Monitor monitor;
    const Ended played =
        runTool(std::string("--slice ") + slice + " --json midi play " + file + " --to \"" + monitorPort + "\"");
    EXPECT_EQ(played.status, 0) << played;
    EXPECT_EQ(numberOf(played.output, "packets"), count);
    const Ended ended = monitor.interrupt();
    std::vector<int> numbers;
    const std::string text = monitor.bytes();
    for (std::size_t at = 0; at + 8 <= text.size(); at += 9) {
      numbers.push_back((std::stoi(text.substr(at + 1, 1), nullptr, 16) << 14) |
                        (std::stoi(text.substr(at + 3, 2), nullptr, 16) << 7) |
                        std::stoi(text.substr(at + 6, 2), nullptr, 16));
    }
    EXPECT_TRUE(std::ranges::is_sorted(numbers, std::ranges::less_equal())) << "in order, none twice";
    // Every message arrives or is counted as an overrun; a discontinuity may cost a cycle of messages.
    const double lost = count - static_cast<double>(numbers.size()) - numberOf(ended.errors, "overruns");
    const double lostCycles = numberOf(played.output, "discontinuities") + numberOf(ended.errors, "discontinuities");
    EXPECT_GE(lost, 0);
    EXPECT_LE(lost, 149 * lostCycles) << ended.errors << played;
    EXPECT_GE(numbers.size(), 9U * static_cast<unsigned>(count) / 10);
  }
}

// ---- faults

struct MidiFault {
  std::string command;
  int signal;
};
void PrintTo(const MidiFault& each, std::ostream* stream) {
  *stream << each.command << ", signal " << each.signal;
}
class ServerMidiFault : public testing::TestWithParam<MidiFault> {};

TEST_P(ServerMidiFault, EndsTheRunSoonWithItsReason) {
  PrivateServer server;
  const std::string file = noteFile(server, 1000, 100);
  const Program dump("pw-mididump");
  awaitPort("midi-dump:input");
  Sender sender(server, "--to midi-dump:input");
  sender.write("90 3C 7F");
  awaitLink(senderPort, "midi-dump:input");
  const std::string command = GetParam().command;
  std::unique_ptr<Program> tool;
  if (command != "send") {
    const std::string arguments = command == "play"      ? "play " + file + " --to midi-dump:input"
                                  : command == "monitor" ? "monitor --from \"" + std::string(senderPort) + "\""
                                                         : command;
    tool = std::make_unique<Program>(ORVANE_TOOL " --json midi " + arguments);
    if (command == "play") await([&] { return dump.output().find("C-1") != std::string::npos; });
    if (command == "monitor") {
      await([&] {
        sender.write("90 01 02");
        return tool->output().find("90 01 02") != std::string::npos;
      });
    }
    if (command == "watch") await([&] { return tool->output().find("Watching") != std::string::npos; });
  }
  const auto before = std::chrono::steady_clock::now();
  server.send(GetParam().signal);
  const std::string reason =
      GetParam().signal == SIGKILL ? "the sound server was lost" : "the sound server does not respond";
  if (tool) {
    const Ended ended = tool->finish();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 2s);
    EXPECT_EQ(ended.status, 1) << ended;
    EXPECT_THAT(ended.output + ended.errors, HasSubstr(R"("ended":"failed","error":")" + reason));
  } else {
    std::this_thread::sleep_for(2s);
    sender.write("80 3C 00");
    EXPECT_THAT(sender.finish().errors, HasSubstr("Caught exception: OVTException, "));
  }
  server.send(SIGCONT);
}

INSTANTIATE_TEST_SUITE_P(Tool, ServerMidiFault,
                         testing::Values(MidiFault{"send", SIGKILL}, MidiFault{"send", SIGSTOP},
                                         MidiFault{"monitor", SIGKILL}, MidiFault{"monitor", SIGSTOP},
                                         MidiFault{"play", SIGKILL}, MidiFault{"play", SIGSTOP},
                                         MidiFault{"watch", SIGKILL}, MidiFault{"watch", SIGSTOP}),
                         [](const auto& each) {
                           return each.param.command + (each.param.signal == SIGKILL ? "Killed" : "Frozen");
                         });

TEST(MidiFaults, APlayerEndsWithItsDestination) {
  const PrivateServer server;
  auto dump = std::make_unique<Program>("pw-mididump");
  awaitPort("midi-dump:input");
  Program play(ORVANE_TOOL " --json midi play " + noteFile(server, 1000, 100) + " --to midi-dump:input");
  await([&] { return dump->output().find("C-1") != std::string::npos; });
  const auto before = std::chrono::steady_clock::now();
  dump.reset();
  const Ended ended = play.finish();
  EXPECT_LT(std::chrono::steady_clock::now() - before, 2s);
  EXPECT_EQ(ended.status, 1) << ended;
  EXPECT_THAT(ended.output, HasSubstr(R"("error":"the MIDI destination \"midi-dump:input\" was removed")"));
}

/// Removes the node with this name from the server.
void destroyNode(const std::string& name) {
  EXPECT_EQ(
      run("pw-cli destroy $(pw-dump | jq '.[] | select(.info.props[\"node.name\"] == \"" + name + "\") | .id')").status,
      0);
}

TEST(MidiFaults, ARunEndsWithItsNode) {
  const PrivateServer server;
  const Program dump("pw-mididump");
  awaitPort("midi-dump:input");
  const Sender sender(server);
  Monitor monitor;
  Program play(ORVANE_TOOL " --json midi play " + noteFile(server, 1000, 100) + " --to midi-dump:input");
  await([&] { return dump.output().find("C-1") != std::string::npos; });
  const auto before = std::chrono::steady_clock::now();
  destroyNode("OVMIDIMonitor");
  destroyNode("OVMIDIPlayer");
  const Ended played = play.finish();
  const Ended heard = monitor.finish();
  EXPECT_LT(std::chrono::steady_clock::now() - before, 2s);
  EXPECT_EQ(played.status, 1) << played;
  EXPECT_THAT(played.output, HasSubstr(R"("error":"the sound server removed the port \"OVMIDIPlayer:Output port\"")"));
  EXPECT_EQ(heard.status, 1) << heard;
  EXPECT_THAT(heard.errors, HasSubstr(R"("error":"the sound server removed the port \"OVMIDIMonitor:Input port\"")"));
}

TEST(MidiFaults, ARefusedLinkIsAFailureWithItsReason) {
  PrivateServer server;
  server.kill();
  EXPECT_EQ(run("sed -i 's/{ name=libpipewire-module-link-factory }//' " + server.file("server.conf")).status, 0);
  server.start();
  const Program dump("pw-mididump");
  awaitPort("midi-dump:input");
  const Ended ended = runTool("--json midi send 90");
  EXPECT_EQ(ended.status, 1) << ended;
  EXPECT_THAT(ended.errors, HasSubstr("the sound server did not link the MIDI endpoint \\\"midi-dump:input\\\": "));
  EXPECT_EQ(numberOf(ended.errors, "discontinuities"), 0);
}

TEST(MidiRun, DeliversALongInputToItsEnd) {
  const PrivateServer server;
  constexpr int count = 60'000;  // More than two seconds of full cycles.
  std::string line;
  for (int i = 0; i < count; ++i) line += note(i) + "|";
  std::ofstream(server.file("line")) << line << "\n";
  const Sender source(server);
  Monitor monitor;
  const Ended sent =
      run(ORVANE_TOOL " --json midi send -i --to \"" + std::string(monitorPort) + "\" <" + server.file("line"));
  EXPECT_EQ(sent.status, 0) << sent.errors;
  EXPECT_EQ(numberOf(sent.errors, "packets"), count) << sent.errors;
  const Ended ended = monitor.interrupt();
  const double counted = numberOf(sent.errors, "discontinuities") + numberOf(ended.errors, "discontinuities");
  EXPECT_TRUE(numberOf(ended.errors, "bytes") == 3 * count || counted > 0) << ended.errors;
}

TEST(MidiRun, SchedulesToTheFrame) {
  constexpr int count = 100;
  for (const char* const slice : {"64", "256", "1024"}) {
    const PrivateServer server;
    const Sender source(server);
    Monitor monitor;
    // 10.3 ms apart, which is no whole number of frames.
    const std::string file = noteFile(server, count, 103);
    const Ended played =
        runTool(std::string("--slice ") + slice + " --json midi play " + file + " --to \"" + monitorPort + "\"");
    EXPECT_EQ(played.status, 0) << played;
    monitor.awaitBytes(note(count - 1));
    // The time stamps of the receiver are frames of the graph, so the distances are those of the file to the frame.
    const std::string text = monitor.text();
    const std::regex packet(R"(\[(\d+)\]: 90 (..) (..))");
    std::vector<std::pair<int, long>> heard;
    for (std::sregex_iterator each(text.begin(), text.end(), packet), end; each != end; ++each) {
      heard.emplace_back(std::stoi((*each)[2], nullptr, 16) << 7 | std::stoi((*each)[3], nullptr, 16),
                         std::stol((*each)[1]));
    }
    ASSERT_GE(heard.size(), 9U * count / 10);
    std::vector<long> delays;
    for (const auto& [number, time] : heard) delays.push_back(time - number * 10'300'000L);
    // Each note leaves less than a frame after its time. The server rounds the beginning of each cycle to a nanosecond.
    std::ranges::sort(delays);
    constexpr long frame = 1'000'000'000L / 48'000 + 2'000;
    const auto isExact = [&](std::size_t first, std::size_t last) { return delays[last] - delays[first] <= frame; };
    const double late =
        numberOf(played.output, "discontinuities") + numberOf(monitor.interrupt().errors, "discontinuities");
    // Notes of cycles that came too late are late; a counted discontinuity says so.
    EXPECT_TRUE(isExact(0, delays.size() - 1) || late > 0) << delays.back() - delays.front() << ", slice " << slice;
    EXPECT_TRUE(isExact(0, delays.size() * 9 / 10)) << "slice " << slice;
  }
}

TEST(MidiFaults, ALinkThatSomebodyRemovesIsMadeAgain) {
  const PrivateServer server;
  Sender sender(server, std::string("--to \"") + monitorPort + "\"");
  Monitor monitor;
  sender.write("90 3C 01");
  monitor.awaitBytes("90 3C 01");
  EXPECT_EQ(run("pw-link -d 'OVMIDISend:Output port' 'OVMIDIMonitor:Input port'").status, 0);
  awaitLink(senderPort, monitorPort);
  sender.write("90 3C 7F");
  monitor.awaitBytes("90 3C 7F");
  EXPECT_THAT(monitor.interrupt().errors, Not(HasSubstr(R"("discontinuities":0)")));
}

TEST(MidiFaults, WithoutAServerThereIsNoMidi) {
  PrivateServer server;
  server.kill();
  for (const std::string command : {"list", "watch", "monitor", "send F8", "send -i", "play a.mid --to b"}) {
    const Ended ended = runTool("midi " + command);
    EXPECT_EQ(ended.status, 77) << command << ended;
    EXPECT_THAT(ended.errors, HasSubstr("no sound server at " + server.file("pipewire-0"))) << command;
  }
  server.start();
  EXPECT_EQ(runTool("midi monitor").errors, "orvane: No MIDI sources present\n");
}

}  // namespace
}  // namespace orvane::test
