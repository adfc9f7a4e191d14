// What the local side asks of the system about files below a folder that it holds open: no link is followed,
// and nothing outside of the folder is reached, whatever its names are replaced by meanwhile (openat2(2)).
// Any thread.
#pragma once

#include "service/LocalSide.h"
#include "service/Outcome.h"

#include <sys/stat.h>

#include <optional>
#include <string>
#include <utility>

namespace service {

// Owns an open file; -1: none.
class File {
  public:
    explicit File(int number) : file(number) {}
    File(File&& other) noexcept : file(std::exchange(other.file, -1)) {}
    ~File() {
        if (file >= 0) ::close(file);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    explicit operator bool() const { return file >= 0; }
    int operator*() const { return file; }
    int release() { return std::exchange(file, -1); }

  private:
    int file;
};

Failure failureOf(int error, const std::string& path);

// None with errno.
File openBelow(int folder, const char* path, int flags, mode_t mode = 0);

// Of a file's or a folder's name in an open folder; "": of the open one itself. 0, or the error.
int statusOf(int folder, const char* name, struct statx& status);
LocalRecord recordOf(const struct statx& status);

// What a file takes over from the one whose place it takes: who may do what with it, and its attributes.
// Errors count for nothing: a file system may hold less.
void takeAlong(int from, int to);

// Whether nobody has the file open for writing: then a lease on reading is granted. None: no leases here.
std::optional<bool> isAtRest(int file);

template <typename Bytes>
std::string hexOf(const Bytes& bytes) {
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : bytes)
        (text += digits[byte >> 4]) += digits[byte & 15];
    return text;
}

} // namespace service
