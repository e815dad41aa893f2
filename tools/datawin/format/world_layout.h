#pragma once
// Layouts of PATH (paths: a point list of three f32 each, used in place) and TMLN (timelines:
// moments of {time, event record}; the event record is the action-list form that object events
// use, of which only the first action's code index is read).
#include <cstdint>

namespace datawin::path {

constexpr uint32_t kName = 0;
constexpr uint32_t kKind = 4;  // 1 smooth, else straight
constexpr uint32_t kClosed = 8;
constexpr uint32_t kPrecision = 12;
constexpr uint32_t kPointCount = 16;
constexpr uint32_t kPoints = 20;
constexpr uint32_t kPointBytes = 12;  // f32 x, y, speed
constexpr int32_t kKindSmooth = 1;

}  // namespace datawin::path

namespace datawin::tmln {

// 0 name, 4 moment count, 8 pairs {i32 time, offset of an event record}.
constexpr uint32_t kMoments = 8;
constexpr uint32_t kMomentBytes = 8;
// The event record: {i32 action count, offset of the first action}; the action's code index word.
constexpr uint32_t kEventRecordBytes = 8;
constexpr uint32_t kActionCodeIndex = 32;
constexpr uint32_t kActionBytes = 36;

}  // namespace datawin::tmln
