#include "platform/host/files/ReadFile.h"

#include <sys/stat.h>

#include <mutex>
#include <set>

namespace orvane::host {

namespace {

struct FilesThatAreRead {
  std::mutex mutex;
  std::multiset<OutputSoundFile::Identity> files;
};

/// Never destroyed: a host may live until the process has ended.
FilesThatAreRead& filesThatAreRead() {
  static FilesThatAreRead& instance = *new FilesThatAreRead();
  return instance;
}

}  // namespace

ReadFile::ReadFile(int descriptor) {
  struct stat facts {};
  fstat(descriptor, &facts);
  mIdentity = {facts.st_dev, facts.st_ino};
  FilesThatAreRead& read = filesThatAreRead();
  const std::lock_guard lock(read.mutex);
  read.files.insert(mIdentity);
}

ReadFile::~ReadFile() {
  FilesThatAreRead& read = filesThatAreRead();
  const std::lock_guard lock(read.mutex);
  read.files.erase(read.files.find(mIdentity));
}

bool ReadFile::isRead(OutputSoundFile::Identity file) {
  FilesThatAreRead& read = filesThatAreRead();
  const std::lock_guard lock(read.mutex);
  return read.files.contains(file);
}

}  // namespace orvane::host
