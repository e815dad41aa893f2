// The frame step end to end: a game of three rooms written by the writer, with a persistent
// controller that plays a looping timeline, ticks a time source and moves from room to room on
// its alarm, and walkers placed in every room. It runs headless through the real frame driver for
// a few hundred frames; every event records itself, and the log is checked against the order
// rules of the step, the draw phase and the room change at the frame's end. Then memory over many
// frames that have no idle time.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/gc.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/rvalue.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_rooms.h"
#include "datawin/writer/chunk_world.h"
#include "support/fixture.h"
#include "world/frame_world_test.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/instance_path.h"
#include "world/room.h"
#include "world/time_source.h"
#include "world/timeline.h"

#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

using namespace datawin;

namespace {

constexpr int32_t kController = 0, kWalker = 1;
constexpr int32_t kFrames = 300;

struct Entry {
  int32_t frame;
  std::string what;  // event kind
  int32_t id;        // instance id, 0 for the time source
  int32_t room;
};
std::vector<Entry> g_log;
int32_t g_frame = 0;
int32_t g_moves = 0;
int32_t g_script_base = 0;
int32_t g_tick_row = 0;

void Note(CInstance* self, const char* what) { g_log.push_back({g_frame, what, self != nullptr ? self->id : 0, Run_RoomIndex}); }

void ControllerCreate(CInstance* self, CInstance*) {
  Note(self, "create");
  self->alarm[0] = 3;
  InstancePathState* state = InstancePath_Get(self);
  state->timelineIndex = 0;
  self->flags |= kInstTimelineRuns | kInstTimelineLoops;
  TimeSourceSettings settings;
  const RValue tick = RV_Real(g_script_base + g_tick_row);
  ASSERT_TRUE(TimeSource_CheckSettings(1, kTimeSourceFrames, tick, nullptr, -1, kTimeSourceAfter, &settings));
  TimeSource_Start(TimeSource_Create(0, settings, tick, nullptr));
}
// Every third step; every second firing moves to the next room.
void ControllerAlarm(CInstance* self, CInstance*) {
  Note(self, "alarm0");
  self->alarm[0] = 3;
  if (++g_moves % 2 == 0) Room_Goto((Run_RoomIndex + 1) % 3);
}
void WalkerCreate(CInstance* self, CInstance*) {
  Note(self, "create");
  self->alarm[1] = 2;
}
// A walker leaves two steps after it was made.
void WalkerAlarm(CInstance* self, CInstance*) {
  Note(self, "alarm1");
  Instance_Destroy(self, true);
}
void Tick(CInstance*, CInstance*, RValue*, int, RValue**) { Note(nullptr, "tick"); }

#define KV_NOTE_FN(fn, text) \
  void fn(CInstance* self, CInstance*) { Note(self, text); }
KV_NOTE_FN(BeginStep, "begin")
KV_NOTE_FN(Step, "step")
KV_NOTE_FN(EndStep, "end")
KV_NOTE_FN(DrawEvent, "draw")
KV_NOTE_FN(DrawGui, "gui")
KV_NOTE_FN(RoomStart, "roomstart")
KV_NOTE_FN(RoomEnd, "roomend")
KV_NOTE_FN(Destroy, "destroy")
KV_NOTE_FN(Moment, "moment")
#undef KV_NOTE_FN

// The rank of each kind in a drawn frame: the step's stages, then the drawing events.
const std::map<std::string, int> kRank = {{"begin", 1}, {"moment", 2}, {"tick", 3}, {"alarm0", 4}, {"alarm1", 4},
                                          {"destroy", 4}, {"step", 5}, {"end", 6}, {"draw", 7}, {"gui", 8}};

class StepEndToEnd : public FrameWorldTest {
 protected:
  void SetUp() override {
    FrameWorldTest::SetUp();
    g_log.clear();
    g_frame = 0;
    g_moves = 0;
  }
  void TearDown() override {
    Room_FreeAll();
    TimeSource_ResetAll();
    TimeLine_FreeAll();
    FrameWorldTest::TearDown();
  }

