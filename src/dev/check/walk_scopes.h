// What changes for the time of a call while a page is followed.
#pragma once

namespace quillet::dev {

// A number that is another one as long as the scope.
class number_scope {
 public:
  number_scope(int &number, int value) : number_(number), before_(number) { number = value; }
  number_scope(const number_scope &) = delete;
  number_scope &operator=(const number_scope &) = delete;
  ~number_scope() { number_ = before_; }

 private:
  int &number_;
  int before_;
};

// One more.
class depth_scope : public number_scope {
 public:
  explicit depth_scope(int &number) : number_scope(number, number + 1) {}
};

}  // namespace quillet::dev
