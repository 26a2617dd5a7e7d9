// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/ChannelLayout.h"
#include "platform/ConvertingFile.h"
#include "platform/PlatformError.h"
#include "platform/RenderBufferList.h"
#include "platform/Status.h"
#include "platform/StreamDescription.h"
#include "platform/StreamFormat.h"
#include "platform/host/HostContext.h"
#include "platform/host/audio/AudioHub.h"

namespace orvane::host {

/// The host's implementation of `platform::ConvertingFile`. Each open recording has a `SoundFileWriter`.
class HostConvertingFiles final : public platform::ConvertingFile {
 public:
  HostConvertingFiles(std::shared_ptr<HostContext> context, std::shared_ptr<const AudioHub> hub);
  /// Completes and closes the files that are still open.
  ~HostConvertingFiles() override;

  platform::Status create(const std::string& path, std::uint32_t fileType,
                          const platform::StreamDescription& dataFormat, const platform::ChannelLayout* layout,
                          ExistingFile existing, Handle& file) override;
  platform::Status setClientDataFormat(Handle file, const platform::StreamDescription& format) override;
  platform::Status writeAsync(Handle file, std::uint32_t frames, platform::RenderBufferList* list) override;
  platform::Status dispose(Handle file) override;

 private:
  struct OpenFile;
  using Slot = std::atomic<OpenFile*>;

  /// Returns the slot in which a handle's file is stored; the slot may be empty or hold another handle's file.
  Slot& slotOf(Handle file) { return mSlots[static_cast<std::size_t>(file) % mSlots.size()]; }
  platform::Status open(const std::string& path, const platform::StreamFormat& format, ExistingFile existing,
                        Handle& file);
  platform::Status complete(Handle file);
  OpenFile* find(Handle file);
  Handle freeHandle();
  platform::Status refuse(platform::Status refusal, std::string reason) const;
  platform::Status refuse(platform::Failure failure) const;
  std::uint32_t maxFramesAt(double sampleRate) const;

  const std::shared_ptr<HostContext> mContext;
  const std::shared_ptr<const AudioHub> mHub;
  std::mutex mMutex;  ///< Locked to fill and clear slots; slots are read without it.
  std::uint32_t mLastHandle = 0;
  std::array<Slot, 256> mSlots{};
};

}  // namespace orvane::host
