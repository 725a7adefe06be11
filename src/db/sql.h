// The database operators: server, sql.
#pragma once

namespace quillet {

void register_sql_operators();

}  // namespace quillet
