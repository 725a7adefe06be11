#include "apps/polygon.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support.h"

namespace quillet {
namespace {

using corner_list = std::vector<point>;
using drawing = std::vector<std::string>;

// What becomes of a picture of dots: the replaced ones are "#".
drawing replaced(const corner_list &corners, int width, int height) {
  drawing picture(static_cast<std::size_t>(height), std::string(static_cast<std::size_t>(width), '.'));
  std::vector<unsigned char *> rows;
  for (std::string &row : picture) rows.push_back(reinterpret_cast<unsigned char *>(row.data()));
  replace_in_polygon(corners, '.', '#', {rows.data(), width, height});
  return picture;
}

// The rules one by one, as slow as they are plain: every row of the polygon, every edge again for each. A place
// after a step in the row of corner 0 is noted after the others, uncounted, to show that it has no effect.
class reference {
 public:
  reference(corner_list corners, int width, int height)
      : corners_(std::move(corners)),
        picture_(static_cast<std::size_t>(height), std::string(static_cast<std::size_t>(width), '.')) {}

  drawing run() {
    if (corners_.empty()) return picture_;
    int top = corners_[0].y;
    int bottom = corners_[0].y;
    for (const point corner : corners_) {
      top = std::min(top, corner.y);
      bottom = std::max(bottom, corner.y);
    }
    for (int y = top; y <= bottom; ++y) run_row(y);
    return picture_;
  }

