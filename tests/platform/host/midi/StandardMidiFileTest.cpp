// SPDX-License-Identifier: MIT
#include "platform/host/midi/StandardMidiFile.h"

#include "tests/support/Test.h"

namespace orvane::test {
namespace {

/// Returns bytes written as pairs of hexadecimal digits; white space is ignored.
std::string bytes(std::string_view text) {
  std::string result;
  std::string digits;
  for (const char character : text) {
    if (character != ' ') digits += character;
    if (digits.size() == 2) result += static_cast<char>(std::stoi(std::exchange(digits, {}), nullptr, 16));
  }
  return result;
}

std::string bigEndian(std::size_t number, int bytes) {
  std::string result;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) result += static_cast<char>(number >> shift & 0xFF);
  return result;
}

std::string chunk(const std::string& type, const std::string& content, std::ptrdiff_t wrongBy = 0) {
  return type + bigEndian(content.size() + static_cast<std::size_t>(wrongBy), 4) + content;
}

std::string header(int format, std::size_t tracks, unsigned division) {
  return chunk("MThd", bigEndian(static_cast<std::size_t>(format), 2) + bigEndian(tracks, 2) + bigEndian(division, 2));
}

/// Returns a file with these tracks, given as hexadecimal digits.
std::string file(int format, unsigned division, const std::vector<std::string>& tracks) {
  std::string result = header(format, tracks.size(), division);
  for (const std::string& track : tracks) result += chunk("MTrk", bytes(track));
  return result;
}

/// Returns the packets of a file as "NANOSECONDS: XX XX; ...", or the reason why it is refused.
std::string parsed(const std::string& content) {
  auto result = host::parseMidiFile({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()});
  if (!result) {
    EXPECT_EQ(result.failure().status, platform::status::invalidFile);
    return result.failure().reason;
  }
  std::string text;
  for (const auto& packet : (*result)->packets) {
    text += (text.empty() ? "" : "; ") + std::to_string(packet.time.count()) + ":";
    char digits[8];
    for (const int byte : (*result)->bytesOf(packet))
      text += (std::snprintf(digits, sizeof digits, " %02X", byte), digits);
  }
  return text;
}

TEST(StandardMidiFile, ReadsTracksTimesAndMessages) {
  const std::string note = "00 903C7F";
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"one track", file(0, 480, {"00 903C7F 8360 803C00 00 FF2F00"}), "0: 90 3C 7F; 500000000: 80 3C 00"},
      {"running status, across a meta event", file(0, 480, {"00 903C7F 01 3D7F 00 FF0100 01 3E00 00 C105 00 06"}),
       "0: 90 3C 7F; 1041666: 90 3D 7F; 2083333: 90 3E 00 C1 05 C1 06"},
      {"messages of one time join, system-exclusive ones do not",
       file(0, 480, {"00 903C7F 00 913C7F 00 F00341 42F7 00 923C7F"}),
       "0: 90 3C 7F 91 3C 7F; 0: F0 41 42 F7; 0: 92 3C 7F"},
      {"continuation packets and escapes", file(0, 96, {"00 F00243 12 60 F7034312 34 60 F702 01F7 00 F701F8"}),
       "0: F0 43 12; 500000000: 43 12 34; 1000000000: 01 F7; 1000000000: F8"},
      {"tempo map in another track", file(1, 480, {"00 FF5103 0F4240 8360 FF5103 07A120", "8360 903C7F 8360 803C00"}),
       "1000000000: 90 3C 7F; 1500000000: 80 3C 00"},
      {"tracks of one time in order", file(1, 480, {"01 911111", "00 902222 01 922222"}),
       "0: 90 22 22; 1041666: 91 11 11 92 22 22"},
      {"exact sums: no rounding error adds up", file(0, 7, {"00 FF5103 000001 01 903C7F 01 3C7F 05 3C7F 8768 3C7F"}),
       "142: 90 3C 7F; 285: 90 3C 7F; 1000: 90 3C 7F; 143857: 90 3C 7F"},
      {"format 2: one track after the other, each with its own tempo",
       file(2, 480, {"00 FF5103 0F4240 8360 903C7F 8360 FF2F00", "8360 913C7F"}),
       "1000000000: 90 3C 7F; 2500000000: 91 3C 7F"},
      {"SMPTE time, 25 frames of 40 ticks", file(0, 0xE728, {"00 FF5103 000001 8768 903C7F"}), "1000000000: 90 3C 7F"},
      {"SMPTE time, 29.97 frames of 80 ticks", file(0, 0xE350, {"01 903C7F 92 5F 3C00"}),
       "417083: 90 3C 7F; 1001000000: 90 3C 00"},
      {"other chunks", header(0, 1, 96) + chunk("XFIH", "abc") + chunk("MTrk", bytes(note)) + chunk("XFKM", "de"),
       "0: 90 3C 7F"},
      {"a longer header", chunk("MThd", bytes("0000 0001 0060 1234")) + chunk("MTrk", bytes(note)), "0: 90 3C 7F"},
      {"a RIFF container", "RIFF" + bytes("22000000") + "RMIDdata" + bytes("1A000000") + file(0, 96, {note}),
       "0: 90 3C 7F"},
      {"system messages", file(0, 96, {"00 F8 00 F10A 00 F20102"}), "0: F8 F1 0A F2 01 02"},
      {"no event", file(0, 96, {"00 FF2F00"}), ""}};
  for (const auto& [name, content, packets] : cases) EXPECT_EQ(parsed(content), packets) << name;
  // A system-exclusive message of more than 65535 bytes becomes several packets.
  auto longOne = parsed(header(0, 1, 96) + chunk("MTrk", bytes("00 F0 84B000") + std::string(71680, 'x')));
  EXPECT_EQ(std::ranges::count(longOne, ';'), 1);
  EXPECT_EQ(longOne.size(), std::string("0: F0; 0:").size() + 3 * 71680);
}

