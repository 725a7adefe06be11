#include "main/modules.h"

#include "apps/access.h"
#include "apps/calendar.h"
#include "apps/chat.h"
#include "apps/gif_template.h"
#include "apps/threads.h"
#include "cgi/optimizer.h"
#include "db/cache.h"
#include "db/sql.h"
#include "files/cookie.h"
#include "files/counter.h"
#include "files/download.h"
#include "files/exec.h"
#include "files/file_operators.h"
#include "files/image_size.h"
#include "files/mail.h"
#include "files/upload.h"
#include "files/uuencode.h"
#include "language/comparison.h"
#include "language/expression_operators.h"
#include "language/match.h"
#include "language/miscellaneous.h"
#include "language/request_information.h"
#include "language/strings.h"
#include "language/switch.h"
#include "macro/macro_operators.h"
#include "table/sort.h"
#include "table/table_operators.h"

namespace quillet {

namespace {

using registrar = void (*)();

// The order counts: of two operators of the same name the first one registered wins. The chat's own
// `cookie` gives way to the one of the cookie module in this way.
constexpr registrar registrars[] = {
    register_cache_operator,          register_optimizer_operators,  register_request_information_operators,
    register_miscellaneous_operators, register_exec_operator,        register_file_operators,
    register_image_size_operators,    register_comparison_operators, register_macro_operators,
    register_match_operators,         register_mail_operator,        register_sort_operators,
    register_string_operators,        register_table_operators,      register_cookie_operator,
    register_upload_operators,        register_uuencode_operator,    register_sql_operators,
    register_counter_operator,        register_calendar_operators,   register_gif_template_operators,
    register_switch_operators,        register_expression_operators, register_access_operators,
    register_thread_operators,        register_download_operator,    register_chat_operators,
};

}  // namespace

void register_all_operators() {
  for (const registrar register_module : registrars) register_module();
}

}  // namespace quillet
