// The ds_map_* builtins and the map[? key] accessor entries: argument reading around CDS_Map.
#include "core/console.h"
#include "core/error.h"
#include "core/gc.h"
#include "core/object.h"
#include "storage/ds_list.h"
#include "storage/ds_map.h"
#include "storage/ds_serial.h"
#include "storage/fn_ds.h"
#include "storage/fn_ds_internal.h"

namespace fn_ds {
namespace {

CDS_Map* map_arg(RValue* argv, int n) { return DS_Get<CDS_Map>(KVGetInt32(argv, n)); }

FN_DS(F_MapCreate) {
  const int32_t buckets = argc > 0 ? KVGetInt32(argv, 0) : CDS_Map::kDefaultBuckets;
  DsLock lock(DsMutex());
  set_result(result, RV_Real(DS_Register(KV_NEW(CDS_Map, buckets))));
}

FN_DS(F_MapDestroy) {
  DsLock lock(DsMutex());
  if (map_arg(argv, 0) != nullptr) DS_Destroy(kDsMap, KVGetInt32(argv, 0));
}

FN_DS(F_MapClear) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) DS_ClearNested(map);
}

FN_DS(F_MapCopy) {
  DsLock lock(DsMutex());
  CDS_Map* dest = map_arg(argv, 0);
  CDS_Map* src = dest != nullptr ? map_arg(argv, 1) : nullptr;
  if (src != nullptr) dest->copy_from(*src);
}

FN_DS(F_MapSize) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) set_result(result, RV_Real(map->size()));
}

FN_DS(F_MapEmpty) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) set_result(result, RV_Real(map->size() == 0 ? 1.0 : 0.0));
}

FN_DS(F_MapAdd) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) set_result(result, RV_Real(map->add(argv[1], argv[2]) ? 1.0 : 0.0));
}

// ds_map_set and ds_map_replace: the new value carries no mark, so a marked value loses it.
FN_DS(F_MapSet) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) map->set(argv[1], DS_Unmarked(argv[2]));
}

FN_DS(F_MapSetPre) {
  DsLock lock(DsMutex());
  CDS_Map* map = map_arg(argv, 0);
  if (map == nullptr) return;
  RValue old;
  map->set(argv[1], DS_Unmarked(argv[2]), &old);
  set_result_moved(result, old);
}

FN_DS(F_MapSetPost) {
  DsLock lock(DsMutex());
  CDS_Map* map = map_arg(argv, 0);
  if (map == nullptr) return;
  map->set(argv[1], DS_Unmarked(argv[2]));
  set_result_copy(result, &argv[2]);
}

// The id value of add_list / add_map and their replace forms: a real naming a live structure.
bool nested_value(const RValue& value, DsKind kind, RValue* marked) {
  const int32_t id = RV_Kind(value) == kRVReal ? DS_MarkedId(value) : -1;
  if (DS_Lookup(kind, id) == nullptr) {
    KVError(kind == kDsList ? "Invalid list index for value" : "Invalid map index for value");
    return false;
  }
  *marked = RV_Real(id);
  marked->kind |= kind == kDsList ? kDsMarkList : kDsMarkMap;
  return true;
}

template <DsKind Kind>
FN_DS(F_MapAddNested) {
  DsLock lock(DsMutex());
  CDS_Map* map = map_arg(argv, 0);
  RValue marked;
  if (map != nullptr && nested_value(argv[2], Kind, &marked)) set_result(result, RV_Real(map->add(argv[1], marked) ? 1.0 : 0.0));
}

template <DsKind Kind>
FN_DS(F_MapReplaceNested) {
  DsLock lock(DsMutex());
  CDS_Map* map = map_arg(argv, 0);
  RValue marked;
  if (map == nullptr || !nested_value(argv[2], Kind, &marked)) return;
  if (Kind == kDsMap && DS_Lookup(kDsMap, DS_MarkedId(marked)) == map) {
    KVError("Unable to use same map for replace");
    return;
  }
  map->set(argv[1], marked);
}

