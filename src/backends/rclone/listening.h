// Who listens on this machine's loopback. A name and a password prove nothing to whoever asks: a program of
// another person that took the port first would be told both.
#pragma once

namespace backends::rclone {

// Whether a process of this user's listens at the port of 127.0.0.1, as proc_pid_net(5)'s tcp says it; false
// when that cannot be read. Costs a walk over the machine's IPv4 sockets.
bool listensHere(int port);

} // namespace backends::rclone
