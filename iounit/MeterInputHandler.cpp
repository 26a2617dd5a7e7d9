// SPDX-License-Identifier: MIT
#include "iounit/MeterInputHandler.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "iounit/dsp/LockstepMeter.h"
#include "iounit/dsp/Processor.h"
#include "platform/RealTime.h"

namespace orvane {

MeterInputHandler::MeterInputHandler(int channelCount, double sampleRate)
    : mChannelCount(channelCount),
      mBufferList(static_cast<std::uint32_t>(channelCount)),
      mMeters(static_cast<std::size_t>(channelCount)),
      mPlanes(mMeters.size()) {
  for (PowerMeter& meter : mMeters) meter.SetSampleRate(sampleRate);
}

void MeterInputHandler::process(std::uint32_t frames) {
  meterChannels(frames);
  {
    const platform::RealTimeExemption exemption;
    if (mPrintCycle == 0) printBars();
    std::fflush(stdout);
  }
  mPrintCycle = (mPrintCycle + 1) % printPeriod;
}

void MeterInputHandler::meterChannels(std::uint32_t frames) {
  for (std::size_t channel = 0; channel < mPlanes.size(); ++channel) {
    mPlanes[channel] = static_cast<const float*>(mBufferList[channel].data);
  }
  processTogether(mMeters, mPlanes, static_cast<int>(frames));
}

void MeterInputHandler::printBars() const {
  constexpr std::size_t maxChars = barWidth + 2;
  for (auto meter = mMeters.begin(); meter != mMeters.end(); ++meter) {
    std::array<char, maxChars> text{};
    text.fill(' ');
    std::fill_n(text.begin(), barStars(meter->mAverageLevel), '*');
    const bool isLast = meter + 1 == mMeters.end();
    if (isLast) text[barWidth] = '\r';
    std::fwrite(text.data(), 1, isLast ? barWidth + 1 : maxChars, stdout);
  }
}

int MeterInputHandler::barStars(double level) {
  return std::clamp(truncateToInt32(level * barWidth), 0, barWidth);
}

}  // namespace orvane
