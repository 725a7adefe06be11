#include "database/page_channel.h"

#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace quillet {

namespace {

constexpr int status_refused = 2;

// The socket's end, unless it comes in the middle, is that of the page.
[[noreturn]] void end_with_page() { std::_Exit(0); }

// Fewer bytes only at the socket's end.
std::size_t receive_bytes(char *bytes, std::size_t size) {
  std::size_t received = 0;
  while (received < size) {
    const ssize_t piece = recv(database_socket, bytes + received, size - received, 0);
    if (piece < 0 && errno == EINTR) continue;
    if (piece <= 0) break;
    received += static_cast<std::size_t>(piece);
  }
  return received;
}

database_request receive_header() {
  database_request request;
  const std::size_t received = receive_bytes(reinterpret_cast<char *>(&request), sizeof request);
  if (received == 0) end_with_page();
  if (received < sizeof request) refuse();
  return request;
}

void send_number(std::uint64_t number) {
  const auto *bytes = reinterpret_cast<const char *>(&number);
  for (std::size_t sent = 0; sent < sizeof number;) {
    const ssize_t piece = send(database_socket, bytes + sent, sizeof number - sent, MSG_NOSIGNAL);
    if (piece < 0 && errno == EINTR) continue;
    if (piece < 0) end_with_page();
    sent += static_cast<std::size_t>(piece);
  }
}

// Copies a cell, or a part of it, without its tabs; gives the end of the copy.
char *copy_cell(std::string_view cell, char *to) { return std::replace_copy(cell.begin(), cell.end(), to, '\t', ' '); }

}  // namespace

bool is_started_by_page() {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(database_socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.pid == getppid();
}

void refuse() { std::_Exit(status_refused); }

page_channel::page_channel() {
  struct stat file {};
  if (fstat(database_window, &file) != 0 || file.st_size != static_cast<off_t>(database_window_size)) refuse();
  void *const window = mmap(nullptr, database_window_size, PROT_READ | PROT_WRITE, MAP_SHARED, database_window, 0);
  if (window == MAP_FAILED) refuse();
  close(database_window);
  window_ = static_cast<char *>(window);
}

database_request_kind page_channel::receive(std::string &bytes) {
  const database_request request = receive_header();
  bytes.clear();
  // Memory for what has arrived, not for what is announced.
  constexpr std::size_t smallest_piece = 65536;
  while (bytes.size() < request.size) {
    const std::size_t before = bytes.size();
    const std::size_t piece = std::min(request.size - before, std::max(before, smallest_piece));
    bytes.resize(before + piece);
    if (receive_bytes(bytes.data() + before, piece) < piece) refuse();
  }
  return request.kind;
}

void page_channel::send_window() {
  send_number(filled_);
  filled_ = 0;
}

// Gives the room in the window, at least a byte: has the page read it when it is full.
std::size_t page_channel::make_room() {
  if (filled_ == database_window_size) {
    send_window();
    const database_request request = receive_header();
    if (request.kind != database_request_kind::more || request.size != 0) refuse();
  }
  return database_window_size - filled_;
}

void page_channel::put_bytes(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t size = std::min(bytes.size(), make_room());
    std::memcpy(window_ + filled_, bytes.data(), size);
    filled_ += size;
    bytes.remove_prefix(size);
  }
}

void page_channel::put_cell(std::string_view cell) {
  while (!cell.empty()) {
    const std::string_view piece = cell.substr(0, make_room());
    copy_cell(piece, window_ + filled_);
    filled_ += piece.size();
    cell.remove_prefix(piece.size());
  }
  put_bytes("\t");
}

void page_channel::put_header(database_record_kind kind, std::size_t size) {
  const database_record record{kind, size};
  put_bytes({reinterpret_cast<const char *>(&record), sizeof record});
}

void page_channel::put(database_record_kind kind, std::string_view bytes) {
  put_header(kind, bytes.size());
  put_bytes(bytes);
}

void page_channel::put_line(database_record_kind kind, std::span<const std::string_view> cells) {
  std::size_t size = cells.size();
  for (const std::string_view cell : cells) size += cell.size();
  put_header(kind, size);
  if (size > database_window_size - filled_) {
    for (const std::string_view cell : cells) put_cell(cell);
    return;
  }
  // The whole line has room, as nearly every line has.
  char *end = window_ + filled_;
  for (const std::string_view cell : cells) {
    end = copy_cell(cell, end);
    *end++ = '\t';
  }
  filled_ += size;
}

}  // namespace quillet
