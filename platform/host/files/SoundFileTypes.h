// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/StreamDescription.h"

namespace orvane::host {

/// A type of sound file that the host writes.
struct SoundFileType {
  std::uint32_t code = 0;
  std::shared_ptr<const std::string> name;
  std::shared_ptr<const std::vector<std::string>> extensions;  ///< Without dots.
  std::vector<std::uint32_t> formatIDs;

  /// Returns the variants of a data format: descriptions with rate and channel count 0. Empty for a format that the
  /// type does not hold.
  std::vector<platform::StreamDescription> variants(std::uint32_t formatID) const;
};

/// Returns all types, in the order of their codes.
std::span<const SoundFileType> soundFileTypes();

}  // namespace orvane::host
