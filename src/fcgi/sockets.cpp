#include "fcgi/sockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace quillet {

namespace {

// The system cuts it to what it allows (net.core.somaxconn).
constexpr int backlog = 4096;

int failed(const std::string &address, const char *reason) {
  std::fprintf(stderr, "quillet-fcgi: %s: %s\n", address.c_str(), reason);
  return -1;
}

int failed_and_closed(int descriptor, const std::string &address) {
  const int error = errno;
  close(descriptor);
  return failed(address, std::strerror(error));
}

int new_socket(int family) { return socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }

int listen_at_path(const std::string &path, int mode) {
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  if (path.size() >= sizeof name.sun_path) return failed(path, "the path is too long for a socket");
  std::copy(path.begin(), path.end(), name.sun_path);
  struct stat status;
  if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) unlink(path.c_str());
  const int made = new_socket(AF_UNIX);
  if (made < 0) return failed(path, std::strerror(errno));
  // Nobody gets in before the mode is set.
  const mode_t mask = umask(0777);
  const int bound = bind(made, reinterpret_cast<const sockaddr *>(&name), sizeof name);
  umask(mask);
  if (bound != 0 || chmod(path.c_str(), static_cast<mode_t>(mode)) != 0 || listen(made, backlog) != 0) {
    return failed_and_closed(made, path);
  }
  return made;
}

// An address as the system wants it, of either family.
struct port_address {
  sockaddr_storage storage{};
  socklen_t size = 0;  // 0: none
};

port_address read_port_address(const std::string &address) {
  const std::size_t colon = address.rfind(':');
  std::string host = colon == std::string::npos ? "127.0.0.1" : address.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  const std::string digits = address.substr(colon + 1);  // none gives 0
  unsigned port = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  port_address read;
  if (error != std::errc() || end != digits.data() + digits.size() || port == 0 || port > 65535) return read;
  sockaddr_in four{};
  sockaddr_in6 six{};
  if (inet_pton(AF_INET, host.c_str(), &four.sin_addr) == 1) {
    four.sin_family = AF_INET;
    four.sin_port = htons(static_cast<std::uint16_t>(port));
    std::memcpy(&read.storage, &four, read.size = sizeof four);
  } else if (inet_pton(AF_INET6, host.c_str(), &six.sin6_addr) == 1) {
    six.sin6_family = AF_INET6;
    six.sin6_port = htons(static_cast<std::uint16_t>(port));
    std::memcpy(&read.storage, &six, read.size = sizeof six);
  }
  return read;
}

int listen_at_port(const std::string &address) {
  const port_address name = read_port_address(address);
  if (name.size == 0) return failed(address, "neither a path nor a port nor ADDRESS:PORT");
  const int made = new_socket(name.storage.ss_family);
  if (made < 0) return failed(address, std::strerror(errno));
  const int on = 1;
  setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(made, reinterpret_cast<const sockaddr *>(&name.storage), name.size) != 0 || listen(made, backlog) != 0) {
    return failed_and_closed(made, address);
  }
  return made;
}

bool is_listening(int descriptor) {
  int listening = 0;
  socklen_t size = sizeof listening;
  return getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) == 0 && listening != 0;
}

// The one byte that goes with a connection, and the room for the connection itself.
struct passed_message {
  passed_message() {
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
  }
  char byte = 0;
  iovec piece = {&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message = {};
};

}  // namespace

int listen_at(const std::string &address, int mode) {
  return address.find('/') != std::string::npos ? listen_at_path(address, mode) : listen_at_port(address);
}

int handed_over_socket() {
  const char *process = std::getenv("LISTEN_PID");
  const char *count = std::getenv("LISTEN_FDS");
  constexpr int first_of_systemd = 3;
  const bool is_systemds =
      process != nullptr && count != nullptr && std::atol(process) == getpid() && std::atoi(count) > 0;
  const int descriptor = is_systemds ? first_of_systemd : STDIN_FILENO;
  return is_listening(descriptor) ? descriptor : -1;
}

void wake_next_for(int listener, int events) {
  epoll_event event{};
  event.events = events_of_listener;
  event.data.fd = listener;
  epoll_ctl(events, EPOLL_CTL_MOD, listener, &event);
}

int accept_connection(int listener) { return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC); }

bool pass_connection(int channel, int connection) {
  passed_message passed;
  cmsghdr *const header = CMSG_FIRSTHDR(&passed.message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof connection);
  std::memcpy(CMSG_DATA(header), &connection, sizeof connection);
  if (sendmsg(channel, &passed.message, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) return false;
  close(connection);
  return true;
}

int take_connection(int channel) {
  passed_message passed;
  if (recvmsg(channel, &passed.message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC) <= 0) return -1;
  const cmsghdr *const header = CMSG_FIRSTHDR(&passed.message);
  if (header == nullptr || header->cmsg_type != SCM_RIGHTS) return -1;
  int connection = -1;
  std::memcpy(&connection, CMSG_DATA(header), sizeof connection);
  return connection;
}

}  // namespace quillet
