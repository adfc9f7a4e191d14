// A file in memory that tells one user's name and password to a server that this process starts, in the
// format of Apache's htpasswd with "{SHA}": base64 of the password's SHA-1. The server reads the file at
// /proc/self/fd/NUMBER, so it lies in no folder and is gone with the two processes.
//
// For passwords that nobody can guess alone: such a digest is quick to check, which the server does at each
// request, and as quick to try words against.
#pragma once

#include <string>

namespace backends::rclone {

class PasswordFile {
  public:
    PasswordFile(const std::string& user, const std::string& password); // raises std::system_error
    ~PasswordFile();
    PasswordFile(const PasswordFile&) = delete;
    PasswordFile& operator=(const PasswordFile&) = delete;

    // Of this process and, where it is handed down under the same number, of the server. Closed at exec.
    int descriptor() const { return file; }
    std::string path() const { return "/proc/self/fd/" + std::to_string(file); }

  private:
    int file;
};

} // namespace backends::rclone
