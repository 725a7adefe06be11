#include "dev/lsp/signature.h"

#include <algorithm>
#include <string_view>

#include "dev/lsp/cursor.h"
#include "dev/lsp/operator_manual.h"

namespace quillet::dev {

namespace {

signature make_signature(std::string_view label, std::string_view documentation) {
  return {std::string(label), std::string(documentation), read_call_form(label).parameters};
}

// A call of a macro whose header is known: "^macro[link;address;text]" for "@link[address;text]".
std::optional<signature_list> macro_signature(workspace &files, const document &file, const open_call &call) {
  if (call.name != "macro" || call.parameters.size() < 2) return std::nullopt;
  for (const document *each : files.linked_templates(file.path())) {
    for (const macro_block &block : each->macros()) {
      if (each->text(block.name) != call.parameters[0] || block.parameters.empty()) continue;
      std::string label = "^macro[" + call.parameters[0];
      for (const text_range &name : block.parameters) label.append(";").append(each->text(name));
      return signature_list{{make_signature(label + "]", "")}, 0, call.parameters.size() - 1};
    }
  }
  return std::nullopt;
}

// The first form that has enough parameters, and whose first one is the word that is written where it is one.
std::size_t fitting_form(const std::vector<signature> &forms, const open_call &call) {
  const auto first_word = [](const signature &form) {
    return form.parameters.empty() ? std::string()
                                   : form.label.substr(form.parameters[0].begin, form.parameters[0].size());
  };
  for (std::size_t i = 0; i < forms.size(); ++i) {
    if (call.parameters.size() > 1 && first_word(forms[i]) == call.parameters[0]) return i;
  }
  for (std::size_t i = 0; i < forms.size(); ++i) {
    const bool is_open = forms[i].label.find("...") != std::string::npos;
    if (forms[i].parameters.size() >= call.parameters.size() || is_open) return i;
  }
  return 0;
}

}  // namespace

std::optional<signature_list> signatures_at(workspace &files, const document &file, std::size_t source_offset) {
  const std::optional<std::size_t> offset = text_offset(file, source_offset);
  if (!offset) return std::nullopt;
  const std::optional<open_call> call = open_call_at(file, *offset);
  if (!call) return std::nullopt;
  if (std::optional<signature_list> of_macro = macro_signature(files, file, *call)) return of_macro;
  const operator_definition *const definition = find_definition(call->name);
  if (definition == nullptr) return std::nullopt;
  signature_list list;
  for (const call_form &each : call_forms(*definition)) {
    list.forms.push_back(make_signature(each.label, definition->summary));
  }
  list.active_form = fitting_form(list.forms, *call);
  const std::size_t count = list.forms[list.active_form].parameters.size();
  list.active_parameter = std::min(call->parameters.size() - 1, count == 0 ? 0 : count - 1);
  return list;
}

}  // namespace quillet::dev
