// SPDX-License-Identifier: MIT
#include "platform/host/sounds/SoundTable.h"

#include <algorithm>
#include <iterator>

namespace orvane::host {

namespace {

// Notes in hertz, equal temperament, A4 = 440 Hz.
constexpr float c5 = 523.25F, d5 = 587.33F, e5 = 659.26F, f5 = 698.46F, g5 = 783.99F, a5 = 880, b5 = 987.77F;
constexpr float c6 = 1046.5F, a4 = 440, g4 = 392, e4 = 329.63F, c4 = 261.63F;

constexpr float bell[] = {a5}, information[] = {e5, a5}, warning[] = {a5, e5}, error[] = {a4, e4},
                question[] = {d5, g5};
constexpr float complete[] = {c5, e5, g5}, added[] = {g4, d5}, removed[] = {d5, g4}, message[] = {c6, g5};
constexpr float email[] = {g5, c6}, incoming[] = {a5, c6, a5, c6}, busy[] = {a4, a4}, shutter[] = {c6, c4};
constexpr float capture[] = {b5, c4}, login[] = {c5, g5}, logout[] = {g5, c5}, trash[] = {e4, c4};
constexpr float attention[] = {f5, f5}, alarm[] = {a5, a5, a5}, volume[] = {c5}, plug[] = {c4, g4}, unplug[] = {g4, c4};
constexpr float established[] = {e5, b5}, lost[] = {b5, e5};

constexpr SoundEntry table[] = {
    {1, "bell", bell},
    {2, "dialog-information", information},
    {3, "dialog-warning", warning},
    {4, "dialog-error", error},
    {5, "dialog-question", question},
    {6, "complete", complete},
    {7, "device-added", added},
    {8, "device-removed", removed},
    {9, "message", message},
    {10, "message-new-email", email},
    {11, "phone-incoming-call", incoming},
    {12, "phone-outgoing-busy", busy},
    {13, "camera-shutter", shutter},
    {14, "screen-capture", capture},
    {15, "service-login", login},
    {16, "service-logout", logout},
    {17, "trash-empty", trash},
    {18, "window-attention", attention},
    {19, "alarm-clock-elapsed", alarm},
    {20, "audio-volume-change", volume},
    {21, "power-plug", plug},
    {22, "power-unplug", unplug},
    {23, "network-connectivity-established", established},
    {24, "network-connectivity-lost", lost},
};

}  // namespace

std::span<const SoundEntry> soundTable() {
  return table;
}

const SoundEntry* findSound(std::uint32_t identifier) {
  const auto* const found = std::ranges::find(table, identifier, &SoundEntry::identifier);
  return found == std::end(table) ? nullptr : found;
}

}  // namespace orvane::host
