// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

/// Interface of classes whose user can choose between text and JSON output.
class ORVANE_EXPORT OVTextEmitting {
 public:
  virtual ~OVTextEmitting() = default;

  /// Returns the choice: true for JSON, false for text.
  virtual bool jsonOutput() const = 0;
  /// Sets the choice: true for JSON, false for text.
  virtual void setJsonOutput(bool jsonOutput) = 0;
};
