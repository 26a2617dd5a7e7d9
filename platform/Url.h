// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Export.h"

namespace orvane::platform {

/// A URL, as far as the location of a file needs it (RFC 3986, RFC 8089). An immutable value; not real-time safe.
class ORVANE_EXPORT Url {
 public:
  /// Parses the text of a URL: SCHEME:[//HOST]PATH[?QUERY][#FRAGMENT]. Returns `std::nullopt` for
  ///
  /// - an empty text;
  /// - a text without a scheme (a letter, then letters, digits, '+', '-' or '.', then ':'), such as "take.wav" and
  ///   "/tmp/take.wav";
  /// - a '%' without two hexadecimal digits behind it;
  /// - a character that URLs do not have: blanks, control characters, bytes above 126, and any of <>"\^`{|}.
  ///
  /// Every other text is a URL, also one that names no file: "http://host/a.wav", "file:a.wav", "file://".
  static std::optional<Url> parse(std::string_view text);
  /// Returns the URL of a file: the absolute form of `path`, a file-system path, with all bytes but letters, digits and
  /// "-._~/" escaped. An empty path stays empty.
  static Url fromPath(const std::string& path);

  const std::string& text() const { return mText; }
  const std::string& scheme() const { return mScheme; }  ///< In lower case.
  /// Returns the path with its escapes replaced by their bytes.
  const std::string& path() const { return mPath; }

  /// Returns why the URL names no file of this machine, as the end of a sentence, or `std::nullopt` if it names one. A
  /// file URL has the scheme "file", no host or the host "localhost", an absolute path without a zero byte, and neither
  /// query nor fragment.
  std::optional<std::string> whyNotFile() const;

 private:
  Url() = default;

  std::string mText;
  std::string mScheme;
  std::string mHost;
  std::string mPath;
  bool mHasMore = false;  ///< Whether there is a query or a fragment.
};

}  // namespace orvane::platform
