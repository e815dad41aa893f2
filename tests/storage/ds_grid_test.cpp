// ds_grid: the three cell operations, bounds messages, regions, disks, region copies that overlap,
// aggregates, searches, sorting, resizing, the unchecked forms and the serial form.
#include <string>
#include <vector>

#include "core/console.h"
#include "ds_test_fixture.h"
#include "storage/ds_grid.h"

namespace value_test {
namespace {

class DsGridTest : public DsBuiltinsTest {
 protected:
  double NewGrid(int w, int h) { return Call("ds_grid_create", Args({Val::Real(w), Val::Real(h)}))->val; }
  // Numbered grid: cell (x, y) = y * 10 + x.
  double Numbered(int w, int h) {
    const double id = NewGrid(w, h);
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) Call("ds_grid_set", Args({Val::Real(id), Val::Real(x), Val::Real(y), Val::Real(y * 10 + x)}));
    }
    return id;
  }
  // Rows joined by '/', cells by ','.
  std::string Cells(double id) {
    const CDS_Grid* grid = DS_Find<CDS_Grid>(static_cast<int64_t>(id));
    std::string out;
    for (int y = 0; y < grid->height(); ++y) {
      if (y > 0) out += "/";
      for (int x = 0; x < grid->width(); ++x) out += (x > 0 ? "," : "") + TextOf(*grid->cell(x, y));
    }
    return out;
  }
};

TEST_F(DsGridTest, CellOperations) {
  struct Row {
    const char* name;
    Val cell;
    Val value;
    const char* expected;
  };
  const Row rows[] = {
      {"ds_grid_set", Val::Real(2), Val::Str("s"), "s"},
      {"ds_grid_add", Val::Real(2), Val::Real(3), "5"},
      {"ds_grid_add", Val::Int32(2), Val::Bool(true), "3"},
      {"ds_grid_add", Val::Str("ab"), Val::Str("cd"), "abcd"},
      {"ds_grid_add", Val::Str("ab"), Val::Real(1), "1"},   // mixed pair: the cell is set
      {"ds_grid_add", Val::Real(1), Val::Str("ab"), "ab"},
      {"ds_grid_multiply", Val::Real(2), Val::Real(4), "8"},
      {"ds_grid_multiply", Val::Str("ab"), Val::Real(4), "ab"},  // a string side: nothing
      {"ds_grid_multiply", Val::Real(2), Val::Str("4"), "2"},
  };
  for (const Row& row : rows) {
    const double id = NewGrid(1, 1);
    Call("ds_grid_set", Args({Val::Real(id), Val::Real(0), Val::Real(0), row.cell}));
    Call(row.name, Args({Val::Real(id), Val::Real(0), Val::Real(0), row.value}));
    EXPECT_EQ(Cells(id), row.expected) << row.name << " " << row.cell.text() << " " << row.value.text();
  }
}

TEST_F(DsGridTest, JoinedStringsAreCutAt1023Bytes) {
  const double id = NewGrid(1, 1);
  Call("ds_grid_set", Args({Val::Real(id), Val::Real(0), Val::Real(0), Val::Str(std::string(1000, 'a').c_str())}));
  Call("ds_grid_add", Args({Val::Real(id), Val::Real(0), Val::Real(0), Val::Str(std::string(100, 'b').c_str())}));
  EXPECT_EQ(Cells(id).size(), 1023u);
}

// The unchecked forms say nothing and change nothing; a missing grid still raises on a read.
TEST_F(DsGridTest, UncheckedFormsAreSilent) {
  const double id = NewGrid(2, 3);
  ConsoleCapture capture;
  DS_SetReleaseMode(true);
  Call("ds_grid_set", Args({Val::Real(id), Val::Real(9), Val::Real(0), Val::Real(5)}));
  EXPECT_EQ(Call("ds_grid_get", Args({Val::Real(id), Val::Real(9), Val::Real(9)})).kind(), kRVUndefined);
  Call("ds_grid_set", Args({Val::Real(99), Val::Real(0), Val::Real(0), Val::Real(5)}));
  EXPECT_EQ(capture.text(), "");
  EXPECT_EQ(Cells(id), "0,0/0,0/0,0");
  DS_SetReleaseMode(false);
  EXPECT_EQ(Raised("ds_grid_get", {Val::Real(99), Val::Real(0), Val::Real(0)}),
            "Data structure with index does not exist.");
}

