// A way to a server of the loopback that breaks when the test wants it to: every connection through it can be
// cut, at once or in the middle of what the server answers, and none gets through for a while.
#pragma once

#include "tests/support/StorageServers.h"

#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <poll.h>
#include <thread>
#include <vector>

namespace support {

class FlakyWire {
  public:
    explicit FlakyWire(int serverPort) : target(loopback(serverPort)) {
        listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int yes = 1;
        ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        const sockaddr_in address = loopback(portNumber);
        if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(listener, 64) != 0)
            throw std::runtime_error("the wire cannot listen");
        thread = std::jthread([this](const std::stop_token& stop) { run(stop); });
    }
    ~FlakyWire() {
        thread.request_stop();
        thread.join();
        cutAll();
        ::close(listener);
    }
    int port() const { return portNumber; }

    // Once the server has sent so many bytes more; 0: now.
    void cutAfter(std::int64_t bytes) { left = bytes; }
    void setDown(bool down) {
        isDown = down;
        if (down) cutAfter(0);
    }

  private:
    void run(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::vector<pollfd> all{{listener, POLLIN, 0}};
            for (const auto& [from, to] : others)
                all.push_back({from, POLLIN, 0});
            constexpr int step = 10; // milliseconds, until an order from another thread is seen
            ::poll(all.data(), all.size(), step);
            if (left <= 0) {
                cutAll();
                left = INT64_MAX;
                continue;
            }
            if (all[0].revents != 0) accept();
            for (std::size_t i = 1; i < all.size(); ++i)
                if (all[i].revents != 0) forward(all[i].fd);
        }
    }
    void accept() {
        const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) return;
        const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (isDown || ::connect(server, reinterpret_cast<const sockaddr*>(&target), sizeof target) != 0) {
            ::close(client);
            ::close(server);
            return;
        }
        others[client] = server;
        others[server] = client;
        servers[server] = true;
    }
    void forward(int from) {
        const auto found = others.find(from);
        if (found == others.end()) return;
        std::array<char, 16384> bytes;
        const ssize_t count = ::recv(from, bytes.data(), bytes.size(), 0);
        ssize_t allowed = count;
        if (servers.contains(from) && count > 0) {
            allowed = std::min<std::int64_t>(count, left);
            left -= allowed;
        }
        for (ssize_t sent = 0; sent < allowed;) {
            const ssize_t now = ::send(found->second, bytes.data() + sent,
                                       static_cast<std::size_t>(allowed - sent), MSG_NOSIGNAL);
            if (now <= 0) return close(from);
            sent += now;
        }
        if (count <= 0) close(from);
    }
    void close(int one) {
        const int other = others[one];
        for (const int end : {one, other}) {
            others.erase(end);
            servers.erase(end);
            ::close(end);
        }
    }
    void cutAll() {
        while (!others.empty())
            close(others.begin()->first);
    }

    const int portNumber = freePort();
    const sockaddr_in target;
    int listener = -1;
    std::atomic<std::int64_t> left = INT64_MAX;
    std::atomic<bool> isDown = false;
    std::map<int, int> others; // of the thread alone, as the next: each end with the other one
    std::map<int, bool> servers;
    std::jthread thread; // last: it uses the rest
};

} // namespace support
