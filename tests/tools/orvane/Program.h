// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Test.h"

namespace orvane::test {

/// Waits until `condition` holds. Returns false, and fails the test, if it does not within 20 s.
inline bool await(const std::function<bool()>& condition) {
  // Every complete run takes less than these 20 s, even in a sanitizer build on a busy machine.
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  do {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  } while (std::chrono::steady_clock::now() < end);
  ADD_FAILURE() << "condition not met within 20 s";
  return false;
}

/// The exit status of a program and its output.
struct Ended {
  int status = -1;  ///< The exit status, or 128 plus the number of the signal that ended it.
  std::string output = {};
  std::string errors = {};

  bool operator==(const Ended&) const = default;
  friend std::ostream& operator<<(std::ostream& stream, const Ended& ended) {
    return stream << "status " << ended.status << "\n" << ended.output << "\n" << ended.errors;
  }
};

/// A program that runs in parallel with the test. `finish` waits for its end, but at most 20 s; a program that is still
/// running when this object is destroyed is killed.
class Program {
 public:
  /// Starts `command`, which is in shell syntax. Output that the command redirects is not collected.
  explicit Program(const std::string& command) {
    const std::string redirected = "exec </dev/null >" + mFolder.file("output") + " 2>" + mFolder.file("errors");
    std::string words[] = {"sh", "-c", redirected + "; exec " + command};
    char* const pointers[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    // Unless the test has set up a sound server, the tool must find none.
    setenv("PIPEWIRE_RUNTIME_DIR", "/nonexistent", 0);
    unsetenv("PIPEWIRE_REMOTE");
    if (posix_spawnp(&mProcess, "sh", nullptr, nullptr, pointers, environ) != 0) throw std::runtime_error("no shell");
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() {
    if (mProcess == -1) return;
    kill(mProcess, SIGKILL);
    waitpid(mProcess, nullptr, 0);
  }

  /// Returns the program's standard output so far.
  std::string output() const { return readFile(mFolder.file("output")); }
  void send(int signal) const { kill(mProcess, signal); }
  Ended finish() {
    if (await([this] { return waitpid(mProcess, &mStatus, WNOHANG) != 0; })) mProcess = -1;
    return {WIFEXITED(mStatus) ? WEXITSTATUS(mStatus) : 128 + WTERMSIG(mStatus), output(),
            readFile(mFolder.file("errors"))};
  }

 private:
  const TemporaryFolder mFolder;
  pid_t mProcess = -1;
  int mStatus = SIGKILL;  ///< SIGKILL until the program has ended by itself.
};

/// Runs `command` to its end.
inline Ended run(const std::string& command) {
  return Program(command).finish();
}
/// Runs the tool with `arguments` to its end.
inline Ended runTool(const std::string& arguments) {
  return run(ORVANE_TOOL " " + arguments);
}
/// Runs the tool to its end in simulated time; `device` are further settings of the simulated device.
inline Ended runFast(const std::string& device, const std::string& arguments) {
  return runTool("--simulate pace=fast" + (device.empty() ? "" : "," + device) + " " + arguments);
}

/// Complete runs of the tool, with a folder for their microphone files and recordings.
class ToolRun : public testing::Test {
 protected:
  /// Writes `sound` to a file and returns the device setting that makes this file the microphone.
  std::string hearing(const Sound& sound) const {
    writeSound(mVoice, sound);
    return "mic=" + mVoice;
  }

  const TemporaryFolder mFolder;
  const std::string mVoice = mFolder.file("voice.wav");
  const std::string mTake = mFolder.file("take.wav");
};

/// Returns the number of frames of a sound file. Expects sox, ffprobe and sndfile-info to agree on it and to print no
/// warning.
inline std::string framesOfWholeFile(const std::string& path) {
  EXPECT_EQ(run("sox " + path + " -n"), Ended{0});
  const std::string frames = run("soxi -s " + path).output;
  EXPECT_EQ(run("ffprobe -v warning -show_entries stream=duration_ts -of csv=p=0 " + path), (Ended{0, frames}));
  EXPECT_THAT(run("sndfile-info " + path).output,
              AllOf(HasSubstr("Frames      : " + frames), Not(HasSubstr("should "))));
  return frames.substr(0, frames.find('\n'));
}

/// Returns the text of a format in the tool's JSON objects.
inline std::string formatJson(int rate, int channels, const std::string& layout = {}) {
  return R"({"sampleRate":)" + std::to_string(rate) + R"(.0,"channelCount":)" + std::to_string(channels) +
         R"(,"interleaved":false,"commonFormat":"Float32")" + layout + "}";
}

}  // namespace orvane::test
