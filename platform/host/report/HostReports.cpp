// SPDX-License-Identifier: MIT
#include "platform/host/report/HostReports.h"

namespace orvane::host {

platform::RunCount HostDeviceReport::runCount() const {
  platform::RunCount count = mHub->runCount();
  count.overruns = mContext->files.overruns();
  return count;
}

}  // namespace orvane::host