// Bounds messages are game output: they go to the output console and to no other; the grid stays
// as it was and a read gives undefined.
TEST_F(DsGridTest, BoundsMessagesGoToTheOutputConsole) {
  const double id = NewGrid(2, 2);
  const std::string gid = std::to_string(static_cast<int>(id));
  TErrStreamConsole output, release, debug;
  tagIConsole* const saved[] = {g_OutputConsole, g_ReleaseConsole, g_DebugConsole};
  g_OutputConsole = &output;
  g_ReleaseConsole = &release;
  g_DebugConsole = &debug;
  Call("ds_grid_set", Args({Val::Real(id), Val::Real(2), Val::Real(0), Val::Real(1)}));
  Call("ds_grid_add", Args({Val::Real(id), Val::Real(0), Val::Real(-1), Val::Real(1)}));
  Call("ds_grid_set_pre", Args({Val::Real(id), Val::Real(5), Val::Real(5), Val::Real(1)}));
  EXPECT_EQ(Call("ds_grid_get", Args({Val::Real(id), Val::Real(0), Val::Real(2)})).kind(), kRVUndefined);
  Val out;
  DS_GridAccessRead(out.get(), *Val::Real(id), *Val::Real(-3), *Val::Real(0));
  DS_GridAccessWrite(*Val::Real(id), *Val::Real(0), *Val::Real(7), *Val::Real(1));
  g_OutputConsole = saved[0];
  g_ReleaseConsole = saved[1];
  g_DebugConsole = saved[2];
  const std::string writing = "Grid " + gid + ", index out of bounds writing ";
  const std::string reading = "Grid " + gid + ", index out of bounds reading ";
  EXPECT_EQ(output.text(), writing + "[2,0] - size is [2,2]\n" + writing + "[0,-1] - size is [2,2]\n" + writing +
                               "[5,5] - size is [2,2]\n" + reading + "[0,2] - size is [2,2]\n" + reading +
                               "[-3,0] - size is [2,2]\n" + writing + "[0,7] - size is [2,2]\n");
  EXPECT_EQ(release.text(), "");
  EXPECT_EQ(debug.text(), "");
  EXPECT_EQ(Cells(id), "0,0/0,0");
}

TEST_F(DsGridTest, RegionsTakeCornersInEitherOrderAndClip) {
  struct Row {
    int x1, y1, x2, y2;
    const char* expected;
  };
  const Row rows[] = {
      {0, 0, 1, 1, "1,1,0/1,1,0/0,0,0"},
      {1, 1, 0, 0, "1,1,0/1,1,0/0,0,0"},
      {2, -5, 9, 1, "0,0,1/0,0,1/0,0,0"},
      {5, 5, 9, 9, "0,0,0/0,0,0/0,0,0"},
  };
  for (const Row& row : rows) {
    const double id = NewGrid(3, 3);
    Call("ds_grid_add_region",
         Args({Val::Real(id), Val::Real(row.x1), Val::Real(row.y1), Val::Real(row.x2), Val::Real(row.y2), Val::Real(1)}));
    EXPECT_EQ(Cells(id), row.expected) << row.x1 << "," << row.y1 << " " << row.x2 << "," << row.y2;
  }
}

TEST_F(DsGridTest, DiskCoversCellsWithinTheRadius) {
  const double id = NewGrid(5, 5);
  Call("ds_grid_set_disk", Args({Val::Real(id), Val::Real(2), Val::Real(2), Val::Real(1), Val::Real(1)}));
  EXPECT_EQ(Cells(id), "0,0,0,0,0/0,0,1,0,0/0,1,1,1,0/0,0,1,0,0/0,0,0,0,0");
  EXPECT_EQ(Call("ds_grid_get_disk_sum", Args({Val::Real(id), Val::Real(2), Val::Real(2), Val::Real(1.5)}))->val, 5.0);
  Call("ds_grid_multiply_disk", Args({Val::Real(id), Val::Real(0), Val::Real(0), Val::Real(10), Val::Real(3)}));
  EXPECT_EQ(Call("ds_grid_get_sum", Args({Val::Real(id), Val::Real(0), Val::Real(0), Val::Real(4), Val::Real(4)}))->val, 15.0);
  EXPECT_EQ(Call("ds_grid_value_disk_x", Args({Val::Real(id), Val::Real(2), Val::Real(2), Val::Real(1), Val::Real(3)}))->val, 1.0);
  EXPECT_EQ(Call("ds_grid_value_disk_y", Args({Val::Real(id), Val::Real(2), Val::Real(2), Val::Real(1), Val::Real(3)}))->val, 2.0);
  EXPECT_EQ(Call("ds_grid_value_disk_exists", Args({Val::Real(id), Val::Real(0), Val::Real(0), Val::Real(0.5), Val::Real(3)}))->val, 0.0);
}

