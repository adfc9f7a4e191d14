#include "backends/rclone/PasswordFile.h"

#include <openssl/evp.h>
#include <sys/mman.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <unistd.h>

namespace backends::rclone {
namespace {

constexpr int digestSize = 20;

std::string lineOf(const std::string& user, const std::string& password) {
    std::array<unsigned char, digestSize> digest{};
    std::array<unsigned char, (digestSize + 2) / 3 * 4 + 1> text{};
    if (::EVP_Digest(password.data(), password.size(), digest.data(), nullptr, ::EVP_sha1(), nullptr) != 1)
        throw std::system_error(std::make_error_code(std::errc::not_supported), "SHA-1");
    ::EVP_EncodeBlock(text.data(), digest.data(), digestSize);
    return user + ":{SHA}" + reinterpret_cast<const char*>(text.data()) + "\n";
}

} // namespace

PasswordFile::PasswordFile(const std::string& user, const std::string& password)
    : file(::memfd_create("password", MFD_CLOEXEC)) {
    const std::string line = lineOf(user, password);
    if (file >= 0 && ::write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size())) return;
    const int error = errno;
    if (file >= 0) ::close(file);
    throw std::system_error(error, std::generic_category(), "a file in memory");
}

PasswordFile::~PasswordFile() { ::close(file); }

} // namespace backends::rclone
