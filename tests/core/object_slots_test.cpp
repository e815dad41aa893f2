// Slots, prototypes, properties, access by slot and the collector's treatment of objects: weak
// references, parked reuse, finalisers and arrays held from outside.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "core/error.h"
#include "core/fn_object.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "value_test_support.h"

namespace {

using value_test::Val;

class ObjectSlotsTest : public value_test::ObjectTest {
 protected:
  static int32_t Slot(const char* name) { return Variable_FindOrAddSlot(name); }
  static std::string Pointer(const void* p) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%p", p);
    return buffer;
  }
  static void Set(KVObjectBase* object, const char* name, const RValue& value) {
    ASSERT_TRUE(Object_SetRValue(object, name, &value));
  }
};

TEST_F(ObjectSlotsTest, ReadFindsThePrototypeOneStepAndWriteMakesAnOwnCopy) {
  KVObjectBase* grand = Object_NewStruct();
  KVObjectBase* parent = Object_NewStruct();
  KVObjectBase* child = Object_NewStruct();
  KVSetPrototype(parent, grand);
  KVSetPrototype(child, parent);
  Set(grand, "deep", RV_Real(7));
  Set(parent, "x", RV_Real(1));

  RValue* read = child->GetVarRef(Slot("x"));
  EXPECT_EQ(read, parent->FindOwnSlot(Slot("x"))) << "a read is served by the prototype's own slot";
  EXPECT_EQ(child->FindOwnSlot(Slot("x")), nullptr);

  RValue* written = child->GetVarRefForWrite(Slot("x"));
  ASSERT_NE(written, read);
  EXPECT_EQ(written->val, 1.0) << "the own copy starts as the prototype's value";
  *written = RV_Real(5);
  EXPECT_EQ(parent->FindOwnSlot(Slot("x"))->val, 1.0) << "the prototype is never changed";
  EXPECT_EQ(child->GetVarRef(Slot("x"))->val, 5.0);

  EXPECT_EQ(RV_Kind(*child->GetVarRef(Slot("deep"))), kRVUnset) << "the prototype's prototype is not consulted";
}

TEST_F(ObjectSlotsTest, ReadThroughAnUnsetPrototypeSlotSeesTheLaterWriteToIt) {
  KVObjectBase* parent = Object_NewStruct();
  KVObjectBase* child = Object_NewStruct();
  KVSetPrototype(child, parent);
  RValue* held = parent->GetVarRef(Slot("later"));  // the prototype holds the slot, unset
  ASSERT_EQ(RV_Kind(*held), kRVUnset);
  EXPECT_EQ(child->GetVarRef(Slot("later")), held);
  EXPECT_EQ(child->FindOwnSlot(Slot("later")), nullptr) << "the read makes no slot of the child's own";
  Val by_slot;
  EXPECT_TRUE(Object_GetVar(child, Slot("later"), kIndexWholeValue, by_slot.get())) << "the prototype's slot is found";
  EXPECT_EQ(by_slot.kind(), kRVUnset);
  Set(parent, "later", RV_Real(9));
  const RValue* seen = child->GetVarRef(Slot("later"));
  EXPECT_EQ(RV_Kind(*seen), kRVReal);
  EXPECT_EQ(seen->val, 9.0);
  ASSERT_TRUE(Object_GetVar(child, Slot("later"), kIndexWholeValue, by_slot.get()));
  EXPECT_EQ(by_slot->val, 9.0);
}

TEST_F(ObjectSlotsTest, UnsetReadMakesOneSlotThatDoesNotCountAsExisting) {
  KVObjectBase* s = Object_NewStruct();
  RValue* first = s->GetVarRef(Slot("ghost"));
  EXPECT_EQ(RV_Kind(*first), kRVUnset);
  EXPECT_EQ(s->GetVarRef(Slot("ghost")), first) << "the second read finds the same slot";
  const Val exists = Call("variable_struct_exists", {Val::Object(s), Val::Str("ghost")});
  EXPECT_EQ(exists.kind(), kRVBool);
  EXPECT_EQ(exists->val, 0.0);
  RValue out = RV_Undefined();
  EXPECT_TRUE(Object_GetVar(s, Slot("ghost"), kIndexWholeValue, &out)) << "a slot that is there is found, unset";
  EXPECT_EQ(RV_Kind(out), kRVUnset);
  EXPECT_FALSE(Object_GetVar(s, Slot("never_read"), kIndexWholeValue, &out)) << "a slot that is not there is not";
}