// Copying a region of a grid onto itself must give what copying from an unchanged copy gives, for
// every direction of overlap.
TEST_F(DsGridTest, GridRegionOntoItselfMatchesACopyFromAnUnchangedGrid) {
  const int shifts[][2] = {{1, 1}, {-1, -1}, {1, -1}, {-1, 1}, {2, 0}, {0, -2}};
  for (const char* name : {"ds_grid_set_grid_region", "ds_grid_add_grid_region"}) {
    for (const auto& shift : shifts) {
      const double self = Numbered(5, 5);
      const double reference = Numbered(5, 5);
      const double source = Numbered(5, 5);
      const int xpos = 1 + shift[0];
      const int ypos = 1 + shift[1];
      Call(name, Args({Val::Real(self), Val::Real(self), Val::Real(1), Val::Real(1), Val::Real(3), Val::Real(3),
                       Val::Real(xpos), Val::Real(ypos)}));
      Call(name, Args({Val::Real(reference), Val::Real(source), Val::Real(1), Val::Real(1), Val::Real(3), Val::Real(3),
                       Val::Real(xpos), Val::Real(ypos)}));
      EXPECT_EQ(Cells(self), Cells(reference)) << name << " shift " << shift[0] << "," << shift[1];
    }
  }
}

TEST_F(DsGridTest, GridRegionClipsSourceAndTarget) {
  const double src = Numbered(3, 3);
  const double dest = NewGrid(3, 3);
  Call("ds_grid_set_grid_region", Args({Val::Real(dest), Val::Real(src), Val::Real(-1), Val::Real(-1), Val::Real(1),
                                        Val::Real(1), Val::Real(0), Val::Real(0)}));
  // The source clips to (0,0)..(1,1) and the target corner moves with it to (1,1).
  EXPECT_EQ(Cells(dest), "0,0,0/0,0,1/0,10,11");
  Call("ds_grid_set_grid_region", Args({Val::Real(dest), Val::Real(src), Val::Real(1), Val::Real(1), Val::Real(5),
                                        Val::Real(5), Val::Real(0), Val::Real(0)}));
  EXPECT_EQ(Cells(dest), "11,12,0/21,22,1/0,10,11");
}

TEST_F(DsGridTest, GridRegionCornersAtTheLimitsOf32Bits) {
  constexpr double kMin = -2147483648.0;
  constexpr double kMax = 2147483647.0;
  struct Row {
    double x1, y1, x2, y2, xpos, ypos;
    const char* expected;
  };
  const Row rows[] = {
      // Clipping a corner at the lowest int shifts the target past the highest: nothing lands.
      {kMin, 0, 1, 0, kMax, 0, "0,0,0/0,0,0/0,0,0"},
      {0, kMin, 0, 1, 0, kMax, "0,0,0/0,0,0/0,0,0"},
      {kMax, kMax, kMin, kMin, 0, 0, "0,0,0/0,0,0/0,0,0"},
      {0, 0, kMax, kMax, kMin, kMin, "0,0,0/0,0,0/0,0,0"},
      {-1, -1, kMax, kMax, -1, -1, "0,1,2/10,11,12/20,21,22"},
  };
  const double src = Numbered(3, 3);
  for (const Row& row : rows) {
    const double dest = NewGrid(3, 3);
    Call("ds_grid_add_grid_region", Args({Val::Real(dest), Val::Real(src), Val::Real(row.x1), Val::Real(row.y1),
                                          Val::Real(row.x2), Val::Real(row.y2), Val::Real(row.xpos), Val::Real(row.ypos)}));
    EXPECT_EQ(Cells(dest), row.expected) << row.x1 << "," << row.y1 << " " << row.x2 << "," << row.y2 << " at "
                                         << row.xpos << "," << row.ypos;
    Call("ds_grid_destroy", Args({Val::Real(dest)}));
  }
}

