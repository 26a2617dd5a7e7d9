// SPDX-License-Identifier: MIT
#include "iounit/OVTestTone.h"

#include <cstdint>

#include "platform/RenderBufferList.h"
#include "platform/Status.h"
#include "platform/StreamFormat.h"
#include "platform/UnitService.h"
#include "session/RaiseOn.h"

namespace platform = orvane::platform;

namespace {

void setUp(orvane::SineWaveGenerator& generator, double frequency, float amplitude, double sampleRate) {
  generator.mFrequency = static_cast<float>(frequency);
  generator.mAmplitude = amplitude;
  generator.SetSampleRate(static_cast<float>(sampleRate));
}

void render(orvane::SineWaveGenerator& generator, const platform::RenderBuffer& buffer, std::uint32_t frames) {
  generator.Render(static_cast<float*>(buffer.data), frames, 1, 1);
}

}  // namespace

std::shared_ptr<OVTestTone> OVTestTone::init() {
  return std::shared_ptr<OVTestTone>(new OVTestTone);
}

OVTestTone::OVTestTone() = default;

OVTestTone::~OVTestTone() {
  tearDown();
}

void OVTestTone::start() {
  stopIfRunning();
  initializeAU();
  const double hardwareRate = outputHardwareFormat().sampleRate();
  if (hardwareRate == 0.0) {
    orvane::raiseOn(services(), "Hardware sample rate is 0.0 after activating session and initializing AU");
  }
  const double sampleRate = _clientSampleRate == 0.0 ? hardwareRate : _clientSampleRate;

  constexpr double perfectFifth = 1.5;
  setUp(mWaveGeneratorL, _frequency, _amplitude, sampleRate);
  setUp(mWaveGeneratorR, _frequency * (_monotone ? 1.0 : perfectFifth), _amplitude, sampleRate);
  setOutputClientFormat(platform::StreamFormat::standard(sampleRate, 2));
  wrapper().setOutputProvider([left = &mWaveGeneratorL, right = &mWaveGeneratorR](
                                  platform::RenderActionFlags&, const platform::RenderTimeStamp&, std::uint32_t frames,
                                  std::int32_t, platform::RenderBufferList& list) {
    render(*left, list.buffers()[0], frames);
    render(*right, list.buffers()[1], frames);
    return platform::status::success;
  });
  OVIOUnit::start();
}
