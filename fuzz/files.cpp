// Fuzzes the files that operators read, and the visitor's cookies. The first byte of an input chooses what it is, the
// rest is its content.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "cgi/request.h"
#include "core/evaluator.h"
#include "main/modules.h"
#include "private_folder.h"

namespace {

struct reading {
  const char *file;  // empty: the cookies
  const char *page;
};

constexpr reading readings[] = {
    {"_data", "^load[data]^sort[0]^menu[^item[0] ^item[1];,]^locate[1;b]^item[2]^item[count]"},
    {"_data", "^load[named;data]^menu[^item[name]^item[0]]^sort[name]^options[0;b;1]^item[columns]"},
    {"picture.gif", "^imgsize[picture.gif]^gifsize[picture.gif]"},
    {"picture.jpg", "^imgsize[picture.jpg]^jpegsize[picture.jpg]"},
    {"template.gif", "^gif_template[template.gif;;made.gif]"},
    {"_text", "^gif_template[whole.gif;^include[asis;_text];made.gif]"},
    {".htaccess", "^auth[ann;x]^auth[;/]"},
    {"chat/userlist", "^userlist[^userlist[]]^userlist[]^chat[3]"},
    {"chat/index", "^chat[10]^startup[line]^chat[0]"},
    {"chat/admin/password", "^validate[a;b;c;d;e]"},
    {"chat/admin/banned", "^validate[a;b;c;d;e]"},
    {"n.count", "^counter[n]"},
    {"cache/k_", "^cache[k;made]"},
    {"_text", "^uuencode[^include[asis;_text];name]"},
    {"_text", "^hotline_quote[^include[asis;_text];> ;40;2]"},
    {"_data", "^load[data]^hotline_cutmark_thread[0;3]"},
    {"", "^cookie[a]^cookie[login]^cookie[]"},
};

std::string folder;

void write_file(const std::string &name, const std::uint8_t *data, std::size_t size) {
  const int file = open((folder + "/" + name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) std::abort();
  close(file);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  folder = quillet_fuzz::new_folder();
  for (const char *name : {"/chat", "/chat/admin", "/cache"}) mkdir((folder + name).c_str(), 0755);
  constexpr char picture[] = "GIF89a\1\0\1\0\200\0\0\377\377\377\0\0\0,\0\0\0\0\1\0\1\0\0\2\2D\1\0;";
  write_file("whole.gif", reinterpret_cast<const std::uint8_t *>(picture), sizeof picture - 1);
  if (chdir(folder.c_str()) != 0 || freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  quillet::register_all_operators();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace quillet;
  if (size == 0) return 0;
  const reading &chosen = readings[data[0] % std::size(readings)];
  const std::string cookies(reinterpret_cast<const char *>(data) + 1, size - 1);
  if (*chosen.file != 0) write_file(chosen.file, data + 1, size - 1);
  request.page_path = text(folder + "/page.html");
  request.request_uri = text("/page.html");
  request.document_root = folder;
  request.remote_addr = "127.0.0.1";
  request.http_cookie = *chosen.file != 0 ? "login=ann" : cookies.c_str();
  text page;
  evaluate(chosen.page, page);
  if (page.view().find('\0') != std::string_view::npos) std::abort();
  forget_request();
  if (*chosen.file != 0) unlink(chosen.file);
  return 0;
}