TEST_F(DsGridTest, MaxAndMinFollowTheValueOrder) {
  const double one = NewGrid(1, 1);
  Call("ds_grid_set", Args({Val::Real(one), Val::Real(0), Val::Real(0), Val::Str("solo")}));
  EXPECT_EQ(Call("ds_grid_get_max", Args({Val::Real(one), Val::Real(0), Val::Real(0), Val::Real(0), Val::Real(0)})).text(), "solo");

  const double words = NewGrid(3, 1);
  const char* texts[] = {"kiwi", "zebra", "apple"};
  for (int x = 0; x < 3; ++x) Call("ds_grid_set", Args({Val::Real(words), Val::Real(x), Val::Real(0), Val::Str(texts[x])}));
  EXPECT_EQ(Call("ds_grid_get_max", Args({Val::Real(words), Val::Real(0), Val::Real(0), Val::Real(2), Val::Real(0)})).text(), "zebra");
  EXPECT_EQ(Call("ds_grid_get_min", Args({Val::Real(words), Val::Real(0), Val::Real(0), Val::Real(2), Val::Real(0)})).text(), "apple");

  ConsoleCapture capture;
  Call("ds_grid_set", Args({Val::Real(words), Val::Real(1), Val::Real(0), Val::Real(3)}));
  Call("ds_grid_get_disk_min", Args({Val::Real(words), Val::Real(1), Val::Real(0), Val::Real(5)}));
  EXPECT_EQ(capture.text(), "Warning:: ds_grid_get_disk_min called on grid with mix of strings and numerical values\n");

  const double numbers = Numbered(3, 2);
  EXPECT_EQ(Call("ds_grid_get_max", Args({Val::Real(numbers), Val::Real(0), Val::Real(0), Val::Real(2), Val::Real(1)}))->val, 12.0);
  EXPECT_EQ(Call("ds_grid_get_mean", Args({Val::Real(numbers), Val::Real(0), Val::Real(0), Val::Real(2), Val::Real(1)}))->val, 6.0);
  // An empty area leaves the result as it was.
  std::vector<Val> args = Args({Val::Real(numbers), Val::Real(9), Val::Real(9), Val::Real(9), Val::Real(9)});
  EXPECT_EQ(Call("ds_grid_get_max", args).kind(), kRVUndefined);
}

// Equal values (here within the comparison precision, so the winner shows) keep the earlier cell,
// earlier meaning x outer: (0,1) comes before (1,0).
TEST_F(DsGridTest, MaxAndMinTiesKeepTheEarlierCell) {
  struct Row {
    const char* name;
    bool disk;
    double first, second;  // placed at (0,1) and (1,0)
  };
  const Row rows[] = {
      {"ds_grid_get_max", false, 5.000000001, 5.0},      {"ds_grid_get_max", false, 5.0, 5.000000001},
      {"ds_grid_get_min", false, -5.000000001, -5.0},    {"ds_grid_get_min", false, -5.0, -5.000000001},
      {"ds_grid_get_disk_max", true, 5.000000001, 5.0},  {"ds_grid_get_disk_max", true, 5.0, 5.000000001},
      {"ds_grid_get_disk_min", true, -5.000000001, -5.0}, {"ds_grid_get_disk_min", true, -5.0, -5.000000001},
  };
  for (const Row& row : rows) {
    const double id = NewGrid(2, 2);
    Call("ds_grid_set", Args({Val::Real(id), Val::Real(0), Val::Real(1), Val::Real(row.first)}));
    Call("ds_grid_set", Args({Val::Real(id), Val::Real(1), Val::Real(0), Val::Real(row.second)}));
    const Val best = row.disk ? Call(row.name, Args({Val::Real(id), Val::Real(0.5), Val::Real(0.5), Val::Real(1)}))
                              : Call(row.name, Args({Val::Real(id), Val::Real(0), Val::Real(0), Val::Real(1), Val::Real(1)}));
    EXPECT_EQ(best->val, row.first) << row.name << " " << row.first << " before " << row.second;
    Call("ds_grid_destroy", Args({Val::Real(id)}));
  }
}