TEST(StandardMidiFile, ToleratesWhatPlayersTolerate) {
  const std::string track = bytes("00 903C7F 60 803C00 00 FF2F00"), both = "0: 90 3C 7F; 500000000: 80 3C 00";
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"last track too long", header(0, 1, 96) + chunk("MTrk", track, 1000), both},
      {"last track too short", header(0, 1, 96) + chunk("MTrk", track, -8), both},
      {"last track of length 0", header(0, 1, 96) + chunk("MTrk", track, -12), both},
      {"no end of track", header(0, 1, 96) + chunk("MTrk", track.substr(0, 8)), both},
      {"cut off in an event", header(0, 1, 96) + chunk("MTrk", track.substr(0, 7)), "0: 90 3C 7F"},
      {"cut off in a number", header(0, 1, 96) + chunk("MTrk", track.substr(0, 4) + "\x81"), "0: 90 3C 7F"},
      {"cut off in a block", header(0, 1, 96) + chunk("MTrk", track.substr(0, 4) + bytes("00 F0 20 01")),
       "0: 90 3C 7F"},
      {"fewer tracks than declared", header(1, 5, 96) + chunk("MTrk", track), both},
      {"rubbish behind the last track", header(0, 1, 96) + chunk("MTrk", track) + std::string(50, '\x7F'), both},
      {"a tempo of 0", file(0, 96, {"00 FF5103 000000 60 903C7F"}), "500000000: 90 3C 7F"},
      {"a short tempo event", file(0, 96, {"00 FF5102 0001 60 903C7F"}), "500000000: 90 3C 7F"}};
  for (const auto& [name, content, packets] : cases) EXPECT_EQ(parsed(content), packets) << name;
}

TEST(StandardMidiFile, RefusesWhatIsNoMidiFileOrHasNoEnd) {
  std::string slow = "00 FF5103 FFFFFF ";
  for (int i = 0; i < 8; ++i) slow += "FFFFFF7F 903C7F ";
  const std::string many(std::size_t{4} * 3'000'000, '\0');
  const std::pair<std::string, std::string> cases[] = {
      {"", "it is not a standard MIDI file: it does not begin with a header \"MThd\""},
      {"RIFFxxxxWAVEfmt ", "it is not a standard MIDI file: it does not begin with a header \"MThd\""},
      {header(0, 1, 96), "it has no track"},
      {chunk("MThd", "123") + "abc", "its header has 3 bytes; it should have 6"},
      {file(3, 96, {""}), "its format is 3; it should be 0, 1 or 2"},
      {file(0, 0, {"00"}), "its division is 0; it should be the number of ticks of a quarter note"},
      {file(0, 0xE700, {"00"}), "its division is 0; it should be the number of ticks of a quarter note"},
      {file(0, 0xFF10, {"00"}), "its SMPTE time has 1 frames per second; it may have 24, 25, 29 or 30"},
      {file(0, 96, {"00 3C7F"}), "a data byte without a status byte in track 1 at offset 23"},
      {file(1, 96, {"00 FF2F00", "00 903C90"}), "a status byte in a message in track 2 at offset 36"},
      {file(0, 96, {"8080808000 903C7F"}), "a number of more than four bytes in track 1 at offset 22"},
      {file(0, 1, {slow}), "it is longer than 100000000 seconds"},
      {header(0, 1, 96) + chunk("MTrk", bytes("00 C000") + many), "it has more than 4000000 events"},
      {std::string((std::size_t{32} << 20) + 1, 'M'), "it has more than 33554432 bytes"}};
  for (const auto& [content, reason] : cases) EXPECT_EQ(parsed(content), reason);
}

}  // namespace
}  // namespace orvane::test
