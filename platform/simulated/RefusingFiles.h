#pragma once

#include <memory>
#include <string>

#include "platform/ConvertingFile.h"
#include "platform/simulated/scenario/FaultPlan.h"

namespace orvane::simulated {

/// A service of recordings in front of another: refuses what a scenario's faults say, and hands on everything else. A
/// refused call does not reach the other service.
class RefusingFiles final : public platform::ConvertingFile {
 public:
  RefusingFiles(std::shared_ptr<platform::ConvertingFile> files, std::shared_ptr<const FaultPlan> faults);

  platform::Status create(const std::string& path, std::uint32_t fileType,
                          const platform::StreamDescription& dataFormat, const platform::ChannelLayout* layout,
                          ExistingFile existing, Handle& file) override;
  platform::Status setClientDataFormat(Handle file, const platform::StreamDescription& format) override;
  platform::Status writeAsync(Handle file, std::uint32_t frames, platform::RenderBufferList* list) override;
  platform::Status dispose(Handle file) override;

 private:
  std::shared_ptr<platform::ConvertingFile> mFiles;
  std::shared_ptr<const FaultPlan> mFaults;
};

}  // namespace orvane::simulated
