// SPDX-License-Identifier: MIT
#include "platform/host/graph/HostGraphs.h"

#include <string>

#include "platform/Status.h"
#include "platform/host/CallGate.h"
#include "platform/host/Result.h"
#include "platform/host/graph/HostGraphEngine.h"
#include "platform/host/graph/HostPlayerNode.h"
#include "platform/host/graph/PlayedFile.h"
#include "platform/host/graph/RecordedFile.h"

namespace orvane::host {

using platform::Failure;
using platform::PcmFile;
using platform::PlatformError;
using platform::Url;

namespace {

const GatedCall openFileCall("GraphService::openFile");
const GatedCall createFileCall("GraphService::createFile");

/// Makes a file at the path of a URL by calling `make`, unless the gate refuses the call or the URL names no file.
template <typename Make>
std::shared_ptr<PcmFile> makeFile(HostContext& context, const GatedCall& call, const Url& url,
                                  std::optional<PlatformError>& error, Make make) {
  error.reset();
  const auto refused = [&url](platform::Status status, const std::string& reason) {
    return Result<std::shared_ptr<PcmFile>>(Failure{status, "\"" + url.text() + "\" " + reason});
  };
  const Refusal* const refusal = context.gate->refusal(call);
  const auto whyNot = url.whyNotFile();
  auto made = refusal != nullptr ? refused(refusal->status, "is refused: " + refusal->reason)
              : whyNot           ? refused(platform::status::badParameter, *whyNot)
                                 : make(url.path());
  if (made) return *made;
  made.failure().call = call.name();
  error = context.refuseWithError(made.failure());
  return nullptr;
}

}  // namespace

std::shared_ptr<platform::GraphEngine> HostGraphs::makeEngine() {
  return std::make_shared<HostGraphEngine>(mContext, mHub, mUnits);
}

std::shared_ptr<platform::PlayerNode> HostGraphs::makePlayerNode() {
  return std::make_shared<HostPlayerNode>(mContext, mHub);
}

std::shared_ptr<PcmFile> HostGraphs::openFile(const Url& url, std::optional<PlatformError>& error) {
  return makeFile(*mContext, openFileCall, url, error,
                  [this](const std::string& path) { return PlayedFile::open(mContext, path); });
}

std::shared_ptr<PcmFile> HostGraphs::createFile(const Url& url, const platform::FormatSettings& settings,
                                                std::optional<PlatformError>& error) {
  return makeFile(*mContext, createFileCall, url, error,
                  [&](const std::string& path) { return RecordedFile::create(mContext, path, settings); });
}

}  // namespace orvane::host
