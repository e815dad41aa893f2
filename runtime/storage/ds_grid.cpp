// CDS_Grid: cells, the three cell operations, regions, disks, aggregates and ordering.
#include "storage/ds_grid.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "core/error.h"
#include "storage/ds_serial.h"

const char* const kDsCellOpNames[kDsCellOpCount] = {"set", "add", "multiply"};
static_assert(sizeof(kDsCellOpNames) / sizeof(kDsCellOpNames[0]) == kDsCellOpCount);

namespace {

constexpr size_t kJoinBuffer = 1024;

bool is_string(const RValue& v) { return RV_Kind(v) == kRVString; }
bool is_object(const RValue& v) { return RV_Kind(v) == kRVObject; }

// The cell span [floor(centre - r), ceil(centre + r)] clipped to [0, size); lo > hi when empty.
void disk_span(double centre, double r, int32_t size, int32_t* lo, int32_t* hi) {
  *lo = 0;
  *hi = -1;
  const double from = std::floor(centre - r);
  const double to = std::ceil(centre + r);
  if (!(from <= to) || to < 0.0 || from >= size) return;  // also catches NaN
  *lo = from < 0.0 ? 0 : static_cast<int32_t>(from);
  *hi = to >= size ? size - 1 : static_cast<int32_t>(to);
}

}  // namespace

CDS_Grid::~CDS_Grid() {
  clear_values();
  KV_FREE(cells_);
}

bool CDS_Grid::resize(int32_t width, int32_t height) {
  width = std::max(width, 0);
  height = std::max(height, 0);
  const int64_t count = static_cast<int64_t>(width) * height;
  RValue* cells = nullptr;
  if (count > 0) {
    if (count > kMaxCells) {
      KVError("Out of memory: data structure can't grow to %lld entries", static_cast<long long>(count));
      return false;
    }
    if (!DS_GrowValues(&cells, count)) return false;
  }
  const int32_t keep_w = std::min(width, width_);
  const int32_t keep_h = std::min(height, height_);
  for (int32_t y = 0; y < height_; ++y) {
    for (int32_t x = 0; x < width_; ++x) {
      RValue* old = cell(x, y);
      if (x < keep_w && y < keep_h) {
        cells[static_cast<int64_t>(y) * width + x] = *old;
      } else {
        RV_FreeToUndefined(old);
      }
    }
  }
  KV_FREE(cells_);
  cells_ = cells;
  width_ = width;
  height_ = height;
  return true;
}

void CDS_Grid::clear(const RValue& value) {
  DsHeldValue held;  // value may be one of the cells
  store(held.slot(), value);
  const int64_t count = static_cast<int64_t>(width_) * height_;
  for (int64_t i = 0; i < count; ++i) assign(&cells_[i], held.get());
}

void CDS_Grid::cell_op(DsCellOp op, RValue* target, const RValue& value) {
  switch (op) {
    case kDsCellSet:
      assign(target, value);
      return;
    case kDsCellAdd:
      if (is_string(*target) && is_string(value)) {
        char joined[kJoinBuffer];
        std::snprintf(joined, sizeof joined, "%s%s", RV_StringText(*target), RV_StringText(value));
        RV_SetString(target, joined);
      } else if (!is_string(*target) && !is_string(value) && !is_object(*target) && !is_object(value)) {
        const double sum = RV_ToDouble(*target) + RV_ToDouble(value);
        RV_FreeToUndefined(target);
        *target = RV_Real(sum);
      } else {
        assign(target, value);
      }
      return;
    case kDsCellMultiply:
      if (!is_string(*target) && !is_string(value)) {
        const double product = RV_ToDouble(*target) * RV_ToDouble(value);
        RV_FreeToUndefined(target);
        *target = RV_Real(product);
      }
      return;
    case kDsCellOpCount:
      return;
  }
}

void CDS_Grid::apply(DsCellOp op, int32_t x, int32_t y, const RValue& value) {
  if (in_bounds(x, y)) cell_op(op, cell(x, y), value);
}

template <class Visit>
void CDS_Grid::for_region(int32_t x1, int32_t y1, int32_t x2, int32_t y2, Visit&& visit) const {
  if (x1 > x2) std::swap(x1, x2);
  if (y1 > y2) std::swap(y1, y2);
  x1 = std::max(x1, 0);
  y1 = std::max(y1, 0);
  x2 = std::min(x2, width_ - 1);
  y2 = std::min(y2, height_ - 1);
  for (int32_t x = x1; x <= x2; ++x) {
    for (int32_t y = y1; y <= y2; ++y) {
      if (visit(x, y)) return;
    }
  }
}

