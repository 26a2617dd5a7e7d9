// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "tools/orvane/ExitStatus.h"

namespace orvane::tool {

/// Opens /dev/null for each of standard input, output and error that the caller closed. Otherwise the next file opened
/// (a recording, say) would take its descriptor and receive what is printed.
void openStandardStreams();

/// Escapes terminal control characters (in file names, say) as \xNN.
std::string printable(std::string_view text);

/// Writes "orvane: WORDS", with control characters escaped, and a newline to standard error in one write.
void say(std::string_view words);

/// Writes a line unchanged to standard error in one write.
void sayLine(std::string line);

/// Whether standard error is a terminal.
bool standardErrorIsTerminal();

/// The terminal on standard output at the time of construction, if there is one.
class OutputTerminal {
 public:
  OutputTerminal();
  OutputTerminal(const OutputTerminal&) = delete;
  OutputTerminal& operator=(const OutputTerminal&) = delete;
  ~OutputTerminal();

  /// Writes a newline to the terminal, even after `abandonStandardOutput`. Does nothing without a terminal, or while
  /// its output is stopped.
  void endLine() const;

 private:
  int mDescriptor = -1;
};

/// Flushes standard output. Returns false if output was lost, except when the reader closed the pipe.
bool standardOutputArrived();

/// Redirects standard output to /dev/null and interrupts writes that wait for their reader: a run that a signal ends
/// must not wait for a reader that may never read again.
void abandonStandardOutput();

}  // namespace orvane::tool
