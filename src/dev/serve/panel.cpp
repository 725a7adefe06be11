#include "dev/serve/panel.h"

#include <algorithm>
#include <vector>

#include "core/text.h"
#include "dev/run/shown.h"
#include "dev/serve/own_pages.h"
#include "dev/serve/panel_assets.h"

namespace quillet::dev {

namespace {

constexpr std::size_t most_of_a_value = 100;

std::string replaced(std::string text, std::string_view mark, const std::string &by) {
  const std::size_t at = text.find(mark);
  return at == std::string::npos ? text : text.replace(at, mark.size(), by);
}

// A request as HTML, part by part.
class request_view {
 public:
  request_view(const seen_request &shown, const server_options &options)
      : shown_(shown), seen_(shown.answered.seen), options_(options) {}

  [[nodiscard]] std::string page() const {
    std::string content = "<p class=\"request\"><b>" + html(shown_.method) + "</b> " + html(shown_.target) + "</p><p>" +
                          std::to_string(shown_.reply.status) + " · " + html(shown_.reply.content_type) + " · " +
                          std::to_string(shown_.body_size) + " bytes · " + shown_time(seen_.nanoseconds) + " ms</p>";
    content += ending() + messages() + missing() + dropped() + queries() + sent() + received() + files() + calls();
    return own_page(shown_.method + ' ' + shown_.target, content);
  }

 private:
  [[nodiscard]] std::string ending() const {
    std::string text;
    if (shown_.answered.took_too_long) {
      text = "Stopped after " + std::to_string(options_.seconds) + " seconds.";
    } else if (shown_.answered.signal != 0) {
      text = "The process was ended by signal " + std::to_string(shown_.answered.signal) + '.';
    } else if (!seen_.is_complete) {
      text = "The process ended before it could say what it had seen.";
    }
    if (!shown_.answered.errors.empty()) text += ' ' + shown_.answered.errors;
    return text.empty() ? text : "<p class=\"message\">" + html(text) + "</p>";
  }

  // As the author says it: "www/index.html", "run/_macro.cfg".
  [[nodiscard]] std::string file_name(const std::string &path) const {
    const std::string site = options_.root.substr(0, options_.root.rfind('/') + 1);
    return path.starts_with(site) ? path.substr(site.size()) : path;
  }

  [[nodiscard]] std::string link(const place &where) const {
    if (!where.is_known()) return {};
    const std::string &path = seen_.files[static_cast<std::size_t>(where.file)];
    std::string address = replaced(options_.editor, "{path}", encode_path(path));
    address = replaced(address, "{line}", std::to_string(where.line));
    address = replaced(address, "{column}", std::to_string(where.column));
    std::string shown = file_name(path);
    shown += ':' + std::to_string(where.line) + ':' + std::to_string(where.column);
    return "<a class=\"place\" href=\"" + html(address) + "\">" + html(shown) + "</a>" +
           (where.is_of_evaluation ? " <small>(a value evaluated here)</small>" : "");
  }

  [[nodiscard]] std::string chain(const std::vector<chain_link> &links) const {
    if (links.empty()) return {};
    std::string list = "<ul class=\"chain\">";
    for (const chain_link &each : links) {
      list += "<li>in " + html(each.what) + ' ' + link(each.where);
      if (each.count > 1) list += ", " + std::to_string(each.count) + " times";
      list += "</li>";
    }
    return list + "</ul>";
  }

  static std::string section(const std::string &title, std::size_t count, const std::string &content) {
    if (count == 0) return {};
    return "<section><h2>" + html(title) + " <span>" + std::to_string(count) + "</span></h2>" + content + "</section>";
  }

  [[nodiscard]] std::string messages() const {
    std::string list;
    for (const observed_message &each : seen_.messages) {
      list += "<div class=\"note\">" + link(each.where) + "<p class=\"message\">" + html(each.message);
      if (each.count > 1) list += " <small>" + std::to_string(each.count) + " times</small>";
      list += "</p>" + chain(each.chain) + "</div>";
    }
    return section("Messages", seen_.messages.size(), list);
  }

