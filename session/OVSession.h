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

/// Configures and activates one of the host's audio sessions (`platform::PlatformSession`) by short names.
///
/// Category, mode, options and activation are stored in the platform session and not cached here: two objects on the
/// same platform session see each other's changes. Operations may be called in any order, before or after `activate`.
/// If the platform refuses a change, the operation raises an `OVTException` and the session stays unchanged. In the
/// messages below REASON is the refusal's `localizedDescription()`.
///
/// A new platform session is inactive, has the category `orvane.category.play-and-record`, the mode
/// `orvane.mode.default` and no options.
///
/// An object without a platform session (see `implementationType`) returns empty text, 0 or false from its getters, and
/// its operations that would change the platform session do nothing.
///
/// Not thread-safe: use one object from one thread at a time. Not real-time safe.
class ORVANE_EXPORT OVSession : public OVTextEmitting {
 public:
  /// Makes a session on a new auxiliary platform session, which no other object shares. Raises "SessionService is not
  /// available on this host" if the host in use has no sessions.
  static std::shared_ptr<OVSession> init();
  /// With true, does the same as `init`. With false, makes a session on the host's primary platform session, which all
  /// such sessions share. Raises as `init` does.
  static std::shared_ptr<OVSession> initWithAuxillarySession(bool auxiliary);

  OVSession(const OVSession&) = delete;
  OVSession& operator=(const OVSession&) = delete;
  ~OVSession() override;

  /// The implementation of the sessions of this process. The only available type is 1, the default: each session has a
  /// platform session. The setter applies to sessions made later; for an unavailable type it raises "unavailable
  /// session implementation type TYPE" and changes nothing. These three are thread-safe, but do not order other memory
  /// accesses.
  static std::int64_t implementationType();
  static void setImplementationType(std::int64_t type);
  static bool isImplementationTypeAvailable(std::int64_t type);

  /// Returns the platform session, which tools bind to; null if this object has none.
  virtual std::shared_ptr<orvane::platform::Object> session() const;
  /// Always raises "OVSession: sessionToken not implemented".
  std::uint64_t sessionToken() const;
  /// Returns the class name and the object's address: "<OVSession: 0x55d0c3a2b2c0>".
  std::string description() const;

  /// Makes the platform session active; does nothing if it already is. Always returns null. Raises "activate failed:
  /// REASON".
  std::shared_ptr<orvane::platform::Object> activate();
  /// Makes the platform session inactive; does nothing if it already is. Raises "deactivate failed: REASON".
  void deactivate();

  /// Returns the platform's identifier of the category, such as "orvane.category.playback", never the short name.
  std::string category() const;
  /// Sets the category and keeps the mode. Options that the new category does not accept are cleared.
  ///
  /// `name` is a short name from the list below, case-sensitive. Any other text is passed to the platform unchanged,
  /// which accepts its own identifiers. Raises "setCategory failed: REASON" for an unknown name.
  ///
  /// Short names: Ambient, SoloAmbient, Playback, Record, PlayAndRecord, MultiRoute, Narrava, VoiceCommand,
  /// RingtonePreview, Ringtone, VoiceMail, PhoneCall, TTYCall, Alarm, PlaybackNoSpeaker, EmergencyAlert,
  /// EmergencyAlert_CanBeMuted, Locatron, WaterEjection.
  void setCategory(const std::string& name);

  /// Returns the platform's identifier of the mode, such as "orvane.mode.default", never the short name.
  std::string mode() const;
  /// Sets the mode; every category accepts every mode. `name` is a short name from the list below, case-sensitive, or
  /// one of the platform's identifiers. Raises "setMode failed: REASON" for an unknown name.
  ///
  /// Short names: Default, VoiceChat, GameChat, VideoRecording, Measurement, MoviePlayback, SpokenAudio, VideoChat,
  /// SpeechRecognition, VoicePrompt, Raw, VoiceMessages, LocatePhone, HearingAccessibility, Motiongram, SOS.
  void setMode(const std::string& name);

  // The category options. Each is off by default, and each getter reads the platform session. A setter calls
  // `changeCategoryOption` with the option's bits and raises what that raises: setting an option that the category does
  // not accept is refused, clearing one never is. They are requests to the platform: the simulated device plays and
  // captures the same with every option. `platform::session_option` has the bits.

