#include "dev/lsp/server.h"

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "dev/lsp/features.h"
#include "dev/lsp/message_stream.h"
#include "dev/lsp/workspace.h"

namespace quillet::dev {

namespace {

using nlohmann::json;

enum error_code : int {
  parse_error = -32700,
  invalid_request = -32600,
  unknown_method = -32601,
  invalid_parameters = -32602,
  not_initialized = -32002,
  request_failed = -32803,
};

class language_server {
 public:
  language_server(int from, std::FILE *to) : reader_(from), to_(to) {}

  int run() {
    while (!has_exited_) {
      // Findings can wait as long as the editor has more to say.
      if (!reader_.is_waiting()) publish_findings();
      const std::optional<std::string> content = reader_.next();
      if (!content) break;
      receive(*content);
    }
    return has_exited_ && is_shut_down_ ? 0 : 1;
  }

 private:
  void send(const json &message) { write_message(to_, message.dump(-1, ' ', false, json::error_handler_t::replace)); }
  void send_error(const json &id, error_code code, std::string_view message) {
    send({{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}});
  }

  void receive(const std::string &content) {
    const json message = json::parse(content, nullptr, false);
    if (message.is_discarded()) return send_error(nullptr, parse_error, "this is no JSON");
    if (!message.is_object() || !message.contains("method") || !message["method"].is_string()) {
      // An answer to a request of ours would have a result; we never ask.
      if (!message.is_object() || !message.contains("result")) {
        send_error(nullptr, invalid_request, "this is no request");
      }
      return;
    }
    static const json none = json::object();
    const json &params = message.contains("params") ? message["params"] : none;
    const auto &method = message["method"].get_ref<const std::string &>();
    if (!message.contains("id")) return notice(method, params);
    const json &id = message["id"];
    if (!id.is_number() && !id.is_string()) return send_error(nullptr, invalid_request, "this is no identifier");
    request(id, method, params);
  }

  void request(const json &id, const std::string &method, const json &params) {
    if (!is_initialized_ && method != "initialize") return send_error(id, not_initialized, "initialize comes first");
    if (is_shut_down_) return send_error(id, invalid_request, "the server is shut down");
    try {
      std::optional<json> result;
      if (method == "initialize") {
        result = initialize(params);
      } else if (method == "shutdown") {
        is_shut_down_ = true;
        result = nullptr;
      } else {
        result = features_.answer(method, params);
      }
      if (!result) return send_error(id, unknown_method, "there is no " + method);
      send({{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(*result)}});
    } catch (const json::exception &error) {
      send_error(id, invalid_parameters, error.what());
    } catch (const refused_request &error) {
      send_error(id, request_failed, error.what());
    }
  }

  json initialize(const json &params) {
    is_initialized_ = true;
    const json capabilities = params.is_object() ? params.value("capabilities", json::object()) : json::object();
    const auto ask = [&](const char *pointer) {
      const json::json_pointer at(pointer);
      return capabilities.is_object() && capabilities.contains(at) ? capabilities[at] : json();
    };
    const json encodings = ask("/general/positionEncodings");
    for (const json &each : encodings.is_array() ? encodings : json::array()) {
      if (each == "utf-8") editor_.encoding = position_encoding::utf8;
    }
    editor_.has_snippets = ask("/textDocument/completion/completionItem/snippetSupport") == json(true);
    return {{"capabilities", server_abilities(editor_.encoding)},
            {"serverInfo", {{"name", "quillet-dev"}, {"version", "1.0"}}}};
  }

  void notice(const std::string &method, const json &params) {
    if (method == "exit") has_exited_ = true;
    if (!is_initialized_) return;
    try {
      if (method == "textDocument/didOpen") {
        const json &opened = params.at("textDocument");
        open(opened.at("uri").get_ref<const std::string &>(), opened.at("text").get_ref<const std::string &>());
      } else if (method == "textDocument/didChange") {
        change(params);
      } else if (method == "textDocument/didClose") {
        close(params.at("textDocument").at("uri").get_ref<const std::string &>());
      } else if (method == "textDocument/didSave" || method == "workspace/didChangeWatchedFiles") {
        files_.forget_files();
        is_changed_ = true;
      }
    } catch (const json::exception &) {  // nobody waits for an answer
    } catch (const refused_request &) {
    }
  }

  void open(const std::string &uri, const std::string &text) {
    files_.open(path_of_uri(uri), text);
    uris_[path_of_uri(uri)] = uri;
    is_changed_ = true;
  }

  void change(const json &params) {
    const std::string path = path_of_uri(params.at("textDocument").at("uri").get_ref<const std::string &>());
    if (!files_.is_open(path)) return;
    for (const json &each : params.at("contentChanges")) {
      files_.open(path, features_.changed(path, each));
      is_changed_ = true;
    }
  }

  void close(const std::string &uri) {
    const std::string path = path_of_uri(uri);
    if (!files_.is_open(path)) return;
    files_.close(path);
    uris_.erase(path);
    publish(uri, json::array());
    is_changed_ = true;
  }

  void publish(const std::string &uri, json findings) {
    send({{"jsonrpc", "2.0"},
          {"method", "textDocument/publishDiagnostics"},
          {"params", {{"uri", uri}, {"diagnostics", std::move(findings)}}}});
  }

  // A change in one file can make and mend mistakes in another.
  void publish_findings() {
    if (!std::exchange(is_changed_, false)) return;
    for (const auto &[path, uri] : uris_) publish(uri, features_.diagnostics(path));
  }

  message_reader reader_;
  std::FILE *to_;
  workspace files_;
  editor_abilities editor_;
  features features_{files_, editor_};
  std::map<std::string, std::string> uris_;  // of the open files, as the editor writes them
  bool is_initialized_ = false;
  bool is_shut_down_ = false;
  bool has_exited_ = false;
  bool is_changed_ = false;  // since findings were published
};

}  // namespace

int serve_editor(int from, std::FILE *to) { return language_server(from, to).run(); }

}  // namespace quillet::dev
