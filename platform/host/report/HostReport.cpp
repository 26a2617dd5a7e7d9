#include "platform/host/report/HostReport.h"

#include <utility>

namespace orvane::host {

using platform::StreamFormat;

HostReport::HostReport(std::shared_ptr<AudioHub> hub, std::shared_ptr<const HostUnits> units,
                       SoundFileWriter::Services files, std::shared_ptr<const WrittenFileRecord> written)
    : mHub(std::move(hub)), mUnits(std::move(units)), mFiles(std::move(files)), mWritten(std::move(written)) {}

std::string HostReport::hostName() const {
  return mHub->device().hostName();
}

StreamFormat HostReport::hardwareInput() const {
  const DeviceFormat format = mHub->device().format();
  return StreamFormat::standard(format.sampleRate, format.inputs);
}

StreamFormat HostReport::hardwareOutput() const {
  const DeviceFormat format = mHub->device().format();
  return StreamFormat::standard(format.sampleRate, format.outputs);
}

std::uint32_t HostReport::sliceFrames() const {
  return mHub->device().format().sliceFrames;
}

platform::UnitLatency HostReport::unitLatency(platform::UnitInstance unit) const {
  return mUnits->latency(unit);
}

platform::RunCount HostReport::runCount() const {
  platform::RunCount count = mHub->device().runCount();
  count.overruns = *mFiles.overruns;
  return count;
}

platform::DeviceEnd HostReport::deviceEnd() const {
  return mHub->end();
}

std::optional<platform::Failure> HostReport::deviceFailure() const {
  return mHub->failure();
}

std::optional<platform::Failure> HostReport::writeFailure() const {
  return mFiles.failures->first();
}

void HostReport::onWriteFailure(std::function<void()> notice) {
  mFiles.failures->onFirst(std::move(notice));
}

std::optional<platform::WrittenFile> HostReport::writtenFile() const {
  return mWritten->last();
}

void HostReport::endAfterFrames(std::uint64_t frames) {
  mHub->device().endAfterFrames(frames);
}

void HostReport::onDeviceEnd(std::function<void()> notice) {
  mHub->onEnd(std::move(notice));
}

}  // namespace orvane::host
