// The ds_grid_* builtins, their unchecked forms for tsl_release_mode, and the grid[# x, y]
// accessor entries: argument reading and bounds messages around CDS_Grid.
#include "core/console.h"
#include "core/error.h"
#include "storage/ds_grid.h"
#include "storage/ds_serial.h"
#include "storage/fn_ds.h"
#include "storage/fn_ds_internal.h"

namespace fn_ds {
namespace {

CDS_Grid* grid_arg(RValue* argv, int n) { return DS_Get<CDS_Grid>(KVGetInt32(argv, n)); }

bool check_write(const CDS_Grid& grid, int32_t id, int32_t x, int32_t y) {
  if (grid.in_bounds(x, y)) return true;
  g_OutputConsole->Output("Grid %d, index out of bounds writing [%d,%d] - size is [%d,%d]\n", id, x, y, grid.width(),
                          grid.height());
  return false;
}

bool check_read(const CDS_Grid& grid, int32_t id, int32_t x, int32_t y) {
  if (grid.in_bounds(x, y)) return true;
  g_OutputConsole->Output("Grid %d, index out of bounds reading [%d,%d] - size is [%d,%d]\n", id, x, y, grid.width(),
                          grid.height());
  return false;
}

// The checked cell read and write shared by the builtins and the accessor entries.
void get_cell(RValue* result, int32_t id, int32_t x, int32_t y) {
  if (CDS_Grid* grid = DS_Get<CDS_Grid>(id)) {
    set_result_copy(result, check_read(*grid, id, x, y) ? grid->cell(x, y) : nullptr);
  }
}

void set_cell(int32_t id, int32_t x, int32_t y, const RValue& value) {
  CDS_Grid* grid = DS_Get<CDS_Grid>(id);
  if (grid != nullptr && check_write(*grid, id, x, y)) grid->apply(kDsCellSet, x, y, DS_Unmarked(value));
}

FN_DS(F_GridCreate) {
  DsOwned<CDS_Grid> grid(KV_NEW(CDS_Grid));
  if (!grid->resize(KVGetInt32(argv, 0), KVGetInt32(argv, 1))) return;
  set_result(result, RV_Real(DS_Register(grid.release())));
}

FN_DS(F_GridDestroy) {
  if (grid_arg(argv, 0) != nullptr) DS_Destroy(kDsGrid, KVGetInt32(argv, 0));
}

FN_DS(F_GridCopy) {
  CDS_Grid* dest = grid_arg(argv, 0);
  CDS_Grid* src = dest != nullptr ? grid_arg(argv, 1) : nullptr;
  if (src != nullptr) dest->copy_from(*src);
}

FN_DS(F_GridWidth) {
  if (CDS_Grid* grid = grid_arg(argv, 0)) set_result(result, RV_Real(grid->width()));
}

FN_DS(F_GridHeight) {
  if (CDS_Grid* grid = grid_arg(argv, 0)) set_result(result, RV_Real(grid->height()));
}

FN_DS(F_GridResize) {
  if (CDS_Grid* grid = grid_arg(argv, 0)) grid->resize(KVGetInt32(argv, 1), KVGetInt32(argv, 2));
}

FN_DS(F_GridClear) {
  if (CDS_Grid* grid = grid_arg(argv, 0)) grid->clear(DS_Unmarked(argv[1]));
}

FN_DS(F_GridSet) { set_cell(KVGetInt32(argv, 0), KVGetInt32(argv, 1), KVGetInt32(argv, 2), argv[3]); }

FN_DS(F_GridGet) { get_cell(result, KVGetInt32(argv, 0), KVGetInt32(argv, 1), KVGetInt32(argv, 2)); }

// tsl_release_mode's forms: no id error and no console line; a bad id or cell does nothing.
FN_DS(F_GridSetUnchecked) {
  CDS_Grid* grid = DS_Find<CDS_Grid>(KVGetInt32(argv, 0));
  if (grid != nullptr) grid->apply(kDsCellSet, KVGetInt32(argv, 1), KVGetInt32(argv, 2), DS_Unmarked(argv[3]));
}

FN_DS(F_GridGetUnchecked) {
  CDS_Grid* grid = DS_Find<CDS_Grid>(KVGetInt32(argv, 0));
  const int32_t x = KVGetInt32(argv, 1);
  const int32_t y = KVGetInt32(argv, 2);
  set_result_copy(result, grid != nullptr && grid->in_bounds(x, y) ? grid->cell(x, y) : nullptr);
}

template <bool Post>
FN_DS(F_GridSetPrePost) {
  const int32_t id = KVGetInt32(argv, 0);
  CDS_Grid* grid = DS_Get<CDS_Grid>(id);
  const int32_t x = KVGetInt32(argv, 1);
  const int32_t y = KVGetInt32(argv, 2);
  if (grid == nullptr) return;
  if (!check_write(*grid, id, x, y)) {
    set_result(result, RV_Undefined());
    return;
  }
  RValue old = RV_Undefined();
  if (!Post) set_result_copy(&old, grid->cell(x, y));
  grid->apply(kDsCellSet, x, y, DS_Unmarked(argv[3]));
  if (Post) {
    set_result_copy(result, grid->cell(x, y));
  } else {
    set_result(result, old);
  }
}

template <DsCellOp Op>
FN_DS(F_GridCellOp) {
  const int32_t id = KVGetInt32(argv, 0);
  CDS_Grid* grid = DS_Get<CDS_Grid>(id);
  const int32_t x = KVGetInt32(argv, 1);
  const int32_t y = KVGetInt32(argv, 2);
  if (grid != nullptr && check_write(*grid, id, x, y)) grid->apply(Op, x, y, DS_Unmarked(argv[3]));
}

template <DsCellOp Op>
FN_DS(F_GridRegionOp) {
  if (CDS_Grid* grid = grid_arg(argv, 0)) {
    grid->apply_region(Op, KVGetInt32(argv, 1), KVGetInt32(argv, 2), KVGetInt32(argv, 3), KVGetInt32(argv, 4),
                       DS_Unmarked(argv[5]));
  }
}

template <DsCellOp Op>
FN_DS(F_GridDiskOp) {
  if (CDS_Grid* grid = grid_arg(argv, 0)) {
    grid->apply_disk(Op, KVGetReal(argv, 1), KVGetReal(argv, 2), KVGetReal(argv, 3), DS_Unmarked(argv[4]));
  }
}

template <DsCellOp Op>
FN_DS(F_GridGridRegionOp) {
  CDS_Grid* dest = grid_arg(argv, 0);
  CDS_Grid* src = dest != nullptr ? grid_arg(argv, 1) : nullptr;
  if (src == nullptr) return;
  dest->apply_grid_region(Op, *src, KVGetInt32(argv, 2), KVGetInt32(argv, 3), KVGetInt32(argv, 4),
                          KVGetInt32(argv, 5), KVGetInt32(argv, 6), KVGetInt32(argv, 7));
}

enum class Aggregate { kSum, kMean, kMax, kMin };

void aggregate_result(RValue* result, Aggregate what, const CDS_Grid::Summary& s, const char* name) {
  switch (what) {
    case Aggregate::kSum: set_result(result, RV_Real(s.sum)); return;
    case Aggregate::kMean: set_result(result, RV_Real(s.count > 0 ? s.sum / static_cast<double>(s.count) : 0.0)); return;
    case Aggregate::kMax:
    case Aggregate::kMin:
      if (s.mixed) g_ReleaseConsole->Output("Warning:: %s called on grid with mix of strings and numerical values\n", name);
      if (s.best != nullptr) set_result_copy(result, s.best);  // an empty area leaves the result as it was
      return;
  }
}

template <Aggregate What>
FN_DS(F_GridRegionAggregate) {
  CDS_Grid* grid = grid_arg(argv, 0);
  if (grid == nullptr) return;
  const int32_t x1 = KVGetInt32(argv, 1), y1 = KVGetInt32(argv, 2), x2 = KVGetInt32(argv, 3), y2 = KVGetInt32(argv, 4);
  const bool sum = What == Aggregate::kSum || What == Aggregate::kMean;
  const CDS_Grid::Summary s = sum ? grid->sum_region(x1, y1, x2, y2) : grid->extreme_region(x1, y1, x2, y2, What == Aggregate::kMax);
  aggregate_result(result, What, s, What == Aggregate::kMax ? "ds_grid_get_max" : "ds_grid_get_min");
}

template <Aggregate What>
FN_DS(F_GridDiskAggregate) {
  CDS_Grid* grid = grid_arg(argv, 0);
  if (grid == nullptr) return;
  const double xm = KVGetReal(argv, 1), ym = KVGetReal(argv, 2), r = KVGetReal(argv, 3);
  const bool sum = What == Aggregate::kSum || What == Aggregate::kMean;
  const CDS_Grid::Summary s = sum ? grid->sum_disk(xm, ym, r) : grid->extreme_disk(xm, ym, r, What == Aggregate::kMax);
  aggregate_result(result, What, s, What == Aggregate::kMax ? "ds_grid_get_disk_max" : "ds_grid_get_disk_min");
}

enum class Found { kExists, kX, kY };

void found_result(RValue* result, Found what, bool found, int32_t x, int32_t y) {
  switch (what) {
    case Found::kExists: set_result(result, RV_Bool(found)); return;
    case Found::kX: set_result(result, RV_Real(found ? x : -1)); return;
    case Found::kY: set_result(result, RV_Real(found ? y : -1)); return;
  }
}

template <Found What>
FN_DS(F_GridValueRegion) {
  CDS_Grid* grid = grid_arg(argv, 0);
  if (grid == nullptr) return;
  int32_t x = -1, y = -1;
  const bool found = grid->find_region(KVGetInt32(argv, 1), KVGetInt32(argv, 2), KVGetInt32(argv, 3),
                                       KVGetInt32(argv, 4), argv[5], &x, &y);
  found_result(result, What, found, x, y);
}

template <Found What>
FN_DS(F_GridValueDisk) {
  CDS_Grid* grid = grid_arg(argv, 0);
  if (grid == nullptr) return;
  int32_t x = -1, y = -1;
  const bool found = grid->find_disk(KVGetReal(argv, 1), KVGetReal(argv, 2), KVGetReal(argv, 3), argv[4], &x, &y);
  found_result(result, What, found, x, y);
}

FN_DS(F_GridShuffle) {
  if (CDS_Grid* grid = grid_arg(argv, 0)) grid->shuffle();
}

FN_DS(F_GridSort) {
  if (CDS_Grid* grid = grid_arg(argv, 0)) grid->sort(KVGetInt32(argv, 1), KVGetBool(argv, 2));
}

FN_DS(F_GridWrite) {
  CDS_Grid* grid = grid_arg(argv, 0);
  if (grid == nullptr) return;
  DsWriter writer;
  grid->write(writer);
  writer.to_value(result);
}

FN_DS(F_GridRead) {
  CDS_Grid* grid = grid_arg(argv, 0);
  if (grid == nullptr) return;
  const char* text = KVGetString(argv, 1);
  const bool legacy = argc > 2 && KVGetBool(argv, 2);
  DsReader reader;
  if (reader.load_hex(text)) {
    grid->read(reader, legacy);
  } else {
    grid->resize(0, 0);
  }
}

}  // namespace

void RegisterGridBuiltins() {
  Function_Add("ds_grid_create", with_args<F_GridCreate, 2>, 2, 0);
  Function_Add("ds_grid_destroy", with_args<F_GridDestroy, 1>, 1, 0);
  Function_Add("ds_grid_copy", with_args<F_GridCopy, 2>, 2, 0);
  Function_Add("ds_grid_width", with_args<F_GridWidth, 1>, 1, 0);
  Function_Add("ds_grid_height", with_args<F_GridHeight, 1>, 1, 0);
  Function_Add("ds_grid_resize", with_args<F_GridResize, 3>, 3, 0);
  Function_Add("ds_grid_clear", with_args<F_GridClear, 2>, 2, 0);
  Function_Add("ds_grid_set", with_args<F_GridSet, 4>, 4, 0);
  Function_Add("ds_grid_set_pre", with_args<F_GridSetPrePost<false>, 4>, 4, 0);
  Function_Add("ds_grid_set_post", with_args<F_GridSetPrePost<true>, 4>, 4, 0);
  Function_Add("ds_grid_add", with_args<F_GridCellOp<kDsCellAdd>, 4>, 4, 0);
  Function_Add("ds_grid_multiply", with_args<F_GridCellOp<kDsCellMultiply>, 4>, 4, 0);
  Function_Add("ds_grid_set_region", with_args<F_GridRegionOp<kDsCellSet>, 6>, 6, 0);
  Function_Add("ds_grid_add_region", with_args<F_GridRegionOp<kDsCellAdd>, 6>, 6, 0);
  Function_Add("ds_grid_multiply_region", with_args<F_GridRegionOp<kDsCellMultiply>, 6>, 6, 0);
  Function_Add("ds_grid_set_disk", with_args<F_GridDiskOp<kDsCellSet>, 5>, 5, 0);
  Function_Add("ds_grid_add_disk", with_args<F_GridDiskOp<kDsCellAdd>, 5>, 5, 0);
  Function_Add("ds_grid_multiply_disk", with_args<F_GridDiskOp<kDsCellMultiply>, 5>, 5, 0);
  Function_Add("ds_grid_set_grid_region", with_args<F_GridGridRegionOp<kDsCellSet>, 8>, 8, 0);
  Function_Add("ds_grid_add_grid_region", with_args<F_GridGridRegionOp<kDsCellAdd>, 8>, 8, 0);
  Function_Add("ds_grid_multiply_grid_region", with_args<F_GridGridRegionOp<kDsCellMultiply>, 8>, 8, 0);
  Function_Add("ds_grid_get", with_args<F_GridGet, 3>, 3, 0);
  Function_Add("ds_grid_get_sum", with_args<F_GridRegionAggregate<Aggregate::kSum>, 5>, 5, 0);
  Function_Add("ds_grid_get_max", with_args<F_GridRegionAggregate<Aggregate::kMax>, 5>, 5, 0);
  Function_Add("ds_grid_get_min", with_args<F_GridRegionAggregate<Aggregate::kMin>, 5>, 5, 0);
  Function_Add("ds_grid_get_mean", with_args<F_GridRegionAggregate<Aggregate::kMean>, 5>, 5, 0);
  Function_Add("ds_grid_get_disk_sum", with_args<F_GridDiskAggregate<Aggregate::kSum>, 4>, 4, 0);
  Function_Add("ds_grid_get_disk_max", with_args<F_GridDiskAggregate<Aggregate::kMax>, 4>, 4, 0);
  Function_Add("ds_grid_get_disk_min", with_args<F_GridDiskAggregate<Aggregate::kMin>, 4>, 4, 0);
  Function_Add("ds_grid_get_disk_mean", with_args<F_GridDiskAggregate<Aggregate::kMean>, 4>, 4, 0);
  Function_Add("ds_grid_value_exists", with_args<F_GridValueRegion<Found::kExists>, 6>, 6, 0);
  Function_Add("ds_grid_value_x", with_args<F_GridValueRegion<Found::kX>, 6>, 6, 0);
  Function_Add("ds_grid_value_y", with_args<F_GridValueRegion<Found::kY>, 6>, 6, 0);
  Function_Add("ds_grid_value_disk_exists", with_args<F_GridValueDisk<Found::kExists>, 5>, 5, 0);
  Function_Add("ds_grid_value_disk_x", with_args<F_GridValueDisk<Found::kX>, 5>, 5, 0);
  Function_Add("ds_grid_value_disk_y", with_args<F_GridValueDisk<Found::kY>, 5>, 5, 0);
  Function_Add("ds_grid_shuffle", with_args<F_GridShuffle, 1>, 1, 0);
  Function_Add("ds_grid_sort", with_args<F_GridSort, 3>, 3, 0);
  Function_Add("ds_grid_write", with_args<F_GridWrite, 1>, 1, 0);
  Function_Add("ds_grid_read", with_args<F_GridRead, 2>, -1, 0);
}

}  // namespace fn_ds

void DS_SetReleaseMode(bool unchecked) {
  using namespace fn_ds;
  Function_Set("ds_grid_set", unchecked ? with_args<F_GridSetUnchecked, 4> : with_args<F_GridSet, 4>);
  Function_Set("ds_grid_get", unchecked ? with_args<F_GridGetUnchecked, 3> : with_args<F_GridGet, 3>);
}

void DS_GridAccessRead(RValue* result, const RValue& id, const RValue& x, const RValue& y) {
  fn_ds::get_cell(result, RV_ToInt32(id), RV_ToInt32(x), RV_ToInt32(y));
}

void DS_GridAccessWrite(const RValue& id, const RValue& x, const RValue& y, const RValue& value) {
  fn_ds::set_cell(RV_ToInt32(id), RV_ToInt32(x), RV_ToInt32(y), value);
}