template <class Visit>
void CDS_Grid::for_disk(double xm, double ym, double r, Visit&& visit) const {
  int32_t x_lo, x_hi, y_lo, y_hi;
  disk_span(xm, r, width_, &x_lo, &x_hi);
  disk_span(ym, r, height_, &y_lo, &y_hi);
  const double r2 = r * r;
  for (int32_t x = x_lo; x <= x_hi; ++x) {
    for (int32_t y = y_lo; y <= y_hi; ++y) {
      const double dx = x - xm;
      const double dy = y - ym;
      if (dx * dx + dy * dy <= r2 && visit(x, y)) return;
    }
  }
}

void CDS_Grid::apply_region(DsCellOp op, int32_t x1, int32_t y1, int32_t x2, int32_t y2, const RValue& value) {
  DsHeldValue held;  // value may be one of the cells that change
  store(held.slot(), value);
  for_region(x1, y1, x2, y2, [&](int32_t x, int32_t y) {
    cell_op(op, cell(x, y), held.get());
    return false;
  });
}

void CDS_Grid::apply_disk(DsCellOp op, double xm, double ym, double r, const RValue& value) {
  DsHeldValue held;
  store(held.slot(), value);
  for_disk(xm, ym, r, [&](int32_t x, int32_t y) {
    cell_op(op, cell(x, y), held.get());
    return false;
  });
}

void CDS_Grid::apply_grid_region(DsCellOp op, const CDS_Grid& src, int32_t x1, int32_t y1, int32_t x2, int32_t y2,
                                 int32_t xpos, int32_t ypos) {
  // Corners may lie anywhere in 32 bits: the clipping and the shift are worked out in 64 bits.
  int64_t left = std::min(x1, x2), right = std::max(x1, x2);
  int64_t top = std::min(y1, y2), bottom = std::max(y1, y2);
  int64_t target_x = xpos, target_y = ypos;
  // Clip the source rectangle to src, shifting the target corner with it.
  if (left < 0) {
    target_x -= left;
    left = 0;
  }
  if (top < 0) {
    target_y -= top;
    top = 0;
  }
  right = std::min<int64_t>(right, src.width_ - 1);
  bottom = std::min<int64_t>(bottom, src.height_ - 1);
  if (left > right || top > bottom) return;
  const int64_t dx = target_x - left;
  const int64_t dy = target_y - top;
  const bool x_back = dx > 0;
  const bool y_back = dy > 0;
  for (int64_t i = 0; i <= right - left; ++i) {
    const int64_t sx = x_back ? right - i : left + i;
    for (int64_t j = 0; j <= bottom - top; ++j) {
      const int64_t sy = y_back ? bottom - j : top + j;
      const int64_t tx = sx + dx;
      const int64_t ty = sy + dy;
      if (tx < 0 || ty < 0 || tx >= width_ || ty >= height_) continue;
      cell_op(op, cell(static_cast<int32_t>(tx), static_cast<int32_t>(ty)),
              *src.cell(static_cast<int32_t>(sx), static_cast<int32_t>(sy)));
    }
  }
}

CDS_Grid::Summary CDS_Grid::sum_region(int32_t x1, int32_t y1, int32_t x2, int32_t y2) const {
  Summary s;
  for_region(x1, y1, x2, y2, [&](int32_t x, int32_t y) {
    s.sum += RV_ToDouble(*cell(x, y));
    ++s.count;
    return false;
  });
  return s;
}

CDS_Grid::Summary CDS_Grid::sum_disk(double xm, double ym, double r) const {
  Summary s;
  for_disk(xm, ym, r, [&](int32_t x, int32_t y) {
    s.sum += RV_ToDouble(*cell(x, y));
    ++s.count;
    return false;
  });
  return s;
}

namespace {

// The running best of a maximum (or minimum): a later cell replaces it when comparing the best
// with it gives below 0 (above 0 for the minimum), so ties keep the earlier cell.
struct ExtremeScan {
  CDS_Grid::Summary* s;
  bool maximum;
  bool saw_string = false;
  bool saw_other = false;
  void visit(const RValue* v) {
    (is_string(*v) ? saw_string : saw_other) = true;
    ++s->count;
    if (s->best == nullptr) {
      s->best = v;
      return;
    }
    const int c = DS_Compare(*s->best, *v);
    if (maximum ? c < 0 : c > 0) s->best = v;
  }
};

}  // namespace

CDS_Grid::Summary CDS_Grid::extreme_region(int32_t x1, int32_t y1, int32_t x2, int32_t y2, bool maximum) const {
  Summary s;
  ExtremeScan scan{&s, maximum};
  for_region(x1, y1, x2, y2, [&](int32_t x, int32_t y) {
    scan.visit(cell(x, y));
    return false;
  });
  s.mixed = scan.saw_string && scan.saw_other;
  return s;
}

