// Motion grids: the table, cell filling, the grid search and drawing.
#include "world/mp_grid.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <queue>

#include "graphics/draw.h"
#include "world/collision.h"
#include "world/instance.h"
#include "world/path.h"

namespace {

constexpr uint32_t kFreeColour = 0x00FF00;     // green (red in the low byte)
constexpr uint32_t kBlockedColour = 0x0000FF;  // red

std::vector<std::unique_ptr<MotionGrid>> g_grids;

// The column or row holding a coordinate, unclamped.
int32_t cell_of(double coordinate, int32_t origin, int32_t size) {
  return static_cast<int32_t>(std::floor((coordinate - origin) / size));
}

}  // namespace

int32_t MotionGrid_Create(int32_t left, int32_t top, int32_t hcells, int32_t vcells, int32_t cellwidth,
                          int32_t cellheight) {
  auto grid = std::make_unique<MotionGrid>();
  grid->left = left;
  grid->top = top;
  grid->hcells = std::max(1, hcells);
  grid->vcells = std::max(1, vcells);
  grid->cellWidth = std::max(1, cellwidth);
  grid->cellHeight = std::max(1, cellheight);
  grid->cells.assign(static_cast<size_t>(grid->hcells) * grid->vcells, 0);
  for (size_t i = 0; i < g_grids.size(); ++i) {
    if (!g_grids[i]) {
      g_grids[i] = std::move(grid);
      return static_cast<int32_t>(i);
    }
  }
  g_grids.push_back(std::move(grid));
  return static_cast<int32_t>(g_grids.size()) - 1;
}

MotionGrid* MotionGrid_Find(int32_t index) {
  return index >= 0 && static_cast<size_t>(index) < g_grids.size() ? g_grids[static_cast<size_t>(index)].get()
                                                                   : nullptr;
}

bool MotionGrid_Destroy(int32_t index) {
  if (MotionGrid_Find(index) == nullptr) return false;
  g_grids[static_cast<size_t>(index)].reset();
  return true;
}

void MotionGrid_FreeAll() { g_grids.clear(); }

void MotionGrid_FillRectangle(MotionGrid* grid, float x1, float y1, float x2, float y2, int32_t value) {
  const int32_t c0 = std::max(0, cell_of(std::min(x1, x2), grid->left, grid->cellWidth));
  const int32_t c1 = std::min(grid->hcells - 1, cell_of(std::max(x1, x2), grid->left, grid->cellWidth));
  const int32_t r0 = std::max(0, cell_of(std::min(y1, y2), grid->top, grid->cellHeight));
  const int32_t r1 = std::min(grid->vcells - 1, cell_of(std::max(y1, y2), grid->top, grid->cellHeight));
  for (int32_t c = c0; c <= c1; ++c) {
    for (int32_t r = r0; r <= r1; ++r) grid->at(c, r) = value;
  }
}

void MotionGrid_AddInstances(MotionGrid* grid, CInstance* self, CInstance* other, int32_t target, bool precise) {
  // A cell's rectangle reaches the next cell's first column outside compatibility mode, where the
  // far edges are exclusive and an overlap needs a pixel centre; inside it, edges are inclusive.
  const float inset = Collision_CompatMode() ? 1.0f : 0.0f;
  InstanceSetIterator it(self, other, target);
  while (CInstance* instance = it.Next()) {
    if (!Instance_IsLive(instance)) continue;
    Collision_RefreshBox(instance);
    const int32_t c0 = std::max(0, cell_of(instance->bboxLeft, grid->left, grid->cellWidth));
    const int32_t c1 = std::min(grid->hcells - 1, cell_of(instance->bboxRight, grid->left, grid->cellWidth));
    const int32_t r0 = std::max(0, cell_of(instance->bboxTop, grid->top, grid->cellHeight));
    const int32_t r1 = std::min(grid->vcells - 1, cell_of(instance->bboxBottom, grid->top, grid->cellHeight));
    for (int32_t c = c0; c <= c1; ++c) {
      for (int32_t r = r0; r <= r1; ++r) {
        const float x = static_cast<float>(grid->left + c * grid->cellWidth);
        const float y = static_cast<float>(grid->top + r * grid->cellHeight);
        if (Instance_CollideRectangle(instance, x, y, x + grid->cellWidth - inset, y + grid->cellHeight - inset,
                                      precise)) {
          grid->at(c, r) = kMotionGridBlocked;
        }
      }
    }
  }
}

