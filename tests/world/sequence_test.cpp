// Sequences: the head's loop rules and the key finder on their own, then a game written by the
// writer with a sequence placed in a room, run headless through the frame driver: the sequence's
// instance track makes its instance and moves it along the keyframes, moments fire once when the
// head passes them, messages reach the objects' broadcast event with their map, and the builtins
// and struct properties read and write the loaded sequence.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/builtin_families.h"
#include "core/call.h"
#include "core/code.h"
#include "core/console.h"
#include "core/error.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/object.h"
#include "run/run_frame.h"
#include "run/run_present.h"
#include "core/timing.h"
#include "core/variable_names.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/chunk_rooms.h"
#include "platform/fake/fake_clock.h"
#include "platform/process.h"
#include "storage/fn_ds.h"
#include "support/fixture.h"
#include "world/frame_world_test.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/room.h"
#include "world/sequence_instance.h"
#include "world/step.h"

#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

using namespace datawin;

namespace {

// ---- The head and the keys --------------------------------------------------------------------------

TEST(SequenceHead, WrapsByLoopMode) {
  struct Case {
    const char* what;
    int32_t loopmode;
    float position, direction;
    float want_position, want_direction;
    bool finished, wrapped;
  };
  const Case cases[] = {
      {"once, inside", 0, 4, 1, 4, 1, false, false},
      {"once, past the end forwards", 0, 10.5f, 1, 10, 1, true, true},
      {"once, at the end backwards", 0, 10, -1, 10, -1, false, false},
      {"once, before the start backwards", 0, -0.5f, -1, 0, -1, true, true},
      {"once, before the start forwards", 0, -0.5f, 1, 0, 1, false, false},
      {"loop, past the end", 1, 12.5f, 1, 2.5f, 1, false, true},
      {"loop, at the end", 1, 10, 1, 0, 1, false, true},
      {"loop, before the start", 1, -1, -1, 9, -1, false, true},
      {"ping-pong, past the end", 2, 12, 1, 8, -1, false, true},
      {"ping-pong, two lengths on", 2, 21, -1, 1, 1, false, true},
      {"ping-pong, before the start", 2, -3, -1, 3, 1, false, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    SequenceHead head{c.position, c.direction};
    Sequence_WrapHead(c.loopmode, 10.0f, &head);
    EXPECT_FLOAT_EQ(head.position, c.want_position);
    EXPECT_EQ(head.direction, c.want_direction);
    EXPECT_EQ(head.finished, c.finished);
    EXPECT_EQ(head.wrapped, c.wrapped);
  }
}

// ---- A game with a sequence ---------------------------------------------------------------------------

constexpr int32_t kActor = 0, kListener = 1;
constexpr float kLength = 10.0f;

struct Note {
  int32_t frame;
  std::string what;
};
std::vector<Note> g_notes;
int32_t g_frame = 0;

void ListenerMessage(CInstance* self, CInstance*);

// The moment functions: self is the sequence instance.
RValue* MomentStart(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  g_notes.push_back({g_frame, std::string("start ") + KV_AsObject(self)->className});
  return result;
}
RValue* MomentMiddle(CInstance*, CInstance*, RValue* result, int, RValue**) {
  g_notes.push_back({g_frame, "middle"});
  return result;
}
RValue* SequenceStep(CInstance*, CInstance*, RValue* result, int, RValue**) {
  g_notes.push_back({g_frame, "sequence step"});
  return result;
}
void ActorCreate(CInstance* self, CInstance*) {
  g_notes.push_back({g_frame, "actor " + std::to_string((self->flags & kInstInSequence) != 0)});
}

TestEventFn as_event(KVScriptFunction f) { return reinterpret_cast<TestEventFn>(reinterpret_cast<void (*)()>(f)); }

SequenceKeyRecord PositionKey(int32_t channel, float value) {
  SequenceKeyRecord key;
  key.channel = channel;
  key.value = value;
  return key;
}

class SequencePlay : public FrameWorldTest {
 protected:
  void SetUp() override {
    FrameWorldTest::SetUp();
    g_notes.clear();
    g_frame = 0;
    Builtins_AddRegistrar(kFamilyResource, Layer_RegisterBuiltins);
    Builtins_AddRegistrar(kFamilyResource, AnimCurve_RegisterBuiltins);
    Builtins_AddRegistrar(kFamilyResource, Sequence_RegisterBuiltins);
    Builtins_AddRegistrar(kFamilyDS, DS_RegisterBuiltins);
  }
  void TearDown() override {
    Room_FreeAll();
    Sequence_FreeSubjects();
    FrameWorldTest::TearDown();
  }

  // A sequence of length 10 that plays one unit per frame: an instance track of the actor whose
  // position runs linearly from (0, 0) at frame 0 to (100, 50) at frame 10, moments at 0 and 5, a
  // message at 3. It stands on an asset layer at (32, 16).
  SequenceRecord sequence(int32_t loopmode) {
    SequenceTrackRecord position{.kind = seqn::kTrackReal, .name = "position", .sub_type = 14, .interpolation = 1};
    // Stretch keyframes: each holds until the next, and the track mixes towards it.
    position.keyframes = {
        {.frame = 0, .length = 1, .stretch = true, .channels = {PositionKey(0, 0), PositionKey(1, 0)}},
        {.frame = 10, .length = 1, .stretch = true, .channels = {PositionKey(0, 100), PositionKey(1, 50)}}};
    SequenceTrackRecord actor{.kind = seqn::kTrackInstance, .name = "actor"};
    actor.tracks = {position};
    actor.keyframes = {{.frame = 0, .length = kLength, .channels = {{.object_index = kActor}}}};
    SequenceRecord record{.name = "seq_walk", .loopmode = loopmode, .playback_speed = 1, .playback_speed_type = 1,
                          .length = kLength};
    record.tracks = {actor};
    record.moments = {{.frame = 0, .length = 0, .channels = {{.events = {"moment_start"}}}},
                      {.frame = 5, .length = 0, .channels = {{.events = {"moment_middle"}}}}};
    record.messages = {{.frame = 3, .length = 0, .channels = {{.events = {"hello", "again"}}}}};
    record.events = {{seqn::event_id(3, 0), "sequence_step"}};
    return record;
  }

  void load_game(int32_t loopmode) {
    const int32_t create = code("actor_create", ActorCreate);
    const int32_t message = code("listener_message", ListenerMessage);
    const int32_t start = code("tsl_Script_moment_start", as_event(MomentStart));
    const int32_t middle = code("tsl_Script_moment_middle", as_event(MomentMiddle));
    const int32_t step = code("tsl_Script_sequence_step", as_event(SequenceStep));
    tables_ = KVCodeTables{};
    tables_.scriptCount = static_cast<int32_t>(rows_.size());
    tables_.scriptTable = rows_.data();
    g_CodeTables = &tables_;

    RoomRecord room{.name = "rm_play"};
    room.layers = {{.name = "Assets", .id = 1, .kind = layer::kKindAssets, .depth = 0,
                    .sequences = {{.sequence = 0, .x = 32, .y = 16}}}};
    Gen8Record header = MinimalHeader(17, 2, 60.0f);
    header.last_instance_id = 100010;
    Writer writer;
    add_gen8(writer, header);
    add_scpt(writer, {datawin::ScriptRecord{"moment_start", static_cast<uint32_t>(start)},
                      datawin::ScriptRecord{"moment_middle", static_cast<uint32_t>(middle)},
                      datawin::ScriptRecord{"sequence_step", static_cast<uint32_t>(step)}});
    add_objt(writer,
             {ObjectDef("obj_actor", -1, {{0, 0, create}}), ObjectDef("obj_listener", -1, {{7, 76, message}})}, 17);
    add_seqn(writer, {sequence(loopmode)});
    add_room(writer, {room});
    image_ = BuildImage(writer);
    const auto size = static_cast<uint32_t>(image_.size());
    ASSERT_TRUE(HeaderScan(image_.data(), size));
    ASSERT_TRUE(LoadGameData(image_.data(), size));
    std::vector<::ScriptRecord> records;
    ASSERT_TRUE(Script_ReadRecords(image_.data(), size, &records));
    ASSERT_TRUE(Script_Bind(records));
    ASSERT_TRUE(Sequence_Prepare());
    Room_LoadTemplates();
    LastInstanceId = 100010;
  }

  void start() {
    Run_Running = true;
    Run_FrameStart = Timing_Time();
    Run_SecondStart = Run_FrameStart;
    Room_Start(0, true);
    listener_ = make(kListener);
  }
  void frames(int32_t count) {
    for (int32_t i = 0; i < count && Run_Running; ++i) {
      ++g_frame;
      Frame_Drive();
    }
  }

  CLayerSequenceElement* element() {
    // The sequence's own instances stand on its layer too, ahead of it.
    CLayer* assets = Layer_FindByName(Run_Room, "Assets");
    for (CLayerElementBase* e = assets != nullptr ? assets->elementsHead : nullptr; e != nullptr; e = e->next) {
      if (e->kind == kLayerElementSequence) return static_cast<CLayerSequenceElement*>(e);
    }
    return nullptr;
  }
  CSequenceInstance* playing() { return SequenceInstance_OfElement(element()); }
  CInstance* actor() {
    CSequenceInstance* si = playing();
    if (si == nullptr || si->root->activeTracks.empty()) return nullptr;
    return Instance_FindLive(si->root->activeTracks[0]->instanceID);
  }
  std::vector<int32_t> frames_of(const std::string& what) const {
    std::vector<int32_t> found;
    for (const Note& note : g_notes) {
      if (note.what == what) found.push_back(note.frame);
    }
    return found;
  }

  CInstance* listener_ = nullptr;
};

// Other 76 of the listener: the message of async_load.
void ListenerMessage(CInstance*, CInstance*) {
  RValue map = RV_Real(Step_AsyncLoadMap());
  RValue key = RV_Undefined();
  RV_SetString(&key, "message");
  int32_t find = -1;
  Function_Find("ds_map_find_value", &find);
  RValue* args[2] = {&map, &key};
  RValue text = RV_Undefined();
  CallBuiltin(nullptr, nullptr, &text, 2, find, args);
  g_notes.push_back({g_frame, std::string("message ") + RV_StringText(text)});
  RV_FreeToUndefined(&text);
  RV_FreeToUndefined(&key);
}

TEST_F(SequencePlay, PlaysItsKeyframesAndFiresMomentsOnce) {
  load_game(0);
  start();
  ASSERT_NE(playing(), nullptr);
  // The element's instance starts in the first step: the actor is made then, in the sequence.
  EXPECT_EQ(actor(), nullptr);
  frames(1);
  CInstance* made = actor();
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(frames_of("actor 1"), std::vector<int32_t>{1});
  EXPECT_EQ(made->sequenceInstance, playing());
  // Each step the head moves one unit and the actor follows the position track, placed by the
  // element at (32, 16): at head h it stands at (32 + 10h, 16 + 5h).
  for (int32_t step = 1; step <= 12; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    if (step > 1) frames(1);
    const float head = std::min<float>(static_cast<float>(step), kLength);
    EXPECT_FLOAT_EQ(playing()->headPosition, head);
    EXPECT_FLOAT_EQ(made->x, 32.0f + 10.0f * head);
    EXPECT_FLOAT_EQ(made->y, 16.0f + 5.0f * head);
  }
  // A step collects the keys from where its head started up to where it stopped, that end left out:
  // 0 in the first step, 3 in the fourth, 5 in the sixth; once finished, nothing more.
  EXPECT_EQ(frames_of("start SequenceInstance"), std::vector<int32_t>{1});
  EXPECT_EQ(frames_of("middle"), std::vector<int32_t>{6});
  EXPECT_EQ(frames_of("message hello"), std::vector<int32_t>{4});
  EXPECT_EQ(frames_of("message again"), std::vector<int32_t>{4});
  EXPECT_TRUE(playing()->finished);
  // The step event runs after the advance: in steps 1 to 9 (the tenth finished the sequence).
  EXPECT_EQ(frames_of("sequence step").size(), 9u);
  RValue id = RV_Real(element()->id);
  EXPECT_TRUE(RV_ToBool(call("layer_sequence_is_finished", nullptr, {id})));
  EXPECT_FLOAT_EQ(RV_ToDouble(call("layer_sequence_get_headpos", nullptr, {id})), kLength);
}

TEST_F(SequencePlay, LoopingFiresMomentsOncePerLap) {
  load_game(1);
  start();
  frames(25);
  // Laps of ten steps: the tenth wraps the head back to 0, and the step that starts there fires
  // the moment at 0 again.
  EXPECT_EQ(frames_of("start SequenceInstance"), (std::vector<int32_t>{1, 11, 21}));
  EXPECT_EQ(frames_of("middle"), (std::vector<int32_t>{6, 16}));
  EXPECT_FALSE(playing()->finished);
}

TEST_F(SequencePlay, PausedSequenceStandsAndFiresNothing) {
  load_game(0);
  start();
  frames(2);
  RValue id = RV_Real(element()->id);
  call("layer_sequence_pause", nullptr, {id});
  EXPECT_TRUE(RV_ToBool(call("layer_sequence_is_paused", nullptr, {id})));
  const size_t notes = g_notes.size();
  frames(6);
  EXPECT_FLOAT_EQ(playing()->headPosition, 2.0f);
  EXPECT_EQ(g_notes.size(), notes);
  // Played again, it goes on from where it stood; a new head position is taken up too.
  call("layer_sequence_play", nullptr, {id});
  call("layer_sequence_headpos", nullptr, {id, RV_Real(7)});
  frames(1);
  EXPECT_FLOAT_EQ(playing()->headPosition, 8.0f);
  EXPECT_FLOAT_EQ(actor()->x, 32.0f + 80.0f);
}

// The instance a sequence drives holds its sequence instance: with the element's own hold taken
// away, forced passes and the frames' passes leave it alive and playing; once the element is
// destroyed, which lets its instances go, the next pass frees it.
TEST_F(SequencePlay, ItsInstanceKeepsTheSequenceInstanceAlive) {
  load_game(1);
  start();
  frames(1);
  CInstance* made = actor();
  ASSERT_NE(made, nullptr);
  CSequenceInstance* si = playing();
  ASSERT_EQ(made->sequenceInstance, si);
  CWeakRef* watch = WeakRef_Create(si);
  GCAddRoot(watch);
  GCRemoveRoot(si);
  GCStep(4);
  EXPECT_EQ(watch->target, si);
  frames(2);
  EXPECT_EQ(watch->target, si);
  EXPECT_FLOAT_EQ(playing()->headPosition, 3.0f);
  EXPECT_FLOAT_EQ(made->x, 32.0f + 30.0f);
  call("layer_sequence_destroy", nullptr, {RV_Real(element()->id)});
  GCStep(4);
  EXPECT_EQ(watch->target, nullptr);
  GCRemoveRoot(watch);
}

TEST_F(SequencePlay, StructsReadAndWriteTheLoadedSequence) {
  load_game(0);
  start();
  RValue seq = call("sequence_get", nullptr, {RV_Real(0)});
  auto* sequence = dynamic_cast<CSequence*>(RV_ObjectOf(seq));
  ASSERT_NE(sequence, nullptr);
  EXPECT_STREQ(sequence->className, "Sequence");
  auto read = [](KVObjectBase* object, const char* name) {
    RValue out = RV_Undefined();
    Object_GetVarOrRaise(object, Variable_FindOrAddSlot(name), kIndexWholeValue, &out);
    return out;
  };
  auto write = [](KVObjectBase* object, const char* name, RValue value) {
    Object_SetVarOrRaise(object, Variable_FindOrAddSlot(name), kIndexWholeValue, &value);
  };
  RValue name = read(sequence, "name");
  EXPECT_STREQ(RV_StringText(name), "seq_walk");
  RV_FreeToUndefined(&name);
  EXPECT_EQ(RV_ToDouble(read(sequence, "length")), kLength);
  name = call("sequence_get_name", nullptr, {seq});
  EXPECT_STREQ(RV_StringText(name), "seq_walk");
  RV_FreeToUndefined(&name);
  // tracks -> the instance track -> its keyframe -> channel 0's data.
  RValue tracks = read(sequence, "tracks");
  ASSERT_EQ(tracks.pArray->length, 1);
  KVObjectBase* track = RV_ObjectOf(tracks.pArray->pArray[0]);
  EXPECT_EQ(RV_ToDouble(read(track, "type")), seqn::kTrackInstance);
  EXPECT_EQ(RV_ToDouble(call("sequence_track_get_numkeyframes", nullptr, {tracks.pArray->pArray[0]})), 1.0);
  RValue keyframe = call("sequence_track_get_keyframe", nullptr, {tracks.pArray->pArray[0], RV_Real(0)});
  RValue channels = read(RV_ObjectOf(keyframe), "channels");
  ASSERT_EQ(channels.pArray->length, 1);
  KVObjectBase* data = RV_ObjectOf(channels.pArray->pArray[0]);
  EXPECT_STREQ(data->className, "SequenceInstanceKeyframeData");
  EXPECT_EQ(RV_ToDouble(read(data, "objectIndex")), kActor);
  RValue objects = call("sequence_get_objects", nullptr, {seq});
  ASSERT_EQ(objects.pArray->length, 1);
  EXPECT_EQ(RV_ToDouble(objects.pArray->pArray[0]), kActor);

  // Setters refuse what they can't take.
  {
    ConsoleCapture capture;
    write(sequence, "loopmode", RV_Real(3));
    write(sequence, "playbackSpeedType", RV_Real(-1));
    EXPECT_EQ(capture.text(),
              "Trying to set loopmode property of sequence to out-of-bounds value 3.000000\n"
              "Trying to set playbackSpeedType property of sequence to out-of-bounds value -1.000000\n");
    EXPECT_EQ(sequence->loopmode, 0);
  }
  write(sequence, "loopmode", RV_Real(2));
  EXPECT_EQ(RV_ToDouble(call("sequence_get_loopmode", nullptr, {seq})), 2.0);
  struct ErrorCase {
    const char* what;
    std::function<void()> run;
    std::string message;
  };
  RValue not_tracks = RV_Undefined();
  not_tracks.pArray = RV_NewArray(2);
  not_tracks.flags = 0;
  not_tracks.kind = kRVArray;
  not_tracks.pArray->pArray[0] = tracks.pArray->pArray[0];
  not_tracks.pArray->pArray[1] = RV_Real(4);
  const ErrorCase errors[] = {
      {"a number among tracks", [&] { write(sequence, "tracks", not_tracks); },
       "Entry 1 in array passed to tracks property is not a track"},
      {"an indexed scalar",
       [&] {
         RValue out = RV_Undefined();
         Object_GetVar(sequence, Variable_FindOrAddSlot("length"), 0, &out);
       },
       "trying to index a property which is not an array"},
      {"an unknown sequence", [&] { call("sequence_get_length", nullptr, {RV_Real(9)}); },
       "sequence_get_length() - specified sequence does not exist"},
      {"a bad element", [&] { call("layer_sequence_headpos", nullptr, {RV_Real(-5), RV_Real(1)}); },
       "layer_sequence_headpos() - invalid sequence element specified"},
  };
  for (const ErrorCase& c : errors) {
    SCOPED_TRACE(c.what);
    try {
      c.run();
      ADD_FAILURE() << "no error";
    } catch (const KVTSLException& e) {
      EXPECT_EQ(e.message(), c.message);
    }
  }
  EXPECT_EQ(sequence->tracks.size(), 1u);
}

TEST_F(SequencePlay, ScriptsBuildSequencesFromParts) {
  load_game(0);
  start();
  RValue made = call("sequence_create", nullptr, {});
  auto* sequence = dynamic_cast<CSequence*>(RV_ObjectOf(made));
  ASSERT_NE(sequence, nullptr);
  EXPECT_EQ(sequence->index, 1);
  EXPECT_TRUE(RV_ToBool(call("sequence_exists", nullptr, {RV_Real(1)})));
  // A real track takes what it drives from its name.
  RValue track = call("sequence_track_new", nullptr, {RV_Real(seqn::kTrackReal)});
  RValue name = RV_Undefined();
  RV_SetString(&name, "image_angle");
  Object_SetVarOrRaise(RV_ObjectOf(track), Variable_FindOrAddSlot("name"), kIndexWholeValue, &name);
  EXPECT_EQ(static_cast<CSequenceTrack*>(RV_ObjectOf(track))->subType, kParamRotation);
  RValue data = call("sequence_keyframedata_new", nullptr, {RV_Real(seqn::kTrackReal)});
  EXPECT_STREQ(RV_ObjectOf(data)->className, "SequenceRealKeyframeData");
  EXPECT_THROW(call("sequence_track_new", nullptr, {RV_Real(99)}), KVTSLException);
  call("sequence_destroy", nullptr, {made});
  EXPECT_FALSE(RV_ToBool(call("sequence_exists", nullptr, {RV_Real(1)})));
  RV_FreeToUndefined(&name);
}

}  // namespace
