// Conversions between script values and json-c trees, both ways, for structs and arrays
// (json_parse, json_stringify) and for ds maps and lists (json_decode, json_encode).
#include <json-c/json.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/gc.h"
#include "core/hash_map.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "storage/ds_list.h"
#include "storage/ds_map.h"
#include "storage/json.h"

namespace {

constexpr char kStructClass[] = "___struct___";
constexpr char kInt64Prefix[] = "@i64@";
constexpr char kInt64Suffix[] = "$i64$";
constexpr size_t kInt64MinText = 11;

// ---- Values to trees --------------------------------------------------------------------------------

// Builds the tree of one value. The visited set holds the containers being converted, sorted by
// address, so that a container met inside itself becomes null instead of recursing for ever.
class TreeBuilder {
 public:
  json_object* value(const RValue& v, int depth);
  json_object* map(const CDS_Map& map, int depth);

 private:
  bool enter(const void* container);
  void leave(const void* container);
  json_object* list(const CDS_List& list, int depth);
  json_object* array(const RefDynamicArrayOfRValue& array, int depth);
  json_object* object(KVObjectBase* object, int depth);
  void member(json_object* node, int32_t slot, const RValue* v, int depth);

  std::vector<const void*> visited_;
};

bool TreeBuilder::enter(const void* container) {
  const auto at = std::lower_bound(visited_.begin(), visited_.end(), container);
  if (at != visited_.end() && *at == container) return false;
  visited_.insert(at, container);
  return true;
}

void TreeBuilder::leave(const void* container) {
  const auto at = std::lower_bound(visited_.begin(), visited_.end(), container);
  if (at != visited_.end() && *at == container) visited_.erase(at);
}

json_object* int64_node(int64_t v) {
  if (v >= -2147483647 && v <= 2147483647) return json_object_new_int(static_cast<int32_t>(v));
  const double d = static_cast<double>(v);
  // 2^63 itself is past int64: only values below it convert back without overflow.
  if (d < 9223372036854775808.0 && static_cast<int64_t>(d) == v) return json_object_new_double(d);
  char text[40];
  std::snprintf(text, sizeof text, "@i64@%llx$i64$", static_cast<unsigned long long>(v));
  return json_object_new_string(text);
}

json_object* TreeBuilder::value(const RValue& v, int depth) {
  if ((v.kind & kDsMarkMap) != 0) {
    const CDS_Map* nested = DS_Find<CDS_Map>(DS_MarkedId(v));
    return nested != nullptr ? map(*nested, depth) : nullptr;
  }
  if ((v.kind & kDsMarkList) != 0) {
    const CDS_List* nested = DS_Find<CDS_List>(DS_MarkedId(v));
    return nested != nullptr ? list(*nested, depth) : nullptr;
  }
  switch (RV_Kind(v)) {
    case kRVInt32:
    case kRVRef: return json_object_new_int(v.v32);
    case kRVInt64: return int64_node(v.v64);
    case kRVBool: return json_object_new_boolean(v.val != 0.0);  // NaN is true too
    case kRVReal: return json_object_new_double(v.val);
    case kRVPtr: {
      if (v.ptr == nullptr) return nullptr;
      char text[32];
      std::snprintf(text, sizeof text, "%p", v.ptr);
      return json_object_new_string(text);
    }
    case kRVString: return json_object_new_string(RV_StringText(v));
    case kRVArray: return v.pArray != nullptr ? array(*v.pArray, depth) : nullptr;
    case kRVObject: return v.pObj != nullptr ? object(v.pObj, depth) : nullptr;
    default: return nullptr;
  }
}

json_object* TreeBuilder::map(const CDS_Map& map, int depth) {
  if (depth >= kJsonMaxDepth || !enter(&map)) return nullptr;
  json_object* node = json_object_new_object();
  map.for_each([&](const RValue& key, const RValue& v) {
    json_object* child = value(v, depth + 1);
    if (RV_Kind(key) == kRVString && key.pRefString != nullptr && key.pRefString->text != nullptr) {
      json_object_object_add(node, key.pRefString->text, child);
      return;
    }
    char* text = RV_ToText(key);
    json_object_object_add(node, text, child);
    KV_FREE(text);
  });
  leave(&map);
  return node;
}

json_object* TreeBuilder::list(const CDS_List& list, int depth) {
  if (depth >= kJsonMaxDepth || !enter(&list)) return nullptr;
  json_object* node = json_object_new_array_ext(list.size());
  for (int32_t i = 0; i < list.size(); ++i) json_object_array_add(node, value(*list.at(i), depth + 1));
  leave(&list);
  return node;
}

json_object* TreeBuilder::array(const RefDynamicArrayOfRValue& array, int depth) {
  if (depth >= kJsonMaxDepth || !enter(&array)) return nullptr;
  json_object* node = json_object_new_array_ext(array.length);
  for (int32_t i = 0; i < array.length; ++i) json_object_array_add(node, value(array.pArray[i], depth + 1));
  leave(&array);
  return node;
}

void TreeBuilder::member(json_object* node, int32_t slot, const RValue* v, int depth) {
  if (v == nullptr || RV_Kind(*v) == kRVUnset) return;
  // Methods don't appear in JSON.
  if (RV_Kind(*v) == kRVObject && v->pObj != nullptr && v->pObj->kind == kObjScriptRef) return;
  json_object_object_add(node, Variable_NameOf(slot), value(*v, depth + 1));
}

json_object* TreeBuilder::object(KVObjectBase* object, int depth) {
  if (depth >= kJsonMaxDepth || !enter(object)) return nullptr;
  json_object* node = json_object_new_object();
  // The slot map in its own table order, so member order isn't the order of assignment.
  if (object->slotMap != nullptr) {
    object->slotMap->ForEach([&](int32_t slot, RValue* v) { member(node, slot, v, depth); });
  }
  for (int32_t i = 0; object->flatSlots != nullptr && i < object->flatSlotCount; ++i) {
    member(node, kFirstUserVariableSlot + i, &object->flatSlots[i], depth);
  }
  leave(object);
  return node;
}

// ---- Trees to values ------------------------------------------------------------------------------

// A string, or the int64 of the "@i64@<hex>$i64$" form.
void string_value(const json_object* node, RValue* out) {
  const char* text = json_object_get_string(const_cast<json_object*>(node));
  const size_t length = static_cast<size_t>(json_object_get_string_len(node));
  if (length >= kInt64MinText && std::strncmp(text, kInt64Prefix, 5) == 0 &&
      std::memcmp(text + length - 5, kInt64Suffix, 5) == 0) {
    char* end = nullptr;
    const unsigned long long hex = std::strtoull(text + 5, &end, 16);
    if (end != text + 5) {
      *out = RV_Int64(static_cast<int64_t>(hex));
      return;
    }
  }
  *out = RV_Undefined();
  RV_SetStringLen(out, text, static_cast<int32_t>(length));
}

// Numbers: json-c keeps integers as int64 (positive ones past it as uint64).
double number_value(const json_object* node) {
  if (json_object_get_type(node) == json_type_double) return json_object_get_double(node);
  const int64_t i = json_object_get_int64(node);
  if (i == INT64_MAX) return static_cast<double>(json_object_get_uint64(node));
  return static_cast<double>(i);
}

// The scalar nodes, alike for json_parse and json_decode; false for arrays and objects.
bool scalar_value(const json_object* node, RValue* out) {
  switch (json_object_get_type(node)) {
    case json_type_null: *out = RV_Ptr(nullptr); return true;
    case json_type_boolean: *out = RV_Real(json_object_get_boolean(node) ? 1.0 : 0.0); return true;
    case json_type_double:
    case json_type_int: *out = RV_Real(number_value(node)); return true;
    case json_type_string: string_value(node, out); return true;
    default: return false;
  }
}

void tree_value(const json_object* node, RValue* out) {
  if (scalar_value(node, out)) return;
  if (json_object_get_type(node) == json_type_array) {
    const auto count = static_cast<int32_t>(json_object_array_length(node));
    RefDynamicArrayOfRValue* array = RV_NewArray(count);
    out->pArray = array;  // takes over the new array's count
    out->flags = 0;
    out->kind = kRVArray;
    // Set from the last index down, each through the write barrier with the array as parent.
    GC_PushSelf(array);
    for (int32_t i = count - 1; i >= 0; --i) {
      RValue element;
      tree_value(json_object_array_get_idx(node, static_cast<size_t>(i)), &element);
      RV_CopyRef(&array->pArray[i], &element);
      RV_FreeToUndefined(&element);
    }
    GC_PopSelf();
    return;
  }
  KVObjectBase* object = Object_NewStruct();
  KVSetClassName(object, kStructClass);
  *out = RV_Object(object);
  json_object_object_foreach(const_cast<json_object*>(node), key, child) {
    RValue member;
    tree_value(child, &member);
    Object_SetRValue(object, key, &member);
    RV_FreeToUndefined(&member);
  }
}

int32_t tree_map(const json_object* node);
int32_t tree_list(const json_object* node);

// A cell of a decoded map or list: containers become new structures, marked.
void decoded_cell(const json_object* node, bool in_list, RValue* out) {
  switch (json_object_get_type(node)) {
    case json_type_null: *out = in_list ? RV_Undefined() : RV_Ptr(nullptr); return;
    case json_type_object:
      *out = RV_Real(tree_map(node));
      out->kind |= kDsMarkMap;
      return;
    case json_type_array:
      *out = RV_Real(tree_list(node));
      out->kind |= kDsMarkList;
      return;
    default: scalar_value(node, out); return;
  }
}

int32_t tree_map(const json_object* node) {
  const int32_t id = DS_New<CDS_Map>();
  CDS_Map* map = DS_Find<CDS_Map>(id);
  json_object_object_foreach(const_cast<json_object*>(node), key, child) {
    RValue cell;
    decoded_cell(child, false, &cell);
    RValue name = RV_Undefined();
    RV_SetString(&name, key);
    map->set(name, cell);
    RV_FreeToUndefined(&name);
    RV_FreeToUndefined(&cell);
  }
  return id;
}

int32_t tree_list(const json_object* node) {
  const int32_t id = DS_New<CDS_List>();
  CDS_List* list = DS_Find<CDS_List>(id);
  const size_t count = json_object_array_length(node);
  for (size_t i = 0; i < count; ++i) {
    RValue cell;
    decoded_cell(json_object_array_get_idx(node, i), true, &cell);
    list->add(cell);
    RV_FreeToUndefined(&cell);
  }
  return id;
}

}  // namespace

json_object* Json_ValueToTree(const RValue& value) {
  DsLock lock(DsMutex());
  TreeBuilder builder;
  return builder.value(value, 0);
}

json_object* Json_MapToTree(int64_t map_id) {
  DsLock lock(DsMutex());
  const CDS_Map* map = DS_Find<CDS_Map>(map_id);
  if (map == nullptr) return nullptr;
  TreeBuilder builder;
  return builder.map(*map, 0);
}

void Json_TreeToValue(const json_object* tree, RValue* out) { tree_value(tree, out); }

int32_t Json_TreeToMap(const json_object* tree) {
  if (json_object_get_type(tree) != json_type_object) return -1;
  DsLock lock(DsMutex());
  return tree_map(tree);
}
