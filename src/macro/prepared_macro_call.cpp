#include "macro/prepared_macro_call.h"

#include <utility>

#include "core/evaluator.h"
#include "macro/macro_library.h"

namespace quillet {

namespace {

// A call with a name that is no template text. The arguments are put into the body as they are in the call, so that
// the text that is expanded is the same each time, as long as the macro is.
class prepared_macro_call : public prepared_call {
 public:
  explicit prepared_macro_call(const parameters &call) : name_(call[0]) {
    for (int i = 1; i < call.count(); ++i) arguments_.push_back(call[i]);
  }

  outcome make(text &) override {
    if (generation_ != macro_generation()) look_up();
    // A body that is expanded once is read as it is.
    if (called_ == nullptr || !std::exchange(called_before_, true)) return not_now;
    if (body_ == nullptr) body_ = called_->body_for(arguments_);
    if (body_ == nullptr) return not_now;
    ++called_->running;
    return {&body_->code(), &called_->running};
  }

 private:
  void look_up() {
    generation_ = macro_generation();
    called_ = find_macro(name_);
    body_ = nullptr;
    called_before_ = called_ != nullptr && called_->was_called;
  }

  std::string_view name_;
  std::vector<std::string_view> arguments_;
  unsigned long generation_ = static_cast<unsigned long>(-1);
  macro *called_ = nullptr;
  repeated_text *body_ = nullptr;
  bool called_before_ = false;
};

}  // namespace

std::unique_ptr<prepared_call> prepare_macro(const parameters &call, repeated_text &) {
  return has_markup(call[0]) ? nullptr : std::make_unique<prepared_macro_call>(call);
}

}  // namespace quillet