TEST_F(ObjectSlotsTest, SlotsStayPutWhileTheMapGrows) {
  KVObjectBase* s = Object_NewStruct();
  RValue* first = s->GetVarRefForWrite(Slot("v0"));
  *first = RV_Real(42);
  for (int i = 1; i < 200; ++i) *s->GetVarRefForWrite(Slot(("v" + std::to_string(i)).c_str())) = RV_Real(i);
  EXPECT_EQ(s->FindOwnSlot(Slot("v0")), first);
  EXPECT_EQ(first->val, 42.0);
}

TEST_F(ObjectSlotsTest, GlobalObjectKeepsUserSlotsFlat) {
  KVObjectBase* global = Object_CreateGlobal(4);
  EXPECT_EQ(g_GlobalObject, global);
  EXPECT_EQ(g_GlobalScope, global);
  EXPECT_EQ(global->GetVarRef(100002), &global->flatSlots[2]);
  EXPECT_EQ(RV_Kind(global->flatSlots[2]), kRVUnset);
  const int32_t container = Variable_GetSlot("ObjectContainer");
  ASSERT_GE(container, 0);
  const RValue* held = global->FindOwnSlot(container);
  ASSERT_NE(held, nullptr);
  EXPECT_EQ(held->pObj, GC_ObjectContainer());
  EXPECT_EQ(held->pObj->kind, kObjContainer);
}

TEST_F(ObjectSlotsTest, GetVarReadsWholeValuesElementsAndReportsFailures) {
  KVObjectBase* s = Object_NewStruct();
  Val list = Val::Array({Val::Real(10), Val::Real(20)});
  Set(s, "list", *list);
  Val out;
  EXPECT_TRUE(Object_GetVar(s, Slot("list"), 1, out.get()));
  EXPECT_EQ(out->val, 20.0);
  EXPECT_TRUE(Object_GetVar(s, Slot("list"), kIndexWholeValue, out.get()));
  EXPECT_EQ(out.array(), list.array());

  struct Case {
    const char* what;
    int32_t index;
    std::string message;
  };
  const Case cases[] = {
      {"missing", kIndexWholeValue, "Unable to get variable nope from object " + Pointer(s) + "\n"},
      {"negative index", -2, "Variable Index [-2] out of range [2] - " + std::to_string(s->slotId) + "." +
                                 std::to_string(Slot("list")) + "(" + std::to_string(Slot("list")) + ",-2)"},
      {"past the end", 5, "index out of bounds request 5 maximum size is 2"},
  };
  for (const Case& c : cases) {
    const int32_t slot = c.index == kIndexWholeValue ? Slot("nope") : Slot("list");
    EXPECT_EQ(ErrorRaisedBy([&] { Object_GetVarOrRaise(s, slot, c.index, out.get()); }), c.message) << c.what;
  }
  EXPECT_FALSE(g_ArrayIndexFailure.set) << "the raising read clears the record";
}

