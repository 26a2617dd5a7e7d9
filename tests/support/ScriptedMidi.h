// SPDX-License-Identifier: MIT
#pragma once

#include <cstring>
#include <map>
#include <set>

#include "platform/Log.h"
#include "platform/MidiService.h"
#include "platform/Platform.h"
#include "platform/Scheduler.h"
#include "platform/SequencePlayer.h"
#include "tests/support/Test.h"

namespace orvane::test {

using platform::MidiObjectKind, platform::MidiObjectRef, platform::PacketList, platform::Status, platform::Value;

/// Returns the packets of a list as "TIME: XX XX; TIME: XX".
inline std::string shown(const PacketList& list) {
  std::string text;
  for (const auto packet : platform::PacketRange(list)) {
    text += (text.empty() ? "" : "; ") + std::to_string(packet.timeStamp) + ":";
    char digits[8];
    for (const int byte : packet.data) text += (std::snprintf(digits, sizeof digits, " %02X", byte), digits);
  }
  return text;
}

/// Returns an object's handle as a number.
inline std::string number(MidiObjectRef object) {
  return std::to_string(static_cast<std::uint32_t>(object));
}

/// A MIDI service and a sequence player in use during a test, with a clock that stands at 1000. They record the calls
/// and the log lines. A call succeeds unless the test has set another status for it. Objects are given by the test.
class ScriptedMidi : platform::Log, platform::MidiService, platform::SequencePlayer, platform::Scheduler {
  struct StillClock : platform::Clock {
    platform::HostTime now() const override { return platform::HostTime(1000); }
  };

 public:
  /// An object of the inventory. A property that is missing cannot be read.
  struct Object {
    MidiObjectKind kind{};
    std::vector<MidiObjectRef> children = {};
    std::map<std::string, Value> read = {};  ///< The properties by name.
    Value dictionary = {};                   ///< Null if it cannot be read.
    MidiObjectRef found = {};                ///< The object that is found by this one's identifier, if not itself.
    Status findStatus = 0;
  };

  ScriptedMidi() {
    platform::Platform services = mBefore;
    services.log = share<platform::Log>();
    services.midi = share<platform::MidiService>();
    services.sequences = share<platform::SequencePlayer>();
    services.scheduler = share<platform::Scheduler>();
    platform::use(services);
  }
  ~ScriptedMidi() override { platform::use(mBefore); }

  /// Adds an object with a name to one of the lists of the service.
  MidiObjectRef add(std::vector<MidiObjectRef>& list, MidiObjectKind kind, const char* name) {
    Object object{.kind = kind};
    if (name != nullptr) object.read["name"] = name;
    objects.push_back(object);
    list.push_back(static_cast<MidiObjectRef>(objects.size()));
    return list.back();
  }
  Object& at(MidiObjectRef object) { return objects.at(static_cast<std::size_t>(object) - 1); }
  const Object& at(MidiObjectRef object) const { return objects.at(static_cast<std::size_t>(object) - 1); }

  /// Returns the calls since the last `takeCalls`, such as "createClient OVMIDISend > createOutputPort 101".
  std::string takeCalls() { return std::exchange(mCalls, {}); }

  std::vector<Object> objects;
  std::vector<MidiObjectRef> devices, externalDevices, sources, destinations;
  std::map<std::string, Status> statuses;  ///< The answers of the test, by name of the call.
  std::vector<std::string> logged;
  std::string sent;  ///< The lists that were sent, one a line.
  platform::MidiReceive receive;
  platform::MidiNotify notify;

 private:
  template <typename Role>
  std::shared_ptr<Role> share() {
    return {std::shared_ptr<void>(), this};
  }
  Status note(const std::string& call, const std::string& details = {}) {
    mCalls += (mCalls.empty() ? "" : " > ") + call + (details.empty() ? "" : " ") + details;
    return statuses.contains(call) ? statuses.at(call) : platform::status::success;
  }
  static MidiObjectRef nth(const std::vector<MidiObjectRef>& list, std::uint32_t index) { return list.at(index); }
  static std::uint32_t size(const std::vector<MidiObjectRef>& list) { return static_cast<std::uint32_t>(list.size()); }
  std::vector<MidiObjectRef> children(MidiObjectRef parent, MidiObjectKind kind) const {
    std::vector<MidiObjectRef> result;
    for (const MidiObjectRef child : at(parent).children)
      if ((static_cast<int>(at(child).kind) & 0xF) == static_cast<int>(kind)) result.push_back(child);
    return result;
  }
  template <typename Kind>
  Status readProperty(MidiObjectRef object, std::string_view property, const Kind*& value) const {
    const auto& read = at(object).read;
    const auto entry = read.find(std::string(property));
    value = entry == read.end() ? nullptr : entry->second.as<Kind>();
    return value == nullptr ? platform::status::notFound : platform::status::success;
  }

  void write(platform::LogLevel level, std::string_view line) override {
    EXPECT_EQ(level, platform::LogLevel::error);
    logged.emplace_back(line);
  }
  void setSink(Sink) override {}
  const platform::Clock& clock() const override { return mClock; }
  std::unique_ptr<platform::Worker> makeWorker(const std::string&, Priority) override { return nullptr; }
  bool isSimulated() const override { return true; }
  std::unique_ptr<platform::Waiter> makeWaiter() override { return nullptr; }

