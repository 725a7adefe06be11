// The chat: operators for a page that shows messages and those who write them, and takes new ones. All
// of it is in a few text files; there is no process but the one of each request.
#pragma once

#include "core/operators.h"

namespace quillet {

// Also sends the cookies of chat settings that the request's form has changed.
void register_chat_operators();

// chat_users.cpp
void op_userlist(parameters &parameters, text &out);

// chat_messages.cpp
void op_chat(parameters &parameters, text &out);
void op_message(parameters &parameters, text &out);
void op_startup(parameters &parameters, text &out);

// chat_admission.cpp
void op_validate(parameters &parameters, text &out);

}  // namespace quillet