TEST_F(ObjectSlotsTest, ReadsByIdAndDefinitionsReportWhatWentWrong) {
  KVObjectBase* sealed = Object_NewStruct();
  sealed->flags &= ~kObjFlagExtensible;
  const RValue one = RV_Real(1);
  EXPECT_FALSE(Object_SetRValue(sealed, "x", &one)) << "no slot is defined on an object that is not extensible";
  EXPECT_EQ(sealed->FindOwnSlot(Slot("x")), nullptr);
  EXPECT_FALSE(sealed->defineOwnProperty(sealed, "x", &one, false));
  Val out;
  const Val id = Val::Real(100003);
  const Val null_object = Val::Object(nullptr);
  const struct {
    const char* what;
    std::function<void()> run;
    std::string message;
  } cases[] = {
      {"define on a sealed object", [&] { sealed->defineOwnProperty(sealed, "x", &one, true); },
       "Cannot add property 'x' to an object that is not extensible"},
      {"id that selects nothing", [&] { KVGetVariable(id.get(), Slot("hp"), kIndexWholeValue, out.get(), false, false); },
       "Unable to find any instance for object index '100003' name 'hp'"},
      {"null object", [&] { KVGetVariable(null_object.get(), Slot("hp"), kIndexWholeValue, out.get(), false, false); },
       "Unable to get variable hp from object " + Pointer(nullptr) + "\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(ErrorRaisedBy(c.run), c.message) << c.what;

  g_ErrorsMuted = true;
  g_ErrorPending = false;
  KVGetVariable(id.get(), Slot("hp"), kIndexWholeValue, out.get(), false, false);
  g_ErrorsMuted = false;
  EXPECT_TRUE(g_ErrorPending) << "a muted error is only recorded";
  g_ErrorPending = false;
}

TEST_F(ObjectSlotsTest, PrepareAndGrowMakeTheArrayTheReadNeeds) {
  KVObjectBase* s = Object_NewStruct();
  Val out;
  EXPECT_TRUE(Object_GetVar(s, Slot("made"), 3, out.get(), true, true));
  EXPECT_EQ(out->val, 0.0);
  const RValue* made = s->FindOwnSlot(Slot("made"));
  ASSERT_EQ(RV_Kind(*made), kRVArray);
  EXPECT_EQ(made->pArray->length, 4);
  EXPECT_EQ(made->pArray->owner, static_cast<int64_t>(reinterpret_cast<intptr_t>(s)));
}

TEST_F(ObjectSlotsTest, SetVarWritesElementsAndRefusesNegativeIndexes) {
  KVObjectBase* s = Object_NewStruct();
  const RValue seven = RV_Real(7);
  EXPECT_TRUE(Object_SetVar(s, Slot("a"), 2, &seven));
  const RValue* a = s->FindOwnSlot(Slot("a"));
  ASSERT_EQ(RV_Kind(*a), kRVArray);
  EXPECT_EQ(a->pArray->length, 3);
  EXPECT_EQ(a->pArray->pArray[2].val, 7.0);
  EXPECT_EQ(ErrorRaisedBy([&] { Object_SetVarOrRaise(s, Slot("a"), -1, &seven); }),
            "Variable Index [-1] out of range [3] - " + std::to_string(s->slotId) + "." + std::to_string(Slot("a")) +
                "(" + std::to_string(Slot("a")) + ",-1)");
}

// A builtin-variable table with instance row "x", global row "score" (settable) and global row
// "fps" (read only).
double g_score = 0;
bool FakeGet(CInstance*, int32_t id, int32_t index, RValue* out) {
  *out = RV_Real(id == 1 ? g_score : 60.0 + (index < 0 ? 0 : index));
  return true;
}
bool FakeSet(CInstance*, int32_t, int32_t, RValue* value) {
  g_score = RV_ToDouble(*value);
  return true;
}

TEST_F(ObjectSlotsTest, BuiltinRowsGoToTheirTableAndReadOnlyRowsRefuseWrites) {
  ASSERT_EQ(Variable_AddBuiltinName("x"), 0);
  ASSERT_EQ(Variable_AddBuiltinName("score"), 1);
  ASSERT_EQ(Variable_AddBuiltinName("fps"), 2);
  ObjectBuiltinVariables table;
  table.instance_rows = [] { return 1; };
  table.rows = [] { return 3; };
  table.get = FakeGet;
  table.set = FakeSet;
  table.can_set = [](int32_t id) { return id != 2; };
  Object_SetBuiltinVariables(table);

  KVObjectBase* s = Object_NewStruct();
  const RValue nine = RV_Real(9);
  EXPECT_TRUE(Object_SetVar(s, 0, kIndexWholeValue, &nine)) << "an instance row is a plain slot on a struct";
  EXPECT_EQ(s->FindOwnSlot(0)->val, 9.0);
  EXPECT_TRUE(Object_SetVar(s, 1, kIndexWholeValue, &nine));
  EXPECT_EQ(g_score, 9.0) << "a global row goes to its setter from any object";
  EXPECT_EQ(s->FindOwnSlot(1), nullptr) << "and makes no slot";
  Val out;
  EXPECT_TRUE(Object_GetVar(s, 2, 3, out.get()));
  EXPECT_EQ(out->val, 63.0) << "the row gets the element index";
  EXPECT_EQ(ErrorRaisedBy([&] { Object_SetVar(s, 2, kIndexWholeValue, &nine); }), "unable to set built in variable fps\n");
}

void CountingGetter(RValue* result, CInstance* self, CInstance*, int, RValue*, int32_t index) {
  KVObjectBase* object = KV_AsObject(self);
  *result = RV_Real(index == kIndexWholeValue ? 100.0 + object->slotId : index);
}
double g_last_set = 0;
void RecordingSetter(RValue*, CInstance*, CInstance*, int argc, RValue* argv, int32_t) {
  g_last_set = argc > 0 ? RV_ToDouble(argv[0]) : -1;
}

TEST_F(ObjectSlotsTest, PropertiesReadThroughGettersAndWriteThroughSetters) {
  KVObjectBase* prototype = Object_NewStruct();
  KVObjectBase* s = Object_NewStruct();
  KVSetPrototype(s, prototype);
  Set(prototype, "p", RV_Object(Object_NewProperty(nullptr, CountingGetter, RecordingSetter)));
  EXPECT_EQ(s->GetVarRef(Slot("p"))->val, 100.0 + s->slotId) << "an unbound property reads with the reader as self";
  const RValue five = RV_Real(5);
  EXPECT_TRUE(Object_SetVar(s, Slot("p"), kIndexWholeValue, &five));
  EXPECT_EQ(g_last_set, 5.0);
  EXPECT_EQ(s->FindOwnSlot(Slot("p")), nullptr) << "the setter took the write; no own slot shadows it";

  KVObjectBase* bare = Object_NewProperty(nullptr, nullptr, nullptr);
  Val out;
  const struct {
    const char* what;
    std::function<void()> run;
    const char* message;
  } cases[] = {
      {"no self", [&] { Property_Get(bare, nullptr, kIndexWholeValue, out.get()); },
       "Dynamically bound property called with NULL self"},
      {"no getter", [&] { Property_Get(bare, s, kIndexWholeValue, out.get()); }, "Unable to get property"},
      {"no setter", [&] { Property_Set(bare, s, kIndexWholeValue, &five); }, "Unable to set property"},
  };
  for (const auto& c : cases) EXPECT_EQ(ErrorRaisedBy(c.run), c.message) << c.what;
}

TEST_F(ObjectSlotsTest, WeakReferenceIsClearedByTheCollectionThatFreesItsTarget) {
  KVObjectBase* global = Object_CreateGlobal(0);
  KVObjectBase* target = Object_NewStruct();
  Set(global, "strong", RV_Object(target));
  CWeakRef* ref = WeakRef_Create(target);
  Set(global, "weak", RV_Object(ref));
  ASSERT_EQ(ref->target, target);
  Val out;
  ASSERT_TRUE(Object_GetVar(ref, Slot("ref"), kIndexWholeValue, out.get()));
  EXPECT_EQ(out->pObj, target);
  EXPECT_EQ(ErrorRaisedBy([&] { Object_GetVar(ref, Slot("ref"), 0, out.get()); }),
            "trying to index a property which is not an array");

  Set(global, "strong", RV_Undefined());
  EXPECT_EQ(ref->target, target) << "alive until the collection, not until the last strong reference goes";
  GCStep(-1);
  EXPECT_EQ(ref->target, nullptr);
  EXPECT_EQ(target->slotId, -1);
  ASSERT_TRUE(Object_GetVar(ref, Slot("ref"), kIndexWholeValue, out.get()));
  EXPECT_EQ(out.kind(), kRVUndefined);
  EXPECT_GE(ref->slotId, 0) << "the weak reference lives on while something holds it";
}

TEST_F(ObjectSlotsTest, FreedStructsAreParkedAndReusedByCreateObject) {
  Object_CreateGlobal(0);
  KVObjectBase* dropped = Object_NewStruct();
  Set(dropped, "x", RV_Real(1));
  GCStep(-1);
  EXPECT_EQ(dropped->slotId, -1);
  EXPECT_EQ(GC_ParkedCount(kObjStruct), 1u);
  KVObjectBase* reused = CreateObject(0, kRVUndefined, kObjStruct, false);
  EXPECT_EQ(reused, dropped);
  EXPECT_GE(reused->slotId, 0);
  EXPECT_EQ(reused->prototype, nullptr);
  EXPECT_EQ(reused->className, nullptr);
  EXPECT_EQ(RV_Kind(*reused->GetVarRef(Slot("x"))), kRVUndefined) << "nothing of the old slots is left";
}

int g_finalised = 0;
RValue* Finalise(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  ++g_finalised;
  KVObjectBase* object = KV_AsObject(self);
  RValue* keep = object->FindSlot(Variable_GetSlot("keep"));
  if (keep != nullptr && RV_ToBool(*keep)) Object_SetObject(g_GlobalObject, "saved", object);
  return result;
}

TEST_F(ObjectSlotsTest, FinalisersRunOnceAndAPassThatRanOneFreesNothing) {
  Run_Running = false;  // a test before this one in the same process may have run the game
  Object_CreateGlobal(0);
  Val finaliser;
  KVCreateMethod(finaliser.get(), Finalise, nullptr);
  Set(Object_Global(), "finaliser", *finaliser);  // a value on the native stack holds nothing
  g_finalised = 0;
  KVObjectBase* disposed = Object_NewStruct();
  Set(disposed, "dispose", *finaliser);
  GCStep(-1);
  EXPECT_EQ(g_finalised, 1);
  EXPECT_GE(disposed->slotId, 0) << "a finaliser may have made objects reachable again";
  GCStep(-1);
  EXPECT_EQ(g_finalised, 1);
  EXPECT_EQ(disposed->slotId, -1);

  KVObjectBase* saved = Object_NewStruct();
  Set(saved, "@@Dispose@@", *finaliser);
  Set(saved, "keep", RV_Bool(true));
  Val unused;
  EXPECT_FALSE(saved->GetDispose(unused.get())) << "no finaliser runs unless the game is running";
  Run_Running = true;
  GCStep(-1);
  GCStep(-1);
  EXPECT_EQ(g_finalised, 2);
  EXPECT_GE(saved->slotId, 0) << "the finaliser stored its object in a global";
  Set(saved, "keep", RV_Bool(false));
  Set(Object_Global(), "saved", RV_Undefined());
  GCStep(-1);
  EXPECT_EQ(g_finalised, 3) << "a saved object is finalised again when it dies later";
  GCStep(-1);
  EXPECT_EQ(saved->slotId, -1);
  Run_Running = false;
}

TEST_F(ObjectSlotsTest, ArraysHeldOutsideObjectsKeepWhatTheyHoldAlive) {
  Object_CreateGlobal(0);
  KVObjectBase* inside = Object_NewStruct();
  Val held = Val::Array({Val::Object(inside)});
  KVObjectBase* cycle_a = Object_NewStruct();
  KVObjectBase* cycle_b = Object_NewStruct();
  Set(cycle_a, "other", RV_Object(cycle_b));
  Set(cycle_b, "other", RV_Object(cycle_a));
  GCStep(-1);
  EXPECT_GE(inside->slotId, 0) << "the array is counted by a value outside every object";
  EXPECT_GE(held.array()->slotId, 0);
  EXPECT_EQ(cycle_a->slotId, -1) << "a cycle nobody reaches is freed";
  EXPECT_EQ(cycle_b->slotId, -1);
}

TEST_F(ObjectSlotsTest, ParentOlderThanChildPutsTheChildInTheRememberedSet) {
  Object_CreateGlobal(0);
  Object_RootPrototype();
  g_AllocGeneration = 4;
  KVObjectBase* old_object = Object_NewStruct();
  g_AllocGeneration = 0;
  KVObjectBase* young = Object_NewStruct();
  EXPECT_EQ(old_object->generation, 4);
  EXPECT_EQ(young->generation, 0);
  EXPECT_EQ(young->birthStamp, g_GCStamp);
  Set(Object_Global(), "old", RV_Object(old_object));
  EXPECT_FALSE(GC_IsRemembered(young, 0));
  Set(old_object, "young", RV_Object(young));
  for (int32_t generation = 0; generation < 4; ++generation) EXPECT_TRUE(GC_IsRemembered(young, generation));
  EXPECT_FALSE(GC_IsRemembered(young, 4));
  GCStep(-1);
  EXPECT_GE(young->slotId, 0);
  EXPECT_EQ(GC_GenerationObjectCount(4), 1);
  Set(old_object, "young", RV_Undefined());
  GCStep(-1);
  EXPECT_EQ(young->slotId, -1);
  EXPECT_FALSE(GC_IsRemembered(young, 0)) << "a freed object leaves the remembered sets";
}

}  // namespace
