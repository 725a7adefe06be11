// Attachments of mail messages: a file as uuencoded text after its header lines.
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

// The name of an attachment that was given none.
constexpr std::string_view unnamed_file = "noname.dat";

// The content type by what follows the last "." of the name, letters of either case being the same;
// "Application/Octet-Stream" for any other name.
[[nodiscard]] std::string_view attachment_type(std::string_view name);

// Appends the attachment: its header lines, an empty line and the data as uuencode writes them. Nothing
// when there are no data. Control bytes of the name become spaces.
void append_attachment(std::string_view data, std::string_view name, text &out);

}  // namespace quillet
