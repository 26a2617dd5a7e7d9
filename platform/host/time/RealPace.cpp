#include "platform/host/time/RealPace.h"

#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/host/time/HostThread.h"

namespace orvane::host {

namespace {

using platform::HostTime;
using Steady = std::chrono::steady_clock;

/// The monotonic clock, set to one second when it is made, as the clock at fast pace is.
class SteadyClock final : public platform::Clock {
 public:
  HostTime now() const override { return Steady::now().time_since_epoch() - mZero; }
  Steady::time_point steadyTime(HostTime time) const { return Steady::time_point(time + mZero); }

 private:
  HostTime mZero = Steady::now().time_since_epoch() - std::chrono::seconds(1);
};

class ThreadWorker final : public platform::Worker {
 public:
  ThreadWorker(const SteadyClock& clock, const std::string& name, std::function<void()> prologue) : mClock(clock) {
    mThread = startThread(name, [this, prologue = std::move(prologue)] {
      prologue();
      work();
    });
  }

  ~ThreadWorker() override {
    cancel();
    {
      const std::lock_guard lock(mMutex);
      mQuit = true;
    }
    mWake.notify_all();
    mThread.join();
  }

  void repeatAt(HostTime first, Repetition task) override {
    const std::lock_guard lock(mMutex);
    mTasks.emplace(nextPlace(first), std::move(task));
    // With the lock, because whoever learns that the task has run may destroy this worker.
    mWake.notify_all();
  }

  void cancel() override {
    Tasks dropped;
    std::unique_lock lock(mMutex);
    if (std::this_thread::get_id() != mThread.get_id()) {
      // Nothing begins meanwhile, so what the running task posts is there to be dropped.
      ++mCancelling;
      mWake.wait(lock, [this] { return !mTaskRuns; });
      --mCancelling;
    } else {
      mRunCancelled = true;
    }
    dropped.swap(mTasks);
    lock.unlock();
    mWake.notify_all();
  }

 private:
  using Place = std::pair<HostTime, std::uint64_t>;
  using Tasks = std::map<Place, Repetition>;

  /// What is due already takes its place behind those that wait: due time now, not long ago.
  Place nextPlace(HostTime due) { return {std::max(due, mClock.now()), mPosted++}; }

  void work() {
    std::unique_lock lock(mMutex);
    while (!mQuit) {
      if (mTasks.empty() || mCancelling > 0) {
        mWake.wait(lock);
      } else if (const HostTime due = mTasks.begin()->first.first; due > mClock.now()) {
        mWake.wait_until(lock, mClock.steadyTime(due));
      } else {
        runFirst(lock);
      }
    }
  }

  /// Gives the time of the task's next run. Behind the last one, what the task holds ends before it counts as done.
  std::optional<HostTime> runOnce(Repetition& task) noexcept {
    mRunCancelled = false;
    std::optional<HostTime> next = task();
    if (mRunCancelled) next.reset();
    if (!next) task = nullptr;
    return next;
  }

  void runFirst(std::unique_lock<std::mutex>& lock) {
    Tasks::node_type task = mTasks.extract(mTasks.begin());
    mTaskRuns = true;
    lock.unlock();
    const std::optional<HostTime> next = runOnce(task.mapped());
    lock.lock();
    if (next) {
      task.key() = nextPlace(*next);
      mTasks.insert(std::move(task));
    }
    mTaskRuns = false;
    mWake.notify_all();
  }

  const SteadyClock& mClock;
  std::mutex mMutex;
  std::condition_variable mWake;
  Tasks mTasks;
  std::uint64_t mPosted = 0;
  int mCancelling = 0;  ///< Callers inside `cancel`.
  bool mTaskRuns = false;
  bool mRunCancelled = false;  ///< By the task that runs; this worker's thread alone uses it.
  bool mQuit = false;
  std::thread mThread;
};

/// A waiter on a semaphore: its signal is one `sem_post`, which a real-time thread may do.
class SemaphoreWaiter final : public platform::Waiter {
 public:
  SemaphoreWaiter() { sem_init(&mSemaphore, 0, 0); }
  ~SemaphoreWaiter() override { sem_destroy(&mSemaphore); }
  SemaphoreWaiter(const SemaphoreWaiter&) = delete;
  SemaphoreWaiter& operator=(const SemaphoreWaiter&) = delete;

  void signal() override {
    mSignals.fetch_add(1, std::memory_order_release);
    sem_post(&mSemaphore);
  }

  bool wait(HostTime limit) override {
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    const bool limited = limit < forever - std::chrono::hours(24 * 365 * 100);
    const HostTime bounded = limited ? std::max(limit, HostTime::zero()) : HostTime::zero();
    const std::int64_t nanoseconds = end.tv_nsec + bounded.count() % second;
    end.tv_sec += bounded.count() / second + nanoseconds / second;
    end.tv_nsec = nanoseconds % second;
    int result = 0;
    do {
      result = limited ? sem_clockwait(&mSemaphore, CLOCK_MONOTONIC, &end) : sem_wait(&mSemaphore);
    } while (result != 0 && errno == EINTR);
    // Pairs with the release in `signal`; the semaphore orders memory too, but not every race checker knows it does.
    mSignals.load(std::memory_order_acquire);
    return result == 0;
  }

 private:
  static constexpr std::int64_t second = 1'000'000'000;

  sem_t mSemaphore{};
  std::atomic<std::uint64_t> mSignals = 0;
};

}  // namespace

RealPace::RealPace(std::shared_ptr<platform::Log> log)
    : mClock(std::make_unique<SteadyClock>()), mLog(std::move(log)) {}

std::unique_ptr<platform::Worker> RealPace::makeWorker(const std::string& name, Priority priority) {
  std::function<void()> prologue = [] {};
  if (priority == Priority::realTime) prologue = [this] { requestRealTime(); };
  return std::make_unique<ThreadWorker>(static_cast<const SteadyClock&>(*mClock), name, std::move(prologue));
}

std::unique_ptr<platform::Waiter> RealPace::makeWaiter() {
  return std::make_unique<SemaphoreWaiter>();
}

void RealPace::requestRealTime() {
  // Above ordinary threads, below the kernel's own and those of a sound server.
  constexpr int priority = 20;
  sched_param parameters{};
  parameters.sched_priority = priority;
  const int error = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
  if (error != 0 && !mRefusalLogged.exchange(true)) {
    mLog->write(platform::LogLevel::notice,
                std::string("The system refused real-time priority (") + std::strerror(error) +
                    "); slices may come late. Allow it with an rtprio limit for this user.");
  }
}

}  // namespace orvane::host
