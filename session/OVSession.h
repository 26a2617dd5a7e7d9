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

/// A client's handle on one of the host's audio sessions (`platform::PlatformSession`), which it configures and
/// activates. Categories and modes can be given by short names, such as "PlayAndRecord".
///
/// Category, mode, options and activation are stored in the platform session and not cached here, so two objects on the
/// same platform session see each other's changes. Operations may be called in any order, before or after `activate`.
/// If the platform refuses a change, the operation raises an `OVTException` and the session stays unchanged. In the
/// messages quoted below, REASON is the reason that the platform gives.
///
/// A new platform session is inactive, has the category `orvane.category.play-and-record`, the mode
/// `orvane.mode.default` and no options.
///
/// If an object has no platform session (see `implementationType`), its getters return empty text, 0 or false, and
/// operations that would change the platform session do nothing.
///
/// Not thread-safe: use one object from one thread at a time. Not real-time safe.
class ORVANE_EXPORT OVSession : public OVTextEmitting {
 public:
  /// Creates an object with a new auxiliary platform session, which no other object shares. Raises "SessionService is
  /// not available on this host" if the host in use has no sessions.
  static std::shared_ptr<OVSession> init();
  /// Creates an object with a new auxiliary platform session if `auxiliary` is true, otherwise with the host's primary
  /// platform session, which all such objects share. Raises "SessionService is not available on this host" if the host
  /// in use has no sessions.
  static std::shared_ptr<OVSession> initWithAuxillarySession(bool auxiliary);

  OVSession(const OVSession&) = delete;
  OVSession& operator=(const OVSession&) = delete;
  ~OVSession() override;

  /// Returns the type of session implementation that this process uses. The default is 1: each object has a platform
  /// session. Thread-safe, but without ordering of other memory accesses.
  static std::int64_t implementationType();
  /// Sets the type of session implementation for objects that are created later. The only available type is 1. For any
  /// other type raises "unavailable session implementation type TYPE" and changes nothing. Thread-safe, but without
  /// ordering of other memory accesses.
  static void setImplementationType(std::int64_t type);
  /// Returns whether a type of session implementation is available, which is true for 1 only. Thread-safe.
  static bool isImplementationTypeAvailable(std::int64_t type);

  /// Returns the platform session, to which I/O units can be bound, or null if this object has none.
  virtual std::shared_ptr<orvane::platform::Object> session() const;
  /// Always raises "OVSession: sessionToken not implemented".
  std::uint64_t sessionToken() const;
  /// Returns the class name and the object's address, such as "<OVSession: 0x55d0c3a2b2c0>".
  std::string description() const;

  /// Activates the platform session; does nothing if it is active already. Always returns null. Raises "activate
  /// failed: REASON" if the platform refuses.
  std::shared_ptr<orvane::platform::Object> activate();
  /// Deactivates the platform session; does nothing if it is inactive already. Raises "deactivate failed: REASON" if
  /// the platform refuses.
  void deactivate();

  /// Returns the platform's identifier of the category, such as "orvane.category.playback", not the short name.
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

  /// Returns the platform's identifier of the mode, such as "orvane.mode.default", not the short name.
  std::string mode() const;
  /// Sets the mode; every category accepts every mode. `name` is a short name from the list below, case-sensitive, or
  /// one of the platform's identifiers. Raises "setMode failed: REASON" for an unknown name.
  ///
  /// Short names: Default, VoiceChat, GameChat, VideoRecording, Measurement, MoviePlayback, SpokenAudio, VideoChat,
  /// SpeechRecognition, VoicePrompt, Raw, VoiceMessages, LocatePhone, HearingAccessibility, Motiongram, SOS.
  void setMode(const std::string& name);

  // The category options. Each is off by default, and each getter reads the platform session. A setter calls
  // `changeCategoryOption` with the bits of the option in `platform::session_option`, and raises the same exceptions:
  // setting an option that the category does not accept is refused, clearing an option never is. Options are requests
  // to the platform; the simulated device ignores them.

  /// Returns whether other sessions may play at the same time. This is also true after
  /// `setMixExceptWithSpokenAudio(true)`, which sets this option's bit too.
  bool mixWithOthers() const;
  /// Allows other sessions to play at the same time. Accepted by all categories except Record and SoloAmbient.
  void setMixWithOthers(bool state);
  /// Returns whether the option set by `setDuckOthers` is on.
  bool duckOthers() const;
  /// Lowers the level of other sessions while this session plays. Accepted by all categories except Record and
  /// SoloAmbient. Independent of `mixWithOthers`.
  void setDuckOthers(bool state);
  /// Returns whether the option set by `setAllowHFP` is on.
  bool allowHFP() const;
  /// Allows Bluetooth hands-free (HFP) headsets, whose microphone can be used as the input. Accepted by the categories
  /// with input: Record, PlayAndRecord, MultiRoute, VoiceCommand, PhoneCall and TTYCall.
  void setAllowHFP(bool state);
  /// Returns whether the option set by `setAllowA2DP` is on.
  bool allowA2DP() const;
  /// Allows Bluetooth A2DP devices as the output. Accepted by the categories with output, which are all except Record.
  void setAllowA2DP(bool state);
  /// Returns whether the option set by `setDefaultToSpeaker` is on.
  bool defaultToSpeaker() const;
  /// Requests the speaker as the default output. Accepted by the categories with input and output: PlayAndRecord,
  /// MultiRoute, VoiceCommand, PhoneCall and TTYCall. Categories without input always use the speaker.
  void setDefaultToSpeaker(bool state);
  /// Returns whether this option's bit or that of `mixWithOthers` is set. This is also true after
  /// `setMixWithOthers(true)`.
  bool mixExceptWithSpokenAudio() const;
  /// Allows other sessions to play at the same time, except those that play spoken audio. Sets or clears both this
  /// option's bit and that of `mixWithOthers`. Accepted by all categories except Record and SoloAmbient.
  void setMixExceptWithSpokenAudio(bool state);
  /// Returns whether the option set by `setAllowSkycast` is on.
  bool allowSkycast() const;
  /// Allows wireless Skycast speakers as the output. Accepted by the categories with output, which are all except
  /// Record.
  void setAllowSkycast(bool state);

  /// Sets the bits of `option` if `state` is true, otherwise clears them, and keeps the category, the mode and all
  /// other options. `option` is any combination of `platform::session_option` bits. The options are read and written in
  /// two steps, so a change that another thread makes in between is lost.
  ///
  /// If a bit is unknown or the category does not accept an option, raises "change categoryOption 0xBITS STATE failed:
  /// DESCRIPTION". BITS are lower-case hexadecimal digits, STATE is 1 or 0, and DESCRIPTION is the `description()` of
  /// the platform's error.
  void changeCategoryOption(std::uint64_t option, bool state);

  /// Does nothing. Exists for programs that expect it in the interface.
  void listCategories() const;
  /// Does nothing.
  void listModes() const;

  // Values that are only stored for the caller: they have no effect on the platform session, and every value is
  // accepted. The default is 0 or false.
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
  /// Sets the implementation type as the public setter does, but accepts the types for which `isAvailable` returns
  /// true.
  static void setImplementationType(std::int64_t type, bool (*isAvailable)(std::int64_t type));

 private:
  std::uint64_t categoryOptions() const;

  orvane::platform::Platform _services;  ///< The services that were in use when this object was created.
  bool _jsonOutput = false;
  bool _pauseOnDisconnect = false;
  std::shared_ptr<orvane::platform::PlatformSession> _session;
  double _sampleRate = 0;
  double _IOBufferDuration = 0;
  std::uint64_t _IOBufferFrameCount = 0;
};
