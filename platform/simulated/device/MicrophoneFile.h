// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/PlatformError.h"
#include "platform/host/files/SoundFileInput.h"
#include "platform/simulated/device/DeviceSettings.h"
#include "platform/simulated/device/Microphone.h"

namespace orvane::simulated {

/// A microphone that plays a sound file. Holds a `ReadClaim` on the file, so that nothing overwrites it.
class MicrophoneFile final : public Microphone {
 public:
  /// Opens the file. Throws `platform::PlatformException` if the file cannot be opened, is not a sound file, is shorter
  /// than its header declares, has more than 64 channels, or has a rate outside 1 to 768000 hertz.
  explicit MicrophoneFile(const Given<std::string>& path);

  std::optional<Format> format() const override;
  std::uint32_t read(std::span<float* const> planes, std::uint32_t frames) override;
  bool atEnd() const override { return mEnded && mBlockNext == mBlockEnd; }
  std::optional<platform::Failure> failure() const override;

 private:
  void checkFormat(const std::string& where) const;
  bool fillBlock();
  void checkBlock(std::uint32_t count);

  const std::string mPath;
  std::unique_ptr<host::SoundFileInput> mFile;
  std::optional<std::uint64_t> mDeclaredFrames;
  std::vector<float> mInterleaved;
  std::uint32_t mBlockFrames = 0;
  std::uint64_t mFramesRead = 0;
  std::uint32_t mBlockNext = 0;
  std::uint32_t mBlockEnd = 0;
  bool mEnded = false;
  std::optional<platform::Failure> mFailure;
};

}  // namespace orvane::simulated
