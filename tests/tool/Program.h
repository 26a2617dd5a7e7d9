#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace orvane::tests {

using Arguments = std::vector<std::string>;

/// How a program ended, and all that it printed.
struct Ended {
  int status = -1;  ///< The exit status; 128 plus the signal's number where a signal ended it.
  std::string output;
  std::string errors;
};

/// A program that runs beside the test. It is killed where it has not ended within a minute, or is let go of.
class Program {
 public:
  /// `environment` is added to the test's own.
  explicit Program(const std::string& path, const Arguments& arguments, const Arguments& environment = {});
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  /// Returns when the program has printed so many bytes on standard output, or has closed it.
  void awaitOutput(std::size_t bytes);
  /// Returns when the program has printed as much as a pipe holds that nobody reads.
  void awaitFullPipe() const;
  void send(int signal) const;
  /// Goes away as a reader of standard output.
  void closeOutput();
  /// Waits for the end without reading anything.
  void awaitEnd() const;
  /// Collects the rest and waits for the end.
  Ended finish();

 private:
  bool readMore();

  pid_t mProcess = -1;
  int mOutput = -1;
  int mErrors = -1;
  Ended mEnded;
};

/// A whole run.
Ended run(const std::string& path, const Arguments& arguments, const Arguments& environment = {});
Ended runTool(const Arguments& arguments, const Arguments& environment = {});

/// A folder for one test's files, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  std::string path(const std::string& name) const { return (mPath / name).string(); }

 private:
  std::filesystem::path mPath;
};

std::string readFile(const std::string& path);

/// An audio file's samples, interleaved.
struct Sound {
  int rate = 0;
  int channels = 0;
  std::vector<float> samples;

  bool operator==(const Sound&) const = default;
};

/// A 32-bit float WAVE file.
void writeSound(const std::string& path, const Sound& sound);
Sound readSound(const std::string& path);

}  // namespace orvane::tests
