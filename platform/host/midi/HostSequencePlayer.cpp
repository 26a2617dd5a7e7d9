// SPDX-License-Identifier: MIT
#include "platform/host/midi/HostSequencePlayer.h"

#include <algorithm>
#include <utility>

#include "platform/Scheduler.h"
#include "platform/Status.h"
#include "platform/host/CallGate.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::host {

using platform::MidiObjectRef;
using platform::MidiPlayer;
using platform::MidiSequence;
using platform::Status;
namespace status = platform::status;

namespace {

const GatedCall newSequenceCall("SequencePlayer::newSequence");
const GatedCall loadFileCall("SequencePlayer::loadFile");
const GatedCall newPlayerCall("SequencePlayer::newPlayer");
const GatedCall setSequenceCall("SequencePlayer::setSequence");
const GatedCall setDestinationCall("SequencePlayer::setDestination");
const GatedCall startCall("SequencePlayer::start");
const GatedCall stopCall("SequencePlayer::stop");
const GatedCall disposePlayerCall("SequencePlayer::disposePlayer");
const GatedCall disposeSequenceCall("SequencePlayer::disposeSequence");

/// The names of a player's port.
constexpr char clientName[] = "OVMIDIPlayer";
constexpr char portName[] = "Output port";

constexpr char noSequence[] = "no sequence has this handle";
constexpr char noPlayer[] = "no player has this handle";

}  // namespace

HostSequencePlayer::HostSequencePlayer(std::shared_ptr<HostContext> context, std::shared_ptr<MidiHub> hub)
    : mContext(std::move(context)), mHub(std::move(hub)) {}

HostSequencePlayer::~HostSequencePlayer() {
  for (const auto& [handle, player] : mPlayers) end(*player);
}

Status HostSequencePlayer::fail(Status status, const GatedCall& call, const std::string& reason) const {
  return mContext->refuse({status, reason, std::string(call.name())});
}

std::shared_ptr<HostSequencePlayer::Sequence> HostSequencePlayer::find(MidiSequence sequence) const {
  const std::lock_guard lock(mMutex);
  const auto found = mSequences.find(sequence);
  return found == mSequences.end() ? nullptr : found->second;
}

std::shared_ptr<HostSequencePlayer::Player> HostSequencePlayer::find(MidiPlayer player) const {
  const std::lock_guard lock(mMutex);
  const auto found = mPlayers.find(player);
  return found == mPlayers.end() ? nullptr : found->second;
}

Status HostSequencePlayer::newSequence(MidiSequence& sequence) {
  if (const auto refused = mContext->refusalOf(newSequenceCall)) return *refused;
  const std::lock_guard lock(mMutex);
  sequence = static_cast<MidiSequence>(mNextHandle++);
  mSequences.emplace(sequence, std::make_shared<Sequence>());
  return status::success;
}

Status HostSequencePlayer::loadFile(MidiSequence sequence, const std::string& path) {
  if (const auto refused = mContext->refusalOf(loadFileCall)) return *refused;
  const auto found = find(sequence);
  if (!found) return fail(status::badParameter, loadFileCall, noSequence);
  auto file = openToRead(path);
  if (!file) return fail(file.failure().status, loadFileCall, file.failure().reason);
  auto claim = std::make_shared<const ReadClaim>(std::move(*file), "the MIDI file being played");
  auto content = readMidiFile(path);
  if (!content) return fail(content.failure().status, loadFileCall, content.failure().reason);
  const std::lock_guard lock(mMutex);
  found->content = *content;
  found->claim = std::move(claim);
  return status::success;
}

Status HostSequencePlayer::newPlayer(MidiPlayer& player) {
  if (const auto refused = mContext->refusalOf(newPlayerCall)) return *refused;
  const std::lock_guard lock(mMutex);
  player = static_cast<MidiPlayer>(mNextHandle++);
  mPlayers.emplace(player, std::make_shared<Player>());
  return status::success;
}

Status HostSequencePlayer::setSequence(MidiPlayer player, MidiSequence sequence) {
  if (const auto refused = mContext->refusalOf(setSequenceCall)) return *refused;
  const auto foundPlayer = find(player);
  const auto foundSequence = find(sequence);
  if (!foundPlayer) return fail(status::badParameter, setSequenceCall, noPlayer);
  if (!foundSequence) return fail(status::badParameter, setSequenceCall, noSequence);
  std::shared_ptr<const MidiFileContent> content;
  {
    const std::lock_guard lock(mMutex);
    content = foundSequence->content;
  }
  const std::lock_guard lock(foundPlayer->mutex);
  if (foundPlayer->isPlaying) return fail(status::wrongState, setSequenceCall, "the player is playing; stop it first");
  foundPlayer->sequence = foundSequence;
  foundPlayer->content = std::move(content);
  foundPlayer->next = 0;
  foundPlayer->position = HostTime::zero();
  return status::success;
}

Status HostSequencePlayer::setDestination(MidiSequence sequence, MidiObjectRef destination) {
  if (const auto refused = mContext->refusalOf(setDestinationCall)) return *refused;
  const auto found = find(sequence);
  if (!found) return fail(status::badParameter, setDestinationCall, noSequence);
  if (!mHub->inventory().isListed(destination, MidiInventory::List::destinations)) {
    return fail(status::badParameter, setDestinationCall,
                "no destination has the handle " + std::to_string(static_cast<std::uint32_t>(destination)));
  }
  const std::lock_guard lock(mMutex);
  found->destination = destination;
  return status::success;
}

