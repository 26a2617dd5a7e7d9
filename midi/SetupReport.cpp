// SPDX-License-Identifier: MIT
#include "midi/SetupReport.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

#include "midi/FixedText.h"
#include "platform/Status.h"

namespace orvane {

using platform::MidiNotification;
using platform::MidiObjectKind;
using platform::MidiObjectRef;
using platform::MidiService;
using platform::Status;
using platform::Value;
namespace property_name = platform::midi_property;
namespace status = platform::status;

namespace {

constexpr std::size_t maxNameBytes = 63;
constexpr std::size_t maxStringBytes = 511;
constexpr std::size_t maxPropertyCharacters = 79;

/// Appends formatted text of at most 255 characters.
template <typename... Arguments>
void append(std::string& text, const char* format, Arguments... arguments) {
  char line[256];
  const int size = std::snprintf(line, sizeof line, format, arguments...);
  text.append(line, static_cast<std::size_t>(size));
}

unsigned number(MidiObjectRef object) {
  return static_cast<unsigned>(object);
}

/// Returns the word for a kind, with "external " before it if it has the external flag.
std::string wordsFor(MidiObjectKind kind) {
  constexpr std::array words = {"device", "entity", "source", "destination"};
  constexpr int externalFlag = 0x10;
  const int code = static_cast<int>(kind);
  const int plain = code & ~externalFlag;
  if (code < 0 || plain >= static_cast<int>(words.size())) return "unknown";
  return std::string(code == plain ? "" : "external ") + words[static_cast<std::size_t>(plain)];
}

/// The identity of an object: its unique identifier, and the object that is found by it.
struct Identity {
  std::int32_t uniqueIdentifier = 0;
  MidiObjectKind kind = MidiObjectKind::other;
  MidiObjectRef found{};
  Status findStatus = status::success;
};

Identity identify(const MidiService& service, MidiObjectRef object) {
  Identity identity;
  const Status read = service.integerProperty(object, property_name::uniqueIdentifier, identity.uniqueIdentifier);
  if (read != status::success) return {};
  identity.findStatus = service.findObject(identity.uniqueIdentifier, identity.found, identity.kind);
  return identity;
}

/// Prints what is wrong with an identity, at most one line.
void checkIdentity(SetupOutput& output, const Identity& identity, MidiObjectRef object) {
  if (identity.uniqueIdentifier == 0) {
    output.text += "### uniqueID is 0\n";
  } else if (identity.findStatus != status::success) {
    append(output.text, "### %s returned %d\n", MidiService::findObjectName, identity.findStatus);
  } else if (identity.found != object) {
    append(output.text, "### got a different object back from %s: %08X\n", MidiService::findObjectName,
           number(identity.found));
  }
}

std::string nameOf(const MidiService& service, MidiObjectRef object, const char* property, bool& isRead) {
  platform::SharedText name;
  isRead = service.stringProperty(object, property, name) == status::success && name;
  return isRead ? cutToCharacters(*name, maxNameBytes) : std::string();
}

void printConnections(SetupOutput& output, std::string_view prefix, MidiObjectRef object) {
  Value::Data data;
  const Status read = output.service.dataProperty(object, property_name::connections, data);
  if (read != status::success || data.size() < sizeof(std::uint32_t)) return;
  output.text += prefix;
  output.text += "\tconnections:";
  for (std::size_t at = 0; at + 4 <= data.size(); at += 4) {
    const std::uint32_t identifier = static_cast<std::uint32_t>(data[at]) << 24 |
                                     static_cast<std::uint32_t>(data[at + 1]) << 16 |
                                     static_cast<std::uint32_t>(data[at + 2]) << 8 | data[at + 3];
    append(output.text, " 0x%08X", identifier);
  }
  output.text += '\n';
}

void printProperties(SetupOutput& output, std::string_view prefix, MidiObjectRef object) {
  Value dictionary;
  if (output.service.properties(object, dictionary) != status::success) return;
  PrintContext context{output, prefix};
  context.Indent();
  PrintZRObject(context, dictionary);
}

// ---- values

void printArray(PrintContext& context, const Value::Array& array) {
  if (array.empty()) {
    context.output.text += "[ ]\n";
    return;
  }
  ++context.depth;
  for (std::size_t index = 0; index < array.size(); ++index) {
    context.Indent();
    append(context.output.text, "[%d] = ", static_cast<int>(index));
    PrintZRObject(context, array[index]);
  }
  --context.depth;
}

void printDictionary(PrintContext& context, const Value::Dictionary& dictionary) {
  context.output.text += "{\n";
  ++context.depth;
  for (const Value::Member& member : dictionary) PrintDictItem(member.key, member.value, context);
  --context.depth;
  context.Indent();
  context.output.text += "}\n";
}

void printInteger(std::string& text, std::uint64_t bits) {
  const auto integer = static_cast<std::int32_t>(static_cast<std::uint32_t>(bits));
  const bool isSmall = integer >= -100 && integer <= 99;
  if (isSmall) {
    append(text, "%d\n", integer);
  } else {
    append(text, "0x%08X\n", static_cast<unsigned>(integer));
  }
}

/// Prints a float with six digits after the point, independently of the locale.
void printFloat(std::string& text, double value) {
  constexpr int digits = 6;
  std::array<char, 400> number{};  // The largest float has 309 digits before the point.
  const auto end = std::to_chars(number.data(), number.data() + number.size(), value, std::chars_format::fixed, digits);
  text.append(number.data(), end.ptr);
  text += '\n';
}

/// Prints the bytes of data in rows of 16, with the address of each row.
void printData(std::string& text, const Value::Data& data) {
  constexpr std::size_t maxShown = 1024;
  constexpr std::size_t columns = 16;
  text += '\n';
  const std::span<const std::uint8_t> shown(data.data(), std::min(data.size(), maxShown));
  for (std::size_t at = 0; at < shown.size(); at += columns) {
    const auto row = shown.subspan(at, std::min(columns, shown.size() - at));
    append(text, "%08lX:  ", static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(row.data())));
    for (const std::uint8_t byte : row) append(text, "%02X ", byte);
    text.append(3 * (columns - row.size()), ' ');
    for (const std::uint8_t byte : row) text += byte >= 0x20 && byte <= 0x7E ? static_cast<char>(byte) : '.';
    text.append(columns - row.size(), ' ');
    text += '\n';
  }
}

void printUnexpected(SetupOutput& output, const Value& value) {
  output.text += std::string("### unknown ") + Value::className + ": ";
  output.flush();
  const std::string description = value.description();
  std::fwrite(description.data(), 1, description.size(), stderr);
  output.flush();
  output.text += '\n';
}

// ---- notifications

void printParentAndChild(SetupOutput& output, const MidiNotification& notification) {
  PrintObject(output, "parent", notification.parent, notification.parentKind != MidiObjectKind::device);
  PrintObject(output, "child ", notification.child, notification.childKind != MidiObjectKind::device);
}

void printPropertyChange(SetupOutput& output, const MidiNotification& notification) {
  PrintObject(output, "object", notification.object, notification.objectKind != MidiObjectKind::device);
  output.text += "  property \"" + westernText(notification.propertyName, maxPropertyCharacters) + "\"\n";
  std::int32_t value = 0;
  if (notification.propertyName == property_name::offline &&
      output.service.integerProperty(notification.object, property_name::offline, value) == status::success) {
    append(output.text, "    value: %d\n", value);
  }
  output.text += '\n';
}

}  // namespace

