#pragma once

#include <signal.h>

#include <functional>
#include <string>

#include "tests/support/TemporaryFolder.h"

namespace orvane::test {

std::string readFile(const std::string& path);

/// How a program ended, and all that it printed.
struct Ended {
  int status = -1;  ///< The exit status; 128 plus the signal's number where a signal ended it.
  std::string output;
  std::string errors;
};

/// A program that runs beside the test. It is killed where it has not ended in good time, or is let go of.
class Program {
 public:
  /// A command as a shell reads it; where it redirects what it prints, that is not collected.
  explicit Program(const std::string& command);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  /// What the program has printed so far.
  std::string output() const { return readFile(mFolder.file("output")); }
  void send(int signal) const { kill(mProcess, signal); }
  Ended finish();

 private:
  const TemporaryFolder mFolder;
  pid_t mProcess = -1;
};

/// Whether `condition` came to hold in good time; it is a failure of the test where it did not.
bool await(const std::function<bool()>& condition);

/// A whole run of a program, or of the tool, or of the tool at fast pace on a device.
Ended run(const std::string& command);
Ended runTool(const std::string& arguments);
Ended runFast(const std::string& device, const std::string& arguments);

/// The frames of a sound file, where independent readers agree and none has anything to complain about.
std::string framesOfWholeFile(const std::string& path);
/// A format as the tool's objects tell it.
std::string formatJson(int rate, int channels, const std::string& layout = {});

}  // namespace orvane::test
