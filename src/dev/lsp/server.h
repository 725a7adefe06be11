// The language server: the conversation with one editor.
#pragma once

#include <cstdio>

namespace quillet::dev {

// Talks JSON-RPC until the editor says "exit" or its messages end. The exit status: 0 after "shutdown" and "exit",
// otherwise 1.
[[nodiscard]] int serve_editor(int from, std::FILE *to);

}  // namespace quillet::dev