  std::uint32_t numberOfDevices() const override { return size(devices); }
  MidiObjectRef device(std::uint32_t index) const override { return nth(devices, index); }
  std::uint32_t numberOfExternalDevices() const override { return size(externalDevices); }
  MidiObjectRef externalDevice(std::uint32_t index) const override { return nth(externalDevices, index); }
  std::uint32_t numberOfSources() const override { return size(sources); }
  MidiObjectRef source(std::uint32_t index) const override { return nth(sources, index); }
  std::uint32_t numberOfDestinations() const override { return size(destinations); }
  MidiObjectRef destination(std::uint32_t index) const override { return nth(destinations, index); }
  std::uint32_t numberOfEntities(MidiObjectRef device) const override { return size(at(device).children); }
  MidiObjectRef entity(MidiObjectRef device, std::uint32_t index) const override {
    return nth(at(device).children, index);
  }
  std::uint32_t numberOfSources(MidiObjectRef entity) const override {
    return size(children(entity, MidiObjectKind::source));
  }
  MidiObjectRef source(MidiObjectRef entity, std::uint32_t index) const override {
    return nth(children(entity, MidiObjectKind::source), index);
  }
  std::uint32_t numberOfDestinations(MidiObjectRef entity) const override {
    return size(children(entity, MidiObjectKind::destination));
  }
  MidiObjectRef destination(MidiObjectRef entity, std::uint32_t index) const override {
    return nth(children(entity, MidiObjectKind::destination), index);
  }
  Status integerProperty(MidiObjectRef object, std::string_view property, std::int32_t& value) const override {
    const std::int64_t* integer = nullptr;
    const Status status = readProperty(object, property, integer);
    if (integer != nullptr) value = static_cast<std::int32_t>(*integer);
    return status;
  }
  Status stringProperty(MidiObjectRef object, std::string_view property, platform::SharedText& value) const override {
    const std::string* text = nullptr;
    const Status status = readProperty(object, property, text);
    if (text != nullptr) value = std::make_shared<const std::string>(*text);
    return status;
  }
  Status dataProperty(MidiObjectRef object, std::string_view property, Value::Data& value) const override {
    const Value::Data* data = nullptr;
    const Status status = readProperty(object, property, data);
    if (data != nullptr) value = *data;
    return status;
  }
  Status properties(MidiObjectRef object, Value& dictionary) const override {
    if (at(object).dictionary.isNull()) return platform::status::notFound;
    dictionary = at(object).dictionary;
    return platform::status::success;
  }
  Status findObject(std::int32_t identifier, MidiObjectRef& object, MidiObjectKind& kind) const override {
    for (const Object& each : objects) {
      const auto entry = each.read.find("uniqueID");
      if (entry == each.read.end() || !(entry->second == Value(identifier))) continue;
      const auto self = static_cast<MidiObjectRef>(&each - objects.data() + 1);
      object = each.found == MidiObjectRef::none ? self : each.found;
      kind = each.kind;
      return each.findStatus;
    }
    return platform::status::notFound;
  }

  Status createClient(const std::string& name, platform::MidiNotify notice, MidiObjectRef& client) override {
    client = MidiObjectRef{101};
    notify = std::move(notice);
    return note("createClient", name + (notify ? " notified" : ""));
  }
  Status disposeClient(MidiObjectRef client) override { return note("disposeClient", number(client)); }
  Status createOutputPort(MidiObjectRef client, const std::string& name, MidiObjectRef& port) override {
    port = MidiObjectRef{102};
    return note("createOutputPort", number(client) + " " + name);
  }
  Status createInputPort(MidiObjectRef client, const std::string& name, platform::MidiReceive itsReceive,
                         MidiObjectRef& port) override {
    port = MidiObjectRef{103};
    receive = std::move(itsReceive);
    return note("createInputPort", number(client) + " " + name);
  }
  Status disposePort(MidiObjectRef port) override { return note("disposePort", number(port)); }
  Status connectSource(MidiObjectRef port, MidiObjectRef source, void* context) override {
    EXPECT_EQ(context, nullptr);
    return note("connectSource", number(port) + " " + number(source));
  }
  Status disconnectSource(MidiObjectRef port, MidiObjectRef source) override {
    return note("disconnectSource", number(port) + " " + number(source));
  }
  Status send(MidiObjectRef port, MidiObjectRef destination, const PacketList& list) override {
    sent += shown(list) + "\n";
    return note("send", number(port) + " " + number(destination));
  }

  Status newSequence(platform::MidiSequence& sequence) override {
    sequence = platform::MidiSequence{201};
    return note("newSequence");
  }
  Status loadFile(platform::MidiSequence, const std::string& path) override { return note("loadFile", path); }
  Status newPlayer(platform::MidiPlayer& player) override {
    player = platform::MidiPlayer{202};
    return note("newPlayer");
  }
  Status setSequence(platform::MidiPlayer, platform::MidiSequence) override { return note("setSequence"); }
  Status setDestination(platform::MidiSequence, MidiObjectRef destination) override {
    return note("setDestination", number(destination));
  }
  Status start(platform::MidiPlayer) override { return note("start"); }
  Status stop(platform::MidiPlayer) override { return note("stop"); }
  bool isPlaying(platform::MidiPlayer) const override { return false; }
  Status disposePlayer(platform::MidiPlayer player) override {
    return note("disposePlayer", std::to_string(static_cast<std::uint32_t>(player)));
  }
  Status disposeSequence(platform::MidiSequence sequence) override {
    return note("disposeSequence", std::to_string(static_cast<std::uint32_t>(sequence)));
  }

  const StillClock mClock;
  const platform::Platform mBefore = platform::current();
  std::string mCalls;
};

/// Runs `action` and returns what it prints on standard output.
template <typename Action>
std::string printed(const Action& action) {
  testing::internal::CaptureStdout();
  action();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

}  // namespace orvane::test
