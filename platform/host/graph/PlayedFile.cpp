// SPDX-License-Identifier: MIT
#include "platform/host/graph/PlayedFile.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/Status.h"
#include "platform/backend/AudioDevice.h"
#include "platform/host/CallGate.h"
#include "platform/host/convert/Interleaving.h"
#include "platform/host/files/PacketFile.h"
#include "platform/host/files/RegularFile.h"

namespace orvane::host {

using platform::PlatformError;
using platform::StreamFormat;
namespace status = platform::status;

namespace {

const GatedCall readCall("PcmFile::read");

}  // namespace

Result<std::shared_ptr<platform::PcmFile>> PlayedFile::open(std::shared_ptr<HostContext> context,
                                                            const std::string& path) {
  auto file = openToRead(path);
  if (!file) return file.failure();
  auto input = SoundFileInput::open(std::move(*file), path, "the file being played");
  if (!input) return input.failure();
  if ((*input)->info().channels > static_cast<int>(backend::DeviceFormat::maxChannels)) {
    return fileFailure(status::unsupportedFormat, path, "has more than 64 channels");
  }
  if ((*input)->lacksLastPage()) {
    return fileFailure(status::invalidFile, path, "is cut short: it lacks its last page");
  }
  return std::shared_ptr<platform::PcmFile>(new PlayedFile(std::move(context), path, std::move(*input)));
}

PlayedFile::PlayedFile(std::shared_ptr<HostContext> context, std::string path, std::unique_ptr<SoundFileInput> input)
    : mContext(std::move(context)),
      mPath(std::move(path)),
      mInput(std::move(input)),
      mFormat(StreamFormat::standard(mInput->info().samplerate, static_cast<std::uint32_t>(mInput->info().channels))) {}

std::optional<PlatformError> PlayedFile::read(std::uint64_t first, std::uint32_t frames, std::span<float* const> planes,
                                              std::uint32_t& read) {
  read = 0;
  const Refusal* const refusal = mContext->gate->refusal(readCall);
  const std::lock_guard lock(mMutex);
  auto decoded = refusal == nullptr ? decode(first, frames, planes)
                                    : fileFailure(refusal->status, mPath, "cannot be read: " + refusal->reason);
  if (decoded) {
    read = *decoded;
    return std::nullopt;
  }
  decoded.failure().call = readCall.name();
  mContext->keepRefusal(decoded.failure());
  return PlatformError(decoded.failure());
}

Result<std::uint32_t> PlayedFile::decode(std::uint64_t first, std::uint32_t frames, std::span<float* const> planes) {
  if (planes.size() != mFormat.channelCount()) {
    return fileFailure(status::badParameter, mPath, "needs one array for each of its channels");
  }
  SNDFILE* const file = mInput->handle();
  if (first != mNext) {
    if (sf_seek(file, static_cast<sf_count_t>(first), SEEK_SET) < 0) {
      return fileFailure(status::ioFailure, mPath, "cannot be positioned at frame " + std::to_string(first));
    }
    mFailure.reset();
    mNext = first;
  }
  if (mFailure) return *mFailure;
  try {
    mInterleaved.resize(std::size_t{frames} * planes.size());
  } catch (const std::bad_alloc&) {
    return fileFailure(status::ioFailure, mPath, "cannot be read: there is not enough memory");
  }
  const auto read =
      static_cast<std::uint32_t>(std::max<sf_count_t>(sf_readf_float(file, mInterleaved.data(), frames), 0));
  mNext += read;
  if (const auto failure = mInput->failure()) {
    mFailure = fileFailure(failure->status, mPath, failure->reason + " at frame " + std::to_string(mNext));
  }
  const auto declared = mInput->declaredFrames();
  if (!mFailure && read < frames && declared && mNext < *declared) {
    mFailure =
        fileFailure(status::invalidFile, mPath,
                    "declares " + std::to_string(*declared) + " frames and ends at frame " + std::to_string(mNext));
  }
  // The frames before the damage are good.
  if (mFailure && read == 0) return *mFailure;
  deinterleave(mInterleaved.data(), planes, 0, read);
  return read;
}

std::optional<PlatformError> PlayedFile::write(const platform::PcmBuffer&) {
  return PlatformError(status::wrongState, "PcmFile::write", "\"" + mPath + "\" is being read");
}

}  // namespace orvane::host
