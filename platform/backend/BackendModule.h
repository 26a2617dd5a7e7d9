// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/Log.h"
#include "platform/Scheduler.h"
#include "platform/backend/Backend.h"

/// The border between the library and a back end in a module of its own. The module uses these headers and the roles
/// that it is handed, and no symbol of the library.
namespace orvane::backend {

/// The device that a user asked for. Whatever is not given is left to the back end.
struct DeviceChoice {
  static constexpr char none[] = "none";  ///< Stands for a side that is not to be used.

  std::optional<std::string> input = {};          ///< Name of an input, or `none`.
  std::optional<std::string> output = {};         ///< Name of an output, or `none`.
  std::optional<std::uint32_t> rate = {};         ///< Hertz, 1 to 768000.
  std::optional<std::uint32_t> sliceFrames = {};  ///< 1 to `DeviceFormat::maxSliceFrames`.
};

/// Services of the host that a back end in a module uses.
struct ModuleServices {
  std::shared_ptr<platform::Log> log;
  std::shared_ptr<platform::Scheduler> scheduler;
  /// Runs a part of the device callback with the real-time rules enforced, in builds that enforce them. Real-time safe.
  void (*runInRealTime)(void (*part)(void* data), void* data) = nullptr;
};

/// The functions that a module exports, with C linkage, under the names `refuseLibraryName` and `makeBackendName`.
///
/// The first one is called before any type crosses the border, with the version of the library. Returns null if the
/// module was built for it, else a sentence with both versions that is never freed.
using RefuseLibrary = const char* (*)(const char* libraryVersion);
/// Makes the back end. Throws what the services throw.
using MakeBackend = void (*)(const ModuleServices& services, const DeviceChoice& choice, Backend& result);

inline constexpr char refuseLibraryName[] = "orvane_refuse_library";
inline constexpr char makeBackendName[] = "orvane_make_backend";

}  // namespace orvane::backend
