#pragma once

#include <sndfile.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/host/files/FileRegistry.h"
#include "platform/simulated/device/Microphone.h"

namespace orvane::simulated {

/// A sound file as a microphone. It is claimed as read while the object lives.
class MicrophoneFile final : public Microphone {
 public:
  /// Throws `platform::PlatformException` if the file cannot be opened, is no sound file, or does not fit a
  /// device.
  explicit MicrophoneFile(const Given<std::string>& path);

  std::optional<Format> format() const override;
  std::uint32_t read(std::span<float* const> planes, std::uint32_t frames) override;
  bool atEnd() const override { return mEnded && mBlockNext == mBlockEnd; }

 private:
  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
  };

  void checkFormat(const std::string& where) const;
  bool fillBlock();

  SF_INFO mInfo{};
  std::optional<host::ReadClaim> mClaim;
  std::unique_ptr<SNDFILE, Close> mFile;
  std::vector<float> mInterleaved;
  sf_count_t mBlockFrames = 0;
  std::uint32_t mBlockNext = 0;
  std::uint32_t mBlockEnd = 0;
  bool mEnded = false;
};

}  // namespace orvane::simulated
