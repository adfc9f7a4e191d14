// The uploading folder: what is laid into it moves into the space, under the same path or a free name beside.
//
// A file goes once it has rested and nobody writes to it any more. What cannot be brought up stays, and is
// tried again, more and more seldom. The thread sleeps while the folder is empty.
#pragma once

#include "platform/Clock.h"
#include "platform/DirectoryEvents.h"
#include "service/Carrier.h"

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace service {

class UploadingFolder {
  public:
    // The folder exists, by its canonical path. The carrier, the events and the clock outlive the object.
    UploadingFolder(std::filesystem::path place, Carrier& wantedCarrier,
                    platform::DirectoryEvents* directoryEvents, const platform::Clock& itsClock);
    ~UploadingFolder();

    const std::filesystem::path& folder() const { return place; }
    // Something is another in it.
    void noticed();
    // Between the two nothing follows from what happens in it; what happened meanwhile is looked at then.
    void holdEvents(bool hold);

  private:
    struct Rest {
        std::string record;
        platform::Clock::TimePoint since;
    };

    void run(const std::stop_token& stop);
    bool lookAtIt(); // whether something is in it
    bool hasRested(const std::filesystem::path& item, std::map<std::string, Rest>& now) const;

    const std::filesystem::path place;
    Carrier& carrier;
    platform::DirectoryEvents* const events;
    const platform::Clock& clock;
    std::map<std::string, Rest> rests; // of the thread alone

    std::mutex lock; // of all below
    std::condition_variable_any wake;
    bool isNoticed = true;
    bool holdsEvents = false;
    std::jthread thread; // last: it uses the rest
};

} // namespace service
