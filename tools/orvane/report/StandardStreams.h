// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace orvane::tool {

/// Opens /dev/null in place of standard input, output and error if the process was started with them closed. Otherwise
/// the next opened file, such as a recording, would get the descriptor and receive printed text.
void openStandardStreams();

/// Returns `text` with terminal control characters, which file names may contain, escaped as \xNN.
std::string printable(std::string_view text);

/// Prints "orvane: WORDS" and a newline on standard error with a single write, with control characters escaped.
void say(std::string_view words);

/// Prints a line and a newline on standard error with a single write, without escaping.
void sayLine(std::string line);

/// Returns whether standard error is a terminal.
bool standardErrorIsTerminal();

/// If standard output is a terminal when this object is created, represents that terminal; otherwise represents none.
class OutputTerminal {
 public:
  OutputTerminal();
  OutputTerminal(const OutputTerminal&) = delete;
  OutputTerminal& operator=(const OutputTerminal&) = delete;
  ~OutputTerminal();

  /// Writes a newline to the terminal, even after `abandonStandardOutput`. Does nothing if there is no terminal or its
  /// output is stopped (Ctrl-S).
  void endLine() const;

 private:
  int mDescriptor = -1;
};

/// Flushes standard output. Returns false if output was lost; output that is lost because the reader closed the pipe
/// does not count.
bool standardOutputArrived();

/// Redirects standard output to /dev/null and interrupts blocked writes. Used when a signal ends a run, so that the
/// tool does not wait for a reader that may never read again.
void abandonStandardOutput();

}  // namespace orvane::tool
