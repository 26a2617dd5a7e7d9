// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "tools/orvane/ExitStatus.h"

namespace orvane::tool {

/// Gives standard input, output and error something to lead to where the caller closed them: else the next file that is
/// opened, a recording perhaps, would take a closed one's place and collect what is printed.
void openStandardStreams();

/// The text with what would command a terminal, as names of files may, as "\x1B".
std::string printable(std::string_view text);

/// Writes "orvane: WORDS", in printable form, and a newline to standard error, in one piece.
void say(std::string_view words);

/// Writes a line as it is to standard error, in one piece.
void sayLine(std::string line);

/// The terminal that standard output leads to when this is made, if it leads to one.
class OutputTerminal {
 public:
  OutputTerminal();
  OutputTerminal(const OutputTerminal&) = delete;
  OutputTerminal& operator=(const OutputTerminal&) = delete;
  ~OutputTerminal();

  /// Ends the line that was printed on the terminal, also if standard output was abandoned since. Does nothing without
  /// a terminal, or on one whose output is stopped.
  void endLine() const;

 private:
  int mDescriptor = -1;
};

/// Flushes standard output. False where something that was printed is lost, unless its reader went away, which is the
/// reader's right.
bool standardOutputArrived();

/// Sends standard output nowhere from now on, and ends a write that waits for its reader: a run that a signal ends must
/// not wait for somebody who may never read again.
void abandonStandardOutput();

}  // namespace orvane::tool
