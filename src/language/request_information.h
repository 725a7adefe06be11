// Request information: form, number, query, mangle, env, uri, combine, browser, header.
#pragma once

namespace quillet {

void register_request_information_operators();

}  // namespace quillet