FN_DS(F_MapDelete) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) map->remove(argv[1]);
}

FN_DS(F_MapExists) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) set_result(result, RV_Bool(map->find(argv[1]) != nullptr));
}

FN_DS(F_MapFindValue) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) set_result_copy(result, map->find(argv[1]));
}

FN_DS(F_MapFindFirst) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) set_result_copy(result, map->first_key());
}

FN_DS(F_MapFindLast) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) set_result_copy(result, map->last_key());
}

FN_DS(F_MapFindNext) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) set_result_copy(result, map->next_key(argv[1]));
}

FN_DS(F_MapFindPrevious) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = map_arg(argv, 0)) set_result_copy(result, map->previous_key(argv[1]));
}

template <uint32_t Mark>
FN_DS(F_MapIsNested) {
  DsLock lock(DsMutex());
  CDS_Map* map = map_arg(argv, 0);
  if (map == nullptr) return;
  const RValue* value = map->find(argv[1]);
  set_result(result, value != nullptr ? RV_Bool((value->kind & Mark) != 0) : RV_Undefined());
}

// Makes the current array owner the array's own while appending, so the append lands in the
// caller's array instead of a copy-on-write copy.
class OwnerScope {
 public:
  explicit OwnerScope(int64_t owner) : saved_(g_CurrentArrayOwner) { g_CurrentArrayOwner = owner; }
  ~OwnerScope() { g_CurrentArrayOwner = saved_; }
  OwnerScope(const OwnerScope&) = delete;
  OwnerScope& operator=(const OwnerScope&) = delete;

 private:
  int64_t saved_;
};

// ds_map_keys_to_array and ds_map_values_to_array.
template <bool Keys>
FN_DS(F_MapToArray) {
  DsLock lock(DsMutex());
  CDS_Map* map = map_arg(argv, 0);
  if (map == nullptr) return;
  if (argc > 1 && RV_Kind(argv[1]) != kRVUndefined) {
    if (RV_Kind(argv[1]) != kRVArray) {
      KVError("expected array got %s\n", RV_KindName(argv[1]));
      return;
    }
    RValue* target = &argv[1];
    {
      OwnerScope owner(target->pArray != nullptr ? target->pArray->owner : g_CurrentArrayOwner);
      map->for_each([target](const RValue& key, const RValue& value) {
        const RValue unmarked = DS_Unmarked(Keys ? key : value);
        RV_ArrayWrite(target, target->pArray != nullptr ? target->pArray->length : 0, &unmarked);
      });
    }
    set_result_copy(result, target);
    return;
  }
  if (map->size() == 0) {
    set_result(result, RV_Undefined());
    return;
  }
  RefDynamicArrayOfRValue* array = RV_NewArray(map->size());
  RValue made;
  made.pArray = array;
  made.flags = 0;
  made.kind = kRVArray;
  set_result(result, made);
  int32_t i = 0;
  GC_PushSelf(array);
  map->for_each([array, &i](const RValue& key, const RValue& value) {
    const RValue unmarked = DS_Unmarked(Keys ? key : value);
    RV_CopyRef(&array->pArray[i++], &unmarked);
  });
  GC_PopSelf();
}

FN_DS(F_MapWrite) {
  DsLock lock(DsMutex());
  CDS_Map* map = map_arg(argv, 0);
  if (map == nullptr) return;
  DsWriter writer;
  map->write(writer);
  writer.to_value(result);
}

FN_DS(F_MapRead) {
  DsLock lock(DsMutex());
  CDS_Map* map = map_arg(argv, 0);
  if (map == nullptr) return;
  const char* text = KVGetString(argv, 1);
  const bool legacy = argc > 2 && KVGetBool(argv, 2);
  DsReader reader;
  if (reader.load_hex(text)) {
    map->read(reader, legacy);
  } else {
    map->clear_values();
  }
}

