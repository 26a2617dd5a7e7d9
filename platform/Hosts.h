// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/Platform.h"

namespace orvane::platform {

// The functions below are thread-safe and not real-time safe.

/// Returns the names of all hosts (implementations of the audio services) that the library knows, in order of
/// preference.
ORVANE_EXPORT std::vector<std::string> knownHosts();
/// Returns the names of the hosts that are available on this machine, in order of preference. By default `current`
/// creates the first of them.
ORVANE_EXPORT std::vector<std::string> availableHosts();

/// Creates the host called `name` without putting it in use (see `use`). `options` depend on the host; those of
/// "simulated" are described at `makeSimulatedHost`. "pipewire", the sound server, takes `KEY=VALUE[,KEY=VALUE…]` with
/// the keys `input` and `output` (the name or a unique description of an endpoint, see `DeviceReport::endpoints`, or
/// `none`; `\,` and `\\` stand for a comma and a backslash), `rate` (hertz, 1 to 768000) and `slice` (frames, 1 to
/// 8192), which are requests: the server may choose other values. A server that cannot be reached is not an error here:
/// the host then has no device, and `DeviceReport::whyUnavailable` returns the reason. Throws `PlatformException` for
/// an unknown or unavailable name, listing the available names, and for invalid options.
ORVANE_EXPORT Platform makeHost(std::string_view name, std::string_view options = {});

/// Creates a host with simulated audio and MIDI devices without putting it in use (see `use`). `options` has the form
/// `KEY=VALUE[,KEY=VALUE…]`; an empty text gives the defaults. In values that are
/// paths, `\,` stands for a comma and `\\` for a backslash. The keys are:
///
/// - `mic`: the path of a sound file, `tone:HZ[:AMPLITUDE]`, `noise[:SEED]`, `silence` (the default) or `loop` (the
///   speaker's output);
/// - `speaker`: `null` (the default), or the path of a 32-bit float WAVE file to write;
/// - `rate`: the sample rate in hertz, 0 (the hardware reports none) to 768000; default 48000, or the `mic` file's;
/// - `inputs`: input channels, 0 to 64; default 1, or the `mic` file's;
/// - `outputs`: output channels, 0 to 64; default 2;
/// - `slice`: frames per device callback, 1 to 8192; default 256;
/// - `pace`: `real` (the default), or `fast` for a run that does not wait for real time;
/// - `midi`: the path of a JSON file with MIDI devices; default a keyboard and a loop-back;
/// - `midi-in`: the path of a standard MIDI file that the first MIDI source plays; default none;
/// - `midi-capture`: the path of a file to write, which records what MIDI destinations receive; default none;
/// - `scenario`: the path of a JSON file with settings, refusals and faults; default none.
///
/// A key given here overrides the same setting in the scenario. The options and the whole scenario, including
/// overridden settings, are checked before the host is created. Throws a `PlatformException` that names the wrong key
/// and the accepted values, or the file that cannot be read or written.
///
/// At fast pace (`pace=fast`) the host clock is simulated: it jumps from one task's due time to the next while the
/// caller waits, so repeated runs produce identical bytes. The installed simulated-device.md describes microphones,
/// scenarios and faults.
ORVANE_EXPORT Platform makeSimulatedHost(std::string_view options = {});

}  // namespace orvane::platform
