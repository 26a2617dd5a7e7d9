// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "platform/MidiService.h"
#include "platform/Value.h"

// The printing functions of `OVMIDISetup`. They collect text; only values of unexpected kinds are described on standard
// error. Not thread-safe; not real-time safe.

namespace orvane {

/// The MIDI service that is reported, and the text that is printed on standard output when this object is destroyed.
struct SetupOutput {
  explicit SetupOutput(const platform::MidiService& itsService) : service(itsService) {}
  SetupOutput(const SetupOutput&) = delete;
  SetupOutput& operator=(const SetupOutput&) = delete;
  ~SetupOutput() { flush(); }

  /// Prints the text on standard output, flushes it, and clears the text.
  void flush();

  const platform::MidiService& service;
  std::string text;
};

/// The state of the print of one property dictionary.
struct PrintContext {
  SetupOutput& output;
  std::string_view prefix;  ///< What each line begins with.
  int depth = 0;            ///< Nesting depth: each level is two blanks after the prefix.

  /// Prints the prefix and the blanks of the depth.
  void Indent() const;
};

/// Prints the whole inventory.
void PrintSetup(SetupOutput& output, bool showProperties);
/// Prints a device with its entities and their endpoints.
void PrintDevice(SetupOutput& output, platform::MidiObjectRef device, bool showProperties);
/// Prints the line of an object, its connections, on request its properties, and what is wrong with its identity.
void PrintObject(SetupOutput& output, std::string_view prefix, platform::MidiObjectRef object, bool showProperties);
/// Prints the display name of an endpoint, if it has one.
void PrintEndpointDisplayName(SetupOutput& output, platform::MidiObjectRef endpoint);
/// Prints a value of a property dictionary. Values nested deeper than `platform::Value::maxLevels` are printed as
/// values of an unexpected kind.
void PrintZRObject(PrintContext& context, const platform::Value& value);
/// Prints an entry of a dictionary, except those that list an object's children.
void PrintDictItem(std::string_view key, const platform::Value& value, PrintContext& context);
/// Prints a text, or two quotation marks for an empty one.
void PrintZRString(SetupOutput& output, std::string_view string);
/// Prints a notification.
void NotifyProc(SetupOutput& output, const platform::MidiNotification& notification);

}  // namespace orvane
