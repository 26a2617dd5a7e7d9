// SPDX-License-Identifier: MIT
#pragma once

/// Exports a class or function from the shared library. All symbols without this mark are hidden from clients.
#define ORVANE_EXPORT __attribute__((visibility("default")))
