// SPDX-License-Identifier: MIT
#include "platform/simulated/device/MicrophoneFile.h"

#include <sndfile.h>

#include <algorithm>
#include <utility>

#include "platform/Status.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/convert/Interleaving.h"
#include "platform/host/files/RegularFile.h"
#include "platform/simulated/scenario/Refuse.h"

namespace orvane::simulated {

namespace {

/// The number of samples in a block, which is 128 KiB at 4 bytes each. Smaller blocks would need more system calls;
/// larger ones would not fit in the cache.
constexpr int blockSamples = 32768;

}  // namespace

MicrophoneFile::MicrophoneFile(const Given<std::string>& path) : mPath(path.value) {
  auto opened = host::openToRead(mPath);
  if (!opened) {
    refuse(path.where,
           opened.failure().reason + "; a file, tone:HZ[:AMPLITUDE], noise[:SEED], silence or loop is needed");
  }
  auto file = host::SoundFileInput::open(std::move(*opened), mPath, "the microphone's file");
  if (!file) refuse(path.where, file.failure().reason);
  mFile = std::move(*file);
  checkFormat(path.where);
  mDeclaredFrames = mFile->declaredFrames();
  mBlockFrames = static_cast<std::uint32_t>(blockSamples / mFile->info().channels);
  mInterleaved.resize(blockSamples);
}

void MicrophoneFile::checkFormat(const std::string& where) const {
  const SF_INFO& info = mFile->info();
  if (info.channels < 1 || info.channels > static_cast<int>(backend::DeviceFormat::maxChannels)) {
    refuse(where, std::to_string(info.channels) + " channels; a device has 64 at most");
  }
  if (info.samplerate < 1 || info.samplerate > static_cast<int>(DeviceSettings::maxRate)) {
    refuse(where, std::to_string(info.samplerate) + " Hz; a device runs at 1 to 768000 Hz");
  }
}

std::optional<Microphone::Format> MicrophoneFile::format() const {
  return Format{static_cast<std::uint32_t>(mFile->info().samplerate),
                static_cast<std::uint32_t>(mFile->info().channels)};
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
  const sf_count_t count = sf_readf_float(mFile->handle(), mInterleaved.data(), mBlockFrames);
  mBlockNext = 0;
  mBlockEnd = static_cast<std::uint32_t>(std::max<sf_count_t>(0, count));
  mFramesRead += mBlockEnd;
  checkBlock(mBlockEnd);
  return mBlockEnd > 0;
}

/// Given the number of frames just read, records whether the file has ended and whether it ended with a failure.
void MicrophoneFile::checkBlock(std::uint32_t count) {
  const auto fail = [this](platform::Status status, const std::string& trouble) {
    mEnded = true;
    mFailure = platform::Failure{
        status, "the microphone's file \"" + mPath + "\" " + trouble + " at frame " + std::to_string(mFramesRead)};
  };
  if (const auto failure = mFile->failure()) return fail(failure->status, failure->reason);
  if (count > 0) return;
  mEnded = true;
  if (mDeclaredFrames && mFramesRead < *mDeclaredFrames) {
    fail(platform::status::invalidFile, "declares " + std::to_string(*mDeclaredFrames) + " frames and ends");
  } else if (mFile->lacksLastPage()) {
    fail(platform::status::invalidFile, "lacks its last page and ends");
  }
}

}  // namespace orvane::simulated
