// SPDX-License-Identifier: MIT
#include "platform/host/report/Notices.h"

#include <utility>

namespace orvane::host {

/// The entry of one subscriber, owned by its `Subscription`. May outlive the list.
class Notices::Registration {
 public:
  Registration(const std::shared_ptr<List>& list, std::unique_ptr<platform::Trigger> trigger)
      : mList(list), mTrigger(std::move(trigger)) {
    const std::lock_guard lock(list->mutex);
    list->triggers.push_back(mTrigger.get());
  }
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;
  ~Registration() {
    if (const auto list = mList.lock()) {
      const std::lock_guard lock(list->mutex);
      std::erase(list->triggers, mTrigger.get());
    }
    // The trigger is destroyed after unlocking, because its destructor waits for a running notice, which may itself
    // subscribe or announce.
  }

  void fire() const { mTrigger->fire(); }

 private:
  const std::weak_ptr<List> mList;
  const std::unique_ptr<platform::Trigger> mTrigger;
};

platform::Subscription Notices::subscribe(std::function<void()> notice, bool immediately) {
  const auto registration = std::make_shared<Registration>(mList, mWorker.worker().makeTrigger(std::move(notice)));
  if (immediately) registration->fire();
  return platform::Subscription(registration);
}

void Notices::announce() {
  const std::lock_guard lock(mList->mutex);
  for (platform::Trigger* trigger : mList->triggers) trigger->fire();
}

}  // namespace orvane::host
