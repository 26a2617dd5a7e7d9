// SPDX-License-Identifier: MIT
#include "tools/orvane/DeviceCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "iounit/OVIOUnit.h"
#include "platform/DeviceReport.h"
#include "platform/NumberText.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"
#include "platform/Value.h"
#include "session/OVJSON.h"
#include "tools/orvane/ExitStatus.h"
#include "tools/orvane/RunReport.h"

namespace orvane::tool {

namespace {

/// Returns a format as text, such as "48000 Hz, 2 channels, Float32, not interleaved"; "none" if it has no channels.
std::string describe(const platform::StreamFormat& format) {
  if (format.channelCount() == 0) return "none";
  const platform::Value description = jsonASBD(format.description());
  std::string text = platform::numberText(format.sampleRate()) + " Hz, " + std::to_string(format.channelCount()) +
                     (format.channelCount() == 1 ? " channel" : " channels");
  for (const char* key : {"commonFormat", "formatID"}) {
    if (const platform::Value* name = description.find(key)) text += ", " + name->description();
  }
  return text + (format.isInterleaved() ? ", interleaved" : ", not interleaved");
}

void printText(const platform::DeviceReport& report, OVIOUnit& unit) {
  const auto line = [](const char* name, const std::string& text) { std::printf("%-16s  %s\n", name, text.c_str()); };
  line("host", report.hostName());
  line("hardware input", describe(unit.inputHardwareFormat()));
  line("hardware output", describe(unit.outputHardwareFormat()));
  line("client input", describe(unit.inputClientFormat()));
  line("client output", describe(unit.outputClientFormat()));
  line("slice", std::to_string(report.sliceFrames()) + " frames");
}

platform::Value describe(const platform::DeviceReport& report, OVIOUnit& unit) {
  platform::Value members = describeSides(unit.inputHardwareFormat(), unit.outputHardwareFormat());
  members.set("client", describeSides(unit.inputClientFormat(), unit.outputClientFormat()));
  members.set("slice", report.sliceFrames());
  return members;
}

}  // namespace

DeviceCommand::DeviceCommand(CLI::App& parent)
    : Command(parent, "device", "Show the formats of the audio hardware and of a unit's clients") {
  mUnit.declare(options());
  options().footer(
      "The hardware formats are those of the device. The client formats are the defaults that a unit offers to a "
      "program.\n\n"
      "Example:\n"
      "  orvane --simulate rate=44100,inputs=2 --json device");
}

Outcome DeviceCommand::run(const Invocation& invocation) {
  const std::shared_ptr<OVIOUnit> unit = OVIOUnit::init();
  mUnit.applyTo(*unit);
  const platform::DeviceReport& report = *invocation.host.deviceReport;
  if (report.hardwareInput().channelCount() == 0 && report.hardwareOutput().channelCount() == 0) {
    return failed(ExitStatus::unavailable, "the " + report.hostName() + " host has no audio input and no audio output");
  }
  // With both sides disabled, a missing side is not a failure; a device that is gone still is.
  unit->wrapperUnit()->setInputEnabled(false);
  unit->wrapperUnit()->setOutputEnabled(false);
  unit->initializeAU();
  if (!invocation.json) printText(report, *unit);
  return {.members = describe(report, *unit)};
}

}  // namespace orvane::tool
