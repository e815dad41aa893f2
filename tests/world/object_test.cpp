// Object types: the OBJT round trip, the event map, inheritance and the object builtins.
#include <gtest/gtest.h>

#include "core/error.h"
#include "datawin/format/object_layout.h"
#include "data/game_data.h"
#include "support/fixture.h"
#include "support/world_fixture.h"
#include "world/asset_objects.h"
#include "world/event.h"
#include "world/object_type.h"

using datawin::ObjectEvent;
using datawin::ObjectRecord;

namespace {

void Noop(CInstance*, CInstance*) {}

class ObjectTest : public WorldTest {};

TEST(EventMapTest, HashIsTheFibonacciProductPlusOne) {
  // ((key * 0x9E3779B97F4A7C55) >> 32) + 1, masked to 31 bits, never 0.
  const uint64_t keys[] = {0, 1, (3ull << 32) | 0, (4ull << 32) | 17, ~0ull};
  for (uint64_t key : keys) {
    const uint64_t product = key * 0x9E3779B97F4A7C55ull;
    EXPECT_EQ(CEventMap::Hash(key), (static_cast<uint32_t>(product >> 32) + 1u) & 0x7FFFFFFFu) << key;
  }
  EXPECT_EQ(CEventMap::Hash(0), 1u);
}

TEST(EventMapTest, GrowsPastSixTenthsAndKeepsEveryRow) {
  CEventMap map;
  std::vector<CEvent> events(200);
  EXPECT_EQ(map.Capacity(), 8);
  for (int32_t i = 0; i < 200; ++i) {
    map.Insert(Event_Key(i % 15, i), &events[i]);
    // Growth happens before an insert when the count is above (int)(capacity * 0.6).
    EXPECT_LE(map.Count() - 1, static_cast<int32_t>(map.Capacity() * 0.6) + 1);
  }
  EXPECT_EQ(map.Count(), 200);
  for (int32_t i = 0; i < 200; ++i) EXPECT_EQ(map.Find(Event_Key(i % 15, i)), &events[i]);
  for (int32_t i = 0; i < 200; i += 2) EXPECT_TRUE(map.Remove(Event_Key(i % 15, i)));
  EXPECT_FALSE(map.Remove(Event_Key(0, 0)));
  for (int32_t i = 0; i < 200; ++i) EXPECT_EQ(map.Find(Event_Key(i % 15, i)), i % 2 ? &events[i] : nullptr);
  CEvent replacement;
  map.Insert(Event_Key(1 % 15, 1), &replacement);
  EXPECT_EQ(map.Find(Event_Key(1, 1)), &replacement);
  EXPECT_EQ(map.Count(), 100);
}

TEST_F(ObjectTest, RecordFormsRoundTripAtEachDataVersion) {
  struct Case {
    int version;
    bool physics_read;
    float friction;
  };
  for (const Case& c : {Case{5, false, 0.2f}, Case{8, true, 0.2f}, Case{17, true, 0.75f}}) {
    SetUp();
    const int32_t create = code("tsl_Object_o_Create_0", Noop);
    ObjectRecord record = ObjectDef("obj_a", -1, {{0, 0, create}, {3, 2, create}, {7, 12, -1}});
    record.sprite = static_cast<int32_t>(0x80000005u);  // bit 31 is the file's flag
    record.solid = true;
    record.visible = false;
    record.persistent = true;
    record.depth = -40;
    record.mask = 3;
    record.physics.uses_physics = true;
    record.physics.density = 2.5f;
    record.physics.friction = 0.75f;
    record.physics.points = {{1, 2}, {3, 4}};
    ASSERT_TRUE(load_objects({record, std::nullopt, ObjectDef("obj_c")}, c.version)) << c.version;
    CObjectTV* object = Object_Find(0);
    ASSERT_NE(object, nullptr);
    EXPECT_STREQ(object->name, "obj_a");
    EXPECT_EQ(object->spriteIndex, 5);
    EXPECT_EQ(Object_SpriteFlagWord, 0x80000000u);
    EXPECT_EQ(object->flags & 0xF, kObjTypeSolid | kObjTypePersistent);
    EXPECT_EQ(object->depth, -40);
    EXPECT_EQ(object->maskIndex, 3);
    EXPECT_EQ(object->physics.usesPhysics, c.physics_read);
    EXPECT_FLOAT_EQ(object->physics.friction, c.physics_read ? c.friction : 0.2f);
    EXPECT_EQ(object->physics.shapePointCount, c.physics_read ? 2 : 0);
    ASSERT_NE(object->FindEvent(3, 2), nullptr);
    EXPECT_EQ(object->FindEvent(3, 2)->codeIndex, create);
    EXPECT_EQ(object->FindEvent(7, 12)->codeIndex, -1);
    EXPECT_EQ(object->FindEvent(3, 0), nullptr);
    // The empty slot keeps its index; the internal object follows the file's objects.
    EXPECT_FALSE(Object_Exists(1));
    EXPECT_EQ(Object_InternalIndex(), 3);
    EXPECT_STREQ(Object_GetName(3), "__KVInternalObject__3");
    EXPECT_EQ(Object_FindByName("obj_c"), 2);
    EXPECT_EQ(Object_FindByName("nothing"), -1);
    EXPECT_STREQ(Object_GetName(99), "<undefined>");
  }
}

TEST_F(ObjectTest, TruncatedRecordFailsTheLoad) {
  datawin::Writer writer = MakeMinimalGame(17);
  std::vector<uint8_t> bytes = {1, 0, 0, 0, 0xF0, 0xFF, 0xFF, 0x0F};  // one record far past the end
  writer.add_raw_chunk(datawin::chunk_tag(datawin::kChunkOBJT), bytes);
  image_ = BuildImage(writer);
  const auto size = static_cast<uint32_t>(image_.size());
  HeaderScan(image_.data(), size);
  EXPECT_FALSE(LoadGameData(image_.data(), size));
}

TEST_F(ObjectTest, InheritanceNearestAncestorWinsAndOwnEventsStay) {
  const int32_t base_step = code("base_step", Noop);
  const int32_t mid_step = code("mid_step", Noop);
  const int32_t base_draw = code("base_draw", Noop);
  const int32_t leaf_create = code("leaf_create", Noop);
  ASSERT_TRUE(load_objects({ObjectDef("base", -1, {{3, 0, base_step}, {8, 0, base_draw}}),
                            ObjectDef("mid", 0, {{3, 0, mid_step}}), ObjectDef("leaf", 1, {{0, 0, leaf_create}})}));
  CObjectTV* leaf = Object_Find(2);
  EXPECT_EQ(leaf->parent, Object_Find(1));
  EXPECT_EQ(leaf->FindEvent(3, 0)->codeIndex, mid_step);
  EXPECT_EQ(leaf->FindEvent(3, 0)->ownerObject, 1);
  EXPECT_EQ(leaf->FindEvent(8, 0)->ownerObject, 0);
  EXPECT_EQ(leaf->FindOwnEvent(3, 0), nullptr);
  EXPECT_NE(leaf->FindOwnEvent(0, 0), nullptr);
  // Each object with the event (own or inherited) stands in the list once, in index order.
  int32_t count = 0;
  const int32_t* rows = Object_EventObjects(3, 0, &count);
  ASSERT_EQ(count, 3);
  EXPECT_EQ(rows[0], 0);
  EXPECT_EQ(rows[2], 2);
  Object_EventObjects(0, 0, &count);
  EXPECT_EQ(count, 1);
  Object_EventObjects(4, 0, &count);  // collision has no list
  EXPECT_EQ(count, 0);
}

TEST_F(ObjectTest, CollisionEventsSpreadToDescendantsOfTheTarget) {
  const int32_t hit_b = code("hit_b", Noop);
  const int32_t hit_d = code("hit_d", Noop);
  // 0 A collides with B (1) and, specifically, with D (3); C (2) and D are children of B; E (4) of C;
  // F (5) is a child of A.
  ASSERT_TRUE(load_objects({ObjectDef("A", -1, {{4, 1, hit_b}, {4, 3, hit_d}}), ObjectDef("B"), ObjectDef("C", 1),
                            ObjectDef("D", 1), ObjectDef("E", 2), ObjectDef("F", 0)}));
  CObjectTV* a = Object_Find(0);
  EXPECT_EQ(a->FindEvent(4, 2)->codeIndex, hit_b);
  EXPECT_EQ(a->FindEvent(4, 4)->codeIndex, hit_b);
  EXPECT_EQ(a->FindEvent(4, 3)->codeIndex, hit_d);
  EXPECT_NE(a->flags & kObjTypeCollisionInherited, 0u);
  CObjectTV* f = Object_Find(5);
  EXPECT_EQ(f->FindEvent(4, 4)->codeIndex, hit_b);
  EXPECT_EQ(f->FindEvent(4, 3)->codeIndex, hit_d);
  EXPECT_NE(a->flags & kObjTypeCollides, 0u);
}

TEST_F(ObjectTest, BuiltinsReadAndChangeObjectTypes) {
  const int32_t step = code("step", Noop);
  ASSERT_TRUE(load_objects({ObjectDef("p", -1, {{3, 0, step}}), ObjectDef("c", 0), ObjectDef("g", 1)}));
  EXPECT_TRUE(RV_ToBool(call("object_exists", nullptr, {RV_Real(1)})));
  EXPECT_FALSE(RV_ToBool(call("object_exists", nullptr, {RV_Real(50)})));
  EXPECT_EQ(RV_ToDouble(call("object_get_parent", nullptr, {RV_Real(2)})), 1.0);
  EXPECT_EQ(RV_Kind(call("object_get_parent", nullptr, {RV_Real(77)})), kRVUndefined);
  EXPECT_TRUE(RV_ToBool(call("object_is_ancestor", nullptr, {RV_Real(2), RV_Real(0)})));
  EXPECT_FALSE(RV_ToBool(call("object_is_ancestor", nullptr, {RV_Real(0), RV_Real(0)})));
  call("object_set_solid", nullptr, {RV_Real(0), RV_Real(1)});
  EXPECT_TRUE(RV_ToBool(call("object_get_solid", nullptr, {RV_Real(0)})));

  // Cycles and unknown parents raise and leave the object as it was.
  EXPECT_THROW(call("object_set_parent", nullptr, {RV_Real(0), RV_Real(2)}), KVTSLException);
  EXPECT_EQ(Object_Find(0)->parentIndex, -1);
  EXPECT_THROW(call("object_set_parent", nullptr, {RV_Real(1), RV_Real(40)}), KVTSLException);
  EXPECT_EQ(Object_Find(1)->FindEvent(3, 0)->ownerObject, 0);
  // Detaching drops the inherited rows; the child's own map isn't touched by its descendants.
  call("object_set_parent", nullptr, {RV_Real(1), RV_Real(-1)});
  EXPECT_EQ(Object_Find(1)->FindEvent(3, 0), nullptr);
  EXPECT_EQ(Object_Find(1)->parentIndex, -1);

  const int32_t added = static_cast<int32_t>(RV_ToDouble(call("object_add", nullptr, {})));
  EXPECT_EQ(added, 4);
  EXPECT_TRUE(RV_ToBool(call("object_delete", nullptr, {RV_Real(added)})));
  EXPECT_THROW(call("object_delete", nullptr, {RV_Real(added)}), KVTSLException);
}

}  // namespace
