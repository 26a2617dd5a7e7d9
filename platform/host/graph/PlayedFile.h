// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/PcmFile.h"
#include "platform/host/HostContext.h"
#include "platform/host/Result.h"
#include "platform/host/files/SoundFileInput.h"

namespace orvane::host {

/// A sound file that a graph plays, decoded by libsndfile.
class PlayedFile final : public platform::PcmFile {
 public:
  /// Fails as `platform::GraphService::openFile` does.
  static Result<std::shared_ptr<platform::PcmFile>> open(std::shared_ptr<HostContext> context, const std::string& path);

  platform::StreamFormat processingFormat() const override { return mFormat; }
  std::optional<platform::PlatformError> read(std::uint64_t first, std::uint32_t frames, std::span<float* const> planes,
                                              std::uint32_t& read) override;
  std::optional<platform::PlatformError> write(const platform::PcmBuffer& buffer) override;

 private:
  PlayedFile(std::shared_ptr<HostContext> context, std::string path, std::unique_ptr<SoundFileInput> input);
  Result<std::uint32_t> decode(std::uint64_t first, std::uint32_t frames, std::span<float* const> planes);

  const std::shared_ptr<HostContext> mContext;
  const std::string mPath;
  const std::unique_ptr<SoundFileInput> mInput;
  const platform::StreamFormat mFormat;
  std::mutex mMutex;
  std::uint64_t mNext = 0;                    ///< The frame that the decoder returns next.
  std::optional<platform::Failure> mFailure;  ///< The reason why no frame can be read at `mNext`.
  std::vector<float> mInterleaved;
};

}  // namespace orvane::host
