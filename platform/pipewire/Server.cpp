// SPDX-License-Identifier: MIT
#include "platform/pipewire/Server.h"

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/pipewire/ObjectProperties.h"

namespace orvane::pipewire {

namespace {

/// Blocks all signals while it lives: threads that are made meanwhile inherit that, so signals reach the threads of the
/// program only.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &mBefore);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t mBefore{};
};

}  // namespace

// ---- Loop

Loop::Loop() : mLoop(pw_thread_loop_new("orvane", nullptr)) {
  const SignalsBlocked blocked;
  if (mLoop == nullptr || pw_thread_loop_start(mLoop) == 0) return;
  pw_thread_loop_destroy(mLoop);
  mLoop = nullptr;
}

Loop::~Loop() {
  if (mLoop == nullptr) return;
  pw_thread_loop_stop(mLoop);
  pw_thread_loop_destroy(mLoop);
}

Loop::Lock::Lock(const Loop& loop) : mLoop(loop) {
  if (mLoop.mLoop != nullptr) pw_thread_loop_lock(mLoop.mLoop);
}

Loop::Lock::~Lock() {
  if (mLoop.mLoop != nullptr) pw_thread_loop_unlock(mLoop.mLoop);
}

bool Loop::waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) const {
  timespec end{};
  pw_thread_loop_get_time(mLoop, &end, std::chrono::nanoseconds(limit).count());
  while (!condition()) {
    if (pw_thread_loop_timed_wait_full(mLoop, &end) == -ETIMEDOUT) return condition();
  }
  return true;
}

void Loop::signal() const {
  pw_thread_loop_signal(mLoop, false);
}

// ---- Connection

