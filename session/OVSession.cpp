// SPDX-License-Identifier: MIT
#include "session/OVSession.h"

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "platform/Object.h"
#include "platform/Platform.h"
#include "platform/PlatformSession.h"
#include "platform/SessionIdentifiers.h"
#include "session/OVThrow.h"
#include "session/RaiseOn.h"
#include "session/RequiredRole.h"

namespace platform = orvane::platform;
namespace option = orvane::platform::session_option;

namespace {

/// Returns the implementation type of the process. It is atomic, so that it can be accessed by several threads.
std::atomic<std::int64_t>& sharedImplementationType() {
  static std::atomic<std::int64_t> type{OVSession::isImplementationTypeAvailable(0) ? 0 : 1};
  return type;
}

/// A map from short names to the platform's identifiers. The tables are never destroyed, because threads may outlive
/// static objects.
using NameTable = std::unordered_map<std::string_view, const char*>;

const NameTable& categoryTable() {
  namespace category = platform::category;
  static const NameTable& table = *new NameTable{
      {"Ambient", category::ambient},
      {"SoloAmbient", category::soloAmbient},
      {"Playback", category::playback},
      {"Record", category::record},
      {"PlayAndRecord", category::playAndRecord},
      {"MultiRoute", category::multiRoute},
      {"Narrava", category::narrava},
      {"VoiceCommand", category::voiceCommand},
      {"RingtonePreview", category::ringtonePreview},
      {"Ringtone", category::ringtone},
      {"VoiceMail", category::voiceMail},
      {"PhoneCall", category::phoneCall},
      {"TTYCall", category::ttyCall},
      {"Alarm", category::alarm},
      {"PlaybackNoSpeaker", category::playbackNoSpeaker},
      {"EmergencyAlert", category::emergencyAlert},
      {"EmergencyAlert_CanBeMuted", category::emergencyAlertCanBeMuted},
      {"Locatron", category::locatron},
      {"WaterEjection", category::waterEjection},
  };
  return table;
}

const NameTable& modeTable() {
  namespace mode = platform::mode;
  static const NameTable& table = *new NameTable{
      {"Default", mode::defaultMode},
      {"VoiceChat", mode::voiceChat},
      {"GameChat", mode::gameChat},
      {"VideoRecording", mode::videoRecording},
      {"Measurement", mode::measurement},
      {"MoviePlayback", mode::moviePlayback},
      {"SpokenAudio", mode::spokenAudio},
      {"VideoChat", mode::videoChat},
      {"SpeechRecognition", mode::speechRecognition},
      {"VoicePrompt", mode::voicePrompt},
      {"Raw", mode::raw},
      {"VoiceMessages", mode::voiceMessages},
      {"LocatePhone", mode::locatePhone},
      {"HearingAccessibility", mode::hearingAccessibility},
      {"Motiongram", mode::motiongram},
      {"SOS", mode::sos},
  };
  return table;
}

/// Returns the platform's identifier for a short name; returns any other name unchanged.
std::string translateString(const NameTable& table, const std::string& name) {
  const auto entry = table.find(name);
  return entry == table.end() ? name : entry->second;
}

}  // namespace

bool OVSession::isImplementationTypeAvailable(std::int64_t type) {
  return type == 1;
}

std::int64_t OVSession::implementationType() {
  return sharedImplementationType().load(std::memory_order_relaxed);
}

void OVSession::setImplementationType(std::int64_t type) {
  setImplementationType(type, &OVSession::isImplementationTypeAvailable);
}

void OVSession::setImplementationType(std::int64_t type, bool (*isAvailable)(std::int64_t type)) {
  if (!isAvailable(type)) _OVThrowMsg("unavailable session implementation type " + std::to_string(type));
  sharedImplementationType().store(type, std::memory_order_relaxed);
}

std::shared_ptr<OVSession> OVSession::init() {
  return initWithAuxillarySession(true);
}

std::shared_ptr<OVSession> OVSession::initWithAuxillarySession(bool auxiliary) {
  return std::shared_ptr<OVSession>(new OVSession(auxiliary));
}

