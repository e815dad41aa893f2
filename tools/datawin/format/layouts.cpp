// Compile-time checks that the record layouts agree with each other; the layouts themselves are
// header-only so the writer and the runtime inline them.
#include "datawin/format/byte_order.h"
#include "datawin/format/gen8_layout.h"
#include "datawin/format/link_layout.h"

namespace datawin {

static_assert(gen8::kDisplayName == gen8::room_order_offset(9));
static_assert(gen8::kReserved11 == gen8::room_order_offset(10));
static_assert(gen8::kFunctionClasses == gen8::room_order_offset(11));
static_assert(gen8::kReserved13 == gen8::room_order_offset(12));
static_assert(gen8::kReserved14 == gen8::room_order_offset(13));
static_assert(gen8::kGeneration == gen8::room_order_offset(7));
static_assert(gen8::kBuildTime + 8 == gen8::kDisplayName);
static_assert(link::kVariHeadBytes + link::kVariRecordBytes == link::kVariMaxEmptySize + 1);

}  // namespace datawin