  [[nodiscard]] std::string missing() const {
    std::string list;
    std::size_t count = 0;
    for (const missing_file &each : seen_.missing) {
      if (each.operator_name.empty()) continue;
      ++count;
      list += "<div class=\"note\">" + link(each.where) + "<p>" + html(each.operator_name) + ": ";
      for (const std::string &path : each.paths) list += "<code>" + html(file_name(path)) + "</code> ";
      list += "</p>" + chain(each.chain) + "</div>";
    }
    return section("Missing files", count, list);
  }

  [[nodiscard]] std::string dropped() const {
    std::string list;
    for (const dropped_bytes &each : seen_.dropped) {
      list += "<div class=\"note\">" + link(each.where) + "<p>" + html(each.what) + "</p><pre>" + html(each.bytes) +
              "</pre></div>";
    }
    return section("Dropped output", seen_.dropped.size(), list);
  }

  [[nodiscard]] std::string queries() const {
    std::string list;
    std::size_t count = 0;
    for (const observed_call &call : seen_.calls) {
      if (call.name != "sql" || call.parameters.empty()) continue;
      ++count;
      list += "<div class=\"note\">" + link(call.where) + " <small>" + shown_time(call.nanoseconds) +
              " ms</small><pre>" + html(call.parameters.front()) + "</pre></div>";
    }
    return section("Queries", count, list);
  }

  static std::string table(const std::vector<name_and_value> &rows) {
    std::string lines = "<table>";
    for (const auto &[name, value] : rows) lines += "<tr><th>" + html(name) + "<td>" + html(value) + "</tr>";
    return lines + "</table>";
  }

  [[nodiscard]] std::string sent() const {
    std::vector<name_and_value> headers = shown_.reply.headers;
    headers.emplace_back("Content-Type", shown_.reply.content_type);
    return "<details><summary>Headers of the response</summary>" + table(headers) + "</details>";
  }

  [[nodiscard]] std::string received() const {
    std::string content = table(shown_.environment);
    if (!shown_.body_sent.empty()) content += "<pre>" + html(shown_.body_sent) + "</pre>";
    return "<details><summary>The request</summary>" + content + "</details>";
  }

  [[nodiscard]] std::string files() const {
    std::string list = "<ul>";
    for (std::size_t i = 0; i < seen_.files.size(); ++i) {
      list += "<li>" + link({static_cast<int>(i), 1, 1, false}) + "</li>";
    }
    return "<details><summary>Files read</summary>" + list + "</ul></details>";
  }

  // The tree: a call with calls inside opens and closes.
  [[nodiscard]] std::string calls() const {
    std::vector<std::size_t> depths;
    std::string tree;
    for (std::size_t i = 0; i < seen_.calls.size(); ++i) {
      const observed_call &call = seen_.calls[i];
      const std::size_t depth = call.parent < 0 ? 0 : depths[static_cast<std::size_t>(call.parent)] + 1;
      for (std::size_t left = i == 0 ? 0 : depths.back() + 1; left > depth; --left) tree += "</details>";
      depths.push_back(depth);
      const bool is_last_inside = i + 1 == seen_.calls.size() || seen_.calls[i + 1].parent != static_cast<int>(i);
      tree += is_last_inside ? "<details class=\"leaf\">" : depth == 0 ? "<details open>" : "<details>";
      tree += "<summary>" + line(call, i == 0 ? call_of_no_state() : seen_.calls[i - 1]) + "</summary>";
    }
    for (std::size_t left = depths.empty() ? 0 : depths.back() + 1; left > 0; --left) tree += "</details>";
    if (seen_.calls_left_out > 0) tree += "<p>and " + std::to_string(seen_.calls_left_out) + " more calls</p>";
    return section("Calls", seen_.calls.size(), "<div class=\"tree\">" + tree + "</div>");
  }

  [[nodiscard]] std::string line(const observed_call &call, const observed_call &before) const {
    std::string text = "<code>" + html(shown_call(call, most_of_a_value)) + "</code>";
    const bool is_message = !call.messages.empty() && call.messages.back() == call.result;
    if (!call.is_macro_body && !is_message) {
      text +=
          " <span class=\"result\">" + html(shown_value(call.result, call.result_size, most_of_a_value)) + "</span>";
    }
    text += "<span class=\"about\">" + link(call.where);
    if (const std::string changed = changed_state(call, before); !changed.empty()) text += ' ' + html(changed);
    text += ' ' + shown_time(call.nanoseconds) + " ms</span>";
    for (const std::string &message : call.messages) text += "<span class=\"message\">" + html(message) + "</span>";
    return text;
  }

