// SPDX-License-Identifier: MIT
#include "tools/orvane/DeviceCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "iounit/OVIOUnit.h"
#include "platform/DeviceReport.h"
#include "platform/Json.h"
#include "platform/NumberText.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"
#include "platform/Value.h"
#include "session/OVJSON.h"
#include "tools/orvane/report/ClosingReport.h"
#include "tools/orvane/report/ExitStatus.h"
#include "tools/orvane/report/FailureReason.h"
#include "tools/orvane/report/RunReport.h"
#include "tools/orvane/report/StandardStreams.h"

namespace orvane::tool {

namespace {

std::string hertzText(double rate) {
  return platform::numberText(rate) + " Hz";
}

std::string channelText(std::uint32_t channels) {
  return std::to_string(channels) + (channels == 1 ? " channel" : " channels");
}

/// Returns a format as text, such as "48000 Hz, 2 channels, Float32, not interleaved"; "none" if it has no channels.
std::string describe(const platform::StreamFormat& format) {
  if (format.channelCount() == 0) return "none";
  const platform::Value description = jsonASBD(format.description());
  std::string text = hertzText(format.sampleRate()) + ", " + channelText(format.channelCount());
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

void printList(const char* title, const std::vector<platform::AudioEndpoint>& endpoints) {
  std::printf("%s\n", title);
  if (endpoints.empty()) std::printf("  none\n");
  for (const platform::AudioEndpoint& each : endpoints) {
    std::printf("%s %s  (%s, %s, %s)\n", each.isDefault ? "*" : " ", printable(each.name).c_str(),
                printable(each.description).c_str(), channelText(each.channelCount).c_str(),
                hertzText(each.sampleRate).c_str());
  }
}

platform::Value describe(const platform::Json& json, const std::vector<platform::AudioEndpoint>& endpoints) {
  platform::Value::Array result;
  for (const platform::AudioEndpoint& each : endpoints) {
    result.push_back(platform::Value::dictionary({{"name", jsonText(json, each.name)},
                                                  {"description", jsonText(json, each.description)},
                                                  {"channelCount", each.channelCount},
                                                  {"sampleRate", each.sampleRate},
                                                  {"default", each.isDefault}}));
  }
  return result;
}

Outcome list(const platform::DeviceReport& report, const platform::Json& json, bool asJson) {
  const auto inputs = report.endpoints(platform::AudioSide::input);
  const auto outputs = report.endpoints(platform::AudioSide::output);
  if (inputs.empty() && outputs.empty()) {
    if (const auto why = report.whyUnavailable()) return unavailable(*why);
  }
  if (!asJson) {
    printList("inputs", inputs);
    printList("outputs", outputs);
  }
  return {.members =
              platform::Value::dictionary({{"inputs", describe(json, inputs)}, {"outputs", describe(json, outputs)}})};
}

}  // namespace

DeviceCommand::DeviceCommand(CLI::App& parent)
    : Command(parent, "device", "Show the formats of the audio hardware and of a unit's clients") {
  options().add_flag("--list", mList, "List the inputs and outputs that there are instead");
  mUnit.declare(options());
  options().footer(
      "The hardware formats are those of the device. The client formats are the defaults that a unit offers to a "
      "program.\n\n"
      "Example:\n"
      "  orvane --simulate rate=44100,inputs=2 --json device");
}

Outcome DeviceCommand::run(const Invocation& invocation) {
  const platform::DeviceReport& report = *invocation.host.deviceReport;
  if (mList) return list(report, *invocation.host.json, invocation.json);
  if (const auto why = report.whyUnavailable()) return unavailable(*why);
  const std::shared_ptr<OVIOUnit> unit = OVIOUnit::init();
  mUnit.applyTo(*unit);
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
