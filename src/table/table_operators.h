// The table operators: config, load, save, flip, context, empty, locate, shift, item, table, menu.
#pragma once

#include "core/operators.h"

namespace quillet {

void register_table_operators();

// table_files.cpp
void op_load(parameters &parameters, text &out);
void op_save(parameters &parameters, text &out);

// table_walk.cpp
void op_table(parameters &parameters, text &out);
void op_menu(parameters &parameters, text &out);

}  // namespace quillet
