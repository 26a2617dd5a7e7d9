// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

/// Interface of classes whose user chooses between text and JSON output.
class ORVANE_EXPORT OVTextEmitting {
 public:
  virtual ~OVTextEmitting() = default;

  /// True for JSON, false for text. Stored; every value is accepted.
  virtual bool jsonOutput() const = 0;
  virtual void setJsonOutput(bool jsonOutput) = 0;
};
