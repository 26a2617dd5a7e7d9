// SPDX-License-Identifier: MIT
#include "tools/orvane/ToneCommand.h"

#include <memory>
#include <string>
#include <utility>

#include "iounit/OVTestTone.h"
#include "platform/DeviceReport.h"
#include "platform/NumberText.h"
#include "tools/orvane/Numbers.h"
#include "tools/orvane/UnitRun.h"

namespace orvane::tool {

namespace {

/// Below this the oscillator's phase, which counts samples in single precision, has no room for a period.
constexpr double lowestFrequency = 0.1;
constexpr double highestRate = 768000;
/// A perfect fifth: how far the right channel sounds above the left one.
constexpr double fifth = 1.5;

}  // namespace

ToneCommand::ToneCommand(CLI::App& parent) : Command(parent, "tone", "Play a sine test tone") {
  addNumber(options(), "--frequency", mFrequency,
            {lowestFrequency, highestRate / 2, "hertz, from 0.1 to half the rate"},
            "Left channel's frequency in hertz (default 261); the right channel sounds\na fifth above, at 1.5 times")
      ->type_name("HZ");
  addNumber(options(), "--amplitude", mAmplitude, {0, 1, "0 to 1, where 1 is full scale"},
            "Peak amplitude of both channels, 0 to 1 (default 0.25)")
      ->type_name("A");
  options().add_flag("--monotone", mMonotone, "Right channel at the left one's frequency");
  addNumber(options(), "--client-rate", mClientRate, {1, highestRate, "hertz, from 1 to 768000"},
            "Rate in hertz at which the tone is rendered (default the hardware's)")
      ->type_name("HZ");
  mUnit.declare(options());
  addSeconds(options(), mSeconds);
  options().footer(
      "Plays until --seconds have passed or Ctrl-C.\n\n"
      "Example:\n"
      "  orvane --simulate speaker=tone.wav,pace=fast tone --frequency 440 --amplitude 0.5 --seconds 2");
}

Outcome ToneCommand::run(const Invocation& invocation) {
  const platform::DeviceReport& report = *invocation.host.deviceReport;
  std::shared_ptr<OVTestTone> tone = OVTestTone::init();
  if (mFrequency) tone->setFrequency(*mFrequency);
  if (mAmplitude) tone->setAmplitude(static_cast<float>(*mAmplitude));
  if (mClientRate) tone->setClientSampleRate(*mClientRate);
  tone->setMonotone(mMonotone);
  checkFrequency(tone->frequency(), mClientRate.value_or(report.hardwareOutput().sampleRate()));
  return runUnit(invocation, {.output = true, .seconds = mSeconds}, mUnit, std::move(tone));
}

void ToneCommand::checkFrequency(double frequency, double rate) const {
  // Hardware that reports no rate is for the library to refuse.
  if (rate <= 0) return;
  const double highest = rate / 2 / (mMonotone ? 1 : fifth);
  if (frequency <= highest) return;
  std::string reason = "--frequency: " + platform::numberText(frequency) + " is out of range at a rate of " +
                       platform::numberText(rate) + "; it takes hertz, from " + platform::numberText(lowestFrequency) +
                       " to " + platform::numberText(highest);
  if (!mMonotone) {
    reason += " (the right channel sounds a fifth above; to " + platform::numberText(rate / 2) + " with --monotone)";
  }
  throw ToolError(ExitStatus::wrongUsage, reason);
}

}  // namespace orvane::tool
