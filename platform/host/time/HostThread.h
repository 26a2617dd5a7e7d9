// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <thread>

namespace orvane::host {

/// Starts a thread that runs `body`, named with the first fifteen bytes of `name`. SIGINT, SIGTERM and SIGHUP are
/// blocked in it, so that the program's own threads or the event loop receive them; the caller's signal mask is
/// unchanged. Throws `std::system_error` if no thread can be started.
std::thread startThread(const std::string& name, std::function<void()> body);

/// Waits for the thread to end or, if called on that thread itself, detaches it. `thread` must be joinable.
void joinOrDetach(std::thread& thread);

}  // namespace orvane::host
