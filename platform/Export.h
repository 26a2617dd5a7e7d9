// SPDX-License-Identifier: MIT
#pragma once

/// Marks what a client of the shared library may use. Everything else is hidden.
#define ORVANE_EXPORT __attribute__((visibility("default")))
