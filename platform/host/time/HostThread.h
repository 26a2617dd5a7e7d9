#pragma once

#include <functional>
#include <string>
#include <thread>

namespace orvane::host {

/// Starts a thread of the host: named (fifteen characters at most), and deaf to SIGINT and SIGTERM, which belong to the
/// program's own threads and the event loop.
std::thread startThread(const std::string& name, std::function<void()> body);

}  // namespace orvane::host