  const seen_request &shown_;
  const observation &seen_;
  const server_options &options_;
};

std::size_t count_of_notes(const observation &seen) {
  const auto is_note = [](const missing_file &each) { return !each.operator_name.empty(); };
  return seen.messages.size() + seen.dropped.size() +
         static_cast<std::size_t>(std::count_if(seen.missing.begin(), seen.missing.end(), is_note));
}

server_reply list_reply(const page_server &site) {
  const bool is_on = site.has_panel();
  std::string content =
      "<h1>quillet-dev</h1><form method=\"post\" action=\"/.quillet-dev/switch\"><p>The button on pages "
      "is <b>" +
      std::string(is_on ? "on" : "off") + "</b>. <button name=\"panel\" value=\"" +
      (is_on ? "off\">Switch it off" : "on\">Switch it on") + "</button></p></form>";
  content += "<h2>Requests for pages</h2>";
  const auto requests = site.requests();
  if (requests.empty()) content += "<p>None yet. <a href=\"/\">The front page</a></p>";
  content += "<ul class=\"requests\">";
  for (const auto &each : requests) {
    const std::size_t notes = count_of_notes(each->answered.seen);
    content += "<li><a href=\"/.quillet-dev/request/" + std::to_string(each->number) + "\">" + html(each->method) +
               ' ' + html(each->target) + "</a> " + std::to_string(each->reply.status) + " · " +
               shown_time(each->answered.seen.nanoseconds) + " ms";
    if (notes > 0)
      content += " <span class=\"message\">" + std::to_string(notes) + (notes == 1 ? " note" : " notes") + "</span>";
    content += "</li>";
  }
  return {200, {{"Cache-Control", "no-store"}}, "text/html; charset=utf-8", own_page("quillet-dev", content + "</ul>")};
}

}  // namespace

void add_panel(int number, server_reply &reply) {
  std::string_view type = reply.content_type;
  type = type.substr(0, type.find(';'));
  if (!equal_ignoring_case(type, "text/html")) return;
  const std::string script =
      "<script src=\"/.quillet-dev/panel.js\" data-request=\"" + std::to_string(number) + "\"></script>";
  std::string lowered = reply.body;
  for (char &c : lowered) c = lower_char(c);
  const std::size_t end = lowered.rfind("</body>");
  reply.body.insert(end == std::string::npos ? reply.body.size() : end, script);
}

std::optional<server_reply> panel_reply(page_server &site, const server_request &asked) {
  std::string_view name = asked.target;
  name.remove_prefix(own_address.size());
  name = name.substr(0, name.find('?'));
  if (name.empty()) return list_reply(site);
  if (name == "look.css") return server_reply{200, {}, "text/css", std::string(look_css)};
  if (name == "panel.js") return server_reply{200, {}, "text/javascript", std::string(panel_js)};
  if (name == "reload.js") return server_reply{200, {}, "text/javascript", std::string(reload_js)};
  if (name == "switch" && asked.method == "POST") {
    site.switch_panel(asked.body == "panel=on");
    return server_reply{303, {{"Location", std::string(own_address)}}, "text/plain", ""};
  }
  if (name.starts_with("request/")) {
    const auto found = site.find_request(parse_int(name.substr(8)));
    if (found == nullptr) return own_error_page(404, "This request is no longer remembered.");
    return server_reply{
        200, {{"Cache-Control", "no-store"}}, "text/html; charset=utf-8", request_view(*found, site.options()).page()};
  }
  if (name.starts_with("count/")) {
    const auto found = site.find_request(parse_int(name.substr(6)));
    const std::size_t notes = found == nullptr ? 0 : count_of_notes(found->answered.seen);
    const std::string time = found == nullptr ? "" : shown_time(found->answered.seen.nanoseconds);
    return server_reply{
        200, {}, "application/json", "{\"notes\": " + std::to_string(notes) + ", \"time\": \"" + time + "\"}"};
  }
  return std::nullopt;
}

}  // namespace quillet::dev
