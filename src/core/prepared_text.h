// Prepared text: a template text that is evaluated again and again, with what evaluating it finds out kept as
// flat code: its literal bytes, its calls, their operators and parameters. Nothing but the time depends on it.
// A pass of a loop of 100,000 with four calls takes a tenth of the instructions that reading its text takes.
//
// Places: each prepared text, and each parameter in it, is known by where its bytes are; `evaluate` looks there.
// The bytes stay alive and unchanged as long as the `repeated_text` that keeps the code.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "core/operators.h"
#include "core/parameters.h"
#include "core/text.h"

namespace quillet {

class prepared_text;
class repeated_text;

// One call of an operator as the operator itself prepared it.
class prepared_call {
 public:
  prepared_call() = default;
  prepared_call(const prepared_call &) = delete;
  prepared_call &operator=(const prepared_call &) = delete;
  virtual ~prepared_call() = default;

  // What a call has come to. Two pointers, which are given back in registers.
  struct outcome {
    const prepared_text *rest;  // the text whose expansion completes the result
    int *held;                  // a count that was raised for the time of that; null for none
  };
  static constexpr outcome complete = {nullptr, nullptr};
  static const outcome not_now;  // only the operator's handler can make it; nothing has changed

  // Makes the call, which counts as under way, like the operator's handler.
  virtual outcome make(text &out) = 0;
};

// A parameter of a prepared call.
class prepared_part {
 public:
  prepared_part(repeated_text &keeper, std::string_view source) : keeper_(keeper), source_(source) {}

  [[nodiscard]] std::string_view source() const { return source_; }
  // Its code, made when it is first asked for.
  [[nodiscard]] const prepared_text &code() { return code_ != nullptr ? *code_ : find_code(); }
  // Appends its expansion.
  void evaluate(text &out);

 private:
  const prepared_text &find_code();

  repeated_text &keeper_;
  std::string_view source_;
  const prepared_text *code_ = nullptr;
};

// The code of one text.
class prepared_text {
 public:
  prepared_text() = default;  // nothing, not even an end: only its address is of use
  prepared_text(repeated_text &keeper, std::string_view source);

  // Appends the expansion: the one loop that runs the flat code.
  void expand(text &out) const;

  // What the scanner finds.
  void literal(std::string_view bytes);
  void call(std::string_view name, const parameters &parameters);

 private:
  struct parameter {
    std::string_view bytes;
    bool plain;  // without markup
  };
  struct instruction {
    enum kind : std::uint8_t { is_short_literal, is_literal, is_prepared_call, is_call, is_end };
    kind what;
    std::uint8_t size;    // of a call, in parameters; of a short literal, in bytes
    bool counts;          // as one that may change something
    std::uint32_t first;  // parameter
    union {
      std::string_view bytes;  // of a call, the operator's name
      char short_bytes[text::padded_size];
    };
    const operator_entry *entry;
    prepared_call *prepared;
    const parameter *parameters;
  };
  struct open_calls;

  instruction &add(instruction::kind what);
  static prepared_call::outcome make_call(const instruction &call, text &out);
  static void call_handler(const instruction &call, text &out);

  repeated_text *keeper_ = nullptr;
  std::vector<instruction> instructions_;
  std::vector<parameter> parameters_;
  std::vector<std::unique_ptr<prepared_call>> calls_;
};

// A template text that is evaluated again and again, and stays alive and unchanged as long as this object, which
// keeps what is prepared of it and of its parts. One that is part of another shares what that one keeps.
class repeated_text {
 public:
  explicit repeated_text(std::string_view source);
  repeated_text(const repeated_text &) = delete;
  repeated_text &operator=(const repeated_text &) = delete;
  ~repeated_text();

  // Its code, made when it is first asked for; only while prepared forms may be used.
  [[nodiscard]] const prepared_text &code();
  // Appends the expansion.
  void evaluate(text &out);
  // From now on `evaluate` uses the code for the bytes of the text, too.
  void keep_parts() { add_place(source_); }

 private:
  friend class prepared_part;
  friend class prepared_text;
  friend const prepared_text *find_prepared_text(std::string_view source);

  void add_place(std::string_view part);
  const prepared_text &prepare(std::string_view part);

  std::string_view source_;
  const prepared_text *code_ = nullptr;
  std::vector<std::unique_ptr<prepared_text>> texts_;
  std::vector<std::string_view> places_;
};

// The code of a text that is, or is a parameter in, a prepared one; null for every other text.
[[nodiscard]] const prepared_text *find_prepared_text(std::string_view source);

}  // namespace quillet
