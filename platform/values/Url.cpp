// SPDX-License-Identifier: MIT
#include "platform/Url.h"

#include <charconv>
#include <cstddef>
#include <filesystem>
#include <system_error>

namespace orvane::platform {

namespace {

constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view digits = "0123456789";
constexpr std::string_view hexDigits = "0123456789ABCDEFabcdef";

bool isOneOf(char character, std::string_view set) {
  return set.find(character) != std::string_view::npos;
}

bool isLetterOrDigit(char character) {
  return isOneOf(character, letters) || isOneOf(character, digits);
}

/// Returns the length of the scheme before the colon; 0 if the text does not begin with a scheme.
std::size_t schemeLength(std::string_view text) {
  if (text.empty() || !isOneOf(text.front(), letters)) return 0;
  std::size_t length = 1;
  while (length < text.size() && (isLetterOrDigit(text[length]) || isOneOf(text[length], "+-."))) ++length;
  return length < text.size() && text[length] == ':' ? length : 0;
}

bool isWellFormed(std::string_view text) {
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char character = text[index];
    if (character <= ' ' || character > '~' || isOneOf(character, "<>\"\\^`{|}")) return false;
    if (character != '%') continue;
    if (index + 2 >= text.size() || !isOneOf(text[index + 1], hexDigits) || !isOneOf(text[index + 2], hexDigits))
      return false;
  }
  return true;
}

std::string unescaped(std::string_view text) {
  std::string result;
  for (std::size_t index = 0; index < text.size(); ++index) {
    unsigned char byte = static_cast<unsigned char>(text[index]);
    if (byte == '%') {
      std::from_chars(text.data() + index + 1, text.data() + index + 3, byte, 16);
      index += 2;
    }
    result += static_cast<char>(byte);
  }
  return result;
}

std::string escaped(std::string_view path) {
  std::string result;
  for (const char character : path) {
    const auto byte = static_cast<unsigned char>(character);
    if (isLetterOrDigit(character) || isOneOf(character, "-._~/")) {
      result += character;
    } else {
      result += {'%', hexDigits[byte >> 4], hexDigits[byte & 0xF]};
    }
  }
  return result;
}

}  // namespace

std::optional<Url> Url::parse(std::string_view text) {
  const std::size_t length = schemeLength(text);
  if (length == 0 || !isWellFormed(text)) return std::nullopt;
  Url url;
  url.mText = text;
  for (const char character : text.substr(0, length))
    url.mScheme += isOneOf(character, letters.substr(26)) ? static_cast<char>(character + ('a' - 'A')) : character;
  std::string_view rest = text.substr(length + 1);
  const std::size_t end = rest.find_first_of("?#");
  url.mHasMore = end != std::string_view::npos;
  rest = rest.substr(0, end);
  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    url.mHost = rest.substr(0, rest.find('/'));
    rest.remove_prefix(url.mHost.size());
  }
  url.mPath = unescaped(rest);
  return url;
}

Url Url::fromPath(const std::string& path) {
  Url url;
  std::error_code failed;
  std::filesystem::path absolute;
  if (!path.empty()) absolute = std::filesystem::absolute(path, failed);
  url.mScheme = "file";
  url.mPath = failed ? path : absolute.string();
  url.mText = "file://" + escaped(url.mPath);
  return url;
}

std::optional<std::string> Url::whyNotFile() const {
  if (mScheme != "file") return "is not a file URL (file:///PATH)";
  if (!mHost.empty() && mHost != "localhost") return "names a file of the host \"" + mHost + "\", not of this machine";
  if (mHasMore) return "has a query or a fragment; write '?' as %3F and '#' as %23";
  if (!mPath.starts_with('/')) return "has no absolute path (file:///PATH)";
  if (mPath.find('\0') != std::string::npos) return "has a zero byte in its path";
  return std::nullopt;
}

}  // namespace orvane::platform
