#include "tests/tool/Program.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <thread>

namespace orvane::test {

Program::Program(const std::string& command) {
  const std::string redirected = "exec </dev/null >" + mFolder.file("output") + " 2>" + mFolder.file("errors");
  std::string words[] = {"sh", "-c", redirected + "; exec " + command};
  char* const pointers[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
  if (posix_spawnp(&mProcess, "sh", nullptr, nullptr, pointers, environ) != 0) throw std::runtime_error("no shell");
}

Program::~Program() {
  if (mProcess == -1) return;
  kill(mProcess, SIGKILL);
  waitpid(mProcess, nullptr, 0);
}

Ended Program::finish() {
  int status = 0;
  if (!await([&] { return waitpid(mProcess, &status, WNOHANG) != 0; })) {
    kill(mProcess, SIGKILL);
    waitpid(mProcess, &status, 0);
  }
  mProcess = -1;
  return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
          .output = output(),
          .errors = readFile(mFolder.file("errors"))};
}

bool await(const std::function<bool()>& condition) {
  // No whole run takes longer, not even a sanitized one on a busy machine.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      ADD_FAILURE() << "it did not come to be in good time";
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

Ended run(const std::string& command) {
  return Program(command).finish();
}

Ended runTool(const std::string& arguments) {
  return run(ORVANE_TOOL " " + arguments);
}

Ended runFast(const std::string& device, const std::string& arguments) {
  return runTool("--simulate pace=fast" + (device.empty() ? "" : "," + device) + " " + arguments);
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string framesOfWholeFile(const std::string& path) {
  const std::string frames = run("soxi -s " + path).output;
  const Ended probe = run("ffprobe -v warning -show_entries stream=duration_ts -of csv=p=0 " + path);
  EXPECT_EQ(probe.output + probe.errors, frames);
  const std::string info = run("sndfile-info " + path).output;
  EXPECT_THAT(info, testing::HasSubstr("Frames      : " + frames));
  EXPECT_THAT(info, testing::Not(testing::HasSubstr("should be")));
  return frames.substr(0, frames.find('\n'));
}

std::string formatJson(int rate, int channels, const std::string& layout) {
  return R"({"sampleRate":)" + std::to_string(rate) + R"(.0,"channelCount":)" + std::to_string(channels) +
         R"(,"interleaved":false,"commonFormat":"Float32")" + layout + "}";
}

}  // namespace orvane::test
