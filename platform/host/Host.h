// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/Platform.h"
#include "platform/backend/Backend.h"
#include "platform/host/HostContext.h"

namespace orvane::host {

/// Creates the services of a host that uses `backend`, which must have been created with the same context. Throws
/// `std::system_error` if no thread can be started. Not real-time safe.
platform::Platform makeHost(const std::shared_ptr<HostContext>& context, backend::Backend backend);

}  // namespace orvane::host
