// SPDX-License-Identifier: MIT
#include "tools/orvane/FormatsCommand.h"

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <utility>

#include "Pexutil/Source/Utility/PXAudioFileFormats.h"
#include "Pexutil/Source/Utility/PXX4CCString.h"
#include "platform/Value.h"
#include "session/OVJSON.h"

namespace orvane::tool {

namespace {

using platform::Value;
using DataFormat = PXAudioFileFormats::DataFormatEntry;
using FileType = PXAudioFileFormats::FileTypeEntry;

std::string codeText(std::uint32_t code) {
  return PXX4CCStringNoQuote(static_cast<std::int32_t>(code)).c_str();
}

template <typename Entry, typename Owner>
std::span<const Entry> entries(const Owner& array, std::int32_t count) {
  return {array.get(), static_cast<std::size_t>(count)};
}

Value describe(const DataFormat& format) {
  Value::Array variants;
  for (const auto& variant : entries<platform::StreamDescription>(format.variants, format.variantCount)) {
    variants.push_back(jsonASBD(variant));
  }
  return Value::dictionary({{"id", codeText(format.formatID)},
                            {"readable", format.readable},
                            {"writable", format.writable},
                            {"bothEndians", format.bothEndians},
                            {"variants", std::move(variants)}});
}

Value describe(const FileType& type, bool dataFormats) {
  Value::Array extensions;
  if (type.extensions) {
    for (const std::string& each : *type.extensions) extensions.push_back(each);
  }
  Value result = Value::dictionary({{"type", codeText(type.fileType)},
                                    {"name", type.name ? *type.name : std::string()},
                                    {"extensions", std::move(extensions)}});
  if (!dataFormats) return result;
  Value::Array formats;
  for (const DataFormat& each : entries<DataFormat>(type.dataFormats, type.dataFormatCount)) {
    formats.push_back(describe(each));
  }
  result.set("dataFormats", std::move(formats));
  return result;
}

void print(const FileType& type) {
  std::string extensions;
  if (type.extensions) {
    for (const std::string& each : *type.extensions) extensions += (extensions.empty() ? "." : ", .") + each;
  }
  std::printf("%-4s  %-26s  %s\n", codeText(type.fileType).c_str(), type.name ? type.name->c_str() : "",
              extensions.c_str());
  for (const DataFormat& each : entries<DataFormat>(type.dataFormats, type.dataFormatCount)) {
    std::printf("      %s: %d %s%s%s%s\n", codeText(each.formatID).c_str(), each.variantCount,
                each.variantCount == 1 ? "variant" : "variants", each.readable ? ", readable" : "",
                each.writable ? ", writable" : "", each.bothEndians ? ", both byte orders" : "");
  }
}

}  // namespace

FormatsCommand::FormatsCommand(CLI::App& parent)
    : Command(parent, "formats", "List the types of sound file that can be written") {
  options().add_flag("--data-formats", mDataFormats, "Also list the data formats that each type can hold");
  options().footer(
      "Each line has the code of a type, its name and its file name extensions. The lines are sorted by name.\n\n"
      "Example:\n"
      "  orvane --simulate '' formats --data-formats");
}

Outcome FormatsCommand::run(const Invocation& invocation) {
  const PXAudioFileFormats& catalogue = PXAudioFileFormats::Instance(mDataFormats);
  Value::Array formats;
  for (const FileType& type : entries<FileType>(catalogue.types, catalogue.typeCount)) {
    formats.push_back(describe(type, mDataFormats));
    if (!invocation.json) print(type);
  }
  return {.members = Value::dictionary({{"formats", std::move(formats)}})};
}

}  // namespace orvane::tool
