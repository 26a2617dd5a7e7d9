// SPDX-License-Identifier: MIT
#include "Pexutil/Source/Utility/PXAudioFileFormats.h"

#include <algorithm>
#include <array>
#include <cwctype>
#include <locale>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "platform/FormatInfoService.h"
#include "platform/SoundFileService.h"
#include "platform/Status.h"

namespace platform = orvane::platform;

using platform::FormatInfo;
using platform::SoundFileInfo;
using platform::StreamDescription;
namespace status = platform::status;

namespace {

/// Queries an array in two steps. `size(bytes)` and `data(bytes, pointer)` make the host calls and return their status.
template <typename Element, typename Size, typename Data>
std::optional<std::vector<Element>> queryArray(Size size, Data data) {
  std::uint32_t bytes = 0;
  if (size(bytes) != status::success) return std::nullopt;
  std::vector<Element> elements(bytes / sizeof(Element));
  bytes = static_cast<std::uint32_t>(elements.size() * sizeof(Element));
  if (data(bytes, elements.data()) != status::success) return std::nullopt;
  elements.resize(std::min(elements.size(), bytes / sizeof(Element)));
  return elements;
}

/// The services that a catalogue asks.
struct Source {
  platform::SoundFileService& files;
  platform::FormatInfoService* formats;

  template <typename Element, std::size_t count>
  std::optional<std::vector<Element>> ask(SoundFileInfo info, std::array<std::uint32_t, count> specifier) const {
    const std::uint32_t size = sizeof(std::uint32_t) * count;
    return queryArray<Element>(
        [&](std::uint32_t& bytes) { return files.globalInfoSize(info, size, specifier.data(), bytes); },
        [&](std::uint32_t& bytes, void* data) { return files.globalInfo(info, size, specifier.data(), bytes, data); });
  }
  std::optional<std::vector<std::uint32_t>> ask(FormatInfo info) const {
    if (formats == nullptr) return std::nullopt;
    return queryArray<std::uint32_t>(
        [&](std::uint32_t& bytes) { return formats->infoSize(info, bytes); },
        [&](std::uint32_t& bytes, void* data) { return formats->info(info, bytes, data); });
  }
  /// Asks for one shared object; returns null if the host does not answer.
  template <typename Object>
  std::shared_ptr<const Object> askShared(SoundFileInfo info, std::uint32_t fileType) const {
    auto answer = ask<std::shared_ptr<const Object>>(info, std::array{fileType});
    return answer && !answer->empty() ? answer->front() : nullptr;
  }
};

bool contains(const std::vector<std::uint32_t>& codes, std::uint32_t code) {
  return std::ranges::find(codes, code) != codes.end();
}

void loadVariants(const Source& source, std::uint32_t fileType, PXAudioFileFormats::DataFormatEntry& entry) {
  const auto variants =
      source.ask<StreamDescription>(SoundFileInfo::streamDescriptions, std::array{fileType, entry.formatID});
  if (!variants || variants->empty()) return;
  entry.variantCount = static_cast<std::int32_t>(variants->size());
  entry.variants = std::make_unique<StreamDescription[]>(variants->size());
  std::ranges::copy(*variants, entry.variants.get());
  constexpr std::uint32_t bitsPerByte = 8;
  const auto hasOrder = [&](std::uint32_t order) {
    return std::ranges::any_of(*variants, [order](const StreamDescription& variant) {
      return variant.bitsPerChannel > bitsPerByte && (variant.formatFlags & platform::format_flag::bigEndian) == order;
    });
  };
  entry.bothEndians = hasOrder(0) && hasOrder(platform::format_flag::bigEndian);
}

void loadDataFormatsOf(const Source& source, PXAudioFileFormats::FileTypeEntry& type) {
  const auto decodable = source.ask(FormatInfo::decodableIDs);
  const auto encodable = source.ask(FormatInfo::encodableIDs);
  const auto identifiers = source.ask<std::uint32_t>(SoundFileInfo::dataFormatIDs, std::array{type.fileType});
  if (!decodable || !encodable || !identifiers) return;
  type.dataFormatCount = static_cast<std::int32_t>(identifiers->size());
  type.dataFormats = std::make_unique<PXAudioFileFormats::DataFormatEntry[]>(identifiers->size());
  for (std::size_t index = 0; index < identifiers->size(); ++index) {
    PXAudioFileFormats::DataFormatEntry& entry = type.dataFormats[index];
    entry.formatID = (*identifiers)[index];
    const bool isLpcm = entry.formatID == platform::linearPcmFormatID;
    entry.readable = isLpcm || contains(*decodable, entry.formatID);
    entry.writable = isLpcm || contains(*encodable, entry.formatID);
    loadVariants(source, type.fileType, entry);
  }
}

/// Returns the characters of a text in lower case, or `std::nullopt` if the text is not valid UTF-8.
std::optional<std::wstring> lowerCase(std::string_view text) {
  std::wstring letters;
  for (std::size_t next = 0; next < text.size();) {
    const auto first = static_cast<unsigned char>(text[next++]);
    const int following = first < 0x80            ? 0
                          : first >> 5 == 0b110   ? 1
                          : first >> 4 == 0b1110  ? 2
                          : first >> 3 == 0b11110 ? 3
                                                  : -1;
    if (following < 0 || text.size() - next < static_cast<std::size_t>(following)) return std::nullopt;
    char32_t code = following == 0 ? first : first & (0x3FU >> following);
    for (int index = 0; index < following; ++index) {
      const auto byte = static_cast<unsigned char>(text[next++]);
      if (byte >> 6 != 0b10) return std::nullopt;
      code = code << 6 | (byte & 0x3F);
    }
    // Each character has one valid form, the shortest; surrogates and numbers beyond Unicode are none.
    constexpr char32_t smallest[] = {0, 0x80, 0x800, 0x10000};
    if (code < smallest[following] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) return std::nullopt;
    letters += static_cast<wchar_t>(std::towlower(static_cast<wint_t>(code)));
  }
  return letters;
}

/// Returns the user's locale, or the classic one if the environment names none that is installed.
const std::locale& userLocale() {
  static const std::locale& locale = *new std::locale([] {
    try {
      return std::locale("");
    } catch (const std::runtime_error&) {
      return std::locale::classic();
    }
  }());
  return locale;
}

}  // namespace

