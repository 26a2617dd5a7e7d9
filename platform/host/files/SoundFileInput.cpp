// SPDX-License-Identifier: MIT
#include "platform/host/files/SoundFileInput.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string_view>
#include <system_error>

#include "platform/Status.h"
#include "platform/host/files/OggEnd.h"
#include "platform/host/files/SoundFileSize.h"

namespace orvane::host {

namespace {

/// Returns libsndfile's message of the last error without its prefix and final full stop: "flac decoder lost sync" from
/// "Error : flac decoder lost sync.".
std::string reasonOf(SNDFILE* file) {
  std::string text = sf_strerror(file);
  constexpr std::string_view separator = " : ";
  if (const std::size_t at = text.find(separator); at != std::string::npos) text.erase(0, at + separator.size());
  if (text.ends_with('.')) text.pop_back();
  return text;
}

}  // namespace

Result<std::unique_ptr<SoundFileInput>> SoundFileInput::open(FileDescriptor file, const std::string& path,
                                                             std::string claimName) {
  std::unique_ptr<SoundFileInput> input(new SoundFileInput(std::move(file), std::move(claimName)));
  const auto invalid = [&path](const std::string& reason) {
    return platform::Failure{platform::status::invalidFile, "\"" + path + "\" " + reason};
  };
  if (const auto size = soundFileSize(input->descriptor())) {
    if (size->declared && size->present < *size->declared) {
      return invalid("is cut short: its header declares " + std::to_string(*size->declared) + " bytes of sound, and " +
                     std::to_string(size->present) + " are there");
    }
    input->mOpenSizeAt = size->openSizeAt;
  }
  input->mLacksLastPage = lacksLastOggPage(input->descriptor());
  input->openLibrary();
  if (input->mFile == nullptr) return invalid("is not a sound file that can be read (" + reasonOf(nullptr) + ")");
  return input;
}

void SoundFileInput::openLibrary() {
  static constexpr auto file = [](void* user) -> SoundFileInput& { return *static_cast<SoundFileInput*>(user); };
  SF_VIRTUAL_IO calls{
      .get_filelen = [](void* user) { return file(user).fileBytes(); },
      .seek = [](sf_count_t offset, int whence, void* user) { return file(user).seekBytes(offset, whence); },
      .read = [](void* bytes, sf_count_t count,
                 void* user) { return file(user).readBytes(static_cast<char*>(bytes), count); },
      .write = [](const void*, sf_count_t, void*) { return sf_count_t{0}; },
      .tell = [](void* user) { return static_cast<sf_count_t>(file(user).mPlace); }};
  mFile.reset(sf_open_virtual(&calls, SFM_READ, &mInfo, this));
}

std::optional<std::uint64_t> SoundFileInput::declaredFrames() const {
  if (mInfo.frames == std::numeric_limits<sf_count_t>::max()) return std::nullopt;
  if ((mInfo.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG && !hasMpegLength(descriptor())) return std::nullopt;
  return static_cast<std::uint64_t>(std::max<sf_count_t>(mInfo.frames, 0));
}

std::optional<platform::Failure> SoundFileInput::failure() const {
  if (mReadError != 0) {
    return platform::Failure{platform::status::ioFailure,
                             "cannot be read (" + std::generic_category().message(mReadError) + ")"};
  }
  if (sf_error(mFile.get()) != SF_ERR_NO_ERROR) {
    return platform::Failure{platform::status::invalidFile, "cannot be decoded (" + reasonOf(mFile.get()) + ")"};
  }
  return std::nullopt;
}

sf_count_t SoundFileInput::fileBytes() const {
  struct stat facts {};
  return fstat(descriptor(), &facts) == 0 ? facts.st_size : 0;
}

sf_count_t SoundFileInput::seekBytes(sf_count_t offset, int whence) {
  const sf_count_t from = whence == SEEK_SET ? 0 : whence == SEEK_END ? fileBytes() : static_cast<sf_count_t>(mPlace);
  sf_count_t place = 0;
  if (__builtin_add_overflow(from, offset, &place) || place < 0) return -1;
  mPlace = static_cast<std::uint64_t>(place);
  return place;
}

sf_count_t SoundFileInput::readBytes(char* bytes, sf_count_t count) {
  sf_count_t done = 0;
  while (done < count) {
    const ssize_t read =
        pread(descriptor(), bytes + done, static_cast<std::size_t>(count - done), static_cast<off_t>(mPlace));
    if (read < 0 && errno == EINTR) continue;
    if (read < 0) mReadError = errno;
    if (read <= 0) break;
    for (ssize_t index = 0; mOpenSizeAt && mPlace < *mOpenSizeAt + 4 && index < read; ++index) {
      if (mPlace + static_cast<std::uint64_t>(index) - *mOpenSizeAt < 4) bytes[done + index] = '\xFF';
    }
    done += read;
    mPlace += static_cast<std::uint64_t>(read);
  }
  return done;
}

}  // namespace orvane::host
