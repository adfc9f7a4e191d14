// The main thread's queue: work runs in Qt's event loop. The application outlives it.
#pragma once

#include "platform/Queue.h"

namespace backends::qt {

class MainQueue final : public platform::Queue {
  public:
    void dispatch(Work work) override;
    void dispatchAfter(std::chrono::milliseconds delay, Work work) override;
    void dispatchAndWait(Work work) override;
};

} // namespace backends::qt