  void load_game() {
    const std::vector<ObjectEvent> common = {{3, 1, code("begin", BeginStep)}, {3, 0, code("step", Step)},
                                             {3, 2, code("end", EndStep)},     {8, 0, code("draw", DrawEvent)},
                                             {8, 64, code("gui", DrawGui)},    {7, 4, code("roomstart", RoomStart)},
                                             {7, 5, code("roomend", RoomEnd)}, {1, 0, code("destroy", Destroy)}};
    std::vector<ObjectEvent> controller_events = common;
    controller_events.push_back({0, 0, code("create_controller", ControllerCreate)});
    controller_events.push_back({2, 0, code("alarm_controller", ControllerAlarm)});
    std::vector<ObjectEvent> walker_events = common;
    walker_events.push_back({0, 0, code("create_walker", WalkerCreate)});
    walker_events.push_back({2, 1, code("alarm_walker", WalkerAlarm)});
    ObjectRecord controller = ObjectDef("controller", -1, controller_events);
    controller.persistent = true;
    ObjectRecord walker = ObjectDef("walker", -1, walker_events);
    const int32_t moment = code("tl_moment", Moment);
    g_tick_row = code("tsl_Script_tick", reinterpret_cast<TestEventFn>(reinterpret_cast<void (*)()>(Tick)));
    g_script_base = 100000;

    std::vector<std::optional<RoomRecord>> rooms = {
        RoomRecord{.name = "rm_a", .placements = {{.object = kController, .id = 100001}, {.object = kWalker, .id = 100002}}},
        RoomRecord{.name = "rm_b", .placements = {{.object = kWalker, .id = 100003}}},
        RoomRecord{.name = "rm_c", .persistent = true, .placements = {{.object = kWalker, .id = 100004}}}};
    tables_ = KVCodeTables{};
    tables_.scriptCount = static_cast<int32_t>(rows_.size());
    tables_.scriptTable = rows_.data();
    g_CodeTables = &tables_;
    Gen8Record header = MinimalHeader(17, 2, 60.0f);
    header.room_order = {0, 1, 2};
    header.last_instance_id = 100010;
    Writer writer;
    add_gen8(writer, header);
    add_objt(writer, {controller, walker}, 17);
    add_room(writer, rooms);
    add_tmln(writer, {TimelineRecord{"tl_pulse", {{0, moment}, {5, moment}}}});
    image_ = BuildImage(writer);
    const auto size = static_cast<uint32_t>(image_.size());
    ASSERT_TRUE(HeaderScan(image_.data(), size));
    ASSERT_TRUE(LoadGameData(image_.data(), size));
    ASSERT_TRUE(TimeLine_BuildFromAssets());
    Room_LoadTemplates();
  }

  void run() {
    Run_Running = true;
    Run_FrameStart = Timing_Time();
    Run_SecondStart = Run_FrameStart;
    g_frame = 0;
    Room_Start(0, true);
    for (g_frame = 1; g_frame <= kFrames && Run_Running; ++g_frame) Frame_Drive();
  }