  /// Lets the session's sound play together with that of other sessions. Accepted by categories whose output mixes: all
  /// but Record and SoloAmbient. Reads true while `mixExceptWithSpokenAudio` is set through its setter.
  bool mixWithOthers() const;
  void setMixWithOthers(bool state);
  /// Lowers the level of other sessions' sound while this session plays. Accepted by categories whose output mixes.
  /// Independent of `mixWithOthers`.
  bool duckOthers() const;
  void setDuckOthers(bool state);
  /// Allows hands-free headsets (Bluetooth HFP), whose microphone can be the input. Accepted by categories with input:
  /// Record, PlayAndRecord, MultiRoute, VoiceCommand, PhoneCall and TTYCall.
  bool allowHFP() const;
  void setAllowHFP(bool state);
  /// Allows Bluetooth A2DP devices as the output. Accepted by categories with output: all but Record.
  bool allowA2DP() const;
  void setAllowA2DP(bool state);
  /// Requests the speaker as the default output. Accepted by categories with input and output: PlayAndRecord,
  /// MultiRoute, VoiceCommand, PhoneCall and TTYCall; categories without input use the speaker anyway.
  bool defaultToSpeaker() const;
  void setDefaultToSpeaker(bool state);
  /// Mixes as `mixWithOthers` does, except with sessions that play spoken audio. Accepted by categories whose output
  /// mixes. Uses two bits, its own and that of `mixWithOthers`: the setter sets or clears both, and the getter returns
  /// true if either is set, so it also reads true after `setMixWithOthers(true)`.
  bool mixExceptWithSpokenAudio() const;
  void setMixExceptWithSpokenAudio(bool state);
  /// Allows wireless Skycast speakers as the output. Accepted by categories with output: all but Record.
  bool allowSkycast() const;
  void setAllowSkycast(bool state);

  /// Sets (`state` true) or clears the bits of `option`, any combination of `platform::session_option`, and keeps the
  /// category, the mode and all other options. Reads and writes in two steps, so a change that another thread makes in
  /// between is lost.
  ///
  /// Raises "change categoryOption 0xBITS STATE failed: DESCRIPTION" with the bits in lower-case hexadecimal, 1 or 0,
  /// and the error's full `description()`, if a bit is unknown or the category does not accept an option.
  void changeCategoryOption(std::uint64_t option, bool state);

  /// No effect.
  void listCategories() const;
  void listModes() const;

  // Values stored for the caller. They do not change the platform session, and every value is accepted. Default: 0 and
  // false.
  double sampleRate() const { return _sampleRate; }  ///< Hertz.
  void setSampleRate(double sampleRate) { _sampleRate = sampleRate; }
  double IOBufferDuration() const { return _IOBufferDuration; }  ///< Seconds.
  void setIOBufferDuration(double duration) { _IOBufferDuration = duration; }
  std::uint64_t IOBufferFrameCount() const { return _IOBufferFrameCount; }  ///< Frames.
  void setIOBufferFrameCount(std::uint64_t frameCount) { _IOBufferFrameCount = frameCount; }
  bool pauseOnDisconnect() const { return _pauseOnDisconnect; }
  void setPauseOnDisconnect(bool pauseOnDisconnect) { _pauseOnDisconnect = pauseOnDisconnect; }
  bool jsonOutput() const override { return _jsonOutput; }
  void setJsonOutput(bool jsonOutput) override { _jsonOutput = jsonOutput; }

 protected:
  explicit OVSession(bool auxiliary);

  /// Returns the class name that `description` shows.
  virtual const char* className() const;
  /// Does what the public setter does, with the subclass's own `isAvailable`.
  static void setImplementationType(std::int64_t type, bool (*isAvailable)(std::int64_t type));

 private:
  std::uint64_t categoryOptions() const;

  orvane::platform::Platform _services;  ///< The services in use when this object was made.
  bool _jsonOutput = false;
  bool _pauseOnDisconnect = false;
  std::shared_ptr<orvane::platform::PlatformSession> _session;
  double _sampleRate = 0;
  double _IOBufferDuration = 0;
  std::uint64_t _IOBufferFrameCount = 0;
};
