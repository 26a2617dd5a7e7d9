// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/pipewire/Inventory.h"

struct pw_context;
struct pw_core;
struct pw_data_loop;
struct pw_registry;
struct pw_thread_loop;

namespace orvane::pipewire {

/// The client's thread loop. Everything that touches the server's library holds its lock, which is recursive. Events
/// run on the loop's thread with the lock.
class Loop {
 public:
  Loop();
  ~Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  class Lock {
   public:
    explicit Lock(const Loop& loop);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    const Loop& mLoop;
  };

  /// Releases the lock, which the caller holds once, until `condition` holds or `limit` has passed; looks after each
  /// event. Returns whether it holds. Not on the loop's thread.
  bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) const;
  /// Makes waiting threads look at their conditions. With the lock.
  void signal() const;

  pw_thread_loop* get() const { return mLoop; }

 private:
  pw_thread_loop* mLoop = nullptr;
};

/// One connection to the server, with the cache of the server's objects. It lives until its last user is gone, also
/// after the server is. All members with the lock of the loop.
class Connection {
 public:
  /// Told of events on the loop's thread, with the lock.
  class Watcher {
   public:
    virtual ~Watcher() = default;
    virtual void serverLost() = 0;
    /// An object was added, changed or removed.
    virtual void inventoryChanged() = 0;
  };

  virtual ~Connection() = default;

  virtual bool isLost() const = 0;
  /// Whether the server has listed its objects.
  virtual bool isReady() const = 0;
  virtual const Inventory& inventory() const = 0;
  virtual pw_core* core() const = 0;
  virtual pw_registry* registry() const = 0;
  /// Asks the server for a sign of life.
  virtual void ask() = 0;
  /// Whether the server has answered every question.
  virtual bool hasAnswered() const = 0;
  virtual void watch(Watcher& watcher) = 0;
  virtual void unwatch(Watcher& watcher) = 0;
};

/// The process's access to the sound server: one loop, one context and, at any time, one connection.
class Server {
 public:
  /// Returns the server of the process, which lives while somebody holds it.
  static std::shared_ptr<Server> get();
  Server();
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  Loop& loop() { return mLoop; }
  /// Serialises the operations that wait with the lock of the loop released, or that replace a filter: they must not
  /// overlap. Taken before the lock of the loop; never by the loop's events, and not on a worker that `stop` waits for.
  std::mutex& control() { return mControl; }

  /// Returns the loop of the data thread, on which filters are processed; null if there is none. With the lock.
  pw_data_loop* dataLoop() const;
  /// Returns the connection, after connecting if there is none or it was lost; null if the server does not answer, with
  /// the reason in `problem`. Waits for the answer of a server once per connection, so that a server that does not
  /// answer delays its callers once. With the lock, held once. Not on the loop's thread.
  std::shared_ptr<Connection> connect(std::string& problem);

 private:
  std::mutex mControl;
  Loop mLoop;
  pw_context* mContext = nullptr;
  std::shared_ptr<Connection> mConnection;
};

/// Limit of a wait for the server's answer.
inline constexpr std::chrono::milliseconds answerLimit{2000};

/// The path of the server's socket, for messages.
std::string socketPath();

}  // namespace orvane::pipewire
