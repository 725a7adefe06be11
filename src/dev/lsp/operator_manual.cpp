#include "dev/lsp/operator_manual.h"

#include <algorithm>

#include "core/evaluator.h"
#include "dev/embedded_files.h"
#include "main/modules.h"

namespace quillet::dev {

namespace {

// The chapter's text from the heading to the next one of the same level; empty when it has no such heading.
std::string_view section(std::string_view chapter, std::string_view name) {
  const std::string heading = "\n## " + std::string(name) + "\n";
  const std::size_t start = chapter.find(heading);
  if (start == std::string_view::npos) return {};
  const std::string_view rest = chapter.substr(start + heading.size());
  return rest.substr(0, rest.find("\n## "));
}

// "[text](address)" becomes "text". Brackets that belong to code stay.
std::string without_links(std::string_view markdown) {
  std::string plain;
  while (!markdown.empty()) {
    const std::size_t middle = markdown.find("](");
    const std::size_t open = middle == std::string_view::npos ? middle : markdown.rfind('[', middle);
    const std::size_t close = middle == std::string_view::npos ? middle : markdown.find(')', middle);
    if (open == std::string_view::npos || close == std::string_view::npos) break;
    const std::string_view address = markdown.substr(middle + 2, close - middle - 2);
    const bool is_link = address.find(".md") != std::string_view::npos || address.starts_with('#');
    plain += markdown.substr(0, is_link ? open : close + 1);
    if (is_link) plain += markdown.substr(open + 1, middle - open - 1);
    markdown.remove_prefix(close + 1);
  }
  return plain.append(markdown);
}

}  // namespace

std::vector<const operator_definition *> known_operators() {
  std::vector<const operator_definition *> known;
  for (const operator_module *module : operator_modules()) {
    for (const operator_definition &each : module->definitions) {
      if (find_definition(each.name) == &each) known.push_back(&each);
    }
  }
  return known;
}

const operator_definition *find_definition(std::string_view name) {
  for (const operator_module *module : operator_modules()) {
    const auto found = std::find_if(module->definitions.begin(), module->definitions.end(),
                                    [&](const operator_definition &each) { return each.name == name; });
    if (found != module->definitions.end()) return &*found;
  }
  return nullptr;
}

call_form read_call_form(std::string_view label) {
  call_form form{label, {}};
  const std::size_t bracket = label.find('[');
  if (bracket == std::string_view::npos) return form;
  quillet::parameters given;
  if (split_parameters(label.substr(bracket), given) == 0) return form;
  for (int i = 0; i < given.count(); ++i) {
    const auto begin = static_cast<std::size_t>(given[i].data() - label.data());
    if (!given[i].empty()) form.parameters.push_back({begin, begin + given[i].size()});
  }
  return form;
}

std::vector<call_form> call_forms(const operator_definition &definition) {
  std::vector<call_form> forms;
  for (std::string_view rest = definition.synopsis; !rest.empty();) {
    const std::size_t next = rest.find(" ^");
    forms.push_back(read_call_form(rest.substr(0, next)));
    rest.remove_prefix(next == std::string_view::npos ? rest.size() : next + 1);
  }
  return forms;
}

std::string manual_entry(std::string_view name) {
  for (const embedded_file &chapter : manual_files()) {
    std::string_view entry = section(chapter.bytes, name);
    if (entry.empty()) continue;
    constexpr std::string_view forms = "```text\n";
    if (const std::size_t start = entry.find(forms); start != std::string_view::npos) {
      entry.remove_prefix(entry.find("\n```\n", start) + 5);
    }
    while (entry.starts_with('\n')) entry.remove_prefix(1);
    while (entry.ends_with('\n')) entry.remove_suffix(1);
    return without_links(entry);
  }
  return {};
}

}  // namespace quillet::dev
