// SPDX-License-Identifier: MIT
#include "platform/host/sessions/SessionBinding.h"

#include <utility>

#include "platform/host/sessions/SessionPolicy.h"

namespace orvane::host {

using platform::Failure;
namespace status = platform::status;

platform::Status SessionBinding::bind(std::uint32_t identifier) {
  auto session = mContext->sessions->find(identifier);
  if (!session) return status::unknownSession;
  const std::lock_guard lock(mMutex);
  mSession = std::move(session);
  return status::success;
}

std::optional<backend::SessionLabels> SessionBinding::labels() const {
  const std::lock_guard lock(mMutex);
  if (!mSession) return std::nullopt;
  return backend::SessionLabels{mSession->identifier(), mSession->category(), mSession->mode(),
                                mSession->categoryOptions()};
}

std::optional<Failure> SessionBinding::whyNot(const backend::DeviceFormat& hardware, bool input, bool output,
                                              const std::string& call) const {
  const std::lock_guard lock(mMutex);
  const std::string category = mSession ? mSession->category() : std::string();
  const auto lacking = [&](const std::string& side) {
    return "the session's category \"" + category + "\" has no " + side;
  };
  if (input && hardware.inputs == 0) return Failure{status::noDevice, "the hardware has no input", call};
  if (input && mSession && !categoryHasInput(category)) return Failure{status::noInput, lacking("input"), call};
  if (output && hardware.outputs == 0) return Failure{status::noDevice, "the hardware has no output", call};
  if (output && mSession && !categoryHasOutput(category)) return Failure{status::noOutput, lacking("output"), call};
  return std::nullopt;
}

}  // namespace orvane::host
