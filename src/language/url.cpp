#include "cgi/charset.h"
#include "cgi/request.h"
#include "core/operators.h"

namespace quillet {

namespace {

// ^query[]
//
// The query string as the web server passed it: still URL-encoded, not escaped.
void op_query(parameters &, text &out) { out.append(request.query_string); }

// ^mangle[text]
//
// The text for use in a URL: recoded to the charset of the page, a space as "+", ASCII letters
// and digits as they are, every other byte as "%" and two hexadecimal digits. Deliberate: unlike in cookies,
// "_", "-" and "." are encoded too, and the digits are in lower case.
void op_mangle(parameters &parameters, text &out) { out.append(recode_and_url_encode(parameters[0])); }

// ^uri[]
//
// The URL of the page as the client requested it, its query string included, not escaped.
void op_uri(parameters &, text &out) { out.append(request.request_uri); }

constexpr operator_definition definitions[] = {
    {"query", op_query, 0, evaluated, "^query[]", "The query string."},
    {"mangle", op_mangle, 1, evaluated, "^mangle[text]", "URL-encodes a text."},
    {"uri", op_uri, 0, evaluated, "^uri[]", "The URL of the page."},
};

}  // namespace

extern const operator_module url_operators{"language/url.cpp", definitions};

}  // namespace quillet