const PXAudioFileFormats& PXAudioFileFormats::Instance(bool loadDataFormats) {
  static const PXAudioFileFormats& instance = *new PXAudioFileFormats(platform::current(), loadDataFormats);
  return instance;
}

PXAudioFileFormats::PXAudioFileFormats(const platform::Platform& services, bool loadDataFormats) {
  if (!services.soundFiles) return;
  const Source source{*services.soundFiles, services.formatInfo.get()};
  const auto codes = source.ask<std::uint32_t>(SoundFileInfo::writableTypes, std::array<std::uint32_t, 0>{});
  if (!codes || codes->empty()) return;
  typeCount = static_cast<std::int32_t>(codes->size());
  types = std::make_unique<FileTypeEntry[]>(codes->size());
  for (std::size_t index = 0; index < codes->size(); ++index) {
    FileTypeEntry& entry = types[index];
    entry.fileType = (*codes)[index];
    entry.name = source.askShared<std::string>(SoundFileInfo::typeName, entry.fileType);
    entry.extensions = source.askShared<std::vector<std::string>>(SoundFileInfo::typeExtensions, entry.fileType);
    if (loadDataFormats) loadDataFormatsOf(source, entry);
  }
  std::sort(types.get(), types.get() + typeCount, CompareFileFormatNames);
}

bool PXAudioFileFormats::CompareFileFormatNames(const FileTypeEntry& left, const FileTypeEntry& right) {
  if (!left.name || !right.name) return left.name && !right.name;
  // A name that is not valid UTF-8 counts as empty.
  const std::wstring first = lowerCase(*left.name).value_or(std::wstring());
  const std::wstring second = lowerCase(*right.name).value_or(std::wstring());
  return userLocale()(first, second);
}

bool PXAudioFileFormats::InferFileFormatFromFilename(const char* name, std::uint32_t& fileType) const {
  if (name == nullptr) return false;
  const std::string_view text = name;
  const std::size_t dot = text.rfind('.');
  if (dot == std::string_view::npos || !lowerCase(text)) return false;
  const auto wanted = lowerCase(text.substr(dot + 1));
  for (std::int32_t index = 0; index < typeCount; ++index) {
    const FileTypeEntry& type = types[static_cast<std::size_t>(index)];
    if (!type.extensions) continue;
    const bool matches =
        std::ranges::any_of(*type.extensions, [&](const std::string& each) { return lowerCase(each) == wanted; });
    if (!matches) continue;
    fileType = type.fileType;
    return true;
  }
  return false;
}