void SetupOutput::flush() {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
  text.clear();
}

void PrintContext::Indent() const {
  output.text += prefix;
  output.text.append(2 * static_cast<std::size_t>(std::max(depth, 0)), ' ');
}

void PrintSetup(SetupOutput& output, bool showProperties) {
  const MidiService& service = output.service;
  output.text += "\nDevices:\n";
  for (std::uint32_t i = 0; i < service.numberOfDevices(); ++i) PrintDevice(output, service.device(i), showProperties);
  output.text += "\nSources:\n";
  for (std::uint32_t i = 0; i < service.numberOfSources(); ++i) {
    PrintObject(output, "\t", service.source(i), false);
    PrintEndpointDisplayName(output, service.source(i));
  }
  output.text += "\nDestinations:\n";
  for (std::uint32_t i = 0; i < service.numberOfDestinations(); ++i) {
    PrintObject(output, "\t", service.destination(i), false);
    PrintEndpointDisplayName(output, service.destination(i));
  }
  output.text += "\nExternal devices:\n";
  for (std::uint32_t i = 0; i < service.numberOfExternalDevices(); ++i) {
    PrintDevice(output, service.externalDevice(i), showProperties);
  }
}

void PrintDevice(SetupOutput& output, MidiObjectRef device, bool showProperties) {
  const MidiService& service = output.service;
  PrintObject(output, "\t", device, showProperties);
  for (std::uint32_t i = 0; i < service.numberOfEntities(device); ++i) {
    const MidiObjectRef entity = service.entity(device, i);
    PrintObject(output, "\t\t", entity, showProperties);
    for (std::uint32_t j = 0; j < service.numberOfSources(entity); ++j) {
      PrintObject(output, "\t\t\t", service.source(entity, j), showProperties);
    }
    for (std::uint32_t j = 0; j < service.numberOfDestinations(entity); ++j) {
      PrintObject(output, "\t\t\t", service.destination(entity, j), showProperties);
    }
  }
}