namespace {

std::string textOf(const spa_dict* properties, const char* key) {
  const char* const value = properties == nullptr ? nullptr : spa_dict_lookup(properties, key);
  return value == nullptr ? "" : value;
}

template <typename Number>
Number numberOf(const spa_dict* properties, const char* key) {
  const std::string text = textOf(properties, key);
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

Inventory::Node nodeOf(const spa_dict* properties) {
  Inventory::Node node{.name = textOf(properties, PW_KEY_NODE_NAME),
                       .description = textOf(properties, PW_KEY_NODE_DESCRIPTION),
                       .mediaClass = textOf(properties, PW_KEY_MEDIA_CLASS),
                       .priority = numberOf<std::int32_t>(properties, PW_KEY_PRIORITY_SESSION),
                       .serial = numberOf<std::uint64_t>(properties, PW_KEY_OBJECT_SERIAL),
                       .client = numberOf<std::uint32_t>(properties, PW_KEY_CLIENT_ID)};
  if (node.description.empty()) node.description = node.name;
  return node;
}

/// Whether a port carries MIDI of either kind, and not the settings of an audio node.
bool isMidi(const spa_dict* properties) {
  const std::string format = textOf(properties, PW_KEY_FORMAT_DSP);
  return (format == "8 bit raw midi" || format == "32 bit raw UMP") &&
         textOf(properties, PW_KEY_PORT_CONTROL) != "true";
}

Inventory::Port portOf(const spa_dict* properties) {
  return {.node = numberOf<std::uint32_t>(properties, PW_KEY_NODE_ID),
          .index = numberOf<std::uint32_t>(properties, PW_KEY_PORT_ID),
          .isOutput = textOf(properties, PW_KEY_PORT_DIRECTION) == "out",
          .isMonitor = textOf(properties, PW_KEY_PORT_MONITOR) == "true",
          .name = textOf(properties, PW_KEY_PORT_NAME),
          .channel = textOf(properties, PW_KEY_AUDIO_CHANNEL),
          .isMidi = isMidi(properties)};
}

/// A metadata object of the server, copied into a map. Only entries of subject 0, the graph itself.
class Metadata {
 public:
  Metadata(pw_registry* registry, std::uint32_t identifier, std::map<std::string, std::string>& copy,
           std::function<void()> onChange)
      : mCopy(copy), mOnChange(std::move(onChange)) {
    mProxy = static_cast<pw_metadata*>(
        pw_registry_bind(registry, identifier, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
    if (mProxy == nullptr) return;
    static const pw_metadata_events events = {.version = PW_VERSION_METADATA_EVENTS, .property = onProperty};
    pw_metadata_add_listener(mProxy, &mListener, &events, this);
  }
  ~Metadata() {
    mCopy.clear();
    if (mProxy == nullptr) return;
    spa_hook_remove(&mListener);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(mProxy));
  }
  Metadata(const Metadata&) = delete;
  Metadata& operator=(const Metadata&) = delete;

 private:
  static int onProperty(void* data, std::uint32_t subject, const char* key, const char*, const char* value) {
    auto& self = *static_cast<Metadata*>(data);
    if (subject != PW_ID_CORE) return 0;
    if (key == nullptr) {
      self.mCopy.clear();
    } else if (value == nullptr) {
      self.mCopy.erase(key);
    } else {
      self.mCopy[key] = value;
    }
    self.mOnChange();
    return 0;
  }

  std::map<std::string, std::string>& mCopy;
  std::function<void()> mOnChange;
  pw_metadata* mProxy = nullptr;
  spa_hook mListener{};
};

class CoreConnection final : public Connection {
 public:
  CoreConnection(const Loop& loop, pw_core* core) : mLoop(loop), mCore(core) {
    static const pw_core_events coreEvents = {.version = PW_VERSION_CORE_EVENTS, .done = onDone, .error = onError};
    pw_core_add_listener(mCore, &mCoreListener, &coreEvents, this);
    mRegistry = pw_core_get_registry(mCore, PW_VERSION_REGISTRY, 0);
    if (mRegistry == nullptr) return;
    static const pw_registry_events registryEvents = {
        .version = PW_VERSION_REGISTRY_EVENTS, .global = onGlobal, .global_remove = onGlobalRemove};
    pw_registry_add_listener(mRegistry, &mRegistryListener, &registryEvents, this);
    ask();
  }

  ~CoreConnection() override {
    const Loop::Lock lock(mLoop);
    mMetadata.clear();
    mProperties.clear();
    if (mRegistry != nullptr) {
      spa_hook_remove(&mRegistryListener);
      pw_proxy_destroy(reinterpret_cast<pw_proxy*>(mRegistry));
    }
    spa_hook_remove(&mCoreListener);
    pw_core_disconnect(mCore);
  }

  bool isLost() const override { return mLost; }
  bool isReady() const override { return mAnswers >= answersToReady; }
  const Inventory& inventory() const override { return mInventory; }
  pw_core* core() const override { return mCore; }
  pw_registry* registry() const override { return mRegistry; }
  void ask() override {
    ++mQuestions;
    pw_core_sync(mCore, PW_ID_CORE, 0);
  }
  bool hasAnswered() const override { return mAnswers == mQuestions; }
  void watch(Watcher& watcher) override { mWatchers.push_back(&watcher); }
  void unwatch(Watcher& watcher) override { std::erase(mWatchers, &watcher); }

 private:
  static void onDone(void* data, std::uint32_t identifier, int) {
    auto& self = *static_cast<CoreConnection*>(data);
    if (identifier != PW_ID_CORE) return;
    self.mInventory.ownClient = pw_proxy_get_bound_id(reinterpret_cast<pw_proxy*>(pw_core_get_client(self.mCore)));
    // The first answer comes behind the list of objects, the second behind the entries of the metadata and the
    // properties among them.
    if (++self.mAnswers < answersToReady) self.ask();
    self.mLoop.signal();
  }

  static void onError(void* data, std::uint32_t identifier, int, int result, const char*) {
    auto& self = *static_cast<CoreConnection*>(data);
    // Errors of single objects are told to them; only a broken pipe to the core itself is the end.
    const bool isFatal = result == -EPIPE || result == -ECONNRESET || result == -EPROTO;
    if (identifier != PW_ID_CORE || !isFatal || self.mLost) return;
    self.mLost = true;
    for (Watcher* watcher : std::vector(self.mWatchers)) watcher->serverLost();
    self.mLoop.signal();
  }

  static void onGlobal(void* data, std::uint32_t identifier, std::uint32_t, const char* type, std::uint32_t,
                       const spa_dict* properties) {
    auto& self = *static_cast<CoreConnection*>(data);
    const std::string_view kind(type);
    if (kind == PW_TYPE_INTERFACE_Node) {
      self.mInventory.nodes[identifier] = nodeOf(properties);
    } else if (kind == PW_TYPE_INTERFACE_Port) {
      self.mInventory.ports[identifier] = portOf(properties);
      if (self.mInventory.ports[identifier].isMidi) self.followMidi(identifier);
    } else if (kind == PW_TYPE_INTERFACE_Link) {
      self.mInventory.links[identifier] = {numberOf<std::uint32_t>(properties, PW_KEY_LINK_OUTPUT_PORT),
                                           numberOf<std::uint32_t>(properties, PW_KEY_LINK_INPUT_PORT)};
    } else if (kind == PW_TYPE_INTERFACE_Metadata) {
      self.addMetadata(identifier, textOf(properties, PW_KEY_METADATA_NAME));
    }
    self.changed();
  }

  static void onGlobalRemove(void* data, std::uint32_t identifier) {
    auto& self = *static_cast<CoreConnection*>(data);
    self.mInventory.nodes.erase(identifier);
    self.mInventory.ports.erase(identifier);
    self.mInventory.links.erase(identifier);
    self.mMetadata.erase(identifier);
    self.mProperties.erase(identifier);
    self.changed();
  }

  void addMetadata(std::uint32_t identifier, const std::string& name) {
    if (name != "default" && name != "settings") return;
    auto& copy = name == "default" ? mInventory.defaults : mInventory.settings;
    mMetadata[identifier] = std::make_unique<Metadata>(mRegistry, identifier, copy, [this] { changed(); });
  }

  /// Follows the properties of a MIDI port and of its node.
  void followMidi(std::uint32_t port) {
    const std::uint32_t node = mInventory.ports[port].node;
    mProperties[port] = std::make_unique<ObjectProperties>(mRegistry, port, ObjectProperties::Kind::port,
                                                           [this, port](const Inventory::Properties& properties) {
                                                             mInventory.ports[port].properties = properties;
                                                             changed();
                                                           });
    if (mProperties.contains(node) || !mInventory.nodes.contains(node)) return;
    mProperties[node] = std::make_unique<ObjectProperties>(mRegistry, node, ObjectProperties::Kind::node,
                                                           [this, node](const Inventory::Properties& properties) {
                                                             mInventory.nodes[node].properties = properties;
                                                             changed();
                                                           });
  }

  void changed() {
    // A copy: a watcher may leave while it is told.
    for (Watcher* watcher : std::vector(mWatchers)) watcher->inventoryChanged();
    mLoop.signal();
  }

  const Loop& mLoop;
  pw_core* mCore;
  pw_registry* mRegistry = nullptr;
  spa_hook mCoreListener{};
  spa_hook mRegistryListener{};
  Inventory mInventory;
  std::map<std::uint32_t, std::unique_ptr<Metadata>> mMetadata;
  std::map<std::uint32_t, std::unique_ptr<ObjectProperties>> mProperties;
  std::vector<Watcher*> mWatchers;
  static constexpr int answersToReady = 2;
  int mQuestions = 0;
  int mAnswers = 0;
  bool mLost = false;
};

/// The library writes to standard error by itself, which belongs to the program; PIPEWIRE_DEBUG brings that back.
void prepareLibrary() {
  static std::once_flag once;
  std::call_once(once, [] {
    pw_init(nullptr, nullptr);
    if (std::getenv("PIPEWIRE_DEBUG") == nullptr) pw_log_set_level(SPA_LOG_LEVEL_NONE);
  });
}

}  // namespace

// ---- Server

std::shared_ptr<Server> Server::get() {
  static std::mutex& mutex = *new std::mutex();
  static std::weak_ptr<Server>& server = *new std::weak_ptr<Server>();
  const std::lock_guard lock(mutex);
  std::shared_ptr<Server> result = server.lock();
  if (!result) {
    prepareLibrary();
    server = result = std::make_shared<Server>();
  }
  return result;
}

Server::Server() {
  if (mLoop.get() == nullptr) return;
  const SignalsBlocked blocked;
  const Loop::Lock lock(mLoop);
  // This configuration loads the module that gives the data thread real-time priority.
  mContext = pw_context_new(pw_thread_loop_get_loop(mLoop.get()),
                            pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr), 0);
}

Server::~Server() {
  if (mContext == nullptr) return;
  const Loop::Lock lock(mLoop);
  mConnection.reset();
  pw_context_destroy(mContext);
}

pw_data_loop* Server::dataLoop() const {
  return mContext == nullptr ? nullptr : pw_context_get_data_loop(mContext);
}

std::shared_ptr<Connection> Server::connect(std::string& problem) {
  if (!mConnection || mConnection->isLost()) {
    mConnection.reset();
    if (mContext == nullptr) {
      problem = "the client library of the sound server cannot be set up";
      return nullptr;
    }
    pw_core* const core = pw_context_connect(mContext, nullptr, 0);
    if (core == nullptr) {
      // EHOSTDOWN is how the library says that there is no such socket, or that nobody listens on it.
      const std::string cause = errno == EHOSTDOWN ? "" : std::string(": ") + std::strerror(errno);
      problem = "no sound server at " + socketPath() + cause;
      return nullptr;
    }
    mConnection = std::make_shared<CoreConnection>(mLoop, core);
    mLoop.waitUntil([this] { return mConnection->isReady() || mConnection->isLost(); }, answerLimit);
  }
  if (mConnection->isReady() && !mConnection->isLost()) return mConnection;
  problem = "the sound server at " + socketPath() + " does not answer";
  return nullptr;
}

std::string socketPath() {
  const char* remote = std::getenv("PIPEWIRE_REMOTE");
  if (remote == nullptr || *remote == '\0') remote = PW_DEFAULT_REMOTE;
  if (*remote == '/') return remote;
  for (const char* variable : {"PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR", "USERPROFILE"}) {
    if (const char* folder = std::getenv(variable)) return std::string(folder) + "/" + remote;
  }
  return remote;
}

}  // namespace orvane::pipewire