 private:
  void replace(int y, int first, int last) {
    for (int x = first; x <= last; ++x) {
      if (y < 0 || x < 0 || y >= static_cast<int>(picture_.size()) || x >= static_cast<int>(picture_[0].size()))
        continue;
      picture_[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = '#';
    }
  }

  void run_row(int y) {
    const std::size_t n = corners_.size();
    constexpr int nothing = -1000000;
    std::vector<int> slots(n + 2, nothing);
    std::size_t count = 0;
    int direction_before = 0;
    int x_before = 0;
    for (std::size_t i = 0; i <= n; ++i) {
      const point first = i == 0 || i == n ? corners_[n - 1] : corners_[i - 1];
      const point second = i == 0 || i == n ? corners_[0] : corners_[i];
      if (first.y == second.y) {
        replace(first.y, first.x, second.x);
        continue;
      }
      const int direction = first.y < second.y ? -1 : 1;
      const point a = direction == -1 ? first : second;
      const point b = direction == -1 ? second : first;
      if (y < a.y || y > b.y) continue;
      const int x = (y - a.y) * (b.x - a.x) / (b.y - a.y) + a.x;
      if (direction_before == direction) {
        if (first.y == corners_[0].y && first.x != corners_[0].x) {
          if (x > x_before) slots[count] = x;
          continue;
        }
        if (x == x_before) continue;
      }
      if (i > 0) {
        slots[count++] = x;
        slots[count] = nothing;
      }
      direction_before = direction;
      x_before = x;
    }
    std::sort(slots.begin(), slots.begin() + static_cast<std::ptrdiff_t>(count));
    for (std::size_t i = 0; i < count; i += 2) replace(y, slots[i], slots[i + 1]);
  }

  corner_list corners_;
  drawing picture_;
};

TEST(polygon, a_rectangle_is_filled_to_its_edges_from_every_corner_and_either_way_round) {
  corner_list corners = {{1, 1}, {4, 1}, {4, 3}, {1, 3}};
  const drawing expected = {"......", ".####.", ".####.", ".####.", "......"};
  for (int way = 0; way < 2; ++way) {
    for (std::size_t turn = 0; turn < corners.size(); ++turn) {
      EXPECT_EQ(replaced(corners, 6, 5), expected);
      std::rotate(corners.begin(), corners.begin() + 1, corners.end());
    }
    std::reverse(corners.begin(), corners.end());
  }
}

TEST(polygon, only_the_given_index_is_replaced) {
  std::string row = "ab.ba";
  unsigned char *rows[] = {reinterpret_cast<unsigned char *>(row.data())};
  const corner_list line = {{0, 0}, {4, 0}};
  replace_in_polygon(line, 'a', 'x', {rows, 5, 1});
  EXPECT_EQ(row, "xb.bx");
}

TEST(polygon, no_corner_replaces_nothing) { EXPECT_EQ(replaced({}, 2, 1), drawing{".."}); }

TEST(polygon, one_corner_is_a_pixel) { EXPECT_EQ(replaced({{1, 0}}, 3, 2), (drawing{".#.", "..."})); }

TEST(polygon, two_corners_are_a_line) {
  EXPECT_EQ(replaced({{0, 0}, {4, 2}}, 5, 3), (drawing{"#....", "..#..", "....#"}));
}

TEST(polygon, a_fraction_is_cut_off_towards_zero_from_the_upper_end) {
  EXPECT_EQ(replaced({{0, 0}, {2, 3}}, 3, 4), (drawing{"#..", "#..", ".#.", "..#"}));
  EXPECT_EQ(replaced({{2, 0}, {0, 3}}, 3, 4), (drawing{"..#", "..#", ".#.", "#.."}));
}

TEST(polygon, a_horizontal_edge_towards_the_left_replaces_nothing_itself) {
  EXPECT_EQ(replaced({{0, 0}, {3, 0}}, 4, 1), drawing{"####"});
  // The two edges of this line are one to the left and, between the same corners, one to the right.
  EXPECT_EQ(replaced({{3, 0}, {0, 0}}, 4, 1), drawing{"####"});
  EXPECT_EQ(replaced({{0, 0}, {4, 0}, {4, 2}, {2, 2}, {2, 4}, {0, 4}}, 5, 5)[2], "###..");
}

// Deliberate: after a step, a horizontal edge, the place counts once more unless the step is in the row of
// corner 0.
TEST(polygon, a_step_to_the_left_leaves_a_hole_in_its_row) {
  EXPECT_EQ(replaced({{0, 0}, {4, 0}, {4, 2}, {2, 2}, {2, 4}, {0, 4}}, 5, 5),
            (drawing{"#####", "#####", "###..", "###..", "###.."}));
}

TEST(polygon, a_step_to_the_left_in_the_row_of_corner_0_leaves_no_hole) {
  EXPECT_EQ(replaced({{0, 2}, {0, 0}, {4, 0}, {4, 2}, {2, 2}, {2, 4}, {0, 4}}, 5, 5),
            (drawing{"#####", "#####", "#####", "###..", "###.."}));
}

TEST(polygon, what_lies_outside_the_picture_changes_nothing) {
  EXPECT_EQ(replaced({{-3, -3}, {9, -3}, {9, 9}, {-3, 9}}, 3, 2), (drawing{"###", "###"}));
  EXPECT_EQ(replaced({{-3, -3}, {-1, -3}, {-1, 9}, {-3, 9}}, 3, 2), (drawing{"...", "..."}));
  EXPECT_EQ(replaced({{3, 0}, {9, 0}, {9, 1}, {3, 1}}, 3, 2), (drawing{"...", "..."}));
  EXPECT_EQ(replaced({{0, 2}, {9, 2}, {9, 9}, {0, 9}}, 3, 2), (drawing{"...", "..."}));
}

TEST(polygon, the_largest_numbers_are_exact_and_cost_no_time) {
  constexpr int low = -2147483647 - 1;
  constexpr int high = 2147483647;
  EXPECT_EQ(replaced({{low, low}, {high, high}}, 3, 3), (drawing{"#..", ".#.", "..#"}));
  // From the upper end; the row y is met at -1 - y.
  EXPECT_EQ(replaced({{high, low}, {low, high}}, 3, 3), (drawing{"...", "...", "..."}));
  EXPECT_EQ(replaced({{low, low}, {high, low}, {high, high}, {low, high}}, 3, 1), drawing{"###"});
  EXPECT_EQ(replaced({{low, 0}, {high, 0}}, 3, 1), drawing{"###"});
}

TEST(polygon, random_ones_match_the_rules) {
  quillet_tests::random_texts random(8);
  for (int round = 0; round < 20000; ++round) {
    corner_list corners(1 + random.number(9));
    // A narrow range makes corners and edges fall together.
    const std::size_t range = 2 + random.number(14);
    for (point &corner : corners) {
      corner = {static_cast<int>(random.number(range)) - 3, static_cast<int>(random.number(range)) - 3};
    }
    std::string shown;
    for (const point corner : corners) shown += std::to_string(corner.x) + "," + std::to_string(corner.y) + " ";
    ASSERT_EQ(replaced(corners, 9, 7), reference(corners, 9, 7).run()) << shown;
  }
}

// Twice the area of a triangle, with the sign of its direction.
int turn(point a, point b, point c) { return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x); }

TEST(polygon, a_triangle_has_its_inside_and_nothing_beyond_its_corners) {
  quillet_tests::random_texts random(9);
  for (int round = 0; round < 5000; ++round) {
    point corners[3];
    for (point &corner : corners) corner = {static_cast<int>(random.number(20)), static_cast<int>(random.number(20))};
    // Not structured bindings: clang 14 does not capture them.
    const point a = corners[0], b = corners[1], c = corners[2];
    if (turn(a, b, c) == 0) continue;
    const drawing picture = replaced({a, b, c}, 20, 20);
    const auto inside = [&](int x, int y) {
      const point p{x, y};
      const int sides[] = {turn(a, b, p), turn(b, c, p), turn(c, a, p)};
      return std::ranges::all_of(sides, [](int side) { return side > 0; }) ||
             std::ranges::all_of(sides, [](int side) { return side < 0; });
    };
    const auto columns = std::minmax({a.x, b.x, c.x});
    const auto rows = std::minmax({a.y, b.y, c.y});
    const auto near = [=](int x, int y) {
      return x >= columns.first && x <= columns.second && y >= rows.first && y <= rows.second;
    };
    for (int y = 0; y < 20; ++y) {
      for (int x = 0; x < 20; ++x) {
        const bool is_replaced = picture[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] == '#';
        ASSERT_TRUE(is_replaced ? near(x, y) : !inside(x, y)) << x << "," << y;
      }
    }
  }
}

}  // namespace
}  // namespace quillet
