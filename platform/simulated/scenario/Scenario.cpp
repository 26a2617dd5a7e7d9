// SPDX-License-Identifier: MIT
#include "platform/simulated/scenario/Scenario.h"

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <limits>
#include <utility>

#include "platform/Value.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/CallGate.h"
#include "platform/simulated/device/Microphone.h"
#include "platform/simulated/device/SpeakerFile.h"
#include "platform/simulated/midi/MidiScenario.h"
#include "platform/simulated/scenario/ScenarioFile.h"
#include "platform/simulated/scenario/ScenarioNode.h"

namespace orvane::simulated {

using backend::DeviceFormat;
namespace fs = std::filesystem;

namespace {

using Key = std::string_view;

std::string sourceOf(const fs::path& file) {
  return "scenario=" + file.string();
}

// ---- audio

Given<std::uint32_t> readCount(const ScenarioNode& node, std::uint32_t min, std::uint32_t max) {
  return {static_cast<std::uint32_t>(node.wholeNumber(min, max)), node.where()};
}

Given<bool> readPace(const ScenarioNode& node) {
  const std::string& pace = node.text();
  if (pace != "real" && pace != "fast") node.need("\"real\" or \"fast\"");
  return {pace == "fast", node.where()};
}

Given<std::string> readPath(const ScenarioNode& node, const char* wanted) {
  if (node.text().empty()) node.need(wanted);
  if (node.text().find('\0') != std::string::npos) node.refuse("a path has no zero byte");
  return {node.text(), node.where()};
}

constexpr std::array<ScenarioKey<DeviceSettings>, 7> audioKeys{{
    {"rate", [](auto& device, auto& node) { device.rate = readCount(node, 0, DeviceSettings::maxRate); }},
    {"inputs", [](auto& device, auto& node) { device.inputs = readCount(node, 0, DeviceFormat::maxChannels); }},
    {"outputs", [](auto& device, auto& node) { device.outputs = readCount(node, 0, DeviceFormat::maxChannels); }},
    {"slice", [](auto& device, auto& node) { device.slice = readCount(node, 1, DeviceFormat::maxSliceFrames); }},
    {"pace", [](auto& device, auto& node) { device.fastPace = readPace(node); }},
    {"microphone",
     [](auto& device, auto& node) {
       device.microphone = readPath(node, "a file, tone:HZ[:AMPLITUDE], noise[:SEED], silence or loop");
     }},
    {"speaker",
     [](auto& device, auto& node) { device.speaker = readPath(node, "null or the path of a file to write"); }},
}};

/// Returns a path of the scenario, resolved against the scenario's folder.
std::string resolve(const fs::path& folder, const std::string& path) {
  const std::string resolved = (folder / path).string();
  // The resolved path may look like a microphone that is not a file, such as "noise:1".
  return isMicrophoneFile(resolved) ? resolved : "./" + resolved;
}

void resolvePaths(DeviceSettings& device, const fs::path& folder) {
  if (device.microphone && isMicrophoneFile(device.microphone->value)) {
    device.microphone->value = resolve(folder, device.microphone->value);
  }
  if (device.speaker && isSpeakerFile(device.speaker->value)) {
    device.speaker->value = resolve(folder, device.speaker->value);
  }
}

// ---- session

/// Adds a fault that refuses a session operation from the beginning. `node` has the reason.
void refuseSession(Scenario& scenario, const char* call, const ScenarioNode& node) {
  scenario.faults.push_back(
      {.kind = Fault::Kind::refuse, .status = platform::status::noPermission, .call = call, .reason = node.text()});
}

constexpr std::array<ScenarioKey<Scenario>, 5> refusalKeys{{
    {"activate", [](auto& scenario, auto& node) { refuseSession(scenario, "PlatformSession::activate", node); }},
    {"deactivate", [](auto& scenario, auto& node) { refuseSession(scenario, "PlatformSession::deactivate", node); }},
    {"category", [](auto& scenario, auto& node) { refuseSession(scenario, "PlatformSession::setCategory", node); }},
    {"mode", [](auto& scenario, auto& node) { refuseSession(scenario, "PlatformSession::setMode", node); }},
    {"options", [](auto& scenario, auto& node) { refuseSession(scenario, "PlatformSession::setOptions", node); }},
}};

constexpr std::array<ScenarioKey<Scenario>, 1> sessionKeys{{
    {"refuse", [](auto& scenario, auto& node) { readMembers(node, refusalKeys, scenario); }},
}};

// ---- faults

/// A kind of fault as written in a scenario: its name, and the keys that it has in addition to `at` and `fault`.
struct FaultForm {
  Key name;
  Fault::Kind kind;
  std::array<Key, 2> ownKeys = {};

