// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Platform.h"
#include "platform/backend/Backend.h"
#include "platform/host/HostContext.h"

namespace orvane::host {

/// Sets up the host's services on a back end that stands on the same context.
platform::Platform makeHost(const std::shared_ptr<HostContext>& context, backend::Backend backend);

}  // namespace orvane::host
