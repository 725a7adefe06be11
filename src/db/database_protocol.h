// What a page's process and the program quillet-database, which it starts, say to each other.
//
// The page sends requests through a socket, a header and so many bytes each. The program answers each of them by
// records, a header and so many bytes each, which it writes one after the other into a window: memory that both have.
// A record may be larger than the window. Whenever the window is full, and when the answer is complete, the program
// sends the number of bytes that are in it, a std::uint64_t; the page takes them and, unless the answer is complete,
// asks for more. So exactly one of the two is at work at any time. Numbers are in the machine's own order.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quillet {

// The name of its file, which is in the folder of the page's program.
constexpr const char *database_program_name = "quillet-database";

// The program's descriptors: the socket, and the file of the window.
constexpr int database_socket = 0;
constexpr int database_window = 3;

constexpr std::size_t database_window_size = 128 * 1024;

enum class database_request_kind : std::uint64_t {
  connect,    // five fields: host, user, password, database, port
  statement,  // its bytes
  close,      // nothing
  more,       // nothing: the window has been read
};

struct database_request {
  database_request_kind kind;
  std::uint64_t size;
};

// A field of the request `connect`: its size before its bytes. The port is an unsigned decimal number.
using database_field_size = std::uint64_t;
constexpr database_field_size database_null_field = ~database_field_size{0};
constexpr int database_field_count = 5;

// An answer is names and rows, of a statement with a result, and one record of the other kinds. The bytes of a failure
// are its reason.
enum class database_record_kind : std::uint64_t {
  names,  // of the columns: a line of the table's text
  row,    // likewise
  done,
  no_connection,  // there is none, not even one that failed
  connect_failed,
  query_failed,
  store_failed,  // the result did not arrive complete
};

// More than any row that a server sends, which is a gigabyte at most.
constexpr std::uint64_t database_largest_record = std::uint64_t{1} << 32;

struct database_record {
  database_record_kind kind;
  std::uint64_t size;
};

}  // namespace quillet
