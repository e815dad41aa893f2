// Event dispatch: inheritance through event_inherited, the current-event values, the room-change
// filter, the nesting limit and the event names.
#include <gtest/gtest.h>

#include <string>

#include "core/console.h"
#include "core/error.h"
#include "core/error_report.h"
#include "core/frame_state.h"
#include "support/world_fixture.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/object_type.h"

namespace {

std::string tag(const char* what) {
  return std::string(what) + ":" + std::to_string(CurrentEventObject) + "/" + std::to_string(CurrentEventType) + "/" +
         std::to_string(CurrentEventNumber);
}

RValue (*g_call)(const char*, CInstance*) = nullptr;

void GrandStep(CInstance*, CInstance*) { Log().push_back(tag("grand")); }
void ChildStep(CInstance* self, CInstance* other) {
  Log().push_back(tag("child"));
  g_call("event_inherited", self);
  Log().push_back(tag("child-after"));
  (void)other;
}
void AnyEvent(CInstance*, CInstance*) { Log().push_back(tag("ran")); }
void Recurse(CInstance* self, CInstance*) {
  Log().push_back("level" + std::to_string(EventDepth));
  try {
    PerformEventOnInstance(self, self, kEventOther, kOtherUserDefined0);
  } catch (const KVTSLException& e) {
    Log().push_back("raised at " + std::to_string(EventDepth));
  }
}

class EventTest : public WorldTest {
 protected:
  void SetUp() override {
    WorldTest::SetUp();
    self_ = this;
    g_call = [](const char* name, CInstance* self) { return self_->call(name, self, {}); };
  }
  static inline EventTest* self_ = nullptr;
};

TEST_F(EventTest, EventInheritedWalksUpThroughAncestorsThatHaveTheEvent) {
  const int32_t grand = code("tsl_Object_grand_Step_0", GrandStep);
  const int32_t child = code("tsl_Object_child_Step_0", ChildStep);
  // grand (0) has Step; parent (1) has none; child (2) overrides and calls event_inherited.
  ASSERT_TRUE(load_objects({ObjectDef("grand", -1, {{3, 0, grand}}), ObjectDef("parent", 0),
                            ObjectDef("child", 1, {{3, 0, child}})}));
  CInstance* instance = make(2);
  PerformEventOnInstance(instance, instance, kEventStep, kStepNormal);
  const std::vector<std::string> expected = {"child:2/3/0", "grand:0/3/0", "child-after:2/3/0"};
  EXPECT_EQ(Log(), expected);
  EXPECT_EQ(CurrentEventObject, -1);
  EXPECT_EQ(EventDepth, 0);
}

TEST_F(EventTest, InheritedWithoutParentDoesNothing) {
  const int32_t child = code("child", ChildStep);
  ASSERT_TRUE(load_objects({ObjectDef("lonely", -1, {{3, 0, child}})}));
  CInstance* instance = make(0);
  EXPECT_NO_THROW(PerformEventOnInstance(instance, instance, kEventStep, kStepNormal));
  EXPECT_EQ(Log().size(), 2u);
}

TEST_F(EventTest, RoomChangeFilterLetsOnlyPersistentCreateDestroyAlarmOtherPreCreate) {
  const int32_t ran = code("ran", AnyEvent);
  std::vector<datawin::ObjectEvent> events;
  for (int32_t type : {0, 1, 2, 3, 7, 8, 12, 14}) events.push_back({type, 0, ran});
  datawin::ObjectRecord plain = ObjectDef("plain", -1, events);
  datawin::ObjectRecord kept = ObjectDef("kept", -1, events);
  kept.persistent = true;
  ASSERT_TRUE(load_objects({plain, kept}));
  CInstance* a = make(0);
  CInstance* b = make(1);
  New_Room = 3;
  struct Case {
    int32_t type;
    bool plain_runs;
    bool persistent_runs;
  };
  const Case cases[] = {{0, false, true}, {1, false, true}, {2, false, true}, {3, false, false},
                        {7, false, true}, {8, false, false}, {12, true, true}, {14, false, true}};
  for (const Case& c : cases) {
    Log().clear();
    PerformEventOnInstance(a, a, c.type, 0);
    EXPECT_EQ(Log().size(), c.plain_runs ? 1u : 0u) << c.type;
    Log().clear();
    PerformEventOnInstance(b, b, c.type, 0);
    EXPECT_EQ(Log().size(), c.persistent_runs ? 1u : 0u) << c.type;
  }
  // In a persistent room every instance passes the filter for those types.
  room_->persistent = true;
  Log().clear();
  PerformEventOnInstance(a, a, kEventOther, 0);
  PerformEventOnInstance(a, a, kEventStep, 0);
  EXPECT_EQ(Log().size(), 1u);
  // PerformEventAll does nothing at all while a change is pending.
  Log().clear();
  PerformEventAll(kEventOther, 0);
  EXPECT_TRUE(Log().empty());
  New_Room = kNewRoomNone;
  PerformEventAll(kEventOther, 0);
  EXPECT_EQ(Log().size(), 2u);
}

// A console that sends CleanUp to one instance whenever something is written to it, as code run
// while an error is on screen would.
class CleanUpOnOutput final : public tagIConsole {
 public:
  explicit CleanUpOnOutput(CInstance* target) : target_(target) {}
  void Output(const char*, ...) override {
    ++writes;
    PerformEventOnInstance(target_, target_, kEventCleanUp, 0);
  }
  int writes = 0;

