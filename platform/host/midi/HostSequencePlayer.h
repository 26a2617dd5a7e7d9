// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/MidiService.h"
#include "platform/PlatformError.h"
#include "platform/SequencePlayer.h"
#include "platform/host/HostContext.h"
#include "platform/host/files/FileRegistry.h"
#include "platform/host/midi/MidiHub.h"
#include "platform/host/midi/StandardMidiFile.h"

namespace orvane::host {

/// The host's implementation of `platform::SequencePlayer`. Players send on the hub's sending worker.
class HostSequencePlayer final : public platform::SequencePlayer {
 public:
  HostSequencePlayer(std::shared_ptr<HostContext> context, std::shared_ptr<MidiHub> hub);
  ~HostSequencePlayer() override;

  platform::Status newSequence(platform::MidiSequence& sequence) override;
  platform::Status loadFile(platform::MidiSequence sequence, const std::string& path) override;
  platform::Status newPlayer(platform::MidiPlayer& player) override;
  platform::Status setSequence(platform::MidiPlayer player, platform::MidiSequence sequence) override;
  platform::Status setDestination(platform::MidiSequence sequence, platform::MidiObjectRef destination) override;
  platform::Status start(platform::MidiPlayer player) override;
  platform::Status stop(platform::MidiPlayer player) override;
  bool isPlaying(platform::MidiPlayer player) const override;
  platform::Status disposePlayer(platform::MidiPlayer player) override;
  platform::Status disposeSequence(platform::MidiSequence sequence) override;

 private:
  using HostTime = platform::HostTime;
  struct Sequence {
    std::shared_ptr<const MidiFileContent> content = std::make_shared<MidiFileContent>();
    std::shared_ptr<const ReadClaim> claim{};  ///< Protects the file from being overwritten by this process.
    platform::MidiObjectRef destination{};
  };
  /// A player; its members are protected by its mutex. A start counts up `run`, so that the tasks of earlier starts
  /// end.
  struct Player {
    std::mutex mutex;
    std::shared_ptr<const Sequence> sequence;  ///< The sequence that is attached, which may be disposed already.
    std::shared_ptr<const MidiFileContent> content;
    platform::MidiObjectRef port{};   ///< The port that the transport shows for the player.
    platform::MidiObjectRef route{};  ///< From the port to the destination.
    std::size_t first = 0;            ///< The packet with which the last start began.
    std::size_t next = 0;             ///< The packet to send next.
    HostTime position{};              ///< Where the player was stopped.
    HostTime startTime{};             ///< The host time of the beginning of the sequence.
    std::uint64_t run = 0;
    bool isPlaying = false;
  };

  platform::Status fail(platform::Status status, const GatedCall& call, const std::string& reason) const;
  std::shared_ptr<Sequence> find(platform::MidiSequence sequence) const;
  std::shared_ptr<Player> find(platform::MidiPlayer player) const;
  void halt(Player& player);
  void end(Player& player);
  std::optional<platform::Failure> openPort(Player& player);
  static std::optional<HostTime> play(MidiHub& hub, const platform::Clock& clock, Player& player, std::uint64_t run);

  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<MidiHub> mHub;
  mutable std::mutex mMutex;
  std::uint32_t mNextHandle = 1;
  std::uint32_t mNextPort = 0xC0000000;  ///< Smaller numbers are those of the transport and of the MIDI service.
  std::map<platform::MidiSequence, std::shared_ptr<Sequence>> mSequences;
  std::map<platform::MidiPlayer, std::shared_ptr<Player>> mPlayers;
};

}  // namespace orvane::host
