#include "platform/host/files/OutputSoundFile.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>

#include "platform/NumberText.h"
#include "platform/host/convert/Interleaving.h"

namespace orvane::host {

namespace {

SF_INFO libraryInfo(const SoundFileFormat& format) {
  SF_INFO info{};
  info.samplerate = static_cast<int>(format.sampleRate);
  info.channels = static_cast<int>(format.channels);
  info.format = format.libraryFormat;
  return info;
}

}  // namespace

std::optional<platform::Failure> checkFormat(const std::string& path, const SoundFileFormat& format) {
  // Beyond these, sizes in a header overflow.
  constexpr double highestRate = 6'144'000;
  constexpr std::uint32_t mostChannels = 256;
  const bool inRange = format.sampleRate >= 1 && format.sampleRate <= highestRate &&
                       format.sampleRate == std::floor(format.sampleRate) && format.channels >= 1 &&
                       format.channels <= mostChannels;
  if (inRange) {
    const SF_INFO info = libraryInfo(format);
    if (sf_format_check(&info) != 0) return std::nullopt;
  }
  return platform::Failure{platform::status::unsupportedFormat,
                           "\"" + path + "\": " + std::to_string(format.channels) + " channels at " +
                               platform::numberText(format.sampleRate) +
                               " Hz; a file takes 1 to 256 channels at a whole number of hertz, 1 to 6144000"};
}

OutputSoundFile::OutputSoundFile(std::string path, FileDescriptor file, const SoundFileFormat& format,
                                 std::function<bool()> diskIsFull)
    : mPath(std::move(path)), mFormat(format), mDiskIsFull(std::move(diskIsFull)), mFile(std::move(file)) {
  const std::size_t samples = std::size_t{SliceQueue::mostBlockFrames} * format.channels;
  is16Bit() ? m16Bit.resize(samples) : mFloats.resize(samples);
}

OutputSoundFile::Identity OutputSoundFile::identity() const {
  struct stat facts {};
  fstat(mFile.get(), &facts);
  return {facts.st_dev, facts.st_ino};
}

std::optional<platform::Failure> OutputSoundFile::begin() {
  if (mDiskIsFull && mDiskIsFull()) return systemFailure(mPath, ENOSPC);
  // Other failures than this one come from file systems without locks.
  if (flock(mFile.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    return platform::Failure{platform::status::noPermission, "\"" + mPath + "\" is being written by another program"};
  }
  if (ftruncate(mFile.get(), 0) != 0) return systemFailure(mPath, errno);
  SF_INFO info = libraryInfo(mFormat);
  errno = 0;
  mHandle.reset(sf_open_fd(mFile.get(), SFM_WRITE, &info, SF_FALSE));
  if (mHandle == nullptr) {
    if (errno != 0) return systemFailure(mPath, errno);
    return platform::Failure{platform::status::ioFailure, "\"" + mPath + "\": " + sf_strerror(nullptr)};
  }
  sf_command(mHandle.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
  sf_command(mHandle.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
  // An RF64 file that has not outgrown plain WAVE is one, and becomes RF64 in place when it does.
  sf_command(mHandle.get(), SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
  auto failure = refreshHeader();
  mHeaderSize = lseek(mFile.get(), 0, SEEK_CUR);
  return failure;
}

std::optional<platform::Failure> OutputSoundFile::write(const SliceQueue::Block& block) {
  if (mDiskIsFull && mDiskIsFull()) return systemFailure(mPath, ENOSPC);
  errno = 0;
  const sf_count_t written = writeFrames(block);
  mFrames += static_cast<std::uint64_t>(written);
  if (written == block.frames) return std::nullopt;
  platform::Failure failure = lastFailure();
  dropPartialFrame();
  return failure;
}

sf_count_t OutputSoundFile::writeFrames(const SliceQueue::Block& block) {
  if (is16Bit()) {
    interleaveAs16Bit(block.planes, block.frames, m16Bit.data());
    return sf_writef_short(mHandle.get(), m16Bit.data(), block.frames);
  }
  interleave(block.planes, 0, block.frames, mFloats.data());
  return sf_writef_float(mHandle.get(), mFloats.data(), block.frames);
}

/// A disk that fills up may take a part of a frame, which readers would stumble over.
void OutputSoundFile::dropPartialFrame() {
  const std::size_t frameBytes = (is16Bit() ? sizeof(std::int16_t) : sizeof(float)) * mFormat.channels;
  [[maybe_unused]] const int ignored = ftruncate(mFile.get(), mHeaderSize + static_cast<off_t>(mFrames * frameBytes));
}

std::optional<platform::Failure> OutputSoundFile::refreshHeader() {
  if (mDiskIsFull && mDiskIsFull()) return systemFailure(mPath, ENOSPC);
  errno = 0;
  sf_command(mHandle.get(), SFC_UPDATE_HEADER_NOW, nullptr, 0);
  if (sf_error(mHandle.get()) == SF_ERR_NO_ERROR) return std::nullopt;
  return lastFailure();
}

std::optional<platform::Failure> OutputSoundFile::finish() {
  errno = 0;
  if (sf_close(mHandle.release()) != 0) return lastFailure();
  // Some file systems, those of a network first, tell of a failed write no earlier.
  if (close(mFile.release()) != 0) return systemFailure(mPath, errno);
  return std::nullopt;
}

/// libsndfile reports a short write without its cause; a disk that is full is the one that leaves errno alone.
platform::Failure OutputSoundFile::lastFailure() const {
  return systemFailure(mPath, errno != 0 ? errno : ENOSPC);
}

}  // namespace orvane::host
