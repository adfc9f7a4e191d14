#include "backends/dbus/Bus.h"

#include <sys/eventfd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <pthread.h>
#include <system_error>
#include <unistd.h>

namespace backends::dbus {

BusLink::BusLink()
    : connection(sdbus::createSessionBusConnection()), wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wakeUp < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

BusLink::~BusLink() { ::close(wakeUp); }

void BusLink::wake() {
    const std::uint64_t one = 1;
    // A full counter means that the thread is about to wake anyway.
    [[maybe_unused]] const ssize_t written = ::write(wakeUp, &one, sizeof one);
}

void BusLink::wakeIfUnwritten() {
    if ((connection->getEventLoopPollData().events & POLLOUT) != 0) wake();
}

Bus::Bus(std::string threadName) : name(std::move(threadName)) {}

Bus::~Bus() {
    ending = true;
    wake();
    if (thread.joinable()) thread.join();
}

bool isWithoutAnswer(const sdbus::Error& error) {
    return error.getName() == "org.freedesktop.DBus.Error.NoReply" ||
           error.getName() == "org.freedesktop.DBus.Error.Timeout";
}

void Bus::start(std::function<void()> onLost) {
    lostHandler = std::move(onLost);
    thread = std::thread([this] { run(); });
    pthread_setname_np(thread.native_handle(), name.substr(0, 15).c_str());
}

void Bus::run() {
    reader = std::this_thread::get_id();
    try {
        while (!ending) {
            while (link->connection->processPendingRequest() && !ending) {
            }
            const auto wanted = link->connection->getEventLoopPollData();
            std::array<pollfd, 2> files{pollfd{wanted.fd, wanted.events, 0}, pollfd{link->wakeUp, POLLIN, 0}};
            if (::poll(files.data(), files.size(), wanted.getPollTimeout()) < 0 && errno != EINTR) break;
            std::uint64_t count = 0;
            if ((files[1].revents & POLLIN) != 0 && ::read(link->wakeUp, &count, sizeof count) < 0 &&
                errno != EAGAIN)
                break;
        }
    } catch (const sdbus::Error&) {
        // The bus has gone; every send says so from now on.
    }
    reader = std::thread::id();
    if (ending) return;
    lost = true;
    if (lostHandler) lostHandler();
}

} // namespace backends::dbus