 private:
  CInstance* target_;
};

TEST_F(EventTest, CleanUpIsDroppedWhileANonFatalErrorIsReported) {
  const int32_t ran = code("ran", AnyEvent);
  ASSERT_TRUE(load_objects({ObjectDef("o", -1, {{kEventCleanUp, 0, ran}, {kEventStep, 0, ran}})}));
  CInstance* instance = make(0);
  CleanUpOnOutput console(instance);
  tagIConsole* saved = g_OutputConsole;
  g_OutputConsole = &console;
  ShowError("not fatal", false);
  g_OutputConsole = saved;
  ASSERT_EQ(console.writes, 1);
  EXPECT_TRUE(Log().empty()) << "CleanUp asked for during the report";
  EXPECT_FALSE(g_EventErrorReporting) << "the report is over";
  PerformEventOnInstance(instance, instance, kEventCleanUp, 0);
  EXPECT_EQ(Log(), std::vector<std::string>{"ran:0/12/0"});
  // Only CleanUp is filtered by the flag.
  Log().clear();
  g_EventErrorReporting = true;
  PerformEventOnInstance(instance, instance, kEventCleanUp, 0);
  PerformEventOnInstance(instance, instance, kEventStep, 0);
  g_EventErrorReporting = false;
  EXPECT_EQ(Log(), std::vector<std::string>{"ran:0/3/0"});
}

TEST_F(EventTest, ThirtyThirdNestedLevelRaisesAndTheOthersFinish) {
  const int32_t recurse = code("recurse", Recurse);
  ASSERT_TRUE(load_objects({ObjectDef("deep", -1, {{7, kOtherUserDefined0, recurse}})}));
  CInstance* instance = make(0);
  PerformEventOnInstance(instance, instance, kEventOther, kOtherUserDefined0);
  ASSERT_EQ(Log().size(), 33u);
  EXPECT_EQ(Log()[0], "level1");
  EXPECT_EQ(Log()[31], "level32");
  EXPECT_EQ(Log()[32], "raised at 32");
  EXPECT_EQ(EventDepth, 0);
}

TEST_F(EventTest, DispatchOnANonInstanceRaises) {
  ASSERT_TRUE(load_objects({ObjectDef("o")}));
  KVObjectBase* plain = Object_NewStruct();
  EXPECT_THROW(PerformEvent(KV_AsInstance(plain), nullptr, 0, 0, 0), KVTSLException);
}

TEST_F(EventTest, EventPerformObjectRunsAnotherObjectsCodeOnSelf) {
  const int32_t ran = code("ran", AnyEvent);
  ASSERT_TRUE(load_objects({ObjectDef("a"), ObjectDef("b", -1, {{7, 11, ran}})}));
  CInstance* instance = make(0);
  call("event_perform_object", instance, {RV_Real(1), RV_Real(7), RV_Real(11)});
  call("event_user", instance, {RV_Real(1)});  // object a has no User Defined 1
  EXPECT_EQ(Log(), std::vector<std::string>{"ran:1/7/11"});
}

TEST(EventNamesTest, MessagesNameEventsKeysAndSubtypes) {
  struct Case {
    int32_t type;
    int32_t subtype;
    const char* name;
  };
  const Case cases[] = {
      {0, 0, "Create Event"},
      {2, 3, "Alarm Event for alarm 3"},
      {5, 13, "Keyboard Event for <Enter> Key"},
      {9, 65, "Key Press Event for A-key Key"},
      {10, 98, "Key Release Event for Keypad-2 Key"},
      {5, 113, "Keyboard Event for F2 Key"},
      {5, 200, "Keyboard Event for <unknown> Key"},
      {6, 22, "Mouse Event for Joystick 1 Button 2"},
      {6, 34, "Mouse Event for Joystick 2 Down"},
      {6, 57, "Mouse Event for Glob Right Released"},
      {7, 12, "Other Event: User Defined 2"},
      {7, 62, "Async Event: HTTP"},
      {7, 72, "Async Event: Save-Load"},
      {8, 64, "Draw Event"},
      {12, 0, "<Unknown Event>"},
      {14, 0, "PreCreate Event"},
      {40, 0, "<Unknown Event>"},
  };
  for (const Case& c : cases) EXPECT_EQ(Event_Name(c.type, c.subtype), c.name) << c.type << "/" << c.subtype;
}

}  // namespace
