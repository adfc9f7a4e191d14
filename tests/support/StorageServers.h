// Real storages on the loopback, each a folder of this machine behind a server of its own, and a
// configuration of rclone that knows them all: "sftp" (OpenSSH), "webdav" (rclone's server, which tells times
// by the second and no digests), "disk" (no server), "secret" (encrypted, on top of disk or sftp). A server
// starts when its storage is asked for.
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

// A port of the loopback that nobody has, and that nobody is given by chance until a server takes it: below
// those for outgoing connections, and another for each process.
inline int freePort() {
    static int next = ::getpid() * 4;
    while (true) {
        const int port = 10000 + next++ % 10000;
        const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = loopback(port);
        const bool isFree = ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        ::close(socket);
        if (isFree) return port;
    }
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
    explicit StorageServers(std::string belowSecret = "disk") : secretLiesIn(std::move(belowSecret)) {
        // One processor is enough for what rclone does here, and takes a sixth less of it.
        for (const auto& [name, value] : {std::pair("GOMAXPROCS", "1"), {"TCELL_MINIMIZE", "1"}})
            ::setenv(name, value, 1);
        for (const char* name : {"sftp", "webdav", "disk"})
            std::filesystem::create_directories(folder / name);
        std::ofstream(configuration())
            << "[disk]\ntype = alias\nremote = " << folder.path("disk")
            << "\n[sftp]\ntype = sftp\nhost = 127.0.0.1\nport = " << sftpPort << "\nuser = " << userName()
            << "\nkey_file = " << folder.path("key") << "\nknown_hosts_file = " << folder.path("known_hosts")
            << "\nskip_links = true\nshell_type = unix\n"
            << "[webdav]\ntype = webdav\nurl = http://127.0.0.1:" << webdavPort << "\nvendor = other\n"
            << "[secret]\ntype = crypt\nremote = " << (secretLiesIn == "sftp" ? "sftp:" : "")
            << folder.path(secretLiesIn + "/secret")
            << "\npassword = QvwqdIeuqxM3Rioq23YEWJJY93D6IScUIYw\n"; // "a password", as rclone writes it
    }

    // rclone's name of a storage, as the service is given it.
    std::string storage(const std::string& name) {
        if (name == "webdav" && !webdav) startWebdav();
        if ((name == "sftp" || (name == "secret" && secretLiesIn == "sftp")) && !sftp) startSftp();
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
        if (!std::filesystem::exists(folder / "key")) makeKeys();
        std::error_code ignored;
        std::filesystem::create_directories("/run/sshd", ignored); // root's server insists on it
        // -r: it does not start itself anew for each connection, a fifth of what one takes.
        sftp = std::make_unique<Program>(std::vector<std::string>{
            "/bin/sh", "-c",
            "exec /usr/sbin/sshd -D -e -r -f /dev/null -p " + std::to_string(sftpPort) + " -h " +
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
            "127.0.0.1:" + std::to_string(webdavPort), "--log-level", "ERROR"});
        wait(webdavPort);
    }

  private:
    static std::string userName() {
        std::string name = run("id -un").output;
        name.pop_back();
        return name;
    }
    void makeKeys() const {
        for (const char* name : {"key", "host_key"})
            run("ssh-keygen -q -t ed25519 -N '' -f " + folder.path(name));
        std::ofstream(folder / "known_hosts")
            << "[127.0.0.1]:" << sftpPort << " " << contentOf(folder / "host_key.pub");
    }
    static void wait(int port) {
        if (!eventually([port] { return isServed(port); }))
            throw std::runtime_error("a server did not start");
    }

    const std::string secretLiesIn;
    TemporaryFolder folder;
    const int sftpPort = freePort();
    const int webdavPort = freePort();
    std::unique_ptr<Program> sftp;
    std::unique_ptr<Program> webdav;
};

} // namespace support