Status HostSequencePlayer::start(MidiPlayer player) {
  if (const auto refused = mContext->refusalOf(startCall)) return *refused;
  const auto found = find(player);
  if (!found) return fail(status::badParameter, startCall, noPlayer);
  if (const auto failed = mHub->start()) return fail(failed->status, startCall, failed->reason);
  const platform::Clock& clock = mContext->scheduler->clock();
  std::uint64_t run = 0;
  HostTime first{};
  {
    const std::lock_guard lock(found->mutex);
    if (found->isPlaying) return status::success;
    if (!found->sequence) return fail(status::wrongState, startCall, "the player has no sequence");
    MidiObjectRef destination{};
    {
      const std::lock_guard sequences(mMutex);
      destination = found->sequence->destination;
    }
    if (destination == MidiObjectRef::none) {
      return fail(status::wrongState, startCall, "the sequence has no destination");
    }
    auto failed = openPort(*found);
    if (!failed) failed = mHub->connect(found->port, destination, found->route);
    if (failed) return fail(failed->status, startCall, failed->reason);
    // Events are handed out a lead before their time, the first ones too.
    found->startTime = clock.now() + mHub->lead() - found->position;
    found->first = found->next;
    found->isPlaying = true;
    run = ++found->run;
    const auto& packets = found->content->packets;
    const bool isOver = found->next == packets.size();
    first = isOver ? clock.now() : found->startTime + packets[found->next].time - mHub->lead();
  }
  mHub->playerPlays(1);
  // The worker belongs to the hub, which ends its tasks before it is destroyed.
  mHub->sender().repeatAt(first, [hub = mHub.get(), &clock, found, run] { return play(*hub, clock, *found, run); });
  return status::success;
}

/// Makes the transport show the port of a player, if it does not yet. Called with the player's mutex locked.
std::optional<platform::Failure> HostSequencePlayer::openPort(Player& player) {
  if (player.port != MidiObjectRef::none) return std::nullopt;
  MidiObjectRef port{};
  {
    const std::lock_guard lock(mMutex);
    port = static_cast<MidiObjectRef>(mNextPort++);
  }
  auto failed = mHub->addPort({.port = port, .client = clientName, .name = portName});
  if (!failed) player.port = port;
  return failed;
}

/// Sends the packets that are due. Returns when the next one is, or `std::nullopt` at the end.
std::optional<platform::HostTime> HostSequencePlayer::play(MidiHub& hub, const platform::Clock& clock, Player& player,
                                                           std::uint64_t run) {
  {
    const std::lock_guard lock(player.mutex);
    if (!player.isPlaying || player.run != run) return std::nullopt;
    const auto& packets = player.content->packets;
    const HostTime now = clock.now();
    const HostTime lead = hub.lead();
    while (!hub.isLost() && player.next < packets.size()) {
      const MidiFileContent::Packet& packet = packets[player.next];
      const HostTime time = player.startTime + packet.time;
      if (time - lead > now) return time - lead;
      ++player.next;
      hub.outbox().sendNow({time, player.route, player.content->bytesOf(packet)}, &player);
    }
    // What was handed out ahead of its time can be taken back until then.
    if (!hub.isLost() && player.next > player.first) {
      const HostTime end = player.startTime + packets[player.next - 1].time;
      if (end > now) return end;
    }
    player.position = now - player.startTime;
    player.isPlaying = false;
  }
  hub.playerPlays(-1);
  return std::nullopt;
}

/// Stops a player. When this function has returned, the player sends nothing more; what has not begun to leave is the
/// first that the next start sends.
void HostSequencePlayer::halt(Player& player) {
  {
    const std::lock_guard lock(player.mutex);
    if (!player.isPlaying) return;
    player.isPlaying = false;
    player.position = std::max(player.position, mContext->scheduler->clock().now() - player.startTime);
    std::size_t taken = mHub->outbox().takeBack(player.route, &player);
    for (; taken > 0 && player.next > player.first; --player.next) {
      const auto& packet = player.content->packets[player.next - 1];
      const std::size_t pieces = mHub->outbox().pieces(player.content->bytesOf(packet).size());
      // A packet of which a part has left is sent to its end.
      if (taken < pieces) break;
      taken -= pieces;
    }
  }
  mHub->playerPlays(-1);
}

/// Stops a player for good.
void HostSequencePlayer::end(Player& player) {
  halt(player);
  const std::lock_guard lock(player.mutex);
  if (player.port != MidiObjectRef::none) mHub->removePort(std::exchange(player.port, {}), false);
}

Status HostSequencePlayer::stop(MidiPlayer player) {
  if (const auto refused = mContext->refusalOf(stopCall)) return *refused;
  const auto found = find(player);
  if (!found) return fail(status::badParameter, stopCall, noPlayer);
  halt(*found);
  return status::success;
}

bool HostSequencePlayer::isPlaying(MidiPlayer player) const {
  const auto found = find(player);
  if (!found) return false;
  const std::lock_guard lock(found->mutex);
  return found->isPlaying;
}

Status HostSequencePlayer::disposePlayer(MidiPlayer player) {
  if (const auto refused = mContext->refusalOf(disposePlayerCall)) return *refused;
  std::shared_ptr<Player> ended;
  {
    const std::lock_guard lock(mMutex);
    auto node = mPlayers.extract(player);
    if (node) ended = std::move(node.mapped());
  }
  if (!ended) return fail(status::badParameter, disposePlayerCall, noPlayer);
  end(*ended);
  mHub->flush();
  return status::success;
}

Status HostSequencePlayer::disposeSequence(MidiSequence sequence) {
  if (const auto refused = mContext->refusalOf(disposeSequenceCall)) return *refused;
  std::shared_ptr<Sequence> ended;
  {
    const std::lock_guard lock(mMutex);
    auto node = mSequences.extract(sequence);
    if (node) ended = std::move(node.mapped());
  }
  return ended ? status::success : fail(status::badParameter, disposeSequenceCall, noSequence);
}

}  // namespace orvane::host
