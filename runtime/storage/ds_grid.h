#pragma once
// CDS_Grid: a width x height block of cells, row-major (cell (x, y) at y * width + x); a new cell is
// real 0. Every write is one of three cell operations:
//   set       the cell takes the value, with references;
//   add       two strings join ("%s%s" in a 1024-byte buffer, so the result is cut at 1023 bytes);
//             with neither side a string nor an object both become doubles and add; any other
//             pair sets the cell to the value;
//   multiply  nothing if either side is a string, else both become doubles and multiply.
// Regions take their corners in either order and are clipped to the grid; x is the outer loop.
// Disks cover the cells with (x - xm)^2 + (y - ym)^2 <= r^2, x from floor(xm - r) to ceil(xm + r)
// clipped to the grid (y alike). A region copied onto the same grid is walked backward in x when
// the target lies right of the source and backward in y when below, so overlaps copy correctly.
// Coordinates are checked as unsigned 32-bit numbers: a negative one is out of bounds.
// Grids don't take DsMutex: they belong to the main thread.
#include <cstdint>

#include "storage/ds_core.h"

class DsReader;
class DsWriter;

enum DsCellOp : int32_t {
  kDsCellSet,
  kDsCellAdd,
  kDsCellMultiply,
  kDsCellOpCount,
};
extern const char* const kDsCellOpNames[kDsCellOpCount];

class CDS_Grid final : public DsStructure {
 public:
  static constexpr DsKind kKind = kDsGrid;
  // Largest cell count a grid may have.
  static constexpr int64_t kMaxCells = int64_t{1} << 26;

  CDS_Grid() : DsStructure(kDsGrid) {}
  ~CDS_Grid() override;

  int32_t width() const { return width_; }
  int32_t height() const { return height_; }
  bool in_bounds(int64_t x, int64_t y) const { return x >= 0 && y >= 0 && x < width_ && y < height_; }
  // The cell at (x, y), which must be in bounds.
  RValue* cell(int32_t x, int32_t y) const { return &cells_[static_cast<int64_t>(y) * width_ + x]; }

  // Negative sizes count as 0. Cells inside both sizes keep their values, new ones are real 0,
  // dropped ones are freed. Raises and returns false past kMaxCells or out of memory.
  bool resize(int32_t width, int32_t height);
  void clear(const RValue& value);

  void apply(DsCellOp op, int32_t x, int32_t y, const RValue& value);
  void apply_region(DsCellOp op, int32_t x1, int32_t y1, int32_t x2, int32_t y2, const RValue& value);
  void apply_disk(DsCellOp op, double xm, double ym, double r, const RValue& value);
  // src's region (clipped to src) onto this grid at (xpos, ypos); target cells outside are skipped.
  void apply_grid_region(DsCellOp op, const CDS_Grid& src, int32_t x1, int32_t y1, int32_t x2, int32_t y2,
                         int32_t xpos, int32_t ypos);

  // Aggregates over a region or a disk. An area with no cells gives count 0 and best null.
  struct Summary {
    double sum = 0.0;
    int64_t count = 0;
    const RValue* best = nullptr;  // max or min, earliest on ties
    bool mixed = false;            // strings and other kinds were both met
  };
  Summary sum_region(int32_t x1, int32_t y1, int32_t x2, int32_t y2) const;
  Summary sum_disk(double xm, double ym, double r) const;
  Summary extreme_region(int32_t x1, int32_t y1, int32_t x2, int32_t y2, bool maximum) const;
  Summary extreme_disk(double xm, double ym, double r, bool maximum) const;
  // The first cell equal to value, x outer; false when none.
  bool find_region(int32_t x1, int32_t y1, int32_t x2, int32_t y2, const RValue& value, int32_t* x, int32_t* y) const;
  bool find_disk(double xm, double ym, double r, const RValue& value, int32_t* x, int32_t* y) const;

  // cells x 8 swaps of two random cells.
  void shuffle();
  // Reorders the rows by the cells of column; a column outside the grid changes nothing.
  void sort(int32_t column, bool ascending);

  // Makes this grid src's size and copies its cells.
  bool copy_from(const CDS_Grid& src);
  void clear_values() override;
  void for_each_value(DsValueVisitor visit, void* context) const override;

  void write(DsWriter& out) const;
  bool read(DsReader& in, bool legacy);

 private:
  void cell_op(DsCellOp op, RValue* target, const RValue& value);
  template <class Visit>
  void for_region(int32_t x1, int32_t y1, int32_t x2, int32_t y2, Visit&& visit) const;
  template <class Visit>
  void for_disk(double xm, double ym, double r, Visit&& visit) const;

  RValue* cells_ = nullptr;
  int32_t width_ = 0;
  int32_t height_ = 0;
};