OVSession::OVSession(bool auxiliary) : _services(platform::current()) {
  if (implementationType() != 1) return;
  auto& sessions = orvane::requiredRole(_services, _services.sessions, "SessionService");
  _session = auxiliary ? sessions.makeAuxiliary() : sessions.primary();
}

OVSession::~OVSession() = default;

std::shared_ptr<platform::Object> OVSession::session() const {
  return _session;
}

std::uint64_t OVSession::sessionToken() const {
  orvane::raiseOn(_services, "OVSession: sessionToken not implemented");
}

std::string OVSession::description() const {
  char address[24];
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
  return std::string("<") + className() + ": " + address + ">";
}

const char* OVSession::className() const {
  return "OVSession";
}

std::shared_ptr<platform::Object> OVSession::activate() {
  if (_session) {
    if (const auto error = _session->setActive(true)) orvane::raiseOn(_services, "activate failed", *error);
  }
  return nullptr;
}

void OVSession::deactivate() {
  if (!_session) return;
  if (const auto error = _session->setActive(false)) orvane::raiseOn(_services, "deactivate failed", *error);
}

std::string OVSession::category() const {
  return _session ? _session->category() : std::string();
}

void OVSession::setCategory(const std::string& name) {
  if (!_session) return;
  const std::string category = translateString(categoryTable(), name);
  if (const auto error = _session->setCategory(category)) orvane::raiseOn(_services, "setCategory failed", *error);
}

std::string OVSession::mode() const {
  return _session ? _session->mode() : std::string();
}

void OVSession::setMode(const std::string& name) {
  if (!_session) return;
  const std::string mode = translateString(modeTable(), name);
  if (const auto error = _session->setMode(mode)) orvane::raiseOn(_services, "setMode failed", *error);
}

void OVSession::changeCategoryOption(std::uint64_t option, bool state) {
  if (!_session) return;
  const std::uint64_t options = _session->categoryOptions();
  const std::string category = _session->category();
  const auto error = _session->setCategory(category, state ? options | option : options & ~option);
  if (!error) return;
  char step[64];
  std::snprintf(step, sizeof step, "change categoryOption 0x%" PRIx64 " %d failed: ", option, state ? 1 : 0);
  orvane::raiseOn(_services, step + error->description());
}

std::uint64_t OVSession::categoryOptions() const {
  return _session ? _session->categoryOptions() : 0;
}

bool OVSession::mixWithOthers() const {
  return (categoryOptions() & option::mixWithOthers) != 0;
}

void OVSession::setMixWithOthers(bool state) {
  changeCategoryOption(option::mixWithOthers, state);
}

bool OVSession::duckOthers() const {
  return (categoryOptions() & option::duckOthers) != 0;
}

void OVSession::setDuckOthers(bool state) {
  changeCategoryOption(option::duckOthers, state);
}

bool OVSession::allowHFP() const {
  return (categoryOptions() & option::allowHFP) != 0;
}

void OVSession::setAllowHFP(bool state) {
  changeCategoryOption(option::allowHFP, state);
}

bool OVSession::allowA2DP() const {
  return (categoryOptions() & option::allowA2DP) != 0;
}

void OVSession::setAllowA2DP(bool state) {
  changeCategoryOption(option::allowA2DP, state);
}

bool OVSession::defaultToSpeaker() const {
  return (categoryOptions() & option::defaultToSpeaker) != 0;
}

void OVSession::setDefaultToSpeaker(bool state) {
  changeCategoryOption(option::defaultToSpeaker, state);
}

bool OVSession::mixExceptWithSpokenAudio() const {
  return (categoryOptions() & (option::mixExceptWithSpokenAudio | option::mixWithOthers)) != 0;
}

void OVSession::setMixExceptWithSpokenAudio(bool state) {
  changeCategoryOption(option::mixExceptWithSpokenAudio | option::mixWithOthers, state);
}

bool OVSession::allowSkycast() const {
  return (categoryOptions() & option::allowSkycast) != 0;
}

void OVSession::setAllowSkycast(bool state) {
  changeCategoryOption(option::allowSkycast, state);
}

void OVSession::listCategories() const {}

void OVSession::listModes() const {}
