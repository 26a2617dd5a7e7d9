// SPDX-License-Identifier: MIT
#include "midi/OVMIDISend.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <utility>

#include "Pexutil/Source/Utility/MIDI/MIDIPacketEmitter.h"
#include "midi/EndpointLookup.h"
#include "midi/HexText.h"
#include "midi/MIDISender.h"
#include "platform/Clock.h"
#include "platform/PlatformException.h"
#include "platform/Scheduler.h"
#include "platform/Status.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"

namespace platform = orvane::platform;
using orvane::raiseOn;

namespace {

constexpr char prompt[] = "Interactive MIDISend: enter 8-bit hex bytes; use | to start a new packet.\n";

/// The maximum length of a line. A longer one is skipped, so that input without newlines does not fill the memory.
constexpr std::size_t maxLine = std::size_t{16} << 20;

/// Reads a line of standard input into `line`, without its newline and without what exceeds `maxLine` by more than one
/// byte. Returns false at the end of the input, also if the last line has no newline. After a read error, ends the
/// process.
bool readLine(std::string& line) {
  line.clear();
  for (int character = std::getc(stdin); character != '\n'; character = std::getc(stdin)) {
    if (std::ferror(stdin) != 0) {
      std::fputs("IOError!\n", stderr);
      std::exit(EXIT_FAILURE);
    }
    if (character == EOF) return false;
    if (line.size() <= maxLine) line += static_cast<char>(character);
  }
  return true;
}

}  // namespace

std::shared_ptr<OVMIDISend> OVMIDISend::init() {
  return std::shared_ptr<OVMIDISend>(new OVMIDISend);
}

OVMIDISend::OVMIDISend() : mImpl(std::make_unique<orvane::MIDISender>(services())) {}

OVMIDISend::~OVMIDISend() = default;

void OVMIDISend::setDestinationEndpointName(std::optional<std::string> name) {
  _destinationEndpointName = std::move(name);
}

void OVMIDISend::chooseDestination() {
  if (mImpl->mDestination != platform::MidiObjectRef::none) return;
  mImpl->mDestination = _destinationEndpointName ? orvane::destinationWithName(services(), _destinationEndpointName)
                                                 : orvane::defaultDestination(services());
}

void OVMIDISend::send(const char* text) {
  if (text == nullptr) raiseOn(services(), "string is null in -[OVMIDISend send:]");
  if (protocol() != 0) raiseOn(services(), "Not yet supporting protocols beyond MIDI 1.0");
  chooseDestination();

  const auto& scheduler = orvane::requiredRole(services(), services().scheduler, "Scheduler");
  const auto sendList = [this](const platform::PacketList& list) {
    hexDumpPacketList(list, true);
    if (const platform::Status status = services().midi->send(mImpl->mPort, mImpl->mDestination, list)) {
      raiseOn(services(), "MidiService::send failed", status);
    }
  };
  orvane::MIDIPacketEmitter emitter(sendList, services());
  const auto start = static_cast<std::uint64_t>(scheduler.clock().now().count());
  const bool isRead = orvane::readHexText(text, [&](std::uint64_t bars, std::span<const std::uint8_t> group) {
    if (group.size() > platform::packet_list::maxData) {
      raiseOn(services(), "A MIDI packet of " + std::to_string(group.size()) +
                              " bytes is too long; a packet has at most " +
                              std::to_string(platform::packet_list::maxData) + " bytes");
    }
    _lastTimeStamp = start + bars;
    emitter.Add(_lastTimeStamp, static_cast<std::int32_t>(group.size()), group.data());
  });
  if (!isRead) raiseOn(services(), std::string("Hex parse error in: ") + text);
  emitter.End();
}

void OVMIDISend::transmit(const std::optional<std::string>& text) {
  send(text ? text->c_str() : nullptr);
}

void OVMIDISend::awaitLastTimeStamp() {
  auto& scheduler = *services().scheduler;
  const platform::HostTime left = platform::HostTime(_lastTimeStamp) - scheduler.clock().now();
  if (left >= platform::HostTime::zero()) scheduler.makeWaiter()->wait(left + platform::HostTime(1));
}

void OVMIDISend::interact() {
  std::fputs(prompt, stdout);
  std::fflush(stdout);
  std::string line;
  while (readLine(line)) {
    try {
      if (line.size() > maxLine) {
        raiseOn(services(), "A line has more than " + std::to_string(maxLine) + " bytes; it is not sent");
      }
      if (line.find('\0') != std::string::npos) raiseOn(services(), "Hex parse error in: " + line);
      send(line.c_str());
      awaitLastTimeStamp();
    } catch (const platform::PlatformException& exception) {
      std::fprintf(stderr, "Caught exception: %s, %s\n", exception.name().c_str(), exception.reason().c_str());
    }
  }
  std::exit(EXIT_SUCCESS);
}
