// SPDX-License-Identifier: MIT
#include "platform/host/report/HostReports.h"

namespace orvane::host {

using platform::StreamFormat;

StreamFormat HostDeviceReport::hardwareInput() const {
  const backend::DeviceFormat format = mHub->format();
  return StreamFormat::standard(format.sampleRate, format.inputs);
}

StreamFormat HostDeviceReport::hardwareOutput() const {
  const backend::DeviceFormat format = mHub->format();
  return StreamFormat::standard(format.sampleRate, format.outputs);
}

platform::RunCount HostDeviceReport::runCount() const {
  platform::RunCount count = mHub->runCount();
  count.overruns = mContext->files.overruns();
  return count;
}

}  // namespace orvane::host
