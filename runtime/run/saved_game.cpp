// The saved game: the stream's head (version, settings, globals), the load queue the frame driver
// empties between frames, and the four builtins.
#include "run/saved_game.h"

#include <algorithm>
#include <string>
#include <utility>

#include "core/console.h"
#include "core/fn_value_internal.h"
#include "core/frame_state.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/random.h"
#include "core/timing.h"
#include "core/variable_names.h"
#include "run/run_subjects.h"
#include "run/saved_game_records.h"
#include "storage/buffer.h"
#include "storage/file_paths.h"
#include "world/builtin_var_rows.h"
#include "world/instance.h"
#include "world/layer.h"
#include "world/room.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

// The game's settings, in stream order.
struct SavedSettings {
  int32_t room = -1;
  double gameSpeed = 0.0;
  RunVariables run;
  uint32_t lastInstanceId = 0;
  int32_t layerIdCounter = 0;
  RandomSnapshot random{};
  double epsilon = 0.0;
};

template <class IO>
void fields(IO& io, SavedSettings& r) {
  io(r.room), io(r.gameSpeed);
  io(r.run.score), io(r.run.lives), io(r.run.health), io(r.run.showScore), io(r.run.showLives), io(r.run.showHealth);
  io(r.run.captionScore), io(r.run.captionLives), io(r.run.captionHealth), io(r.run.cursorSprite);
  io(r.lastInstanceId), io(r.layerIdCounter);
  io(r.random.seed), io(r.random.index);
  for (uint32_t& word : r.random.state) io(word);
  io(r.epsilon);
}

SavedSettings capture_settings() {
  SavedSettings r;
  r.room = Run_RoomIndex;
  r.gameSpeed = Run_GameTimer.fps;
  r.run = g_RunVariables;
  r.lastInstanceId = LastInstanceId;
  r.layerIdCounter = LayerIdCounter;
  r.random = Random_Save();
  r.epsilon = Math_GetEpsilon();
  return r;
}

void apply_settings(const SavedSettings& s, int32_t highest_layer, uint32_t highest_instance) {
  if (Run_GameTimer.fps != s.gameSpeed) GameTimer_Reset(&Run_GameTimer, s.gameSpeed, Timing_Time());
  g_RunVariables = s.run;
  // Ids go on from where the save stood, never below an id that exists again.
  LastInstanceId = std::max(s.lastInstanceId, highest_instance);
  LayerIdCounter = std::max(s.layerIdCounter, highest_layer);
  Random_Restore(s.random);
  Math_SetEpsilon(s.epsilon);
}

// The global variables worth saving: user variables, without the collector's own container.
std::vector<int32_t> global_slots(KVObjectBase* global) {
  std::vector<int32_t> slots;
  for (int32_t slot : Object_OwnSlots(global)) {
    if (slot < kFirstUserVariableSlot) continue;
    const RValue* value = global->FindOwnSlot(slot);
    const KVObjectBase* object = value != nullptr ? RV_ObjectOf(*value) : nullptr;
    if (object != nullptr && object->kind == kObjContainer) continue;
    slots.push_back(slot);
  }
  return slots;
}

struct SavedState {
  SavedSettings settings;
  SavedVariables globals;
  std::vector<SavedRoom> rooms;
  SavedParticles particles;
};

// Decodes the whole stream after its version word; false when anything is missing or out of range.
bool read_state(SaveReader* in, SavedState* state) {
  FieldIn io{in};
  fields(io, state->settings);
  int32_t globals = 0;
  if (!io.ok || !in->count(&globals, 5)) return false;
  for (int32_t i = 0; i < globals; ++i) {
    std::string name;
    SavedValue value;
    if (!in->text(&name) || !in->value(&value)) return false;
    state->globals.emplace_back(std::move(name), std::move(value));
  }
  if (!SavedRooms_Read(in, &state->rooms) || !SavedParticles_Read(in, &state->particles)) return false;
  const int32_t room = state->settings.room;
  return room >= 0 && room < static_cast<int32_t>(state->rooms.size()) && state->rooms[static_cast<size_t>(room)].stored;
}

CInstance* find_made(int32_t id, void* context) {
  const auto* made = static_cast<const SavedInstanceMap*>(context);
  const auto found = made->find(id);
  return found != made->end() ? found->second : Instance_Find(id);
}

// ---- The load queue -------------------------------------------------------------------------------

struct LoadQueue {
  bool pending = false;
  std::vector<uint8_t> bytes;
};

LoadQueue& queue() {
  static LoadQueue q;
  return q;
}

// Queues a stream and asks the frame driver for the load.
bool queue_load(std::vector<uint8_t> bytes) {
  LoadQueue& q = queue();
  q.pending = true;
  q.bytes = std::move(bytes);
  if (New_Room != kNewRoomEndGame && New_Room != kNewRoomAbort) New_Room = kNewRoomLoad;
  return true;
}

bool load_already_queued() {
  if (!queue().pending) return false;
  g_ReleaseConsole->Output("WARNING: Load game being ignored due to load game already queued\n");
  return true;
}

// ---- Builtins -------------------------------------------------------------------------------------

// A name argument; null for undefined, null and unset values.
const char* name_arg(const RValue* argv, int n) {
  switch (RV_Kind(argv[n])) {
    case kRVUndefined:
    case kRVUnset:
    case kRVNull:
      return nullptr;
    default:
      return KVGetString(argv, n);
  }
}

