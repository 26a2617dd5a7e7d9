#pragma once

#include "platform/host/files/OutputSoundFile.h"

namespace orvane::host {

/// Marks a file that this process reads for as long as the object lives: no writer of the host will erase it, by
/// whatever path it is asked to. Any thread.
class ReadFile {
 public:
  explicit ReadFile(int descriptor);
  ~ReadFile();
  ReadFile(const ReadFile&) = delete;
  ReadFile& operator=(const ReadFile&) = delete;

  static bool isRead(OutputSoundFile::Identity file);

 private:
  OutputSoundFile::Identity mIdentity;
};

}  // namespace orvane::host