  bool takes(Key key) const { return std::ranges::find(ownKeys, key) != ownKeys.end(); }
};

constexpr std::array<FaultForm, 8> faultForms{{
    {"microphone-unplugged", Fault::Kind::microphoneUnplugged},
    {"device-lost", Fault::Kind::deviceLost},
    {"server-lost", Fault::Kind::serverLost},
    {"stalled", Fault::Kind::stalled},
    {"discontinuity", Fault::Kind::discontinuity, {"frames"}},
    {"render-status", Fault::Kind::refuse, {"status"}},
    {"refuse", Fault::Kind::refuse, {"call", "status"}},
    {"disk-full", Fault::Kind::diskFull},
}};

/// Returns the names of the entries as "a, b, c".
std::string listOf(const auto& entries, auto name) {
  std::string list;
  for (const auto& entry : entries) list += (list.empty() ? "" : ", ") + std::string(std::invoke(name, entry));
  return list;
}

std::string listOfFaults() {
  return listOf(faultForms, &FaultForm::name);
}

std::string listOfCalls() {
  return listOf(host::GatedCall::all(), &host::GatedCall::name);
}

const FaultForm& formOf(const ScenarioNode& fault) {
  const ScenarioNode name = fault.member("fault", "it is one of " + listOfFaults());
  const auto form = std::ranges::find(faultForms, name.text(), &FaultForm::name);
  if (form == faultForms.end()) name.need("one of " + listOfFaults());
  return *form;
}

platform::Status readStatus(const ScenarioNode& node) {
  using Limits = std::numeric_limits<platform::Status>;
  const std::int64_t status = node.wholeNumber(Limits::min(), Limits::max());
  if (status == platform::status::success) node.refuse("0 is success; a failure's status is another whole number");
  return static_cast<platform::Status>(status);
}

const host::GatedCall& readCall(const ScenarioNode& node) {
  const auto& calls = host::GatedCall::all();
  const auto call = std::ranges::find(calls, node.text(), &host::GatedCall::name);
  if (call == calls.end()) node.need("one of " + listOfCalls());
  return **call;
}

Fault readFault(const ScenarioNode& node) {
  const FaultForm& form = formOf(node);
  std::vector<Key> known{"at", "fault"};
  std::ranges::copy_if(form.ownKeys, std::back_inserter(known), [](Key key) { return !key.empty(); });
  bool hasStatus = false;
  for (const ScenarioNode& member : node.members()) {
    if (std::ranges::find(known, member.key()) == known.end()) refuseKey(member, known);
    hasStatus = hasStatus || member.key() == "status";
  }
  Fault fault{.kind = form.kind, .at = readScenarioTime(node.member("at", "seconds after the device's first start"))};
  bool needsStatus = form.takes("status");
  if (form.kind == Fault::Kind::refuse) fault.call = "UnitWrapper::renderOperation";
  if (form.takes("call")) {
    const host::GatedCall& call = readCall(node.member("call", "it is one of " + listOfCalls()));
    fault.call = call.name();
    needsStatus = call.answersStatus();
  }
  if (needsStatus || hasStatus) fault.status = readStatus(node.member("status", "the whole number to return"));
  fault.reason =
      "refused by the scenario" + (fault.status == 0 ? std::string() : " with status " + std::to_string(fault.status));
  if (form.takes("frames")) {
    const ScenarioNode frames = node.member("frames", "how many frames are missing");
    fault.frames = static_cast<std::uint32_t>(frames.wholeNumber(1, Fault::maxMissingFrames));
  }
  return fault;
}

void readFaults(std::vector<Fault>& faults, const ScenarioNode& node) {
  const std::vector<ScenarioNode> items = node.items();
  if (items.size() > Scenario::maxFaults) {
    node.refuse("a scenario has " + std::to_string(Scenario::maxFaults) + " faults at most");
  }
  for (const ScenarioNode& item : items) faults.push_back(readFault(item));
}

// ---- the whole

constexpr std::array<ScenarioKey<Scenario>, 4> scenarioKeys{{
    {"audio", [](auto& scenario, auto& node) { readMembers(node, audioKeys, scenario.device); }},
    {"midi", [](auto&, auto&) {}},  // read separately, because it needs the scenario's folder
    {"session", [](auto& scenario, auto& node) { readMembers(node, sessionKeys, scenario); }},
    {"faults", [](auto& scenario, auto& node) { readFaults(scenario.faults, node); }},
}};

}  // namespace

Scenario parseScenario(std::string_view text, const fs::path& file) {
  const std::string source = sourceOf(file);
  const platform::Value value = parseScenarioText(text, source);
  const ScenarioNode root(value, source);
  Scenario scenario;
  readMembers(root, scenarioKeys, scenario);
  for (const ScenarioNode& member : root.members()) {
    if (member.key() == "midi") scenario.midi = readMidiSettings(member, file.parent_path());
  }
  std::ranges::stable_sort(scenario.faults, {}, &Fault::at);
  resolvePaths(scenario.device, file.parent_path());
  return scenario;
}

Scenario readScenario(const std::string& path) {
  std::shared_ptr<const host::ReadClaim> file;
  const std::string text = readScenarioFile(path, sourceOf(path), "the scenario", file);
  Scenario scenario = parseScenario(text, path);
  scenario.file = std::move(file);
  if (scenario.midi) {
    loadPlayedFiles(*scenario.midi);
    if (const auto& capture = scenario.midi->capture) checkWritableFile(*capture, "the MIDI capture");
  }
  // The microphone keeps its claim until the speaker is checked, so that both cannot use the same file.
  const auto microphone = scenario.device.microphone ? makeMicrophone(*scenario.device.microphone) : nullptr;
  if (const auto& speaker = scenario.device.speaker; speaker && isSpeakerFile(speaker->value)) {
    checkSpeakerFile(*speaker);
  }
  return scenario;
}

}  // namespace orvane::simulated
