// SPDX-License-Identifier: MIT
#pragma once

// The platform's identifiers of session categories and modes, for `PlatformSession`. `OVSession` also accepts short
// names.

/// Identifiers of session categories. A category decides which sides of the device the session's units may use, and
/// which options (`platform::session_option`) the session accepts:
///
/// - input and output: play-and-record, multi-route, voice-command, phone-call, tty-call;
/// - input only: record;
/// - output only: all others.
///
/// The output of every category except solo-ambient mixes with that of other sessions.
namespace orvane::platform::category {

inline constexpr char ambient[] = "orvane.category.ambient";
inline constexpr char soloAmbient[] = "orvane.category.solo-ambient";
inline constexpr char playback[] = "orvane.category.playback";
inline constexpr char record[] = "orvane.category.record";
inline constexpr char playAndRecord[] = "orvane.category.play-and-record";
inline constexpr char multiRoute[] = "orvane.category.multi-route";
inline constexpr char narrava[] = "orvane.category.narrava";
inline constexpr char voiceCommand[] = "orvane.category.voice-command";
inline constexpr char ringtonePreview[] = "orvane.category.ringtone-preview";
inline constexpr char ringtone[] = "orvane.category.ringtone";
inline constexpr char voiceMail[] = "orvane.category.voice-mail";
inline constexpr char phoneCall[] = "orvane.category.phone-call";
inline constexpr char ttyCall[] = "orvane.category.tty-call";
inline constexpr char alarm[] = "orvane.category.alarm";
inline constexpr char playbackNoSpeaker[] = "orvane.category.playback-no-speaker";
inline constexpr char emergencyAlert[] = "orvane.category.emergency-alert";
inline constexpr char emergencyAlertCanBeMuted[] = "orvane.category.emergency-alert-can-be-muted";
inline constexpr char locatron[] = "orvane.category.locatron";
inline constexpr char waterEjection[] = "orvane.category.water-ejection";

}  // namespace orvane::platform::category

/// Identifiers of session modes. Every category accepts every mode; the simulated device behaves the same in all modes.
namespace orvane::platform::mode {

inline constexpr char defaultMode[] = "orvane.mode.default";
inline constexpr char voiceChat[] = "orvane.mode.voice-chat";
inline constexpr char gameChat[] = "orvane.mode.game-chat";
inline constexpr char videoRecording[] = "orvane.mode.video-recording";
inline constexpr char measurement[] = "orvane.mode.measurement";
inline constexpr char moviePlayback[] = "orvane.mode.movie-playback";
inline constexpr char spokenAudio[] = "orvane.mode.spoken-audio";
inline constexpr char videoChat[] = "orvane.mode.video-chat";
inline constexpr char speechRecognition[] = "orvane.mode.speech-recognition";
inline constexpr char voicePrompt[] = "orvane.mode.voice-prompt";
inline constexpr char raw[] = "orvane.mode.raw";
inline constexpr char voiceMessages[] = "orvane.mode.voice-messages";
inline constexpr char locatePhone[] = "orvane.mode.locate-phone";
inline constexpr char hearingAccessibility[] = "orvane.mode.hearing-accessibility";
inline constexpr char motiongram[] = "orvane.mode.motiongram";
inline constexpr char sos[] = "orvane.mode.sos";

}  // namespace orvane::platform::mode
