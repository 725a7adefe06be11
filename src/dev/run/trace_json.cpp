#include <nlohmann/json.hpp>
#include <vector>

#include "dev/run/trace.h"

namespace quillet::dev {

namespace {

using nlohmann::ordered_json;

void put_place(const observation &seen, const place &where, ordered_json &object) {
  if (!where.is_known()) return;
  object["file"] = seen.files[static_cast<std::size_t>(where.file)];
  object["line"] = where.line;
  object["column"] = where.column;
  if (where.is_of_evaluation) object["in_value_evaluated_here"] = true;
}

ordered_json chain_json(const observation &seen, const std::vector<chain_link> &chain) {
  ordered_json links = ordered_json::array();
  for (const chain_link &link : chain) {
    ordered_json one{{"what", link.what}, {"count", link.count}};
    put_place(seen, link.where, one);
    links.push_back(std::move(one));
  }
  return links;
}

ordered_json call_json(const observation &seen, const observed_call &call) {
  ordered_json one{{call.is_macro_body ? "macro" : "operator", call.name}};
  put_place(seen, call.where, one);
  one["parameters"] = call.parameters;
  one["result"] = call.result;
  one["result_size"] = call.result_size;
  one["table"] = call.table;
  if (call.row >= 0) one["row"] = call.row;
  one["mode"] = call.mode;
  one["milliseconds"] = static_cast<double>(call.nanoseconds) / 1e6;
  if (!call.messages.empty()) one["messages"] = call.messages;
  one["calls"] = ordered_json::array();
  return one;
}

// A call comes after the one around it, so that each is complete when, from the last one on, it is put into that.
ordered_json calls_json(const observation &seen) {
  std::vector<ordered_json> calls;
  for (const observed_call &call : seen.calls) calls.push_back(call_json(seen, call));
  ordered_json outermost = ordered_json::array();
  for (std::size_t i = calls.size(); i-- > 0;) {
    const int parent = seen.calls[i].parent;
    ordered_json &to = parent < 0 ? outermost : calls[static_cast<std::size_t>(parent)]["calls"];
    to.push_back(std::move(calls[i]));
  }
  return outermost;
}

// The calls in each list, put there last one first, in their order.
void put_in_order(ordered_json &calls) {
  std::reverse(calls.begin(), calls.end());
  for (ordered_json &each : calls) put_in_order(each["calls"]);
}

ordered_json messages_json(const observation &seen, std::string_view body) {
  ordered_json messages = ordered_json::array();
  for (const observed_message &each : seen.messages) {
    ordered_json one;
    put_place(seen, each.where, one);
    one["message"] = each.message;
    one["operator"] = each.operator_name;
    one["count"] = each.count;
    one["is_in_body"] = body.find(each.message) != std::string_view::npos;
    one["chain"] = chain_json(seen, each.chain);
    messages.push_back(std::move(one));
  }
  return messages;
}

}  // namespace

std::string json_trace(const page_answer &answered) {
  const observation &seen = answered.seen;
  const std::size_t headers = length_of_headers(answered.output);
  std::string_view body = answered.output;
  body.remove_prefix(headers);
  ordered_json all;
  all["status"] = answered.status;
  all["is_complete"] = seen.is_complete;
  all["milliseconds"] = static_cast<double>(seen.nanoseconds) / 1e6;
  all["headers"] = answered.output.substr(0, headers);
  all["body_size"] = body.size();
  all["files"] = seen.files;
  all["messages"] = messages_json(seen, body);
  all["missing"] = ordered_json::array();
  for (const missing_file &each : seen.missing) {
    ordered_json one;
    put_place(seen, each.where, one);
    one["operator"] = each.operator_name;
    one["paths"] = each.paths;
    one["chain"] = chain_json(seen, each.chain);
    all["missing"].push_back(std::move(one));
  }
  all["dropped"] = ordered_json::array();
  for (const dropped_bytes &each : seen.dropped) {
    ordered_json one;
    put_place(seen, each.where, one);
    one["what"] = each.what;
    one["bytes"] = each.bytes;
    all["dropped"].push_back(std::move(one));
  }
  all["calls"] = calls_json(seen);
  put_in_order(all["calls"]);
  all["calls_left_out"] = seen.calls_left_out;
  return all.dump(1, ' ', false, ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace quillet::dev
