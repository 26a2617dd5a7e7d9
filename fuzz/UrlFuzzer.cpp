// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/SettingsCheck.h"
#include "platform/Url.h"

namespace orvane {

namespace {

/// Checks that the URL of a path parses to the same URL, and that the URL names a file.
void checkPath(const std::string& path) {
  const auto url = platform::Url::fromPath(path);
  const auto parsed = platform::Url::parse(url.text());
  fuzz::require(parsed && parsed->text() == url.text() && parsed->path() == url.path());
  const bool hasZero = path.find('\0') != std::string::npos;
  fuzz::require(path.empty() || url.whyNotFile().has_value() == hasZero);
  fuzz::require(!path.starts_with('/') || url.path() == path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  checkPath(text);
  const auto url = platform::Url::parse(text);
  if (!url) return 0;
  fuzz::require(url->text() == text && !url->scheme().empty());
  fuzz::require(url->path().size() < size);
  const auto why = url->whyNotFile();
  fuzz::require(why ? !why->empty() : url->scheme() == "file" && url->path().starts_with('/'));
  if (!why) checkPath(url->path());
  return 0;
}

}  // namespace orvane
