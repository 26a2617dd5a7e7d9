#include "tests/tool/Program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sndfile.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace orvane::tests {

namespace {

/// No whole run takes longer, not even a sanitized one on a busy machine.
constexpr int patienceMilliseconds = 20'000;

struct Pipe {
  int read = -1;
  int write = -1;
};

Pipe makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe could be made");
  return {.read = ends[0], .write = ends[1]};
}

/// Whether `condition` came to hold.
bool await(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(patienceMilliseconds);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

Program::Program(const std::string& path, const Arguments& arguments, const Arguments& environment) {
  const Pipe output = makePipe();
  const Pipe errors = makePipe();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output.write, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors.write, STDERR_FILENO);
  Arguments words{path};
  words.insert(words.end(), arguments.begin(), arguments.end());
  Arguments settings = environment;
  for (char** setting = environ; *setting != nullptr; ++setting) settings.emplace_back(*setting);
  const int refusal =
      posix_spawnp(&mProcess, path.c_str(), &actions, nullptr, pointers(words).data(), pointers(settings).data());
  posix_spawn_file_actions_destroy(&actions);
  close(output.write);
  close(errors.write);
  mOutput = output.read;
  mErrors = errors.read;
  if (refusal != 0) throw std::runtime_error("cannot run " + path);
}

Program::~Program() {
  if (mProcess != -1) {
    kill(mProcess, SIGKILL);
    waitpid(mProcess, nullptr, 0);
  }
  if (mOutput != -1) close(mOutput);
  if (mErrors != -1) close(mErrors);
}

void Program::awaitOutput(std::size_t bytes) {
  while (mEnded.output.size() < bytes && mOutput != -1) {
    if (!readMore()) return;
  }
}

void Program::awaitFullPipe() const {
  // A pipe takes whole pages and lets the end of some be empty, so that it is full where it stays more than half full.
  const int half = fcntl(mOutput, F_GETPIPE_SZ) / 2;
  int before = 0;
  int same = 0;
  await([&] {
    int held = 0;
    ioctl(mOutput, FIONREAD, &held);
    same = held == std::exchange(before, held) ? same + 1 : 0;
    return held > half && same > 50;
  });
}

void Program::awaitEnd() const {
  const bool ended = await([this] {
    siginfo_t state{};
    return waitid(P_PID, static_cast<id_t>(mProcess), &state, WEXITED | WNOHANG | WNOWAIT) == 0 && state.si_pid != 0;
  });
  if (ended) return;
  ADD_FAILURE() << "the program did not end; it was killed";
  kill(mProcess, SIGKILL);
}

void Program::send(int signal) const {
  kill(mProcess, signal);
}

void Program::closeOutput() {
  close(std::exchange(mOutput, -1));
}

Ended Program::finish() {
  while ((mOutput != -1 || mErrors != -1) && readMore()) {
  }
  int status = 0;
  waitpid(std::exchange(mProcess, -1), &status, 0);
  mEnded.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return mEnded;
}

/// Takes what there is. False, the program having been killed, where nothing comes any more.
bool Program::readMore() {
  std::array<pollfd, 2> streams{
      {{.fd = mOutput, .events = POLLIN, .revents = 0}, {.fd = mErrors, .events = POLLIN, .revents = 0}}};
  if (poll(streams.data(), streams.size(), patienceMilliseconds) <= 0) {
    ADD_FAILURE() << "the program did not end; it was killed";
    kill(mProcess, SIGKILL);
    return false;
  }
  for (const auto& [stream, text] : {std::pair{&mOutput, &mEnded.output}, std::pair{&mErrors, &mEnded.errors}}) {
    const pollfd& polled = streams[stream == &mOutput ? 0 : 1];
    if (*stream == -1 || polled.revents == 0) continue;
    std::array<char, 65536> bytes{};
    const ssize_t count = read(*stream, bytes.data(), bytes.size());
    if (count > 0) {
      text->append(bytes.data(), static_cast<std::size_t>(count));
    } else {
      close(std::exchange(*stream, -1));
    }
  }
  return true;
}

Ended run(const std::string& path, const Arguments& arguments, const Arguments& environment) {
  return Program(path, arguments, environment).finish();
}

Ended runTool(const Arguments& arguments, const Arguments& environment) {
  return run(ORVANE_TOOL, arguments, environment);
}

TemporaryFolder::TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "orvane-tool-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder could be made");
  mPath = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(mPath, ignored);
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeSound(const std::string& path, const Sound& sound) {
  SF_INFO info{};
  info.samplerate = sound.rate;
  info.channels = sound.channels;
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  SNDFILE* const file = sf_open(path.c_str(), SFM_WRITE, &info);
  ASSERT_NE(file, nullptr) << path;
  sf_write_float(file, sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
  sf_close(file);
}

Sound readSound(const std::string& path) {
  SF_INFO info{};
  SNDFILE* const file = sf_open(path.c_str(), SFM_READ, &info);
  if (file == nullptr) {
    ADD_FAILURE() << path << ": " << sf_strerror(nullptr);
    return {};
  }
  EXPECT_EQ(info.format & (SF_FORMAT_SUBMASK | SF_FORMAT_TYPEMASK), SF_FORMAT_WAV | SF_FORMAT_FLOAT) << path;
  Sound sound{.rate = info.samplerate, .channels = info.channels, .samples = {}};
  sound.samples.resize(static_cast<std::size_t>(info.frames * info.channels));
  sf_read_float(file, sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
  sf_close(file);
  return sound;
}

}  // namespace orvane::tests
