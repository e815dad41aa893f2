#include "graphics/nineslice.h"

#include "core/console.h"
#include "core/error.h"
#include "core/gc.h"
#include "core/object.h"

namespace {

constexpr int32_t kModes = 5;

class NineSliceObject final : public KVObjectBase {
 public:
  NineSliceObject() : KVObjectBase(kObjStruct) {}
  // Freed by the collector (a reset) while its sprite lives: the sprite forgets it.
  ~NineSliceObject() override {
    if (target != &own && target != nullptr && target->scripted == this) target->scripted = nullptr;
  }
  CNineSliceData* target = nullptr;  // the sprite's settings, or own
  CNineSliceData own;
};

// The shared prototype; it forgets itself when the collector frees it (a game restart).
class NineSlicePrototype final : public KVObjectBase {
 public:
  NineSlicePrototype() : KVObjectBase(kObjStruct) {}
  ~NineSlicePrototype() override;
};

NineSlicePrototype* g_prototype = nullptr;
NineSlicePrototype::~NineSlicePrototype() {
  if (g_prototype == this) g_prototype = nullptr;
}

CNineSliceData* data_of(CInstance* self) {
  auto* object = dynamic_cast<NineSliceObject*>(KV_AsObject(self));
  return object != nullptr ? object->target : nullptr;
}

bool refuse_index(int32_t index) {
  if (index == kIndexWholeValue) return false;
  KVError("trying to index a property which is not an array");
  return true;
}

template <int32_t CNineSliceData::*Field>
void get_margin(RValue* result, CInstance* self, CInstance*, int, RValue*, int32_t index) {
  const CNineSliceData* d = data_of(self);
  if (d != nullptr && !refuse_index(index)) *result = RV_Real(d->*Field);
}

template <int32_t CNineSliceData::*Field>
void set_margin(RValue*, CInstance* self, CInstance*, int, RValue* argv, int32_t index) {
  CNineSliceData* d = data_of(self);
  if (d != nullptr && !refuse_index(index)) d->*Field = RV_ToInt32(argv[0]);
}

void get_enabled(RValue* result, CInstance* self, CInstance*, int, RValue*, int32_t index) {
  const CNineSliceData* d = data_of(self);
  if (d != nullptr && !refuse_index(index)) *result = RV_Bool(d->enabled);
}

void set_enabled(RValue*, CInstance* self, CInstance*, int, RValue* argv, int32_t index) {
  CNineSliceData* d = data_of(self);
  if (d != nullptr && !refuse_index(index)) d->enabled = RV_ToBool(argv[0]);
}

int32_t checked_mode(const RValue& value) {
  const int32_t mode = RV_ToInt32(value);
  if (mode >= 0 && mode < kModes) return mode;
  g_ReleaseConsole->Output("Invalid mode (%d) passed to tilemode property in nineslice, defaulting to stretch mode\n",
                           mode);
  return 0;
}

bool check_element(int32_t index) {
  if (index >= 0 && index < kModes) return true;
  KVError("trying to access index %d from an array with %d elements", index, kModes);
  return false;
}

void get_tilemode(RValue* result, CInstance* self, CInstance*, int, RValue*, int32_t index) {
  const CNineSliceData* d = data_of(self);
  if (d == nullptr) return;
  if (index != kIndexWholeValue) {
    if (check_element(index)) *result = RV_Real(d->tilemode[index]);
    return;
  }
  RefDynamicArrayOfRValue* array = RV_NewArray(kModes);
  for (int32_t i = 0; i < kModes; ++i) array->pArray[i] = RV_Real(d->tilemode[i]);
  result->pArray = array;
  result->flags = 0;
  result->kind = kRVArray;
}

void set_tilemode(RValue*, CInstance* self, CInstance*, int, RValue* argv, int32_t index) {
  CNineSliceData* d = data_of(self);
  if (d == nullptr) return;
  if (index != kIndexWholeValue) {
    if (check_element(index)) d->tilemode[index] = checked_mode(argv[0]);
    return;
  }
  if (RV_Kind(argv[0]) != kRVArray || argv[0].pArray == nullptr) {
    KVError("Invalid array passed to tilemode property");
    return;
  }
  const RefDynamicArrayOfRValue* array = argv[0].pArray;
  if (array->length < kModes) {
    KVError("Array passed to tilemode property is too small - should have %d elements", kModes);
    return;
  }
  for (int32_t i = 0; i < kModes; ++i) d->tilemode[i] = checked_mode(array->pArray[i]);
}

KVObjectBase* prototype() {
  if (g_prototype != nullptr) return g_prototype;
  g_prototype = new NineSlicePrototype();
  GC_AddObject(g_prototype);
  GCAddRoot(g_prototype);
  struct Row {
    const char* name;
    KVPropertyFn get;
    KVPropertyFn set;
  };
  const Row rows[] = {
      {"left", get_margin<&CNineSliceData::left>, set_margin<&CNineSliceData::left>},
      {"top", get_margin<&CNineSliceData::top>, set_margin<&CNineSliceData::top>},
      {"right", get_margin<&CNineSliceData::right>, set_margin<&CNineSliceData::right>},
      {"bottom", get_margin<&CNineSliceData::bottom>, set_margin<&CNineSliceData::bottom>},
      {"enabled", get_enabled, set_enabled},
      {"tilemode", get_tilemode, set_tilemode},
  };
  for (const Row& row : rows) Object_SetObject(g_prototype, row.name, Object_NewProperty(nullptr, row.get, row.set));
  return g_prototype;
}

NineSliceObject* new_object() {
  auto* object = new NineSliceObject();
  object->target = &object->own;
  KVSetClassName(object, "NineSlice");
  KVSetPrototype(object, prototype());
  GC_AddObject(object);
  return object;
}

}  // namespace

CNineSliceData::~CNineSliceData() { NineSlice_Release(this); }

RValue NineSlice_Value(CSprite* sprite) {
  if (sprite == nullptr || sprite->nineSlice == nullptr) return RV_Undefined();
  CNineSliceData* data = sprite->nineSlice.get();
  if (data->scripted == nullptr) {
    NineSliceObject* object = new_object();
    object->target = data;
    GCAddRoot(object);
    data->scripted = object;
  }
  return RV_Object(data->scripted);
}

RValue NineSlice_NewValue() { return RV_Object(new_object()); }

const CNineSliceData* NineSlice_FromValue(const RValue& value) {
  auto* object = dynamic_cast<NineSliceObject*>(RV_ObjectOf(value));
  return object != nullptr ? object->target : nullptr;
}

void NineSlice_CopySettings(CNineSliceData* to, const CNineSliceData& from) {
  if (to == &from) return;
  to->left = from.left;
  to->top = from.top;
  to->right = from.right;
  to->bottom = from.bottom;
  to->enabled = from.enabled;
  for (int32_t i = 0; i < kModes; ++i) to->tilemode[i] = from.tilemode[i];
}

void NineSlice_Release(CNineSliceData* data) {
  auto* object = static_cast<NineSliceObject*>(data->scripted);
  if (object == nullptr) return;
  data->scripted = nullptr;
  NineSlice_CopySettings(&object->own, *data);
  object->target = &object->own;
  GCRemoveRoot(object);
}
