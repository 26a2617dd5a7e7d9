#include "platform/simulated/RefusingFiles.h"

#include <utility>

#include "platform/simulated/scenario/RefusableCalls.h"

namespace orvane::simulated {

using platform::Status;

RefusingFiles::RefusingFiles(std::shared_ptr<platform::ConvertingFile> files, std::shared_ptr<const FaultPlan> faults)
    : mFiles(std::move(files)), mFaults(std::move(faults)) {}

Status RefusingFiles::create(const std::string& path, std::uint32_t fileType,
                             const platform::StreamDescription& dataFormat, const platform::ChannelLayout* layout,
                             ExistingFile existing, Handle& file) {
  if (const auto refusal = mFaults->refusal(call::createFile)) {
    file = Handle::none;
    return *refusal;
  }
  return mFiles->create(path, fileType, dataFormat, layout, existing, file);
}

Status RefusingFiles::setClientDataFormat(Handle file, const platform::StreamDescription& format) {
  if (const auto refusal = mFaults->refusal(call::setClientDataFormat)) return *refusal;
  return mFiles->setClientDataFormat(file, format);
}

Status RefusingFiles::writeAsync(Handle file, std::uint32_t frames, platform::RenderBufferList* list) {
  if (const auto refusal = mFaults->refusal(call::writeAsync)) return *refusal;
  return mFiles->writeAsync(file, frames, list);
}

Status RefusingFiles::dispose(Handle file) {
  if (const auto refusal = mFaults->refusal(call::disposeFile)) return *refusal;
  return mFiles->dispose(file);
}

}  // namespace orvane::simulated
