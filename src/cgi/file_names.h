// The names of files: where the name that a page gives leads, and those that the program itself decides
// on, each built in one place.
#pragma once

#include <string_view>

#include "core/text.h"

namespace quillet {

// The file `name` in the page's directory: "list" gives "/home/www/news/list" for /home/www/news/page.html.
[[nodiscard]] text page_directory_file(std::string_view name);

// Where an operator's file name leads: under the document root when it begins with "/", otherwise in
// the page's directory.
[[nodiscard]] text resolve_file(std::string_view name);

// Deliberate: data and macro files carry "_" before their last component. The web server can refuse to
// serve them then: "lists/menu" gives "lists/_menu".
[[nodiscard]] text underscore_path(std::string_view path);

// The data file of that name in the page's directory when `directory` is the page's path, then, called again, in the
// directory above, up to the root: "/home/www/news/page.html" gives "/home/www/news/_list" and becomes
// "/home/www/news". Null when there is none left.
[[nodiscard]] text next_data_file(std::string_view &directory, std::string_view name);

// The file of a cache entry, in the working directory: "news/today 1" gives "./cache/news/today~1_".
// ASCII letters, digits, "_" and "/" of the key stay, a space becomes "~" and every other byte "-" and
// two upper-case hexadecimal digits. The "_" at the end keeps the entry of one key from taking the name
// of a directory that another key needs.
[[nodiscard]] text cache_entry_path(std::string_view key);

// The file of a counter: "/home/www/visits" gives "/home/www/visits.count".
[[nodiscard]] text count_file_path(std::string_view path);

// The chat's files, in the working directory. Who is there, with lines "ann 10.0.0.1 1700000000":
[[nodiscard]] constexpr std::string_view chat_user_list_path() { return "chat/userlist"; }
// The newest messages, and all of them.
[[nodiscard]] constexpr std::string_view chat_index_path() { return "chat/index"; }
[[nodiscard]] constexpr std::string_view chat_message_log_path() { return "chat/index.log"; }
// Kept by hand: protected names, "ann:secret"; banned names, "bob", and beginnings of addresses, "10.0.".
[[nodiscard]] constexpr std::string_view chat_password_path() { return "chat/admin/password"; }
[[nodiscard]] constexpr std::string_view chat_banned_path() { return "chat/admin/banned"; }

// The web server's access file of a directory: "/home/www" gives "/home/www/.htaccess", "" that of the
// root.
[[nodiscard]] text access_file_path(std::string_view directory);

}  // namespace quillet
