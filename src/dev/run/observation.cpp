#include "dev/run/observation.h"

#include <nlohmann/json.hpp>

namespace quillet::dev {

namespace {

using nlohmann::json;

}  // namespace

// Strings are any bytes, which CBOR carries as they are.
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(place, file, line, column, is_of_evaluation)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(chain_link, what, where, count)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(observed_message, message, operator_name, where, chain, count)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(observed_call, parent, name, where, is_macro_body, parameters, result, result_size,
                                   table, row, mode, nanoseconds, messages)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(missing_file, paths, operator_name, where, chain)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(dropped_bytes, what, bytes, where)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(profile_node, parent, name, where, count, nanoseconds)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(observation, is_complete, files, calls, calls_left_out, messages, missing, dropped,
                                   profile, nanoseconds)

std::string encode(const observation &seen) {
  std::string bytes;
  json::to_cbor(json(seen), nlohmann::detail::output_adapter<char>(bytes));
  return bytes;
}

observation decode(std::string_view bytes) {
  const json read = json::from_cbor(bytes.begin(), bytes.end(), true, false);
  return read.is_object() ? read.get<observation>() : observation();
}

}  // namespace quillet::dev
