#include "platform/simulated/device/MicrophoneFile.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/backend/AudioDevice.h"
#include "platform/host/convert/Interleaving.h"
#include "platform/host/files/RegularFile.h"
#include "platform/simulated/scenario/Refuse.h"

namespace orvane::simulated {

namespace {

/// 128 KiB: with less the calls of the system show, with more the block leaves the cache.
constexpr int blockSamples = 32768;

/// The library's words for the last error, "Error : flac decoder lost sync.", without what surrounds them.
std::string reasonOf(SNDFILE* file) {
  std::string text = sf_strerror(file);
  constexpr std::string_view separator = " : ";
  if (const std::size_t at = text.find(separator); at != std::string::npos) text.erase(0, at + separator.size());
  if (text.ends_with('.')) text.pop_back();
  return text;
}

}  // namespace

MicrophoneFile::MicrophoneFile(const Given<std::string>& path) {
  auto opened = host::openToRead(path.value);
  if (!opened) {
    refuse(path.where,
           opened.failure().reason + "; a file, tone:HZ[:AMPLITUDE], noise[:SEED], silence or loop is needed");
  }
  mClaim.emplace(std::move(*opened), "the microphone's file");
  mFile.reset(sf_open_fd(mClaim->descriptor(), SFM_READ, &mInfo, SF_FALSE));
  if (mFile == nullptr) {
    refuse(path.where, "no sound file that can be read (" + reasonOf(nullptr) + ")");
  }
  checkFormat(path.where);
  mBlockFrames = blockSamples / mInfo.channels;
  mInterleaved.resize(blockSamples);
}

void MicrophoneFile::checkFormat(const std::string& where) const {
  if (mInfo.channels < 1 || mInfo.channels > static_cast<int>(backend::DeviceFormat::maxChannels)) {
    refuse(where, std::to_string(mInfo.channels) + " channels; a device has 64 at most");
  }
  if (mInfo.samplerate < 1 || mInfo.samplerate > static_cast<int>(DeviceSettings::mostRate)) {
    refuse(where, std::to_string(mInfo.samplerate) + " Hz; a device runs at 1 to 768000 Hz");
  }
}

std::optional<Microphone::Format> MicrophoneFile::format() const {
  return Format{static_cast<std::uint32_t>(mInfo.samplerate), static_cast<std::uint32_t>(mInfo.channels)};
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
  fillBlock();  // So that the end is known with the last frame, not one slice later.
  return done;
}

/// Makes sure that the block holds a frame; false at the end of the file.
bool MicrophoneFile::fillBlock() {
  if (mBlockNext < mBlockEnd) return true;
  if (mEnded) return false;
  const sf_count_t count = std::max<sf_count_t>(0, sf_readf_float(mFile.get(), mInterleaved.data(), mBlockFrames));
  mBlockNext = 0;
  mBlockEnd = static_cast<std::uint32_t>(count);
  mEnded = mBlockEnd == 0;
  return !mEnded;
}

}  // namespace orvane::simulated