  std::vector<Entry> frame(int32_t number) const {
    std::vector<Entry> entries;
    for (const Entry& entry : g_log) {
      if (entry.frame == number) entries.push_back(entry);
    }
    return entries;
  }
};

TEST_F(StepEndToEnd, EventsFollowTheStepOrderAcrossRoomChanges) {
  load_game();
  run();
  ASSERT_FALSE(g_log.empty());
  int32_t changes = 0;
  std::vector<int32_t> alarm_frames, tick_frames, moment_frames;
  for (int32_t f = 1; f <= kFrames; ++f) {
    SCOPED_TRACE("frame " + std::to_string(f));
    const std::vector<Entry> entries = frame(f);
    int rank = 0;
    bool changed = false;
    bool after_goto = false;
    for (const Entry& entry : entries) {
      if (entry.what == "tick") tick_frames.push_back(f);
      if (entry.what == "moment") moment_frames.push_back(f);
      if (entry.what == "alarm0") alarm_frames.push_back(f);
      if (entry.what == "roomend" || entry.what == "roomstart" || entry.what == "create") {
        changed = true;
        continue;
      }
      // Nothing of the step or the drawing follows the room change at the frame's end.
      EXPECT_FALSE(changed) << entry.what;
      // After the alarm that asked for a room, the step stops: no Step, End Step or drawing; only
      // the alarms and destroys that the filter lets through in a persistent room may follow.
      if (after_goto) {
        EXPECT_TRUE(entry.what == "alarm1" || entry.what == "destroy") << entry.what;
      }
      const auto found = kRank.find(entry.what);
      ASSERT_NE(found, kRank.end()) << entry.what;
      EXPECT_GE(found->second, rank) << entry.what << " out of order";
      rank = found->second;
      if (entry.what == "alarm0") {
        // The frame's later entries show whether this alarm asked for a room change.
        for (const Entry& later : entries) after_goto = after_goto || later.what == "roomend";
      }
    }
    if (changed) ++changes;
  }
  // The time source ticks once in every step, whatever the room.
  EXPECT_EQ(static_cast<int32_t>(tick_frames.size()), kFrames);
  // The controller's alarm fires every third step, across room changes too.
  ASSERT_GT(alarm_frames.size(), 10u);
  for (size_t i = 1; i < alarm_frames.size(); ++i) EXPECT_EQ(alarm_frames[i] - alarm_frames[i - 1], 3);
  // Every second firing changes room: frames 6, 12, ... end with a switch.
  EXPECT_EQ(changes, static_cast<int32_t>(alarm_frames.size() / 2));
  EXPECT_EQ(Run_RoomIndex, changes % 3);
  // The timeline loops over moments 0 and 5: 0 runs in the first step, 5 in the sixth (the step
  // that starts at 5), which takes the position to 6, past the last moment, so back to 0; a lap
  // lasts six steps whatever the room.
  ASSERT_GT(moment_frames.size(), 4u);
  EXPECT_EQ(moment_frames[0], 1);
  for (size_t i = 1; i < moment_frames.size(); ++i) {
    EXPECT_EQ(moment_frames[i] - moment_frames[i - 1], i % 2 == 1 ? 5 : 1) << "at " << moment_frames[i];
  }
}

TEST_F(StepEndToEnd, RoomChangeEndsTheOldRoomAndStartsTheNextAtTheFramesEnd) {
  load_game();
  run();
  // Frame 6: the second firing of the alarm asks for room 1.
  const std::vector<Entry> entries = frame(6);
  std::vector<std::string> kinds;
  for (const Entry& entry : entries) kinds.push_back(entry.what + " " + std::to_string(entry.id));
  const std::vector<std::string> expected = {
      "begin 100001", "tick 0", "alarm0 100001",
      // The end of the frame: Room End in the old room, then the new room's placement and starts.
      "roomend 100001", "create 100003", "roomstart 100003", "roomstart 100001"};
  // The walker of room 0 left in frame 2 (its alarm 1), so only the controller ends the room.
  std::vector<std::string> without_moments;
  for (const std::string& kind : kinds) {
    if (kind.rfind("moment", 0) != 0) without_moments.push_back(kind);
  }
  EXPECT_EQ(without_moments, expected);
}

TEST_F(StepEndToEnd, WalkersGetCreateFirstAndLeaveTwoStepsLater) {
  load_game();
  run();
  // The walker placed in room 0: Create at the start, then two steps; its alarm in the second.
  // Room 0 isn't persistent, so each visit (every 18 frames) places it anew with the same id.
  std::vector<std::string> walker;
  for (const Entry& entry : g_log) {
    if (entry.id == 100002) walker.push_back(std::to_string(entry.frame % 18) + " " + entry.what);
  }
  const std::vector<std::string> lap = {"0 create", "0 roomstart", "1 begin", "1 step",  "1 end",
                                        "1 draw",   "1 gui",       "2 begin", "2 alarm1", "2 destroy"};
  ASSERT_EQ(walker.size() % lap.size(), 0u);
  ASSERT_GE(walker.size() / lap.size(), 10u);
  for (size_t i = 0; i < walker.size(); ++i) EXPECT_EQ(walker[i], lap[i % lap.size()]) << i;
  // The persistent room keeps its walker's absence: the walker of room 2 is made once only.
  int32_t creates = 0;
  for (const Entry& entry : g_log) creates += entry.id == 100004 && entry.what == "create" ? 1 : 0;
  EXPECT_EQ(creates, 1);
}

// ---- Memory over frames without idle time --------------------------------------------------------
// A game whose object makes and drops an argument array (as a method call through the state-machine
// library does) and a struct in every step, and takes longer than its frame's budget, so the frame
// driver never waits. Whatever the collector frees must be given back by the frames themselves.

FakeClock* g_clock = nullptr;
RefDynamicArrayOfRValue* g_last_array = nullptr;

void ChurnStep(CInstance*, CInstance*) {
  RValue arguments = RV_Undefined();  // takes the new array's one count
  arguments.pArray = RV_NewArray(3);
  arguments.kind = kRVArray;
  for (int32_t i = 0; i < 3; ++i) {
    const RValue element = RV_Real(i);
    RV_ArrayWrite(&arguments, i, &element);
  }
  g_last_array = arguments.pArray;
  RV_FreeToUndefined(&arguments);
  KVObjectBase* state = Object_NewStruct();
  (void)state;                // held by nothing once the step returns
  g_clock->Advance(40000);  // longer than a 60 fps frame: no wait follows
}

class FrameMemoryTest : public FrameWorldTest {
 protected:
  void SetUp() override {
    MemoryManager::Start();  // as the runner's start does: small blocks come from the buckets
    FrameWorldTest::SetUp();
    g_clock = &clock_;
  }
  void TearDown() override {
    g_clock = nullptr;
    g_last_array = nullptr;
    FrameWorldTest::TearDown();
  }

