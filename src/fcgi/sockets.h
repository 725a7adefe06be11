// Sockets: where requests come in, and how the server hands a connection to one of its processes.
#pragma once

#include <sys/epoll.h>

#include <string>

namespace quillet {

// A socket that listens at `address`: a path (anything with a "/"; an old socket in its place is removed), a port of
// this machine only, or ADDRESS:PORT. Below 0, with a message on standard error, when that fails.
[[nodiscard]] int listen_at(const std::string &address, int mode);

// The listening socket that the process was started with: systemd's first one (sd_listen_fds(3)), or descriptor 0.
// Below 0 when there is none.
[[nodiscard]] int handed_over_socket();

// The processes wait for requests at one epoll instance. A connection wakes one of them; another one would be woken
// for the same connection as long as nobody has accepted it. Whoever has accepted lets the next connection wake.
constexpr unsigned events_of_listener = EPOLLIN | EPOLLONESHOT;
void wake_next_for(int listener, int events);

// Takes the next connection of a listening socket; below 0 when nobody waits.
[[nodiscard]] int accept_connection(int listener);

// Sends a connection to whoever reads the other end of the channel, and closes it here; false, and it stays open,
// when the channel is full.
[[nodiscard]] bool pass_connection(int channel, int connection);

// The next connection of the channel; below 0 when there is none.
[[nodiscard]] int take_connection(int channel);

}  // namespace quillet
