// Real storages on the loopback, each a folder of this machine behind a server of its own, and a
// configuration of rclone that knows them all: "sftp" (OpenSSH), "webdav" (rclone's server, which tells times
// by the second and no digests), "secret" (encrypted, on top of sftp), "disk" (no server).
#pragma once

#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace support {

inline sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

// A port of the loopback that nobody has at the moment.
inline int freePort() {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    auto* const general = reinterpret_cast<sockaddr*>(&address);
    const bool has = ::bind(socket, general, length) == 0 && ::getsockname(socket, general, &length) == 0;
    ::close(socket);
    if (!has) throw std::runtime_error("no free port");
    return ntohs(address.sin_port);
}

inline bool isServed(int port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    const bool is = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return is;
}

class StorageServers {
  public:
    explicit StorageServers(bool withServers = true) {
        for (const char* name : {"sftp", "webdav", "disk"})
            std::filesystem::create_directories(folder / name);
        std::ofstream(configuration()) << "[disk]\ntype = alias\nremote = " << folder.path("disk") << "\n";
        if (!withServers) return;
        makeKeys();
        startSftp();
        startWebdav();
        std::ofstream file(configuration(), std::ios::app);
        file << "[sftp]\ntype = sftp\nhost = 127.0.0.1\nport = " << sftpPort << "\nuser = " << userName()
             << "\nkey_file = " << folder.path("key") << "\nknown_hosts_file = " << folder.path("known_hosts")
             << "\nskip_links = true\nshell_type = unix\n"
             << "[webdav]\ntype = webdav\nurl = http://127.0.0.1:" << webdavPort << "\nvendor = other\n"
             << "[secret]\ntype = crypt\nremote = sftp:" << folder.path("sftp/secret")
             << "\npassword = " << obscured("a password") << "\n";
    }

    // rclone's name of a storage, as the service is given it.
    std::string storage(const std::string& name) const {
        if (name == "sftp") return "sftp:" + folder.path("sftp");
        return name + ":";
    }
    // Where its files lie; of an encrypted storage nothing that can be read.
    std::filesystem::path files(const std::string& name) const { return folder / name; }
    std::string configuration() const { return folder.path("rclone.conf"); }
    // Of this process, for an rclone that knows them.
    std::vector<std::string> environment() const {
        std::vector<std::string> all;
        for (char** entry = ::environ; *entry; ++entry)
            all.emplace_back(*entry);
        all.push_back("RCLONE_CONFIG=" + configuration());
        return all;
    }
    std::string sshOptions() const {
        return "-p " + std::to_string(sftpPort) + " -i " + folder.path("key") +
               " -o UserKnownHostsFile=" + folder.path("known_hosts");
    }

    void stopSftp() { sftp.reset(); }
    void startSftp() {
        std::error_code ignored;
        std::filesystem::create_directories("/run/sshd", ignored); // root's server insists on it
        sftp = std::make_unique<Program>(std::vector<std::string>{
            "/bin/sh", "-c",
            "exec /usr/sbin/sshd -D -e -f /dev/null -p " + std::to_string(sftpPort) + " -h " +
                folder.path("host_key") + " -o ListenAddress=127.0.0.1 -o AuthorizedKeysFile=" +
                folder.path("key.pub") + " -o StrictModes=no -o UsePAM=no -o PidFile=none -o LogLevel=ERROR" +
                " -o MaxStartups=100 -o PermitRootLogin=prohibit-password -o 'Subsystem=sftp "
                "internal-sftp'"});
        wait(sftpPort);
    }
    void stopWebdav() { webdav.reset(); }
    void startWebdav() {
        webdav = std::make_unique<Program>(std::vector<std::string>{
            "rclone", "serve", "webdav", folder.path("webdav"), "--config", "/dev/null", "--addr",
            "127.0.0.1:" + std::to_string(webdavPort), "--dir-cache-time", "0s", "--log-level", "ERROR"});
        wait(webdavPort);
    }

  private:
    static std::string userName() {
        std::string name = run("id -un").output;
        name.pop_back();
        return name;
    }
    static std::string obscured(const std::string& password) {
        return run("rclone --config /dev/null obscure '" + password + "'").output;
    }
    void makeKeys() {
        for (const char* name : {"key", "host_key"})
            run("ssh-keygen -q -t ed25519 -N '' -f " + folder.path(name));
        std::ofstream(folder / "known_hosts")
            << "[127.0.0.1]:" << sftpPort << " " << contentOf(folder / "host_key.pub");
    }
    static void wait(int port) {
        if (!eventually([port] { return isServed(port); }))
            throw std::runtime_error("a server did not start");
    }

    TemporaryFolder folder;
    const int sftpPort = freePort();
    const int webdavPort = freePort();
    std::unique_ptr<Program> sftp;
    std::unique_ptr<Program> webdav;
};

} // namespace support
