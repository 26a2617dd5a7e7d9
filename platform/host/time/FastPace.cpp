#include "platform/host/time/FastPace.h"

#include <utility>

#include "platform/host/time/Conductor.h"

namespace orvane::host {

namespace {

class FastWorker final : public platform::Worker {
 public:
  explicit FastWorker(Conductor& conductor) : mConductor(conductor) {}
  ~FastWorker() override { mConductor.cancel(this); }

  void repeatAt(platform::HostTime first, Repetition task) override { mConductor.post(first, this, std::move(task)); }

  void cancel() override { mConductor.cancel(this); }

 private:
  Conductor& mConductor;
};

class FastWaiter final : public platform::Waiter {
 public:
  explicit FastWaiter(Conductor& conductor) : mConductor(conductor) {}

  void signal() override { mConductor.signal(mSignals); }
  bool wait(platform::HostTime limit) override { return mConductor.wait(mSignals, limit); }

 private:
  Conductor& mConductor;
  Conductor::Signals mSignals;
};

}  // namespace

FastPace::FastPace() : mConductor(std::make_unique<Conductor>()) {}

FastPace::~FastPace() = default;

const platform::Clock& FastPace::clock() const {
  return *mConductor;
}

std::unique_ptr<platform::Worker> FastPace::makeWorker(const std::string&, Priority) {
  return std::make_unique<FastWorker>(*mConductor);
}

std::unique_ptr<platform::Waiter> FastPace::makeWaiter() {
  return std::make_unique<FastWaiter>(*mConductor);
}

}  // namespace orvane::host
