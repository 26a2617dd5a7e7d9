// SPDX-License-Identifier: MIT
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/SettingsCheck.h"
#include "midi/HexText.h"

namespace orvane {

namespace {

using Groups = std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>>;

/// Reads the text one character after the other, as the grammar describes it. Returns whether it is valid.
bool readPlainly(std::string_view text, Groups& groups) {
  std::vector<std::uint8_t> group;
  std::uint64_t bars = 0;
  std::string digits;
  const auto endByte = [&] {
    if (!digits.empty()) group.push_back(static_cast<std::uint8_t>(std::stoi(digits, nullptr, 16)));
    digits.clear();
  };
  const auto endGroup = [&] {
    endByte();
    if (!group.empty()) groups.emplace_back(bars, group);
    group.clear();
  };
  for (const char character : text) {
    const auto code = static_cast<unsigned char>(character);
    if (code >= 0x80) return false;
    if (character == '|') {
      endGroup();
      ++bars;
    } else if (std::isxdigit(code) != 0) {
      digits += character;
      if (digits.size() == 2) endByte();
    } else if (std::isspace(code) == 0) {
      return false;
    }
  }
  endGroup();
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Groups read, plain;
  const bool isRead = readHexText(text, [&](std::uint64_t bars, std::span<const std::uint8_t> bytes) {
    read.emplace_back(bars, std::vector(bytes.begin(), bytes.end()));
  });
  fuzz::require(isRead == readPlainly(text, plain) && read == plain);
  return 0;
}

}  // namespace orvane
