// The ds_list_* builtins and the list[| pos] accessor entries: argument reading around CDS_List.
#include "core/console.h"
#include "core/error.h"
#include "storage/ds_list.h"
#include "storage/ds_serial.h"
#include "storage/fn_ds.h"
#include "storage/fn_ds_internal.h"

namespace fn_ds {
namespace {

CDS_List* list_arg(RValue* argv, int n) { return DS_Get<CDS_List>(KVGetInt32(argv, n)); }

// ds_list_find_value and the accessor read.
void find_value(RValue* result, int32_t id, const CDS_List& list, int32_t pos) {
  if (pos < 0) g_ReleaseConsole->Output("LIST %d index is negative (%d)\n", id, pos);
  set_result_copy(result, list.at(pos));
}

// ds_list_set and the accessor write; old, when given, receives the previous value.
bool set_value(CDS_List& list, int32_t pos, const RValue& value, RValue* old) {
  if (pos < 0) {
    KVError("DS_LIST index is negative (%d)\n", pos);
    return false;
  }
  return list.set(pos, DS_Unmarked(value), old);
}

FN_DS(F_ListCreate) { set_result(result, RV_Real(DS_New<CDS_List>())); }

FN_DS(F_ListDestroy) {
  DsLock lock(DsMutex());
  if (list_arg(argv, 0) != nullptr) DS_Destroy(kDsList, KVGetInt32(argv, 0));
}

FN_DS(F_ListClear) {
  DsLock lock(DsMutex());
  if (CDS_List* list = list_arg(argv, 0)) DS_ClearNested(list);
}

FN_DS(F_ListCopy) {
  DsLock lock(DsMutex());
  CDS_List* dest = list_arg(argv, 0);
  CDS_List* src = dest != nullptr ? list_arg(argv, 1) : nullptr;
  if (src != nullptr) dest->copy_from(*src);
}

FN_DS(F_ListSize) {
  DsLock lock(DsMutex());
  if (CDS_List* list = list_arg(argv, 0)) set_result(result, RV_Real(list->size()));
}

FN_DS(F_ListEmpty) {
  DsLock lock(DsMutex());
  if (CDS_List* list = list_arg(argv, 0)) set_result(result, RV_Real(list->size() == 0 ? 1.0 : 0.0));
}

FN_DS(F_ListAdd) {
  DsLock lock(DsMutex());
  CDS_List* list = list_arg(argv, 0);
  if (list == nullptr) return;
  for (int i = 1; i < argc; ++i) list->add(DS_Unmarked(argv[i]));
}

FN_DS(F_ListInsert) {
  DsLock lock(DsMutex());
  if (CDS_List* list = list_arg(argv, 0)) list->insert(KVGetInt32(argv, 1), DS_Unmarked(argv[2]));
}

FN_DS(F_ListReplace) {
  DsLock lock(DsMutex());
  if (CDS_List* list = list_arg(argv, 0)) list->replace(KVGetInt32(argv, 1), DS_Unmarked(argv[2]));
}

FN_DS(F_ListSet) {
  DsLock lock(DsMutex());
  if (CDS_List* list = list_arg(argv, 0)) set_value(*list, KVGetInt32(argv, 1), argv[2], nullptr);
}

FN_DS(F_ListSetPre) {
  DsLock lock(DsMutex());
  CDS_List* list = list_arg(argv, 0);
  if (list == nullptr) return;
  RValue old = RV_Undefined();
  set_value(*list, KVGetInt32(argv, 1), argv[2], &old);
  set_result_moved(result, old);
}

FN_DS(F_ListSetPost) {
  DsLock lock(DsMutex());
  CDS_List* list = list_arg(argv, 0);
  if (list != nullptr && set_value(*list, KVGetInt32(argv, 1), argv[2], nullptr)) set_result_copy(result, &argv[2]);
}

FN_DS(F_ListDelete) {
  DsLock lock(DsMutex());
  if (CDS_List* list = list_arg(argv, 0)) list->remove(KVGetInt32(argv, 1));
}

FN_DS(F_ListFindIndex) {
  DsLock lock(DsMutex());
  if (CDS_List* list = list_arg(argv, 0)) set_result(result, RV_Real(list->find_index(argv[1])));
}

FN_DS(F_ListFindValue) {
  DsLock lock(DsMutex());
  if (CDS_List* list = list_arg(argv, 0)) find_value(result, KVGetInt32(argv, 0), *list, KVGetInt32(argv, 1));
}

FN_DS(F_ListSort) {
  DsLock lock(DsMutex());
  if (CDS_List* list = list_arg(argv, 0)) list->sort(KVGetBool(argv, 1));
}

FN_DS(F_ListShuffle) {
  DsLock lock(DsMutex());
  if (CDS_List* list = list_arg(argv, 0)) list->shuffle();
}

template <uint32_t Mark>
FN_DS(F_ListMarkAs) {
  DsLock lock(DsMutex());
  CDS_List* list = list_arg(argv, 0);
  if (list == nullptr) return;
  const int32_t pos = KVGetInt32(argv, 1);
  if (list->mark(pos, Mark)) {
    set_result_copy(result, list->at(pos));
  } else {
    set_result(result, RV_Real(-1.0));
  }
}

template <uint32_t Mark>
FN_DS(F_ListIsMarked) {
  DsLock lock(DsMutex());
  CDS_List* list = list_arg(argv, 0);
  if (list == nullptr) return;
  const RValue* value = list->at(KVGetInt32(argv, 1));
  set_result(result, RV_Bool(value != nullptr && (value->kind & Mark) != 0));
}

FN_DS(F_ListWrite) {
  DsLock lock(DsMutex());
  CDS_List* list = list_arg(argv, 0);
  if (list == nullptr) return;
  DsWriter writer;
  list->write(writer);
  writer.to_value(result);
}

FN_DS(F_ListRead) {
  DsLock lock(DsMutex());
  CDS_List* list = list_arg(argv, 0);
  if (list == nullptr) return;
  const char* text = KVGetString(argv, 1);
  const bool legacy = argc > 2 && KVGetBool(argv, 2);
  DsReader reader;
  if (reader.load_hex(text)) {
    list->read(reader, legacy);
  } else {
    list->clear_values();
  }
}

}  // namespace

void RegisterListBuiltins() {
  Function_Add("ds_list_create", F_ListCreate, 0, 0);
  Function_Add("ds_list_destroy", with_args<F_ListDestroy, 1>, 1, 0);
  Function_Add("ds_list_clear", with_args<F_ListClear, 1>, 1, 0);
  Function_Add("ds_list_copy", with_args<F_ListCopy, 2>, 2, 0);
  Function_Add("ds_list_size", with_args<F_ListSize, 1>, 1, 0);
  Function_Add("ds_list_empty", with_args<F_ListEmpty, 1>, 1, 0);
  Function_Add("ds_list_add", with_args<F_ListAdd, 1>, -1, 0);
  Function_Add("ds_list_insert", with_args<F_ListInsert, 3>, 3, 0);
  Function_Add("ds_list_replace", with_args<F_ListReplace, 3>, 3, 0);
  Function_Add("ds_list_set", with_args<F_ListSet, 3>, 3, 0);
  Function_Add("ds_list_set_pre", with_args<F_ListSetPre, 3>, 3, 0);
  Function_Add("ds_list_set_post", with_args<F_ListSetPost, 3>, 3, 0);
  Function_Add("ds_list_delete", with_args<F_ListDelete, 2>, 2, 0);
  Function_Add("ds_list_find_index", with_args<F_ListFindIndex, 2>, 2, 0);
  Function_Add("ds_list_find_value", with_args<F_ListFindValue, 2>, 2, 0);
  Function_Add("ds_list_sort", with_args<F_ListSort, 2>, 2, 0);
  Function_Add("ds_list_shuffle", with_args<F_ListShuffle, 1>, 1, 0);
  Function_Add("ds_list_mark_as_list", with_args<F_ListMarkAs<kDsMarkList>, 2>, 2, 0);
  Function_Add("ds_list_mark_as_map", with_args<F_ListMarkAs<kDsMarkMap>, 2>, 2, 0);
  Function_Add("ds_list_is_list", with_args<F_ListIsMarked<kDsMarkList>, 2>, 2, 0);
  Function_Add("ds_list_is_map", with_args<F_ListIsMarked<kDsMarkMap>, 2>, 2, 0);
  Function_Add("ds_list_write", with_args<F_ListWrite, 1>, 1, 0);
  Function_Add("ds_list_read", with_args<F_ListRead, 2>, -1, 0);
}

}  // namespace fn_ds

void DS_ListAccessRead(RValue* result, const RValue& id, const RValue& pos) {
  DsLock lock(DsMutex());
  const int32_t list_id = RV_ToInt32(id);
  if (CDS_List* list = DS_Get<CDS_List>(list_id)) fn_ds::find_value(result, list_id, *list, RV_ToInt32(pos));
}

void DS_ListAccessWrite(const RValue& id, const RValue& pos, const RValue& value) {
  DsLock lock(DsMutex());
  if (CDS_List* list = DS_Get<CDS_List>(RV_ToInt32(id))) fn_ds::set_value(*list, RV_ToInt32(pos), value, nullptr);
}
