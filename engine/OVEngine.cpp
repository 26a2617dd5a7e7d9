// SPDX-License-Identifier: MIT
#include "engine/OVEngine.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <vector>

#include "platform/GraphEngine.h"
#include "platform/Log.h"
#include "platform/PcmFile.h"
#include "platform/PlatformError.h"
#include "platform/PlatformException.h"
#include "platform/UnitService.h"
#include "platform/Url.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"
#include "session/SessionToBind.h"

namespace platform = orvane::platform;

namespace {

constexpr std::uint32_t tapBus = 0;
constexpr std::uint32_t tapFrames = 4096;
constexpr std::uint32_t prepareFrames = 4096;

platform::GraphService& graphsOf(const platform::Platform& services) {
  return orvane::requiredRole(services, services.graphs, "GraphService");
}

/// Raises `message` with the error of a host call that was to return a file.
void checkFile(const platform::Platform& services, const std::shared_ptr<platform::PcmFile>& file,
               const std::optional<platform::PlatformError>& error, const char* message) {
  if (error) orvane::raiseOn(services, message, *error);
  if (!file) orvane::raiseOn(services, std::string(message) + ": the host returned no file");
}

}  // namespace

std::shared_ptr<OVEngine> OVEngine::init() {
  return std::shared_ptr<OVEngine>(new OVEngine);
}

OVEngine::OVEngine() : mServices(platform::current()), mEngine(graphsOf(mServices).makeEngine()) {}

OVEngine::~OVEngine() {
  const auto attempt = [this](const auto& step) {
    try {
      step();
    } catch (const std::exception& failure) {
      orvane::logOn(mServices, platform::LogLevel::error, std::string("releasing an engine failed: ") + failure.what());
    }
  };
  // A stopped engine is not interrupted by the removal. The tap's closure must go even if the engine cannot be stopped.
  attempt([this] { mEngine->stop(); });
  if (mHasTap) attempt([this] { mInput->removeTap(tapBus); });
}

void OVEngine::playAudioFile(const std::string& path) {
  std::optional<platform::PlatformError> error;
  const auto file = graphsOf(mServices).openFile(platform::Url::fromPath(path), error);
  checkFile(mServices, file, error, "SGE playAudioFile failed");
  if (!mPlayer) makePlayer(*file);
  mPlayer->scheduleFile(file);
  mPlayer->prepare(prepareFrames);
}

void OVEngine::makePlayer(const platform::PcmFile& file) {
  auto player = graphsOf(mServices).makePlayerNode();
  mEngine->attach(player);
  mEngine->connect(player, mEngine->mainMixerNode(), file.processingFormat());
  mPlayer = std::move(player);
}

void OVEngine::recordAudioFile(const std::string& url) {
  mInput = mEngine->inputNode();
  const platform::StreamFormat format = mInput->inputFormat(tapBus);
  const auto parsed = platform::Url::parse(url);
  if (!parsed) orvane::raiseOn(mServices, "File URL provided is nil");
  // The file of an earlier recording is complete before another one is created, maybe at the same place.
  if (mHasTap) mInput->removeTap(tapBus);
  mHasTap = false;
  std::optional<platform::PlatformError> error;
  const auto file = graphsOf(mServices).createFile(*parsed, format.settings(), error);
  checkFile(mServices, file, error, "Creating input recording file failed");
  mInput->installTap(
      tapBus, tapFrames, format,
      [this, file](const platform::PcmBuffer* buffer, const platform::RenderTimeStamp&) { record(buffer, *file); });
  mHasTap = true;
}

/// Checks and writes one tapped buffer. Runs on the tap's thread.
void OVEngine::record(const platform::PcmBuffer* buffer, platform::PcmFile& file) const {
  if (_enableSilenceDetection && buffer != nullptr) {
    constexpr double silence = -160;
    const std::vector<double> powers = buffer->averagePowerPerChannel();
    // A power truncated toward zero is -160 or lower exactly if the power itself is.
    const auto isSilent = [](double power) { return !(power > silence); };
    if (std::ranges::any_of(powers, isSilent)) orvane::raiseOn(mServices, silenceMessage);
  }
  if (buffer == nullptr) orvane::raiseOn(mServices, "Buffer received is nil, cannot write to file");
  if (const auto error = file.write(*buffer)) {
    orvane::raiseOn(mServices, "Writing to input recording file failed", *error);
  }
}

void OVEngine::bindSession() {
  const auto identifier = _session ? orvane::sessionToBind(mServices, *_session) : std::nullopt;
  if (!identifier) return;
  auto& units = orvane::requiredRole(mServices, mServices.units, "UnitService");
  const platform::Status status =
      units.setProperty(mEngine->outputNode()->unit(), platform::UnitProperty::sessionIdentifier,
                        platform::UnitScope::global, 0, &*identifier, sizeof *identifier);
  if (status == platform::status::success) return;
  orvane::raiseOn(mServices,
                  "setSession failed -- UnitService::setProperty(UnitProperty::sessionIdentifier) sessionID: " +
                      std::to_string(*identifier));
}

void OVEngine::start() {
  constexpr char message[] = "SGE start failed";
  bindSession();
  std::optional<platform::PlatformError> error;
  try {
    error = mEngine->start();
    if (mPlayer) mPlayer->play();
  } catch (const platform::PlatformException& exception) {
    orvane::raiseOn(mServices, message, exception);
  }
  if (error) orvane::raiseOn(mServices, message, *error);
}

void OVEngine::stop() {
  mEngine->stop();
}