void PrintObject(SetupOutput& output, std::string_view prefix, MidiObjectRef object, bool showProperties) {
  output.text += prefix;
  if (object == MidiObjectRef::none) {
    output.text += "<NULL>\n";
    return;
  }
  const Identity identity = identify(output.service, object);
  bool isRead = false;
  output.text += wordsFor(identity.kind) + " \"" + nameOf(output.service, object, property_name::name, isRead) + "\"";
  append(output.text, ", id 0x%08X, ref 0x%08X\n", static_cast<unsigned>(identity.uniqueIdentifier), number(object));
  printConnections(output, prefix, object);
  if (showProperties) printProperties(output, prefix, object);
  checkIdentity(output, identity, object);
}

void PrintEndpointDisplayName(SetupOutput& output, MidiObjectRef endpoint) {
  bool isRead = false;
  const std::string name = nameOf(output.service, endpoint, property_name::displayName, isRead);
  if (isRead) output.text += "\t\tDisplay name: " + name + "\n";
}

void PrintZRObject(PrintContext& context, const Value& value) {
  std::string& text = context.output.text;
  const bool isTooDeep = context.depth >= Value::maxLevels;
  if (const auto* const dictionary = value.as<Value::Dictionary>(); dictionary != nullptr && !isTooDeep) {
    printDictionary(context, *dictionary);
  } else if (const auto* const array = value.as<Value::Array>(); array != nullptr && !isTooDeep) {
    printArray(context, *array);
  } else if (const auto* const integer = value.as<std::int64_t>()) {
    printInteger(text, static_cast<std::uint64_t>(*integer));
  } else if (const auto* const large = value.as<std::uint64_t>()) {
    printInteger(text, *large);
  } else if (const auto* const real = value.as<double>()) {
    printFloat(text, *real);
  } else if (const auto* const string = value.as<std::string>()) {
    PrintZRString(context.output, *string);
    text += '\n';
  } else if (const auto* const data = value.as<Value::Data>()) {
    printData(text, *data);
  } else {
    printUnexpected(context.output, value);
  }
}

void PrintDictItem(std::string_view key, const Value& value, PrintContext& context) {
  constexpr std::array<std::string_view, 5> skipped = {"entities", "source", "destination", "sources", "destinations"};
  if (std::ranges::find(skipped, key) != skipped.end()) return;
  context.Indent();
  PrintZRString(context.output, key);
  context.output.text += " = ";
  PrintZRObject(context, value);
}

void PrintZRString(SetupOutput& output, std::string_view string) {
  const std::string text = cutToCharacters(string, maxStringBytes);
  output.text += text.empty() ? "\"\"" : text;
}

void NotifyProc(SetupOutput& output, const MidiNotification& notification) {
  const std::string header(MidiNotification::identifierOf(notification.kind));
  switch (notification.kind) {
    case MidiNotification::setupChanged:
      output.text += header + "\n";
      return PrintSetup(output, false);
    case MidiNotification::objectAdded: {
      std::int32_t version = 0;
      if (output.service.integerProperty(notification.child, property_name::driverVersion, version) !=
          status::success) {
        version = 0;
      }
      output.text += header + ":\n";
      append(output.text, "         (added object's driver version is %d)\n", version);
      return printParentAndChild(output, notification);
    }
    case MidiNotification::objectRemoved:
      output.text += header + ":\n";
      return printParentAndChild(output, notification);
    case MidiNotification::propertyChanged:
      output.text += header + ":\n";
      return printPropertyChange(output, notification);
    default:
      append(output.text, "unknown message %d\n", notification.kind);
  }
}

}  // namespace orvane