TEST_F(DsGridTest, ValueSearchGoesXOuter) {
  const double id = NewGrid(3, 3);
  Call("ds_grid_set", Args({Val::Real(id), Val::Real(2), Val::Real(0), Val::Str("t")}));
  Call("ds_grid_set", Args({Val::Real(id), Val::Real(1), Val::Real(2), Val::Str("t")}));
  const auto find = [&](const char* name) {
    return Call(name, Args({Val::Real(id), Val::Real(0), Val::Real(0), Val::Real(2), Val::Real(2), Val::Str("t")}))->val;
  };
  EXPECT_EQ(find("ds_grid_value_x"), 1.0);
  EXPECT_EQ(find("ds_grid_value_y"), 2.0);
  EXPECT_EQ(find("ds_grid_value_exists"), 1.0);
  EXPECT_EQ(Call("ds_grid_value_x", Args({Val::Real(id), Val::Real(0), Val::Real(0), Val::Real(2), Val::Real(2),
                                          Val::Str("none")}))->val, -1.0);
}

TEST_F(DsGridTest, SortResizeClearCopyAndShuffle) {
  const double id = NewGrid(2, 3);
  const double keys[] = {5, 1, 3};
  for (int y = 0; y < 3; ++y) {
    Call("ds_grid_set", Args({Val::Real(id), Val::Real(0), Val::Real(y), Val::Real(keys[y])}));
    Call("ds_grid_set", Args({Val::Real(id), Val::Real(1), Val::Real(y), Val::Str(std::string(1, 'a' + y).c_str())}));
  }
  Call("ds_grid_sort", Args({Val::Real(id), Val::Real(0), Val::Bool(true)}));
  EXPECT_EQ(Cells(id), "1,b/3,c/5,a");
  Call("ds_grid_sort", Args({Val::Real(id), Val::Real(1), Val::Bool(false)}));
  EXPECT_EQ(Cells(id), "3,c/1,b/5,a");

  Call("ds_grid_resize", Args({Val::Real(id), Val::Real(3), Val::Real(2)}));
  EXPECT_EQ(Cells(id), "3,c,0/1,b,0");
  const double copy = NewGrid(1, 1);
  Call("ds_grid_copy", Args({Val::Real(copy), Val::Real(id)}));
  EXPECT_EQ(Cells(copy), "3,c,0/1,b,0");
  Call("ds_grid_clear", Args({Val::Real(id), Val::Str("q")}));
  EXPECT_EQ(Cells(id), "q,q,q/q,q,q");
  EXPECT_EQ(Call("ds_grid_width", Args({Val::Real(copy)}))->val, 3.0);
  EXPECT_EQ(Call("ds_grid_height", Args({Val::Real(copy)}))->val, 2.0);

  const double big = Numbered(6, 6);
  Call("ds_grid_shuffle", Args({Val::Real(big)}));
  EXPECT_EQ(Call("ds_grid_get_sum", Args({Val::Real(big), Val::Real(0), Val::Real(0), Val::Real(5), Val::Real(5)}))->val,
            (0 + 1 + 2 + 3 + 4 + 5) * 6.0 + (0 + 10 + 20 + 30 + 40 + 50) * 6.0);
}

TEST_F(DsGridTest, SerialRoundTripAndDamagedText) {
  const double id = Numbered(3, 2);
  Call("ds_grid_set", Args({Val::Real(id), Val::Real(1), Val::Real(1), Val::Str("mid")}));
  const Val text = Call("ds_grid_write", Args({Val::Real(id)}));
  EXPECT_EQ(text.text().substr(0, 24), "5B020000" "03000000" "02000000");
  const double back = NewGrid(1, 1);
  Call("ds_grid_read", Args({Val::Real(back), text}));
  EXPECT_EQ(Cells(back), Cells(id));
  Call("ds_grid_read", Args({Val::Real(back), Val::Str("5B020000FFFFFF7FFFFFFF7F")}));
  EXPECT_EQ(Call("ds_grid_width", Args({Val::Real(back)}))->val, 0.0);
}

TEST_F(DsGridTest, AccessorEntries) {
  const double id = NewGrid(2, 2);
  DS_GridAccessWrite(*Val::Real(id), *Val::Real(1), *Val::Real(1), *Val::Str("c"));
  Val out;
  DS_GridAccessRead(out.get(), *Val::Real(id), *Val::Real(1), *Val::Real(1));
  EXPECT_EQ(out.text(), "c");
}

}  // namespace
}  // namespace value_test
