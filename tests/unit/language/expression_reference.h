// A second evaluator of expressions, slow and recursive, that follows the rules word by word. The
// real one must agree with it on every expression.
#pragma once

#include <map>
#include <string>

namespace quillet {

struct reference_result {
  double value = 0;
  int status = 0;        // 0 OK, 1 syntax error, 2 missing parenthesis, 3 string value, 4 bad name
  std::size_t rest = 0;  // the bytes not read when it failed
};

// `expression` has no white space; there are no tables.
reference_result reference_evaluate(const std::string &expression, const std::map<std::string, std::string> &variables);

}  // namespace quillet
