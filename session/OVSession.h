// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/Export.h"
#include "platform/Platform.h"
#include "session/OVTextEmitting.h"

namespace orvane::platform {
class Object;
class PlatformSession;
}  // namespace orvane::platform

/// Configures one of the platform's audio sessions by short names, option by option, and activates it.
///
/// Category, mode, options and activation live in the platform session: two objects on the same one see each other's
/// changes, and nothing is cached here. Calls may come in any order, before or after `activate`. Where the platform
/// refuses, the operation raises an `OVTException` and the session keeps whatever the platform kept.
///
/// No operation takes a lock; use one object from one thread at a time. None is real-time safe.
///
/// If the implementation type gives a session no platform session, reads return empty text, 0 or false, and
/// operations that would change the platform session do nothing.
class ORVANE_EXPORT OVSession : public OVTextEmitting {
 public:
  /// A session on an auxiliary platform session of its own.
  static std::shared_ptr<OVSession> init();
  /// The same for true; for false, a session on the process's primary platform session.
  /// Both raise "SessionService is not available on this host" where the host in use has none.
  static std::shared_ptr<OVSession> initWithAuxillarySession(bool auxiliary);

  OVSession(const OVSession&) = delete;
  OVSession& operator=(const OVSession&) = delete;
  ~OVSession() override;

  /// How the sessions of this process are backed: 1, by platform sessions, is the type there is and the first value.
  /// Applies to sessions made afterwards. Setting another type raises "unavailable session implementation type %d" and
  /// changes nothing. Reads and writes from several threads are not ordered among each other.
  static std::int64_t implementationType();
  static void setImplementationType(std::int64_t type);
  static bool isImplementationTypeAvailable(std::int64_t type);

  /// The platform session that tools bind to; null where there is none.
  virtual std::shared_ptr<orvane::platform::Object> session() const;
  /// Always raises "OVSession: sessionToken not implemented".
  std::uint64_t sessionToken() const;
  /// "<OVSession: 0x55d0c3a2b2c0>": the class and the address.
  std::string description() const;

  /// Makes the platform session active. The result is always null. Raises "activate failed: why".
  std::shared_ptr<orvane::platform::Object> activate();
  /// Raises "deactivate failed: why".
  void deactivate();

  /// The platform's identifier of the category ("orvane.category.playback"), never the short name.
  std::string category() const;
  /// Sets the category alone, without options or mode: by short name, "PlayAndRecord", upper and lower case as
  /// written; any other text goes to the platform as it is, which knows its own identifiers. Raises "setCategory
  /// failed: why".
  ///
  /// Short names: Ambient, SoloAmbient, Playback, Record, PlayAndRecord, MultiRoute, Narrava, VoiceCommand,
  /// RingtonePreview, Ringtone, VoiceMail, PhoneCall, TTYCall, Alarm, PlaybackNoSpeaker, EmergencyAlert,
  /// EmergencyAlert_CanBeMuted, Locatron, WaterEjection.
  void setCategory(const std::string& name);

  /// The platform's identifier of the mode ("orvane.mode.default"), never the short name.
  std::string mode() const;
  /// Sets the mode, by name as `setCategory` does. Raises "setMode failed: why".
  ///
  /// Short names: Default, VoiceChat, GameChat, VideoRecording, Measurement, MoviePlayback, SpokenAudio, VideoChat,
  /// SpeechRecognition, VoicePrompt, Raw, VoiceMessages, LocatePhone, HearingAccessibility, Motiongram, SOS.
  void setMode(const std::string& name);

  // The category options, as the platform session has them at each read. Setters are `changeCategoryOption` with the
  // option's bits.
  bool mixWithOthers() const;
  void setMixWithOthers(bool state);
  bool duckOthers() const;
  void setDuckOthers(bool state);
  bool allowHFP() const;
  void setAllowHFP(bool state);
  bool allowA2DP() const;
  void setAllowA2DP(bool state);
  bool defaultToSpeaker() const;
  void setDefaultToSpeaker(bool state);
  /// Stands for two bits, its own and that of `mixWithOthers`: setting changes both, reading is true for either.
  bool mixExceptWithSpokenAudio() const;
  void setMixExceptWithSpokenAudio(bool state);
  bool allowSkycast() const;
  void setAllowSkycast(bool state);

  /// Sets or clears the bits of `option` among the platform session's category options, keeping category, mode and all
  /// other options. Reads and sets in two steps: what somebody else changes in between is lost. Raises "change
  /// categoryOption 0x%lx %d failed: %@" with the bits, the state (1 or 0) and the error's full description.
  void changeCategoryOption(std::uint64_t option, bool state);

  /// These two have no effect.
  void listCategories() const;
  void listModes() const;

  // Values that are stored for the calling tool and change nothing in the platform session. They begin at 0 and false.
  double sampleRate() const { return _sampleRate; }  ///< Hertz.
  void setSampleRate(double sampleRate) { _sampleRate = sampleRate; }
  double IOBufferDuration() const { return _IOBufferDuration; }  ///< Seconds.
  void setIOBufferDuration(double duration) { _IOBufferDuration = duration; }
  std::uint64_t IOBufferFrameCount() const { return _IOBufferFrameCount; }
  void setIOBufferFrameCount(std::uint64_t frameCount) { _IOBufferFrameCount = frameCount; }
  bool pauseOnDisconnect() const { return _pauseOnDisconnect; }
  void setPauseOnDisconnect(bool pauseOnDisconnect) { _pauseOnDisconnect = pauseOnDisconnect; }
  bool jsonOutput() const override { return _jsonOutput; }
  void setJsonOutput(bool jsonOutput) override { _jsonOutput = jsonOutput; }

 protected:
  explicit OVSession(bool auxiliary);

  /// The class's name, for `description`.
  virtual const char* className() const;
  /// `setImplementationType` for a class with an availability of its own.
  static void setImplementationType(std::int64_t type, bool (*isAvailable)(std::int64_t type));

 private:
  std::uint64_t categoryOptions() const;

  orvane::platform::Platform _services;  ///< Those in use when this object was made.
  bool _jsonOutput = false;
  bool _pauseOnDisconnect = false;
  std::shared_ptr<orvane::platform::PlatformSession> _session;
  double _sampleRate = 0;
  double _IOBufferDuration = 0;
  std::uint64_t _IOBufferFrameCount = 0;
};
