// SPDX-License-Identifier: MIT
#include "tools/orvane/report/StandardStreams.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "tools/orvane/report/EscapedText.h"

namespace orvane::tool {

void openStandardStreams() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // open() uses the lowest free descriptor, which is this one, because all lower ones are open now.
    if (fcntl(descriptor, F_GETFD) == -1 && open("/dev/null", O_RDWR) == -1) _exit(1);
  }
}

std::string printable(std::string_view text) {
  unsigned char before = 0;
  return escapeBytes(text, [&before](unsigned char byte) {
    // True for the second byte of a C1 control character (U+0080 to U+009F) in UTF-8.
    const bool endsControl = std::exchange(before, byte) == 0xC2 && byte < 0xA0;
    return byte < ' ' || byte == 0x7F || endsControl;
  });
}

void say(std::string_view words) {
  sayLine("orvane: " + printable(words));
}

void sayLine(std::string line) {
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
}

bool standardErrorIsTerminal() {
  return isatty(STDERR_FILENO) == 1;
}

OutputTerminal::OutputTerminal() {
  if (isatty(STDOUT_FILENO) == 1) mDescriptor = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

OutputTerminal::~OutputTerminal() {
  if (mDescriptor != -1) close(mDescriptor);
}

void OutputTerminal::endLine() const {
  pollfd terminal{.fd = mDescriptor, .events = POLLOUT, .revents = 0};
  if (mDescriptor == -1 || poll(&terminal, 1, 0) != 1 || (terminal.revents & POLLOUT) == 0) return;
  [[maybe_unused]] const auto written = write(mDescriptor, "\n", 1);
}

bool standardOutputArrived() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  // The write may have failed on another thread, so `errno` is not available here; the state of the descriptor is
  // checked instead.
  pollfd output{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
  return poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0;
}

void abandonStandardOutput() {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere == -1) return;
  dup2(nowhere, STDOUT_FILENO);
  close(nowhere);
  // A write in progress may still be blocked. A signal with a handler interrupts it. The tool cannot know which thread
  // is writing, so it sends the signal to every thread. Later writes go to /dev/null.
  struct sigaction interrupt {};
  interrupt.sa_handler = [](int) {};
  sigaction(SIGURG, &interrupt, nullptr);
  std::error_code ignored;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task", ignored)) {
    tgkill(getpid(), static_cast<pid_t>(std::atol(thread.path().filename().c_str())), SIGURG);
  }
}

}  // namespace orvane::tool
