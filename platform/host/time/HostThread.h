// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <thread>

namespace orvane::host {

/// Starts a thread named with the first fifteen bytes of `name`, with SIGINT, SIGTERM and SIGHUP blocked, so that the
/// program's own threads and the event loop receive them. Throws `std::system_error` if no thread can be started. The
/// caller's signal mask is unchanged in either case.
std::thread startThread(const std::string& name, std::function<void()> body);

/// Waits for the thread to end; called on that thread itself, detaches it instead. `thread` is joinable.
void joinOrDetach(std::thread& thread);

}  // namespace orvane::host
