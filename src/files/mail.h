// The operator sendmail.
#pragma once

namespace quillet {

void register_mail_operator();

}  // namespace quillet