FN_DS(F_MapSecure) { KVError("%s: not available on this platform", Function_CurrentName()); }

}  // namespace

void RegisterMapBuiltins() {
  Function_Add("ds_map_create", F_MapCreate, -1, 0);
  Function_Add("ds_map_destroy", with_args<F_MapDestroy, 1>, 1, 0);
  Function_Add("ds_map_clear", with_args<F_MapClear, 1>, 1, 0);
  Function_Add("ds_map_copy", with_args<F_MapCopy, 2>, 2, 0);
  Function_Add("ds_map_size", with_args<F_MapSize, 1>, 1, 0);
  Function_Add("ds_map_empty", with_args<F_MapEmpty, 1>, 1, 0);
  Function_Add("ds_map_add", with_args<F_MapAdd, 3>, 3, 0);
  Function_Add("ds_map_set", with_args<F_MapSet, 3>, 3, 0);
  Function_Add("ds_map_set_pre", with_args<F_MapSetPre, 3>, 3, 0);
  Function_Add("ds_map_set_post", with_args<F_MapSetPost, 3>, 3, 0);
  Function_Add("ds_map_replace", with_args<F_MapSet, 3>, 3, 0);
  Function_Add("ds_map_add_list", with_args<F_MapAddNested<kDsList>, 3>, 3, 0);
  Function_Add("ds_map_add_map", with_args<F_MapAddNested<kDsMap>, 3>, 3, 0);
  Function_Add("ds_map_replace_list", with_args<F_MapReplaceNested<kDsList>, 3>, 3, 0);
  Function_Add("ds_map_replace_map", with_args<F_MapReplaceNested<kDsMap>, 3>, 3, 0);
  Function_Add("ds_map_delete", with_args<F_MapDelete, 2>, 2, 0);
  Function_Add("ds_map_exists", with_args<F_MapExists, 2>, 2, 0);
  Function_Add("ds_map_find_value", with_args<F_MapFindValue, 2>, 2, 0);
  Function_Add("ds_map_find_first", with_args<F_MapFindFirst, 1>, 1, 0);
  Function_Add("ds_map_find_last", with_args<F_MapFindLast, 1>, 1, 0);
  Function_Add("ds_map_find_next", with_args<F_MapFindNext, 2>, 2, 0);
  Function_Add("ds_map_find_previous", with_args<F_MapFindPrevious, 2>, 2, 0);
  Function_Add("ds_map_is_map", with_args<F_MapIsNested<kDsMarkMap>, 2>, 2, 0);
  Function_Add("ds_map_is_list", with_args<F_MapIsNested<kDsMarkList>, 2>, 2, 0);
  Function_Add("ds_map_keys_to_array", with_args<F_MapToArray<true>, 1>, -1, 0);
  Function_Add("ds_map_values_to_array", with_args<F_MapToArray<false>, 1>, -1, 0);
  Function_Add("ds_map_write", with_args<F_MapWrite, 1>, 1, 0);
  Function_Add("ds_map_read", with_args<F_MapRead, 2>, -1, 0);
  Function_Add("ds_map_secure_save", F_MapSecure, 2, 0);
  Function_Add("ds_map_secure_load", F_MapSecure, 1, 0);
  Function_Add("ds_map_secure_save_buffer", F_MapSecure, 2, 0);
  Function_Add("ds_map_secure_load_buffer", F_MapSecure, 1, 0);
}

}  // namespace fn_ds

void DS_MapAccessRead(RValue* result, const RValue& id, const RValue& key) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = DS_Get<CDS_Map>(RV_ToInt64(id))) fn_ds::set_result_copy(result, map->find(key));
}

void DS_MapAccessWrite(const RValue& id, const RValue& key, const RValue& value) {
  DsLock lock(DsMutex());
  if (CDS_Map* map = DS_Get<CDS_Map>(RV_ToInt64(id))) map->set(key, DS_Unmarked(value));
}
