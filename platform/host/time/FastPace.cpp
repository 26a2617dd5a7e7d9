// SPDX-License-Identifier: MIT
#include "platform/host/time/FastPace.h"

#include <utility>

#include "platform/Worker.h"
#include "platform/host/time/Conductor.h"
#include "platform/host/time/FiredTask.h"

namespace orvane::host {

namespace {

class FastTrigger final : public platform::Trigger {
 public:
  FastTrigger(std::shared_ptr<Conductor> conductor, Conductor::Owner owner, platform::Worker::Task task)
      : mConductor(std::move(conductor)), mTask(std::make_shared<FiredTask>(std::move(task))) {
    mConductor->addTrigger(owner, mTask);
  }
  ~FastTrigger() override { mConductor->removeTrigger(*mTask); }

  void fire() override { mConductor->fire(*mTask); }

 private:
  const std::shared_ptr<Conductor> mConductor;
  const std::shared_ptr<FiredTask> mTask;
};

class FastWorker final : public platform::Worker {
 public:
  explicit FastWorker(std::shared_ptr<Conductor> conductor) : mConductor(std::move(conductor)) {}
  ~FastWorker() override { mConductor->forget(this); }

  void repeatAt(platform::HostTime first, Repetition task) override { mConductor->post(first, this, std::move(task)); }
  void cancel() override { mConductor->cancel(this); }
  std::unique_ptr<platform::Trigger> makeTrigger(Task task) override {
    return std::make_unique<FastTrigger>(mConductor, this, std::move(task));
  }

 private:
  const std::shared_ptr<Conductor> mConductor;
};

class FastWaiter final : public platform::Waiter {
 public:
  explicit FastWaiter(std::shared_ptr<Conductor> conductor) : mConductor(std::move(conductor)) {}

  void signal() override { mConductor->signal(mSignals); }
  bool wait(platform::HostTime limit) override { return mConductor->wait(mSignals, limit); }

 private:
  const std::shared_ptr<Conductor> mConductor;
  Conductor::Signals mSignals;
};

}  // namespace

FastPace::FastPace() : mConductor(Conductor::start()) {}

FastPace::~FastPace() {
  mConductor->quit();
}

const platform::Clock& FastPace::clock() const {
  return *mConductor;
}

std::unique_ptr<platform::Worker> FastPace::makeWorker(const std::string&, Priority) {
  return std::make_unique<FastWorker>(mConductor);
}

std::unique_ptr<platform::Waiter> FastPace::makeWaiter() {
  return std::make_unique<FastWaiter>(mConductor);
}

}  // namespace orvane::host
