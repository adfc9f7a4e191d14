#include "backends/posix/NetworkEvents.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace backends::posix {
namespace {

constexpr int quietMilliseconds = 500; // a network that comes tells of several things

// Whether one of the waiting messages tells of something that came. What was lost may have been one.
bool readsComing(int link) {
    bool came = false;
    alignas(nlmsghdr) std::array<char, 16384> buffer{};
    for (;;) {
        const ssize_t size = ::recv(link, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (size < 0 && errno == ENOBUFS) {
            came = true;
            continue;
        }
        if (size <= 0) return came;
        auto length = static_cast<std::uint32_t>(size);
        const auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data());
        for (; NLMSG_OK(message, length); message = NLMSG_NEXT(message, length))
            came = came || message->nlmsg_type == RTM_NEWADDR || message->nlmsg_type == RTM_NEWROUTE;
    }
}

} // namespace

NetworkEvents::NetworkEvents(std::function<void()> came)
    : handler(std::move(came)), link(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)),
      end(::eventfd(0, EFD_CLOEXEC)) {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
    if (link < 0 || end < 0 || ::bind(link, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        return;
    thread = std::thread([this] { run(); });
}

NetworkEvents::~NetworkEvents() {
    if (thread.joinable()) {
        ::eventfd_write(end, 1);
        thread.join();
    }
    if (link >= 0) ::close(link);
    if (end >= 0) ::close(end);
}

void NetworkEvents::run() const {
    bool came = false;
    for (;;) {
        std::array<pollfd, 2> files{pollfd{link, POLLIN, 0}, pollfd{end, POLLIN, 0}};
        const int ready = ::poll(files.data(), files.size(), came ? quietMilliseconds : -1);
        if (ready < 0 && errno != EINTR) return;
        if (files[1].revents != 0) return;
        if (ready > 0) {
            came = readsComing(link) || came;
        } else if (ready == 0 && came) {
            came = false;
            handler();
        }
    }
}

} // namespace backends::posix
