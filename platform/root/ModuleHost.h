// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "platform/Platform.h"

namespace orvane::root {

/// Whether the module of the back end `name` is installed beside the library.
bool hasModule(std::string_view name);

/// Loads the module of the back end `name`, which then stays loaded, and makes a host on it. `options` are
/// `KEY=VALUE[,KEY=VALUE...]` with the keys `input`, `output` (names of inputs and outputs, or `none`), `rate` (hertz)
/// and `slice` (frames); a backslash before a comma or a backslash makes it part of a value. Throws
/// `platform::PlatformException` for wrong options and for a module that cannot be loaded or is of another version.
platform::Platform makeModuleHost(std::string_view name, std::string_view options);

}  // namespace orvane::root
