#pragma once

#include <memory>

#include "platform/Report.h"
#include "platform/host/audio/AudioHub.h"
#include "platform/host/files/SoundFileWriter.h"
#include "platform/host/files/WrittenFileRecord.h"
#include "platform/host/units/HostUnits.h"

namespace orvane::host {

/// The host's report: what its device and its file writers know.
class HostReport final : public platform::Report {
 public:
  HostReport(std::shared_ptr<AudioHub> hub, std::shared_ptr<const HostUnits> units, SoundFileWriter::Services files,
             std::shared_ptr<const WrittenFileRecord> written);

  std::string hostName() const override;
  platform::StreamFormat hardwareInput() const override;
  platform::StreamFormat hardwareOutput() const override;
  std::uint32_t sliceFrames() const override;
  platform::UnitLatency unitLatency(platform::UnitInstance unit) const override;
  platform::RunCount runCount() const override;
  platform::DeviceEnd deviceEnd() const override;
  std::optional<platform::Failure> deviceFailure() const override;
  std::optional<platform::Failure> writeFailure() const override;
  void onWriteFailure(std::function<void()> notice) override;
  std::optional<platform::WrittenFile> writtenFile() const override;
  void endAfterFrames(std::uint64_t frames) override;
  void onDeviceEnd(std::function<void()> notice) override;

 private:
  std::shared_ptr<AudioHub> mHub;
  std::shared_ptr<const HostUnits> mUnits;
  SoundFileWriter::Services mFiles;
  std::shared_ptr<const WrittenFileRecord> mWritten;
};

}  // namespace orvane::host
