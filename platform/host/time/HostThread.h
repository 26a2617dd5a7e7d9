// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <thread>

namespace orvane::host {

/// Starts a thread of the host: named (fifteen characters at most), with SIGINT, SIGTERM and SIGHUP blocked, which
/// belong to the program's own threads and the event loop. Throws `std::system_error` where no thread can be made. The
/// caller's signal mask stays as it was in either case.
std::thread startThread(const std::string& name, std::function<void()> body);

/// Waits for the thread to end; called on that thread itself, detaches it instead. `thread` is joinable.
void joinOrDetach(std::thread& thread);

}  // namespace orvane::host
