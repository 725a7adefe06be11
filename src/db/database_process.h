// The program quillet-database: it holds the client library of the database, which a statically linked program
// cannot load, and is started for the first `server` of a page. It ends with the page's process, however that ends.
#pragma once

#include <cstddef>
#include <string_view>

#include "core/text.h"
#include "db/database_protocol.h"

namespace quillet {

// Starts the program, which is looked for beside this one, unless it runs already. Null, or why it does not run.
[[nodiscard]] text start_database_process();

// Ends the program and waits for its end; nothing when it does not run.
void end_database_process();

// The answer to one request. It is read to its end before the next request is sent. When the program does not run,
// or ends on the way, every read fails; then `end_database_process` lets a further one be started.
class database_answer {
 public:
  // Sends the request.
  database_answer(database_request_kind kind, std::string_view bytes);

  // The kind and the size of the next record, whose bytes are read then. A size that no record has counts as the end.
  [[nodiscard]] bool next(database_record &record) {
    return read(reinterpret_cast<char *>(&record), sizeof record) && record.size <= database_largest_record;
  }
  [[nodiscard]] bool read(char *bytes, std::size_t size);

 private:
  [[nodiscard]] bool receive();

  const char *unread_ = nullptr;  // in the window
  std::size_t left_ = 0;
  bool is_lost_;
};

}  // namespace quillet
