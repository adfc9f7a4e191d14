// The digests of files here.
#include "service/LocalSide.h"
#include "service/local_files.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <vector>

namespace service {

Outcome<std::vector<unsigned char>> LocalSide::digestBy(const EVP_MD* algorithm, const std::string& path,
                                                        const LocalRecord& expected) const {
    const File file = openBelow(rootFile, path.c_str(), O_RDONLY | O_NONBLOCK | O_NOATIME);
    const File readable =
        file || errno != EPERM ? File(-1) : openBelow(rootFile, path.c_str(), O_RDONLY | O_NONBLOCK);
    const int number = file ? *file : *readable;
    if (number < 0) return failureOf(errno, path);
    struct statx status {};
    if (statusOf(number, "", status) != 0 || !(recordOf(status) == expected))
        return Failure{Trouble::missing, path + " has changed"};
    const std::unique_ptr<EVP_MD_CTX, decltype(&::EVP_MD_CTX_free)> context(::EVP_MD_CTX_new(),
                                                                            ::EVP_MD_CTX_free);
    ::EVP_DigestInit_ex(context.get(), algorithm, nullptr);
    // Most files are small; the room for a large one is not to be cleared for each of them.
    constexpr std::size_t most = std::size_t{1} << 18U;
    std::vector<unsigned char> buffer(std::min<std::size_t>(most, expected.size + 1));
    for (;;) {
        const ssize_t count = ::read(number, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failureOf(errno, path);
        if (count == 0) break;
        ::EVP_DigestUpdate(context.get(), buffer.data(), static_cast<std::size_t>(count));
    }
    if (statusOf(number, "", status) != 0 || !(recordOf(status) == expected))
        return Failure{Trouble::missing, path + " has changed"};
    std::vector<unsigned char> digest(EVP_MAX_MD_SIZE);
    unsigned int length = 0;
    ::EVP_DigestFinal_ex(context.get(), digest.data(), &length);
    digest.resize(length);
    return digest;
}

Outcome<Digest> LocalSide::digest(const std::string& path, const LocalRecord& expected) const {
    const auto bytes = digestBy(::EVP_sha1(), path, expected);
    if (!bytes) return bytes.failure();
    Digest digest{};
    std::copy_n((*bytes).begin(), digest.size(), digest.begin());
    return digest;
}

bool LocalSide::knowsDigest(const std::string& algorithm) {
    return ::EVP_get_digestbyname(algorithm.c_str()) != nullptr;
}

Outcome<std::string> LocalSide::digest(const std::string& path, const LocalRecord& expected,
                                       const std::string& algorithm) const {
    const EVP_MD* const known = ::EVP_get_digestbyname(algorithm.c_str());
    if (known == nullptr) return Failure{Trouble::impossible, "no digest of the name " + algorithm};
    const auto bytes = digestBy(known, path, expected);
    return bytes ? hexOf(*bytes) : Outcome<std::string>(bytes.failure());
}

} // namespace service
