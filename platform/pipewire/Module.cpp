// SPDX-License-Identifier: MIT

// The functions that this module exports.

#include <memory>
#include <string>

#include "platform/backend/BackendModule.h"
#include "platform/pipewire/PipeWireDevice.h"
#include "platform/pipewire/PipeWireMidi.h"
#include "version.h"

extern "C" __attribute__((visibility("default"))) const char* orvane_refuse_library(const char* libraryVersion) {
  if (std::string(libraryVersion) == ORVANE_VERSION_STRING) return nullptr;
  static const std::string& sentence =
      *new std::string("the sound server's module has version " ORVANE_VERSION_STRING ", the library has version " +
                       std::string(libraryVersion) + "; install both together");
  return sentence.c_str();
}

extern "C" __attribute__((visibility("default"))) void orvane_make_backend(
    const orvane::backend::ModuleServices& services, const orvane::backend::DeviceChoice& choice,
    orvane::backend::Backend& result) {
  result.hostName = "pipewire";
  result.audio = std::make_unique<orvane::pipewire::PipeWireDevice>(services, choice);
  result.midi = std::make_unique<orvane::pipewire::PipeWireMidi>(services, choice.sliceFrames);
}
