#include "core/operators.h"
#include "core/quoting.h"
#include "files/attachment.h"

namespace quillet {

namespace {

// ^uuencode[text;name]
//
// The text as an attachment of a mail message: header lines with its content type and the name, and the
// text uuencoded. Both parameters are evaluated in the quoting mode `none`. Without a name the
// attachment is called "noname.dat"; without a text there is none.
void op_uuencode(parameters &parameters, text &out) {
  evaluate_parameters_quoted(quoting_none, parameters);
  append_attachment(parameters[0], parameters[1].empty() ? unnamed_file : parameters[1], out);
}

constexpr operator_definition definitions[] = {
    {"uuencode", op_uuencode, 2, lazy, "^uuencode[text;name]", "Encodes a text as a mail attachment."},
};

}  // namespace

extern const operator_module uuencode_operators{"files/uuencode.cpp", definitions};

}  // namespace quillet
