// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace orvane::test {

/// Runs `command`, which is in shell syntax, and returns its standard output and standard error.
inline std::string outputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(("( " + command + " ) 2>&1 </dev/null").c_str(), "r"), pclose);
  std::string output;
  for (int next = fgetc(pipe.get()); next != EOF; next = fgetc(pipe.get())) output += static_cast<char>(next);
  return output;
}

}  // namespace orvane::test
