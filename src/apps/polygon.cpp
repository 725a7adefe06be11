#include "apps/polygon.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace quillet {

namespace {

struct replacement {
  unsigned char from;
  unsigned char to;
  const pixel_rows &picture;

  // Replaces in one row from `first` to `last`, both included; nothing when `first` is the greater.
  void along_row(int y, int first, int last) const {
    if (y < 0 || y >= picture.height) return;
    unsigned char *const row = picture.rows[y];
    const int end = std::min(last, picture.width - 1);
    for (int x = std::max(first, 0); x <= end; ++x) {
      if (row[x] == from) row[x] = to;
    }
  }
};

// Edge `i` of a polygon of n corners leads to corner i. Edges 0 and n are both the one that closes it.
struct edge {
  point first;
  point second;

  edge(std::span<const point> corners, std::size_t i)
      : first(i == 0 || i == corners.size() ? corners.back() : corners[i - 1]),
        second(i == 0 || i == corners.size() ? corners.front() : corners[i]) {}

  [[nodiscard]] bool is_horizontal() const { return first.y == second.y; }
  [[nodiscard]] bool leads_down() const { return first.y < second.y; }
  [[nodiscard]] bool meets_row(int y) const {
    return y >= std::min(first.y, second.y) && y <= std::max(first.y, second.y);
  }
  // Where it meets row y, the fraction cut off: the way from its upper end, which fits into unsigned
  // numbers of 64 bits whatever the corners are.
  [[nodiscard]] int meeting(int y) const {
    const auto [upper, lower] = leads_down() ? std::pair(first, second) : std::pair(second, first);
    using distance = unsigned long long;
    const auto between = [](int low, int high) { return static_cast<distance>(static_cast<long long>(high) - low); };
    const bool leftwards = lower.x < upper.x;
    const distance width = leftwards ? between(lower.x, upper.x) : between(upper.x, lower.x);
    const auto way = static_cast<long long>(between(upper.y, y) * width / between(upper.y, lower.y));
    return static_cast<int>(upper.x + (leftwards ? -way : way));
  }
};

// The places where the edges meet one row.
class intersections {
 public:
  // Takes edge `i`, unless it continues where the edge before it has met the row.
  void add(std::span<const point> corners, std::size_t i, int y) {
    const edge met(corners, i);
    if (met.is_horizontal() || !met.meets_row(y)) return;
    const int x = met.meeting(y);
    if (found_ && met.leads_down() == was_down_) {
      // Deliberate: after a step, a horizontal edge, the place counts once more unless the step is in the
      // row of corner 0. Noted after the last place without being counted it would change nothing: where
      // one is left over, a later one has always taken that room.
      if (met.first.y == corners.front().y && met.first.x != corners.front().x) return;
      if (x == previous_) return;
    }
    if (i > 0) places_.push_back(x);
    found_ = true;
    was_down_ = met.leads_down();
    previous_ = x;
  }

  // Replaces between the first place and the second, the third and the fourth, and so on. A last one that
  // is left over ends nothing.
  void replace_between(int y, const replacement &replacement) {
    std::sort(places_.begin(), places_.end());
    for (std::size_t i = 0; i + 1 < places_.size(); i += 2) replacement.along_row(y, places_[i], places_[i + 1]);
  }

  void clear() {
    places_.clear();
    found_ = false;
  }

 private:
  std::vector<int> places_;
  bool found_ = false;  // the rest is about the edge that was met last
  bool was_down_ = false;
  int previous_ = 0;
};

}  // namespace

void replace_in_polygon(std::span<const point> corners, unsigned char from, unsigned char to,
                        const pixel_rows &picture) {
  if (corners.empty()) return;
  const replacement replacement{from, to, picture};
  for (std::size_t i = 0; i < corners.size(); ++i) {
    const edge edge(corners, i);
    if (edge.is_horizontal()) replacement.along_row(edge.first.y, edge.first.x, edge.second.x);
  }
  const auto higher = [](point a, point b) { return a.y < b.y; };
  const auto [top, bottom] = std::minmax_element(corners.begin(), corners.end(), higher);
  const int last_row = std::min(bottom->y, picture.height - 1);
  intersections places;
  for (int y = std::max(top->y, 0); y <= last_row; ++y) {
    places.clear();
    for (std::size_t i = 0; i <= corners.size(); ++i) places.add(corners, i, y);
    places.replace_between(y, replacement);
  }
}

}  // namespace quillet