void F_GameSave(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_result(result, RV_Bool(false));
  const char* name = name_arg(argv, 0);
  if (name == nullptr) {
    g_ReleaseConsole->Output("WARNING: Game save failed, null filename passed\n");
    return;
  }
  std::vector<uint8_t> bytes;
  if (!SavedGame_Write(&bytes)) return;
  if (!File_WriteWhole(name, bytes.data(), bytes.size())) {
    g_ReleaseConsole->Output("WARNING: Game save failed, unable to write %s\n", name);
    return;
  }
  set_result(result, RV_Bool(true));
}

void F_GameSaveBuffer(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_result(result, RV_Bool(false));
  const int32_t id = KVGetInt32(argv, 0);
  IBuffer* buffer = Buffer_Get(id);
  if (buffer == nullptr) {
    g_ReleaseConsole->Output("WARNING: No buffer available for %d\n", id);
    return;
  }
  std::vector<uint8_t> bytes;
  if (!SavedGame_Write(&bytes)) return;
  // The save goes to the start of the buffer; a grow buffer grows to hold it, others must.
  if (bytes.size() > static_cast<size_t>(kBufferMaxSize) || !buffer->GrowTo(static_cast<int64_t>(bytes.size())) ||
      !buffer->PutBytesAt(0, bytes.data(), bytes.size())) {
    g_ReleaseConsole->Output("WARNING: Game save failed, buffer %d is too small\n", id);
    return;
  }
  buffer->position = static_cast<int32_t>(bytes.size());
  set_result(result, RV_Bool(true));
}

void F_GameLoad(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_result(result, RV_Bool(false));
  if (load_already_queued()) return;
  const char* name = name_arg(argv, 0);
  if (name == nullptr) {
    g_ReleaseConsole->Output("WARNING: Game load failed, null filename passed\n");
    return;
  }
  const std::string path = File_FindForRead(name);
  std::vector<uint8_t> bytes;
  if (path.empty() || !File_ReadWhole(path.c_str(), &bytes)) {
    g_ReleaseConsole->Output("WARNING: Game load failed, %s not found\n", name);
    return;
  }
  set_result(result, RV_Bool(queue_load(std::move(bytes))));
}

void F_GameLoadBuffer(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  set_result(result, RV_Bool(false));
  if (load_already_queued()) return;
  const int32_t id = KVGetInt32(argv, 0);
  const IBuffer* buffer = Buffer_Get(id);
  if (buffer == nullptr || buffer->data == nullptr) {
    g_ReleaseConsole->Output("WARNING: No buffer available for %d\n", id);
    return;
  }
  // A copy: the game may change or delete its buffer before the load runs.
  set_result(result, RV_Bool(queue_load(std::vector<uint8_t>(buffer->data, buffer->data + buffer->size))));
}

}  // namespace

bool SavedGame_Write(std::vector<uint8_t>* out) {
  if (Run_Room == nullptr || Run_RoomIndex < 0) {
    g_ReleaseConsole->Output("WARNING: Game save failed, no room is running\n");
    return false;
  }
  SaveWriter writer;
  writer.s32(kSavedGameVersion);
  SavedSettings settings = capture_settings();
  FieldOut io{&writer};
  fields(io, settings);
  KVObjectBase* global = Object_Global();
  const std::vector<int32_t> slots = global_slots(global);
  writer.s32(static_cast<int32_t>(slots.size()));
  for (int32_t slot : slots) {
    writer.text(Variable_NameOf(slot));
    writer.value(*global->FindOwnSlot(slot));
  }
  SavedRooms_Write(&writer);
  SavedParticles_Write(&writer);
  *out = std::move(writer.bytes());
  return true;
}

bool SavedGame_Restore(const uint8_t* data, size_t size) {
  SaveReader reader(data, size);
  int32_t version = 0;
  if (!reader.s32(&version) || version != kSavedGameVersion) {
    g_ReleaseConsole->Output("Save game format has changed\n");
    return false;
  }
  SavedState state;
  if (!read_state(&reader, &state)) {
    g_ReleaseConsole->Output("WARNING: Game load failed, the saved game is damaged\n");
    return false;
  }
  SavedInstanceMap made;
  int32_t highest_layer = 0;
  uint32_t highest_instance = 0;
  SavedRooms_Build(state.rooms, state.settings.room, &made, &highest_layer, &highest_instance);
  SavedParticles_Apply(std::move(state.particles));
  apply_settings(state.settings, highest_layer, highest_instance);
  {
    // Every struct and array of the stream is made before any variable takes one.
    SaveBuilder builder(reader.objects(), find_made, &made);
    KVObjectBase* global = Object_Global();
    for (const auto& [name, value] : state.globals) builder.assign(global, name, value);
    SavedRooms_AssignVariables(state.rooms, made, &builder);
  }
  Room_Resume(state.settings.room);
  return true;
}

bool SavedGame_LoadPending() { return queue().pending; }

void SavedGame_Reset() { queue() = LoadQueue{}; }

// Between frames, before input: the queued stream replaces the game.
void SavedGame_ApplyQueued() {
  LoadQueue& q = queue();
  if (!q.pending) return;
  std::vector<uint8_t> bytes = std::move(q.bytes);
  q = LoadQueue{};
  if (New_Room == kNewRoomLoad) New_Room = kNewRoomNone;
  SavedGame_Restore(bytes.data(), bytes.size());
}

void SavedGame_RegisterBuiltins() {
  Function_Add("game_save", with_args<F_GameSave, 1>, 1, 0);
  Function_Add("game_load", with_args<F_GameLoad, 1>, 1, 0);
  Function_Add("game_save_buffer", with_args<F_GameSaveBuffer, 1>, 1, 0);
  Function_Add("game_load_buffer", with_args<F_GameLoadBuffer, 1>, 1, 0);
}
