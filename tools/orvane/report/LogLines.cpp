// SPDX-License-Identifier: MIT
#include "tools/orvane/report/LogLines.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <utility>

#include "tools/orvane/report/StandardStreams.h"

namespace orvane::tool {

namespace {

constexpr std::string_view raised = "Failure: ";
constexpr std::string_view failedInfix = " failed: ";

std::terminate_handler previousHandler = nullptr;
std::weak_ptr<LogLines>* attached = nullptr;

bool isAboutFailure(std::string_view line) {
  return line.starts_with(raised) || line.find(failedInfix) != std::string_view::npos;
}

/// Returns the reason part of a log line about a failure.
std::string_view sentenceOf(std::string_view line) {
  if (line.starts_with(raised)) return line.substr(raised.size());
  return line.substr(line.find(failedInfix) + failedInfix.size());
}

}  // namespace

std::shared_ptr<LogLines> LogLines::attach(platform::Log& log, bool verbose) {
  auto lines = std::make_shared<LogLines>(verbose);
  log.setSink([lines](platform::LogLevel level, std::string_view line) { lines->take(level, line); });
  if (attached == nullptr) {
    attached = new std::weak_ptr<LogLines>;  // Never deleted, because the process may terminate at any time.
    previousHandler = std::set_terminate(terminate);
    std::atexit(showAtExit);
  }
  *attached = lines;
  return lines;
}

void LogLines::terminate() {
  const auto lines = attached->lock();
  // Do not wait for the mutex, because the terminating thread itself may have locked it.
  if (const std::unique_lock lock(lines->mMutex, std::try_to_lock); lock && !lines->mVerbose) {
    for (const std::string& line : lines->mErrors) lines->show(line);
  }
  previousHandler();
}

/// The library may end the process, for example after a file that is being played could not be read to its end.
void LogLines::showAtExit() {
  if (const auto lines = attached->lock()) lines->showHeld();
}

void LogLines::take(platform::LogLevel level, std::string_view line) {
  if (level != platform::LogLevel::error) {
    if (mVerbose) sayLine((level == platform::LogLevel::warning ? "log warning: " : "log notice: ") + printable(line));
    return;
  }
  const std::lock_guard lock(mMutex);
  if (mDropsFailures && !mVerbose && isAboutFailure(line)) return;
  const bool isKept = mHolds && isAboutFailure(line) && mErrors.size() < maxHeld;
  if (mVerbose || !isKept) show(std::string(line));
  if (isKept) mErrors.emplace_back(line);
}

void LogLines::show(const std::string& line) const {
  sayLine("log error: " + printable(line));
}

void LogLines::dropFailures() {
  const std::lock_guard lock(mMutex);
  mDropsFailures = true;
}

void LogLines::showHeld() {
  const std::lock_guard lock(mMutex);
  for (const std::string& line : std::exchange(mErrors, {})) {
    if (!mVerbose) show(line);
  }
}

std::string LogLines::takeFailure(const std::string& text) {
  const std::lock_guard lock(mMutex);
  const auto found = std::ranges::find(mErrors.rbegin(), mErrors.rend(), std::string(raised) + text);
  if (found == mErrors.rend()) return {};
  const auto place = std::prev(found.base());
  std::string before = place == mErrors.begin() ? std::string() : *std::prev(place);
  mErrors.erase(place);
  return before;
}

void LogLines::finish(std::string_view reason) {
  {
    const std::lock_guard lock(mMutex);
    mHolds = false;
    std::erase_if(mErrors, [reason](const std::string& line) {
      const std::string_view sentence = sentenceOf(line);
      return !sentence.empty() && reason.find(sentence) != std::string_view::npos;
    });
  }
  showHeld();
}

}  // namespace orvane::tool
