// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "platform/Export.h"
#include "platform/Status.h"

namespace orvane::platform {

/// Information about the codecs of the host.
enum class FormatInfo : std::uint32_t {
  decodableIDs = 1,  ///< The format identifiers that queues decode, an array of 4-byte codes.
  encodableIDs = 2,  ///< The format identifiers that queues encode, an array of 4-byte codes.
};

/// The service that lists the data formats which the host's buffer queues convert from and to. Thread-safe; not
/// real-time safe. Operations return `badParameter` for an unknown item and null data, or a status that a
/// scenario (the simulated device's script of faults) injects.
class ORVANE_EXPORT FormatInfoService {
 public:
  virtual ~FormatInfoService() = default;

  /// Sets `byteSize` to the size of an item of information in bytes.
  virtual Status infoSize(FormatInfo info, std::uint32_t& byteSize) = 0;
  /// Copies an item of information to `data`, which has room for `byteSize` bytes, and sets `byteSize` to the number of
  /// bytes copied.
  virtual Status info(FormatInfo info, std::uint32_t& byteSize, void* data) = 0;
};

}  // namespace orvane::platform
