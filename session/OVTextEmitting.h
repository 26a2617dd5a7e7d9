// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Export.h"

/// Adopted by what can report as text or as JSON, at its user's choice.
class ORVANE_EXPORT OVTextEmitting {
 public:
  virtual ~OVTextEmitting() = default;

  virtual bool jsonOutput() const = 0;
  virtual void setJsonOutput(bool jsonOutput) = 0;
};
