// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/PcmFile.h"
#include "platform/host/HostContext.h"
#include "platform/host/Result.h"
#include "platform/host/convert/PcmCoding.h"
#include "platform/host/files/SoundFileOutput.h"

namespace orvane::host {

/// A file of linear PCM to which a graph records. It is completed at the exit of the process, if not before.
class RecordedFile final : public platform::PcmFile {
 public:
  /// Fails as `platform::GraphService::createFile` does.
  static Result<std::shared_ptr<platform::PcmFile>> create(std::shared_ptr<HostContext> context,
                                                           const std::string& path,
                                                           const platform::FormatSettings& settings);
  ~RecordedFile() override;

  platform::StreamFormat processingFormat() const override { return mFormat; }
  std::optional<platform::PlatformError> read(std::uint64_t first, std::uint32_t frames, std::span<float* const> planes,
                                              std::uint32_t& read) override;
  std::optional<platform::PlatformError> write(const platform::PcmBuffer& buffer) override;

 private:
  RecordedFile(std::shared_ptr<HostContext> context, std::string path, const platform::StreamFormat& format,
               PcmCoding coding, std::unique_ptr<SoundFileOutput> output);

  const std::shared_ptr<HostContext> mContext;
  const std::string mPath;
  const platform::StreamFormat mFormat;
  const PcmCoding mCoding;
  const std::unique_ptr<SoundFileOutput> mOutput;
  std::vector<std::byte> mBytes;
};

}  // namespace orvane::host
