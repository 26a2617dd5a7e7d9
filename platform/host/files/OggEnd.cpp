// SPDX-License-Identifier: MIT
#include "platform/host/files/OggEnd.h"

#include <ogg/ogg.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace orvane::host {

namespace {

/// The first bytes of each page.
constexpr std::string_view capturePattern = "OggS";

/// The largest page: a header of 27 bytes, 255 lacing values and as many segments of 255 bytes.
constexpr off_t maxPageBytes = 27 + 255 + 255 * 255;

bool isOgg(int file) {
  char bytes[capturePattern.size()] = {};
  const ssize_t read = pread(file, bytes, sizeof bytes, 0);
  return read == sizeof bytes && std::string_view(bytes, sizeof bytes) == capturePattern;
}

/// The pages at the end of a file.
class LastPages {
 public:
  LastPages() { ogg_sync_init(&mSync); }
  ~LastPages() { ogg_sync_clear(&mSync); }
  LastPages(const LastPages&) = delete;
  LastPages& operator=(const LastPages&) = delete;

  /// Reads the file from `from` to its end. Returns false if that is not possible.
  bool read(int file, off_t from, off_t end);
  /// Returns whether the pages end with the last page of a stream.
  bool areComplete();

 private:
  ogg_sync_state mSync{};
};

bool LastPages::read(int file, off_t from, off_t end) {
  while (from < end) {
    char* const room = ogg_sync_buffer(&mSync, static_cast<long>(end - from));
    if (room == nullptr) return false;
    const ssize_t read = pread(file, room, static_cast<std::size_t>(end - from), from);
    if (read < 0 && errno == EINTR) continue;
    if (read <= 0) return false;
    ogg_sync_wrote(&mSync, static_cast<long>(read));
    from += read;
  }
  return true;
}

bool LastPages::areComplete() {
  bool isLast = false;
  ogg_page page{};
  for (long bytes = ogg_sync_pageseek(&mSync, &page); bytes != 0; bytes = ogg_sync_pageseek(&mSync, &page)) {
    // A negative number is that of bytes between pages.
    if (bytes > 0) isLast = ogg_page_eos(&page) != 0;
  }
  const std::string_view rest(reinterpret_cast<const char*>(mSync.data + mSync.returned),
                              static_cast<std::size_t>(mSync.fill - mSync.returned));
  return isLast && !rest.starts_with(capturePattern);
}

}  // namespace

bool lacksLastOggPage(int file) {
  struct stat facts {};
  if (!isOgg(file) || fstat(file, &facts) != 0) return false;
  // The last whole page begins here or later, even if most of another one follows.
  const off_t from = std::max<off_t>(0, facts.st_size - 2 * maxPageBytes);
  LastPages pages;
  return pages.read(file, from, facts.st_size) && !pages.areComplete();
}

}  // namespace orvane::host
