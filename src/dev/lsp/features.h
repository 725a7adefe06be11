// The requests of the language server protocol about files, answered in JSON.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "dev/lsp/text_position.h"
#include "dev/lsp/workspace.h"

namespace quillet::dev {

// What the editor said of itself.
struct editor_abilities {
  position_encoding encoding = position_encoding::utf16;
  bool has_snippets = false;
};

// A request that cannot be answered; the message is for the author.
struct refused_request : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What the server can do, for the answer to "initialize".
[[nodiscard]] nlohmann::json server_abilities(position_encoding encoding);

class features {
 public:
  features(workspace &files, const editor_abilities &editor) : files_(files), editor_(editor) {}

  // The result of a request about a file; nothing for an unknown method. Throws nlohmann::json::exception when the
  // parameters lack something, and refused_request.
  [[nodiscard]] std::optional<nlohmann::json> answer(std::string_view method, const nlohmann::json &params);

  // An open file, changed by one of the changes that the editor sent.
  [[nodiscard]] std::string changed(const std::string &path, const nlohmann::json &change);
  // The findings as diagnostics.
  [[nodiscard]] nlohmann::json diagnostics(const std::string &path);

 private:
  struct place;

  [[nodiscard]] std::optional<place> place_of(const nlohmann::json &params);
  [[nodiscard]] nlohmann::json range(const source_file &file, text_range part) const;
  [[nodiscard]] nlohmann::json diagnostic(const source_file &file, const finding &each) const;
  [[nodiscard]] nlohmann::json hover(const nlohmann::json &params);
  [[nodiscard]] nlohmann::json complete(const nlohmann::json &params);
  [[nodiscard]] nlohmann::json signature_help(const nlohmann::json &params);
  [[nodiscard]] nlohmann::json definition(const nlohmann::json &params);
  [[nodiscard]] nlohmann::json references(const nlohmann::json &params);
  [[nodiscard]] nlohmann::json prepare_rename(const nlohmann::json &params);
  [[nodiscard]] nlohmann::json rename(const nlohmann::json &params);
  [[nodiscard]] nlohmann::json symbols(const nlohmann::json &params);
  [[nodiscard]] nlohmann::json colors(const nlohmann::json &params);
  [[nodiscard]] nlohmann::json code_actions(const nlohmann::json &params);

  workspace &files_;
  const editor_abilities &editor_;
};

}  // namespace quillet::dev
