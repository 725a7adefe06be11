// The onlooker that records what it sees of one request.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "core/onlooker.h"
#include "dev/run/observation.h"
#include "dev/run/provenance.h"

namespace quillet::dev {

class recorder : public onlooker {
 public:
  // The descriptor is for what was seen.
  explicit recorder(int descriptor) : descriptor_(descriptor) {}

  // Writes it, the first time. Without that nothing is written.
  void end();

  // The next call ends the process with what was seen so far. For a signal handler.
  static void stop_soon();

  void file_read(std::string_view path, std::string_view bytes, std::string_view kept,
                 std::span<const kept_piece> pieces) override;
  void file_not_opened(std::string_view path) override;
  void text_made(std::string_view made, std::span<const std::string_view> parts) override;
  void text_begins(std::string_view source, const text &out) override;
  void text_ends(const text &out) override;
  void literal(std::string_view bytes, const text &out) override;
  void call_begins(std::string_view name, const parameters &parameters, const text &out) override;
  void call_ends(const text &out) override;
  void macro_begins(std::string_view name) override;
  void macro_ends() override;
  void message(std::string_view message, std::string_view where) override;
  void dropped(std::string_view what, std::string_view bytes, std::string_view where) override;

 private:
  using clock = std::chrono::steady_clock;

  // A call under way, or a macro that the program itself evaluates.
  struct open_call {
    std::string name;
    std::string macro;  // whose body the call evaluates
    const parameters *given = nullptr;
    place where;
    std::size_t out_size = 0;
    int number = -1;   // in `seen_.calls`; below 0 when it is left out
    int profiled = 0;  // in `seen_.profile`
    clock::time_point began;
    bool has_read_file = false;
    std::vector<std::string> missing;
  };
  struct open_text {
    const text *out;
    std::size_t out_size;
    std::size_t carets;  // noted before
  };
  // What the recorder itself needs does not count as time of the page.
  class pause {
   public:
    explicit pause(recorder &paused) : paused_(paused) {
      if (paused_.pauses_++ == 0) paused_.pause_began_ = clock::now();
    }
    pause(const pause &) = delete;
    pause &operator=(const pause &) = delete;
    ~pause() {
      if (--paused_.pauses_ == 0) paused_.paused_ += clock::now() - paused_.pause_began_;
    }

   private:
    recorder &paused_;
  };

  // During a pause.
  [[nodiscard]] clock::time_point page_time() const { return pause_began_ - paused_; }
  [[nodiscard]] place place_of(const origin &from) const;
  [[nodiscard]] place place_of_call(std::string_view name) const;
  [[nodiscard]] std::vector<chain_link> chain(std::size_t calls) const;
  void open(open_call call);
  void close(std::string_view result);
  void count_in_profile(const open_call &call);
  [[nodiscard]] int profile_node_of(const open_call &call);
  void note_missing(open_call &call);
  void note_values(const open_call &call, std::string_view result);

  int descriptor_;
  bool has_ended_ = false;
  observation seen_;
  provenance known_;
  std::vector<open_call> calls_;
  std::vector<open_text> texts_;
  std::vector<provenance::caret> carets_;  // of the values that are being made; offsets in their output
  std::map<std::tuple<int, std::string, int, std::uint32_t, std::uint32_t>, int> profile_numbers_;
  // By the message, its place and that of the last link of its chain.
  using message_key = std::tuple<std::string, int, std::uint32_t, std::uint32_t, int, std::uint32_t, std::uint32_t>;
  std::map<message_key, std::size_t> message_numbers_;
  clock::time_point began_ = clock::now();
  clock::time_point pause_began_;
  int pauses_ = 0;  // one inside the other
  clock::duration paused_{};
};

}  // namespace quillet::dev
