// ds_exists, ds_set_precision, the stack, queue and priority builtins, and the family's
// registration order.
#include "storage/fn_ds.h"

#include <cmath>

#include "core/error.h"
#include "storage/ds_priority.h"
#include "storage/ds_serial.h"
#include "storage/ds_stack_queue.h"
#include "storage/fn_ds_internal.h"

namespace fn_ds {
namespace {

FN_DS(F_DsExists) { set_result(result, RV_Real(DS_Exists(KVGetInt32(argv, 0), KVGetInt32(argv, 1)) ? 1.0 : 0.0)); }

FN_DS(F_DsSetPrecision) { g_DsPrecision = std::fabs(KVGetReal(argv, 0)); }

// The builtins every kind shares, over T's create, copy, size, write and read.
template <class T>
T* arg(RValue* argv, int n) {
  return DS_Get<T>(KVGetInt32(argv, n));
}

template <class T>
FN_DS(F_Create) {
  set_result(result, RV_Real(DS_New<T>()));
}

template <class T>
FN_DS(F_Destroy) {
  DsLock lock(DsMutex());
  if (arg<T>(argv, 0) != nullptr) DS_Destroy(T::kKind, KVGetInt32(argv, 0));
}

template <class T>
FN_DS(F_Clear) {
  DsLock lock(DsMutex());
  if (T* ds = arg<T>(argv, 0)) ds->clear_values();
}

template <class T>
FN_DS(F_Copy) {
  DsLock lock(DsMutex());
  T* dest = arg<T>(argv, 0);
  T* src = dest != nullptr ? arg<T>(argv, 1) : nullptr;
  if (src != nullptr) dest->copy_from(*src);
}

template <class T>
FN_DS(F_Size) {
  DsLock lock(DsMutex());
  if (T* ds = arg<T>(argv, 0)) set_result(result, RV_Real(ds->size()));
}

template <class T>
FN_DS(F_Empty) {
  DsLock lock(DsMutex());
  if (T* ds = arg<T>(argv, 0)) set_result(result, RV_Real(ds->size() == 0 ? 1.0 : 0.0));
}

template <class T>
FN_DS(F_Write) {
  DsLock lock(DsMutex());
  T* ds = arg<T>(argv, 0);
  if (ds == nullptr) return;
  DsWriter writer;
  ds->write(writer);
  writer.to_value(result);
}

template <class T>
FN_DS(F_Read) {
  DsLock lock(DsMutex());
  T* ds = arg<T>(argv, 0);
  if (ds == nullptr) return;
  const char* text = KVGetString(argv, 1);
  const bool legacy = argc > 2 && KVGetBool(argv, 2);
  DsReader reader;
  if (reader.load_hex(text)) {
    ds->read(reader, legacy);
  } else {
    ds->clear_values();
  }
}

// ---- Stack and queue ------------------------------------------------------------------------------

FN_DS(F_StackPush) {
  DsLock lock(DsMutex());
  CDS_Stack* stack = arg<CDS_Stack>(argv, 0);
  if (stack == nullptr) return;
  for (int i = 1; i < argc; ++i) stack->push(DS_Unmarked(argv[i]));
}

FN_DS(F_StackPop) {
  DsLock lock(DsMutex());
  CDS_Stack* stack = arg<CDS_Stack>(argv, 0);
  RValue popped;
  if (stack == nullptr) return;
  set_result(result, stack->pop(&popped) ? DS_Unmarked(popped) : RV_Undefined());
}

FN_DS(F_StackTop) {
  DsLock lock(DsMutex());
  if (CDS_Stack* stack = arg<CDS_Stack>(argv, 0)) set_result_copy(result, stack->top());
}

FN_DS(F_QueueEnqueue) {
  DsLock lock(DsMutex());
  CDS_Queue* queue = arg<CDS_Queue>(argv, 0);
  if (queue == nullptr) return;
  for (int i = 1; i < argc; ++i) queue->enqueue(DS_Unmarked(argv[i]));
}

FN_DS(F_QueueDequeue) {
  DsLock lock(DsMutex());
  CDS_Queue* queue = arg<CDS_Queue>(argv, 0);
  RValue taken;
  if (queue == nullptr) return;
  set_result(result, queue->dequeue(&taken) ? DS_Unmarked(taken) : RV_Undefined());
}

FN_DS(F_QueueHead) {
  DsLock lock(DsMutex());
  if (CDS_Queue* queue = arg<CDS_Queue>(argv, 0)) set_result_copy(result, queue->head());
}

FN_DS(F_QueueTail) {
  DsLock lock(DsMutex());
  if (CDS_Queue* queue = arg<CDS_Queue>(argv, 0)) set_result_copy(result, queue->tail());
}

// ---- Priority -------------------------------------------------------------------------------------

FN_DS(F_PriorityAdd) {
  DsLock lock(DsMutex());
  if (CDS_Priority* queue = arg<CDS_Priority>(argv, 0)) queue->add(DS_Unmarked(argv[1]), DS_Unmarked(argv[2]));
}

FN_DS(F_PriorityChangePriority) {
  DsLock lock(DsMutex());
  CDS_Priority* queue = arg<CDS_Priority>(argv, 0);
  if (queue == nullptr) return;
  const int32_t index = queue->find(argv[1]);
  if (index >= 0) queue->set_priority(index, DS_Unmarked(argv[2]));
}

FN_DS(F_PriorityFindPriority) {
  DsLock lock(DsMutex());
  CDS_Priority* queue = arg<CDS_Priority>(argv, 0);
  if (queue == nullptr) return;
  const int32_t index = queue->find(argv[1]);
  set_result_copy(result, index >= 0 ? &queue->priority_at(index) : nullptr);
}

FN_DS(F_PriorityDeleteValue) {
  DsLock lock(DsMutex());
  CDS_Priority* queue = arg<CDS_Priority>(argv, 0);
  if (queue == nullptr) return;
  const int32_t index = queue->find(argv[1]);
  if (index >= 0) queue->take(index, nullptr);
}

template <bool Maximum, bool Delete>
FN_DS(F_PriorityExtreme) {
  DsLock lock(DsMutex());
  CDS_Priority* queue = arg<CDS_Priority>(argv, 0);
  if (queue == nullptr) return;
  const int32_t index = Maximum ? queue->find_max() : queue->find_min();
  if (index < 0) {
    set_result(result, RV_Undefined());
  } else if (Delete) {
    RValue taken;
    queue->take(index, &taken);
    set_result(result, DS_Unmarked(taken));
  } else {
    set_result_copy(result, &queue->value_at(index));
  }
}

}  // namespace

void RegisterStackQueuePriorityBuiltins() {
  Function_Add("ds_stack_create", F_Create<CDS_Stack>, 0, 0);
  Function_Add("ds_stack_destroy", with_args<F_Destroy<CDS_Stack>, 1>, 1, 0);
  Function_Add("ds_stack_clear", with_args<F_Clear<CDS_Stack>, 1>, 1, 0);
  Function_Add("ds_stack_copy", with_args<F_Copy<CDS_Stack>, 2>, 2, 0);
  Function_Add("ds_stack_size", with_args<F_Size<CDS_Stack>, 1>, 1, 0);
  Function_Add("ds_stack_empty", with_args<F_Empty<CDS_Stack>, 1>, 1, 0);
  Function_Add("ds_stack_push", with_args<F_StackPush, 1>, -1, 0);
  Function_Add("ds_stack_pop", with_args<F_StackPop, 1>, 1, 0);
  Function_Add("ds_stack_top", with_args<F_StackTop, 1>, 1, 0);
  Function_Add("ds_stack_write", with_args<F_Write<CDS_Stack>, 1>, 1, 0);
  Function_Add("ds_stack_read", with_args<F_Read<CDS_Stack>, 2>, -1, 0);

  Function_Add("ds_queue_create", F_Create<CDS_Queue>, 0, 0);
  Function_Add("ds_queue_destroy", with_args<F_Destroy<CDS_Queue>, 1>, 1, 0);
  Function_Add("ds_queue_clear", with_args<F_Clear<CDS_Queue>, 1>, 1, 0);
  Function_Add("ds_queue_copy", with_args<F_Copy<CDS_Queue>, 2>, 2, 0);
  Function_Add("ds_queue_size", with_args<F_Size<CDS_Queue>, 1>, 1, 0);
  Function_Add("ds_queue_empty", with_args<F_Empty<CDS_Queue>, 1>, 1, 0);
  Function_Add("ds_queue_enqueue", with_args<F_QueueEnqueue, 1>, -1, 0);
  Function_Add("ds_queue_dequeue", with_args<F_QueueDequeue, 1>, 1, 0);
  Function_Add("ds_queue_head", with_args<F_QueueHead, 1>, 1, 0);
  Function_Add("ds_queue_tail", with_args<F_QueueTail, 1>, 1, 0);
  Function_Add("ds_queue_write", with_args<F_Write<CDS_Queue>, 1>, 1, 0);
  Function_Add("ds_queue_read", with_args<F_Read<CDS_Queue>, 2>, -1, 0);

  Function_Add("ds_priority_create", F_Create<CDS_Priority>, 0, 0);
  Function_Add("ds_priority_destroy", with_args<F_Destroy<CDS_Priority>, 1>, 1, 0);
  Function_Add("ds_priority_clear", with_args<F_Clear<CDS_Priority>, 1>, 1, 0);
  Function_Add("ds_priority_copy", with_args<F_Copy<CDS_Priority>, 2>, 2, 0);
  Function_Add("ds_priority_size", with_args<F_Size<CDS_Priority>, 1>, 1, 0);
  Function_Add("ds_priority_empty", with_args<F_Empty<CDS_Priority>, 1>, 1, 0);
  Function_Add("ds_priority_add", with_args<F_PriorityAdd, 3>, 3, 0);
  Function_Add("ds_priority_change_priority", with_args<F_PriorityChangePriority, 3>, 3, 0);
  Function_Add("ds_priority_find_priority", with_args<F_PriorityFindPriority, 2>, 2, 0);
  Function_Add("ds_priority_delete_value", with_args<F_PriorityDeleteValue, 2>, 2, 0);
  Function_Add("ds_priority_delete_min", with_args<F_PriorityExtreme<false, true>, 1>, 1, 0);
  Function_Add("ds_priority_find_min", with_args<F_PriorityExtreme<false, false>, 1>, 1, 0);
  Function_Add("ds_priority_delete_max", with_args<F_PriorityExtreme<true, true>, 1>, 1, 0);
  Function_Add("ds_priority_find_max", with_args<F_PriorityExtreme<true, false>, 1>, 1, 0);
  Function_Add("ds_priority_write", with_args<F_Write<CDS_Priority>, 1>, 1, 0);
  Function_Add("ds_priority_read", with_args<F_Read<CDS_Priority>, 2>, -1, 0);
}

}  // namespace fn_ds

void DS_RegisterBuiltins() {
  Function_Add("ds_exists", fn_ds::with_args<fn_ds::F_DsExists, 2>, 2, 0);
  Function_Add("ds_set_precision", fn_ds::with_args<fn_ds::F_DsSetPrecision, 1>, 1, 0);
  fn_ds::RegisterMapBuiltins();
  fn_ds::RegisterListBuiltins();
  fn_ds::RegisterStackQueuePriorityBuiltins();
  fn_ds::RegisterGridBuiltins();
}
