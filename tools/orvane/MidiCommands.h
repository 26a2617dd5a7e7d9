// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/orvane/Command.h"
#include "tools/orvane/report/Outcome.h"

namespace orvane::tool {

/// `orvane midi send`: sends hexadecimal text to a destination.
class MidiSendCommand final : public Command {
 public:
  explicit MidiSendCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;
  bool classPrints() const override { return true; }

 private:
  Outcome interact(const Invocation& invocation);

  std::vector<std::string> mTexts;
  std::optional<std::string> mDestination;
  std::int64_t mProtocol = 0;
  bool mIsInteractive = false;
};

/// `orvane midi monitor`: prints what arrives from a source.
class MidiMonitorCommand final : public Command {
 public:
  explicit MidiMonitorCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;
  bool classPrints() const override { return true; }

 private:
  std::optional<std::string> mSource;
  std::optional<double> mSeconds;
  bool mHidesRealtime = false;
};

/// `orvane midi play`: plays a standard MIDI file to a destination.
class MidiPlayCommand final : public Command {
 public:
  explicit MidiPlayCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;

 private:
  std::string mPath;
  std::optional<std::string> mDestination;
  std::optional<double> mSeconds;
};

/// `orvane midi list`: prints the MIDI setup.
class MidiListCommand final : public Command {
 public:
  explicit MidiListCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;
  bool classPrints() const override { return true; }

 private:
  bool mShowsProperties = false;
};

/// `orvane midi watch`: prints the MIDI setup and then its changes.
class MidiWatchCommand final : public Command {
 public:
  explicit MidiWatchCommand(CLI::App& parent);
  Outcome run(const Invocation& invocation) override;
  bool classPrints() const override { return true; }

 private:
  std::optional<double> mSeconds;
};

}  // namespace orvane::tool
