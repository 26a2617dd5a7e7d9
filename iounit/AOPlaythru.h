// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "iounit/OVIOUnit.h"
#include "platform/Export.h"

/// A play-through: plays the audio input on the audio output. The unit renders captured input directly into the
/// output's buffers, so no further buffering is added.
///
/// `start` sets both client formats to the input hardware's rate and to the smaller of the hardware's two channel
/// counts; the unit converts from and to the hardware's formats. If rendering fails, the slice (block of one device
/// callback) is silent. `UnitService::latency` returns the latency that the conversion adds.
///
/// `stop` is inherited. The thread rules are those of `OVIOUnit`.
class ORVANE_EXPORT AOPlaythru : public OVIOUnit {
 public:
  /// Creates a play-through. Its I/O unit is created when it is first needed.
  static std::shared_ptr<AOPlaythru> init();
  ~AOPlaythru() override;

  /// Creates the unit, with input and output enabled. Raises the exceptions of `OVIOUnit::lazyInit`.
  void lazyInit() override;

  /// Starts the play-through in the current formats of the hardware, stopping it first if it is running.
  ///
  /// Raises the exceptions of `stop`, `initializeAU`, the getters of the hardware formats, the setters of the client
  /// formats, and `OVIOUnit::start`. After an exception the play-through is stopped, except that an exception of `stop`
  /// leaves its state unchanged.
  void start() override;

 protected:
  AOPlaythru();
};