  struct Figures {
    size_t objects = 0;
    size_t parked = 0;
    int64_t array_items = 0;  // items in use in the bucket the arrays come from
    int64_t waited = 0;
  };
  Figures run(int frames) {
    for (int i = 0; i < frames && Run_Running; ++i) Frame_Drive();
    Figures figures;
    figures.objects = GC_ObjectCount();
    for (int32_t kind = 0; kind < kGCParkedKinds; ++kind) figures.parked += GC_ParkedCount(kind);
    const CBucketBase* bucket = MemoryManager::FindBucket(g_last_array);
    figures.array_items = bucket != nullptr ? bucket->used_count() : 0;
    figures.waited = clock_.slept();
    return figures;
  }
};

TEST_F(FrameMemoryTest, FramesWithoutIdleTimeGiveBackWhatTheCollectorFrees) {
  ASSERT_TRUE(load_objects({ObjectDef("obj_churn", -1, {{3, 0, code("churn_step", ChurnStep)}})}));
  make(0);
  Run_Running = true;
  Run_FrameStart = Timing_Time();
  Run_SecondStart = Run_FrameStart;
  const Figures early = run(200);
  const Figures late = run(3000);
  ASSERT_NE(g_last_array, nullptr);
  ASSERT_GT(early.array_items, 0) << "the arrays come from a bucket";
  EXPECT_EQ(late.waited, early.waited) << "no frame after the first has idle time";
  // Each step leaves one array and one struct for the frame's pass: the table, the parked lists
  // and the memory manager's items hold no more at the end than after the first frames.
  EXPECT_LE(late.objects, early.objects);
  EXPECT_LE(late.parked, early.parked);
  EXPECT_LE(late.parked, 2u);
  EXPECT_LE(late.array_items, early.array_items);
}

}  // namespace