CDS_Grid::Summary CDS_Grid::extreme_disk(double xm, double ym, double r, bool maximum) const {
  Summary s;
  ExtremeScan scan{&s, maximum};
  for_disk(xm, ym, r, [&](int32_t x, int32_t y) {
    scan.visit(cell(x, y));
    return false;
  });
  s.mixed = scan.saw_string && scan.saw_other;
  return s;
}

bool CDS_Grid::find_region(int32_t x1, int32_t y1, int32_t x2, int32_t y2, const RValue& value, int32_t* x,
                           int32_t* y) const {
  bool found = false;
  for_region(x1, y1, x2, y2, [&](int32_t cx, int32_t cy) {
    found = DS_Compare(*cell(cx, cy), value) == 0;
    if (found) *x = cx, *y = cy;
    return found;
  });
  return found;
}

bool CDS_Grid::find_disk(double xm, double ym, double r, const RValue& value, int32_t* x, int32_t* y) const {
  bool found = false;
  for_disk(xm, ym, r, [&](int32_t cx, int32_t cy) {
    found = DS_Compare(*cell(cx, cy), value) == 0;
    if (found) *x = cx, *y = cy;
    return found;
  });
  return found;
}

void CDS_Grid::shuffle() {
  const int64_t count = static_cast<int64_t>(width_) * height_;
  for (int64_t i = 0; i < count * 8; ++i) std::swap(cells_[DS_Random(count)], cells_[DS_Random(count)]);
}

void CDS_Grid::sort(int32_t column, bool ascending) {
  if (column < 0 || column >= width_ || height_ < 2) return;
  std::vector<int32_t> rows(static_cast<size_t>(height_));
  for (int32_t y = 0; y < height_; ++y) rows[static_cast<size_t>(y)] = y;
  const int sign = ascending ? 1 : -1;
  DS_MergeSort(rows.data(), rows.size(), [this, column, sign](int32_t a, int32_t b) {
    return DS_Compare(*cell(column, a), *cell(column, b)) * sign > 0;
  });
  // Rows are rewritten from a byte copy: the values only move.
  const size_t row_bytes = static_cast<size_t>(width_) * sizeof(RValue);
  std::vector<RValue> copy(cells_, cells_ + static_cast<int64_t>(width_) * height_);
  for (int32_t y = 0; y < height_; ++y) {
    std::memcpy(static_cast<void*>(cell(0, y)), &copy[static_cast<size_t>(rows[static_cast<size_t>(y)]) * width_], row_bytes);
  }
}

bool CDS_Grid::copy_from(const CDS_Grid& src) {
  if (&src == this) return true;
  clear_values();
  if (!resize(src.width_, src.height_)) return false;
  const int64_t count = static_cast<int64_t>(width_) * height_;
  for (int64_t i = 0; i < count; ++i) store(&cells_[i], src.cells_[i]);
  return true;
}

void CDS_Grid::clear_values() {
  const int64_t count = static_cast<int64_t>(width_) * height_;
  for (int64_t i = 0; i < count; ++i) {
    RV_FreeToUndefined(&cells_[i]);
    cells_[i] = RV_Real(0.0);
  }
}

void CDS_Grid::for_each_value(DsValueVisitor visit, void* context) const {
  const int64_t count = static_cast<int64_t>(width_) * height_;
  for (int64_t i = 0; i < count; ++i) visit(cells_[i], context);
}

void CDS_Grid::write(DsWriter& out) const {
  out.put_i32(kDsGridVersion);
  out.put_i32(width_);
  out.put_i32(height_);
  const int64_t count = static_cast<int64_t>(width_) * height_;
  for (int64_t i = 0; i < count; ++i) out.put_value(cells_[i]);
}

bool CDS_Grid::read(DsReader& in, bool legacy) {
  bool old_layout = false;
  int32_t width = 0;
  int32_t height = 0;
  bool ok = in.get_version(kDsGridVersion, legacy, &old_layout) && in.get_i32(&width) && in.get_i32(&height) &&
            width >= 0 && height >= 0;
  const int64_t count = ok ? static_cast<int64_t>(width) * height : 0;
  ok = ok && count <= static_cast<int64_t>(in.remaining() / sizeof(int32_t));
  clear_values();
  if (ok) ok = resize(width, height);
  for (int64_t i = 0; ok && i < count; ++i) {
    RValue value = RV_Undefined();
    ok = in.get_value(&value, old_layout);
    if (ok) store(&cells_[i], value);  // the cell holds real 0: nothing to free
    RV_FreeToUndefined(&value);
  }
  if (!ok) resize(0, 0);
  return ok;
}
