// SPDX-License-Identifier: MIT
#pragma once

namespace orvane::backend {

/// A MIDI connection; implemented by a back end. This interface has no operations yet.
class MidiTransport {
 public:
  virtual ~MidiTransport() = default;
};

}  // namespace orvane::backend
