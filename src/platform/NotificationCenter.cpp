#include "platform/NotificationCenter.h"

namespace platform {

Subscription NotificationCenter::addObserver(std::string_view name, const void* sender, Handler handler) {
    auto observer = std::make_shared<const Observer>(Observer{std::string(name), sender, std::move(handler)});
    {
        const std::lock_guard guard(observers->lock);
        observers->list.push_back(observer);
    }
    return Subscription([shared = observers, observer] {
        const std::lock_guard guard(shared->lock);
        std::erase(shared->list, observer);
    });
}

void NotificationCenter::post(std::string_view name, const void* sender) {
    std::vector<std::shared_ptr<const Observer>> called;
    {
        const std::lock_guard guard(observers->lock);
        for (const auto& observer : observers->list)
            if (observer->name == name && (observer->sender == nullptr || observer->sender == sender))
                called.push_back(observer);
    }
    for (const auto& observer : called)
        observer->handler();
}

} // namespace platform