bool MotionGrid_Path(const MotionGrid& grid, CPath* path, float xstart, float ystart, float xgoal, float ygoal,
                     bool diagonal) {
  const int32_t sc = cell_of(xstart, grid.left, grid.cellWidth), sr = cell_of(ystart, grid.top, grid.cellHeight);
  const int32_t gc = cell_of(xgoal, grid.left, grid.cellWidth), gr = cell_of(ygoal, grid.top, grid.cellHeight);
  auto open = [&](int32_t c, int32_t r) { return grid.inside(c, r) && grid.at(c, r) >= 0; };
  if (!open(sc, sr) || !open(gc, gr)) return false;

  // A* over the cells, by real distance: straight steps cost a cell's width or height, diagonal
  // ones its diagonal. The octile distance never overestimates, so the first pop of the goal is
  // the shortest way; ties go to the cell found first.
  const double w = grid.cellWidth, h = grid.cellHeight, d = std::sqrt(w * w + h * h);
  auto estimate = [&](int32_t c, int32_t r) {
    const double dx = std::abs(c - gc) * w, dy = std::abs(r - gr) * h;
    return diagonal ? std::max(dx, dy) + (d - std::max(w, h)) * std::min(std::abs(c - gc), std::abs(r - gr)) : dx + dy;
  };
  const size_t count = grid.cells.size();
  std::vector<double> cost(count, INFINITY);
  std::vector<int32_t> from(count, -1);
  auto index = [&](int32_t c, int32_t r) { return static_cast<size_t>(c) * grid.vcells + r; };
  struct Entry {
    double priority;
    uint64_t order;
    int32_t c, r;
    bool operator>(const Entry& o) const { return priority != o.priority ? priority > o.priority : order > o.order; }
  };
  std::priority_queue<Entry, std::vector<Entry>, std::greater<Entry>> frontier;
  uint64_t order = 0;
  cost[index(sc, sr)] = 0;
  frontier.push({estimate(sc, sr), order++, sc, sr});
  static const int32_t kSteps[8][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}, {1, 1}, {-1, 1}, {-1, -1}, {1, -1}};
  bool found = false;
  while (!frontier.empty()) {
    const Entry e = frontier.top();
    frontier.pop();
    const size_t here = index(e.c, e.r);
    if (e.priority - estimate(e.c, e.r) > cost[here] + 1e-9) continue;  // a stale entry
    if (e.c == gc && e.r == gr) {
      found = true;
      break;
    }
    for (int32_t k = 0; k < (diagonal ? 8 : 4); ++k) {
      const int32_t nc = e.c + kSteps[k][0], nr = e.r + kSteps[k][1];
      if (!open(nc, nr)) continue;
      if (k >= 4 && (!open(nc, e.r) || !open(e.c, nr))) continue;  // no cutting corners
      const double step = k >= 4 ? d : (kSteps[k][0] != 0 ? w : h);
      const size_t next = index(nc, nr);
      if (cost[here] + step < cost[next]) {
        cost[next] = cost[here] + step;
        from[next] = static_cast<int32_t>(here);
        frontier.push({cost[next] + estimate(nc, nr), order++, nc, nr});
      }
    }
  }
  if (!found) return false;

  std::vector<size_t> cells;
  for (size_t at = index(gc, gr); at != index(sc, sr); at = static_cast<size_t>(from[at])) cells.push_back(at);
  std::reverse(cells.begin(), cells.end());
  path->points.clear();
  path->closed = false;
  path->points.push_back(CPathPoint{xstart, ystart, 100});
  for (size_t k = 0; k + 1 < cells.size(); ++k) {
    const int32_t c = static_cast<int32_t>(cells[k] / grid.vcells), r = static_cast<int32_t>(cells[k] % grid.vcells);
    path->points.push_back(CPathPoint{static_cast<float>(grid.left + c * w + w / 2),
                                      static_cast<float>(grid.top + r * h + h / 2), 100});
  }
  path->points.push_back(CPathPoint{xgoal, ygoal, 100});
  Path_Build(path);
  return true;
}

void MotionGrid_Draw(const MotionGrid& grid) {
  for (int32_t c = 0; c < grid.hcells; ++c) {
    for (int32_t r = 0; r < grid.vcells; ++r) {
      const uint32_t colour = Draw_WithAlpha(grid.at(c, r) < 0 ? kBlockedColour : kFreeColour);
      const float x = static_cast<float>(grid.left + c * grid.cellWidth);
      const float y = static_cast<float>(grid.top + r * grid.cellHeight);
      Draw_Rectangle(x, y, x + grid.cellWidth - 1, y + grid.cellHeight - 1, colour, colour, colour, colour, false);
    }
  }
}
