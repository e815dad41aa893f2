#pragma once
// Motion planning: grids of cells that are free or blocked with the shortest-path search over
// them, and the linear and potential-field steering of an instance towards a goal.
//
// A grid covers hcells x vcells cells of cellwidth x cellheight from (left, top); its cells are i32
// values stored by column (index = column x vcells + row), and a value below 0 is blocked. Grids
// stand in a table by index, the lowest free index reused first. A position outside the grid
// counts as blocked.
#include <cstddef>
#include <cstdint>
#include <vector>

class CInstance;
struct CPath;

struct MotionGrid {
  int32_t left = 0, top = 0;
  int32_t cellWidth = 1, cellHeight = 1;
  int32_t hcells = 0, vcells = 0;
  std::vector<int32_t> cells;

  bool inside(int32_t column, int32_t row) const { return column >= 0 && column < hcells && row >= 0 && row < vcells; }
  int32_t& at(int32_t column, int32_t row) { return cells[static_cast<size_t>(column) * vcells + row]; }
  int32_t at(int32_t column, int32_t row) const { return cells[static_cast<size_t>(column) * vcells + row]; }
};

constexpr int32_t kMotionGridBlocked = -1;

// A new grid (sizes below 1 become 1); its index.
int32_t MotionGrid_Create(int32_t left, int32_t top, int32_t hcells, int32_t vcells, int32_t cellwidth,
                          int32_t cellheight);
bool MotionGrid_Destroy(int32_t index);
MotionGrid* MotionGrid_Find(int32_t index);  // null for an index that names no grid
void MotionGrid_FreeAll();

// Cells touched by the rectangle (room coordinates, corners in any order) take value.
void MotionGrid_FillRectangle(MotionGrid* grid, float x1, float y1, float x2, float y2, int32_t value);
// Every cell that an instance of target overlaps becomes blocked; precise uses the masks.
void MotionGrid_AddInstances(MotionGrid* grid, CInstance* self, CInstance* other, int32_t target, bool precise);
// The shortest way through free cells from the start's cell to the goal's, diagonal steps only
// where both cells beside the step are free too. On success the path becomes open and holds the
// start, the centres of the cells between and the goal; otherwise it is left alone.
bool MotionGrid_Path(const MotionGrid& grid, CPath* path, float xstart, float ystart, float xgoal, float ygoal,
                     bool diagonal);
// Draws free cells green and blocked ones red, with the draw alpha.
void MotionGrid_Draw(const MotionGrid& grid);

// ---- Steering -----------------------------------------------------------------------------------
// What stops a planned step: solids, any instance, or the instances of one object or id.
struct MotionObstacles {
  enum Kind { kSolid, kTarget } kind = kSolid;
  int32_t target = -3;
};

// One straight step of at most stepsize towards the goal if that place is free; true once there.
bool MotionPlan_LinearStep(CInstance* self, float xgoal, float ygoal, float stepsize, MotionObstacles obstacles);
// The straight steps to the goal written into the path without moving; true if the goal is reached.
bool MotionPlan_LinearPath(CInstance* self, CPath* path, float xgoal, float ygoal, float stepsize,
                           MotionObstacles obstacles);

struct PotentialSettings {
  float maxrot = 30;   // the most the direction turns in one step
  float rotstep = 10;  // the spacing of the directions tried around the goal's
  float ahead = 3;     // how many steps ahead a direction must be free
  bool onspot = true;  // turn without moving when no direction is free
};
void MotionPlan_SetPotential(const PotentialSettings& settings);
// One step steered round obstacles towards the goal; true once there.
bool MotionPlan_PotentialStep(CInstance* self, float xgoal, float ygoal, float stepsize, MotionObstacles obstacles);
// The potential steps written into the path without moving, at most factor times the straight
// distance long; true if the goal is reached.
bool MotionPlan_PotentialPath(CInstance* self, CPath* path, float xgoal, float ygoal, float stepsize, float factor,
                              MotionObstacles obstacles);
