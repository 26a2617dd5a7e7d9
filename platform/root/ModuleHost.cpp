// SPDX-License-Identifier: MIT
#include "platform/root/ModuleHost.h"

#include <dlfcn.h>
#include <limits.h>
#include <link.h>

#include <charconv>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/PlatformException.h"
#include "platform/RealTime.h"
#include "platform/backend/BackendModule.h"
#include "platform/host/Host.h"
#include "platform/host/HostContext.h"
#include "version.h"

namespace orvane::root {

namespace {

using backend::DeviceChoice;
using backend::DeviceFormat;

constexpr std::uint32_t maxRate = 768000;

[[noreturn]] void refuse(const std::string& reason) {
  throw platform::PlatformException("HostException", reason);
}

/// Returns the path of a module: in the folder "orvane" beside the library, both in the build tree and installed. The
/// loader noted the library's folder when it loaded the library, so neither a relative path nor a change of the current
/// folder leads elsewhere. Empty if this code is part of a program instead of the library; the loader notes no folder
/// then.
std::filesystem::path modulePath(std::string_view name) {
  Dl_info library{};
  link_map* map = nullptr;
  char folder[PATH_MAX] = "";
  const bool isKnown = dladdr1(reinterpret_cast<const void*>(&modulePath), &library, reinterpret_cast<void**>(&map),
                               RTLD_DL_LINKMAP) != 0 &&
                       map->l_name[0] != '\0' && dlinfo(map, RTLD_DI_ORIGIN, folder) == 0 && folder[0] == '/';
  if (!isKnown) return {};
  return std::filesystem::path(folder) / "orvane" / ("orvane-" + std::string(name) + ".so");
}

std::uint32_t readNumber(const std::string& key, const std::string& text, std::uint32_t max) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [parsedTo, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || parsedTo != end || number < 1 || number > max) {
    refuse(key + "=" + text + ": it takes a whole number from 1 to " + std::to_string(max));
  }
  return number;
}

void take(DeviceChoice& choice, const std::string& setting) {
  const std::size_t equals = setting.find('=');
  const std::string key = setting.substr(0, equals);
  const std::string value = equals == std::string::npos ? "" : setting.substr(equals + 1);
  if (key != "input" && key != "output" && key != "rate" && key != "slice") {
    refuse("unknown key \"" + key + "\"; the keys are input, output, rate and slice");
  }
  if (value.empty()) refuse(key + " needs a value");
  if (key == "input") choice.input = value;
  if (key == "output") choice.output = value;
  if (key == "rate") choice.rate = readNumber(key, value, maxRate);
  if (key == "slice") choice.sliceFrames = readNumber(key, value, DeviceFormat::maxSliceFrames);
}

DeviceChoice parse(std::string_view options) {
  DeviceChoice choice;
  std::string setting;
  for (std::size_t i = 0; i < options.size(); ++i) {
    if (options[i] == ',') {
      take(choice, std::exchange(setting, {}));
    } else {
      const bool isEscaped = options[i] == '\\' && i + 1 < options.size();
      setting += options[isEscaped ? ++i : i];
    }
  }
  if (!options.empty()) take(choice, setting);
  return choice;
}

template <typename Function>
Function symbol(void* module, const char* name, const std::string& path) {
  void* const found = dlsym(module, name);
  if (found == nullptr) refuse(path + " is not a module of this library: it has no \"" + name + "\"");
  return reinterpret_cast<Function>(found);
}

/// Loads a module once; it is never unloaded, because its threads and exit handlers may run until the process ends.
backend::MakeBackend load(const std::string& path) {
  void* const module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (module == nullptr) refuse(std::string("the module cannot be loaded: ") + dlerror());
  const auto refusal = symbol<backend::RefuseLibrary>(module, backend::refuseLibraryName, path);
  if (const char* reason = refusal(ORVANE_VERSION_STRING)) refuse(reason);
  return symbol<backend::MakeBackend>(module, backend::makeBackendName, path);
}

}  // namespace

bool hasModule(std::string_view name) {
  std::error_code ignored;
  const std::filesystem::path path = modulePath(name);
  return !path.empty() && std::filesystem::exists(path, ignored);
}

platform::Platform makeModuleHost(std::string_view name, std::string_view options) {
  const DeviceChoice choice = parse(options);
  const backend::MakeBackend make = load(modulePath(name));
  const auto context = std::make_shared<host::HostContext>(host::HostContext::Pace::real);
  const auto runInRealTime = [](void (*part)(void*), void* data) {
    const platform::RealTimeSection section;
    part(data);
  };
  backend::Backend backend;
  make({.log = context->log, .scheduler = context->scheduler, .runInRealTime = runInRealTime}, choice, backend);
  return host::makeHost(context, std::move(backend));
}

}  // namespace orvane::root
