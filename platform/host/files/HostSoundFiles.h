// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "platform/PlatformError.h"
#include "platform/SoundFileService.h"
#include "platform/Status.h"
#include "platform/host/CallGate.h"
#include "platform/host/HostContext.h"

namespace orvane::host {

/// The host's implementation of `platform::SoundFileService`. Files that are open at the exit of the process are
/// completed then.
class HostSoundFiles final : public platform::SoundFileService {
 public:
  explicit HostSoundFiles(std::shared_ptr<HostContext> context);
  /// Closes the files that are still open.
  ~HostSoundFiles() override;

  platform::Status create(const std::string& path, std::uint32_t fileType, const platform::StreamDescription& format,
                          platform::SoundFile& file) override;
  platform::Status open(const std::string& path, platform::SoundFile& file) override;
  platform::Status close(platform::SoundFile file) override;

  platform::Status propertyInfo(platform::SoundFile file, platform::SoundFileProperty property, std::uint32_t& byteSize,
                                bool& isWritable) override;
  platform::Status property(platform::SoundFile file, platform::SoundFileProperty property, std::uint32_t& byteSize,
                            void* data) override;
  platform::Status setProperty(platform::SoundFile file, platform::SoundFileProperty property, std::uint32_t byteSize,
                               const void* data) override;
  platform::Status writePackets(platform::SoundFile file, std::uint32_t byteSize,
                                const platform::PacketDescription* packets, std::int64_t startingPacket,
                                std::uint32_t& packetCount, const void* data) override;
  platform::Status readPackets(platform::SoundFile file, std::uint32_t& byteSize, platform::PacketDescription* packets,
                               std::int64_t startingPacket, std::uint32_t& packetCount, void* data) override;
  platform::Status globalInfoSize(platform::SoundFileInfo info, std::uint32_t specifierSize, const void* specifier,
                                  std::uint32_t& byteSize) override;
  platform::Status globalInfo(platform::SoundFileInfo info, std::uint32_t specifierSize, const void* specifier,
                              std::uint32_t& byteSize, void* data) override;

 private:
  struct OpenFile;

  platform::SoundFile keep(std::shared_ptr<OpenFile> file);
  std::shared_ptr<OpenFile> find(platform::SoundFile file) const;
  platform::Status refuse(const GatedCall& call, platform::Failure failure) const;
  void completeAtExit();

  const std::shared_ptr<HostContext> mContext;
  mutable std::mutex mMutex;
  std::map<platform::SoundFile, std::shared_ptr<OpenFile>> mFiles;
  std::uint32_t mLastFile = 0;
};

}  // namespace orvane::host
