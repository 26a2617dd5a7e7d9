// SPDX-License-Identifier: MIT
#include "platform/simulated/device/MicrophoneFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/Status.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/convert/Interleaving.h"
#include "platform/host/files/RegularFile.h"
#include "platform/simulated/device/SoundFileSize.h"
#include "platform/simulated/scenario/Refuse.h"

namespace orvane::simulated {

namespace {

/// The number of samples in a block, which is 128 KiB at 4 bytes each. Smaller blocks would need more system calls;
/// larger ones would not fit in the cache.
constexpr int blockSamples = 32768;

/// Returns the number of frames that the file's header declares, or `std::nullopt` if it declares none.
std::optional<std::uint64_t> declaredFrames(const SF_INFO& info, int file) {
  if (info.frames == std::numeric_limits<sf_count_t>::max()) return std::nullopt;
  if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG && !hasMpegLength(file)) return std::nullopt;
  return static_cast<std::uint64_t>(std::max<sf_count_t>(info.frames, 0));
}

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

MicrophoneFile::MicrophoneFile(const Given<std::string>& path) : mPath(path.value) {
  auto opened = host::openToRead(mPath);
  if (!opened) {
    refuse(path.where,
           opened.failure().reason + "; a file, tone:HZ[:AMPLITUDE], noise[:SEED], silence or loop is needed");
  }
  mClaim.emplace(std::move(*opened), "the microphone's file");
  if (const auto size = soundFileSize(mClaim->descriptor())) {
    if (size->declared && size->present < *size->declared) {
      refuse(path.where, "\"" + mPath + "\" is cut short: its header declares " + std::to_string(*size->declared) +
                             " bytes of sound, and " + std::to_string(size->present) + " are there");
    }
    mOpenSizeAt = size->openSizeAt;
  }
  openLibrary();
  if (mFile == nullptr) {
    refuse(path.where, "not a sound file that can be read (" + reasonOf(nullptr) + ")");
  }
  checkFormat(path.where);
  mDeclaredFrames = declaredFrames(mInfo, mClaim->descriptor());
  mBlockFrames = blockSamples / mInfo.channels;
  mInterleaved.resize(blockSamples);
}

/// Opens the file with libsndfile through virtual I/O, which makes it possible to distinguish a failed read from the
/// end of the file.
void MicrophoneFile::openLibrary() {
  static constexpr auto file = [](void* user) -> MicrophoneFile& { return *static_cast<MicrophoneFile*>(user); };
  SF_VIRTUAL_IO calls{
      .get_filelen = [](void* user) { return file(user).fileBytes(); },
      .seek = [](sf_count_t offset, int whence, void* user) { return file(user).seekBytes(offset, whence); },
      .read = [](void* bytes, sf_count_t count,
                 void* user) { return file(user).readBytes(static_cast<char*>(bytes), count); },
      .write = [](const void*, sf_count_t, void*) { return sf_count_t{0}; },
      .tell = [](void* user) { return static_cast<sf_count_t>(file(user).mPlace); }};
  mFile.reset(sf_open_virtual(&calls, SFM_READ, &mInfo, this));
}

sf_count_t MicrophoneFile::fileBytes() const {
  struct stat facts {};
  return fstat(mClaim->descriptor(), &facts) == 0 ? facts.st_size : 0;
}

sf_count_t MicrophoneFile::seekBytes(sf_count_t offset, int whence) {
  const sf_count_t from = whence == SEEK_SET ? 0 : whence == SEEK_END ? fileBytes() : static_cast<sf_count_t>(mPlace);
  sf_count_t place = 0;
  if (__builtin_add_overflow(from, offset, &place) || place < 0) return -1;
  mPlace = static_cast<std::uint64_t>(place);
  return place;
}

sf_count_t MicrophoneFile::readBytes(char* bytes, sf_count_t count) {
  sf_count_t done = 0;
  while (done < count) {
    const ssize_t read =
        pread(mClaim->descriptor(), bytes + done, static_cast<std::size_t>(count - done), static_cast<off_t>(mPlace));
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

void MicrophoneFile::checkFormat(const std::string& where) const {
  if (mInfo.channels < 1 || mInfo.channels > static_cast<int>(backend::DeviceFormat::maxChannels)) {
    refuse(where, std::to_string(mInfo.channels) + " channels; a device has 64 at most");
  }
  if (mInfo.samplerate < 1 || mInfo.samplerate > static_cast<int>(DeviceSettings::maxRate)) {
    refuse(where, std::to_string(mInfo.samplerate) + " Hz; a device runs at 1 to 768000 Hz");
  }
}

std::optional<Microphone::Format> MicrophoneFile::format() const {
  return Format{static_cast<std::uint32_t>(mInfo.samplerate), static_cast<std::uint32_t>(mInfo.channels)};
}

std::optional<platform::Failure> MicrophoneFile::failure() const {
  return atEnd() ? mFailure : std::nullopt;
}

std::uint32_t MicrophoneFile::read(std::span<float* const> planes, std::uint32_t frames) {
  std::uint32_t done = 0;
  while (done < frames && fillBlock()) {
    const auto part = std::min(frames - done, mBlockEnd - mBlockNext);
    const std::size_t blockStart = std::size_t{mBlockNext} * planes.size();
    host::deinterleave(mInterleaved.data() + blockStart, planes, done, part);
    mBlockNext += part;
    done += part;
  }
  fillBlock();  // Detects the end in the same call as the last frame, not one call later.
  return done;
}

/// Reads the next block if the current one is used up; returns false at the end of the file.
bool MicrophoneFile::fillBlock() {
  if (mBlockNext < mBlockEnd) return true;
  if (mEnded) return false;
  const sf_count_t count = std::max<sf_count_t>(0, sf_readf_float(mFile.get(), mInterleaved.data(), mBlockFrames));
  mBlockNext = 0;
  mBlockEnd = static_cast<std::uint32_t>(count);
  mFramesRead += mBlockEnd;
  checkBlock(count);
  return mBlockEnd > 0;
}

/// Given the number of frames just read, records whether the file has ended and whether it ended with a failure.
void MicrophoneFile::checkBlock(sf_count_t count) {
  const auto fail = [this](platform::Status status, const std::string& trouble) {
    mEnded = true;
    mFailure = platform::Failure{
        status, "the microphone's file \"" + mPath + "\" " + trouble + " at frame " + std::to_string(mFramesRead)};
  };
  if (mReadError != 0) {
    return fail(platform::status::ioFailure, "cannot be read (" + std::generic_category().message(mReadError) + ")");
  }
  if (sf_error(mFile.get()) != SF_ERR_NO_ERROR) {
    return fail(platform::status::invalidFile, "cannot be decoded (" + reasonOf(mFile.get()) + ")");
  }
  if (count > 0) return;
  mEnded = true;
  const bool isOgg = (mInfo.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG;
  if (mDeclaredFrames && mFramesRead < *mDeclaredFrames) {
    fail(platform::status::invalidFile, "declares " + std::to_string(*mDeclaredFrames) + " frames and ends");
  } else if (isOgg && !mDeclaredFrames) {
    fail(platform::status::invalidFile, "lacks its last page and ends");
  }
}

}  // namespace orvane::simulated
