// Empty bodies for subsystems that have not landed yet, and the wiring of those that have. Each
// empty body is removed here when its subsystem provides the real entry point.
#include "run/run_subjects.h"

#include <cstring>
#include <vector>

#include "audio/audio.h"
#include "core/code.h"
#include "core/console.h"
#include "core/event_context.h"
#include "core/frame_state.h"
#include "data/asset_names.h"
#include "data/asset_options.h"
#include "data/game_data.h"
#include "graphics/asset_sprites.h"
#include "graphics/font.h"
#include "graphics/shader.h"
#include "graphics/vertex_buffer.h"
#include "graphics/camera.h"
#include "graphics/cull.h"
#include "graphics/draw.h"
#include "graphics/image_files.h"
#include "graphics/particles.h"
#include "graphics/sprite.h"
#include "graphics/surface.h"
#include "graphics/view.h"
#include "run/options.h"
#include "run/run_frame.h"
#include "run/run_game.h"
#include "run/saved_game.h"
#include "storage/buffer.h"
#include "world/builtin_var_rows.h"
#include "world/instance.h"
#include "world/mp_grid.h"
#include "world/object_type.h"
#include "world/particles_layer.h"
#include "world/room.h"
#include "world/sequence.h"
#include "world/step.h"
#include "world/time_source.h"
#include "world/timeline.h"

namespace {

bool step_sprite_animation(int32_t index, StepSpriteAnimation* out) {
  SpriteSpeed speed;
  if (!Sprite_GetSpeed(index, &speed)) return false;
  out->isSequence = speed.isSequence;
  out->speed = speed.speed;
  out->speedType = speed.speedType;
  out->frames = speed.frames;
  return true;
}

// What an instance's sprite rows read: the frame count, the size and the origin of the sprite.
bool sprite_metrics(int32_t index, SpriteMetrics* out) {
  const CSprite* sprite = Sprite_Data(index);
  if (sprite == nullptr) return false;
  out->frames = sprite->numFrames;
  out->width = sprite->width;
  out->height = sprite->height;
  out->xoffset = sprite->xOrigin;
  out->yoffset = sprite->yOrigin;
  return true;
}

int32_t* room_speed_field(void* room) { return &static_cast<CRoom*>(room)->speed; }

// Sizes of sprites for stretched backgrounds, from the records: rooms are loaded before the sprite
// table is built.
bool sprite_size(int32_t index, int32_t* width, int32_t* height) {
  const SpriteAsset* sprite = Sprite_Get(index);
  if (sprite == nullptr) return false;
  *width = sprite->width;
  *height = sprite->height;
  return true;
}

bool surface_size(int32_t surface, int32_t* width, int32_t* height) {
  if (!Surface_Exists(surface)) return false;
  *width = Surface_Get_Width(surface);
  *height = Surface_Get_Height(surface);
  return true;
}

void surface_read(int32_t surface, uint8_t* pixels) {
  SpriteBitmap bitmap;
  if (Surface_Read_Rect(surface, 0, 0, Surface_Get_Width(surface), Surface_Get_Height(surface), &bitmap)) {
    std::memcpy(pixels, bitmap.pixels.data(), bitmap.pixels.size());
  }
}

void surface_write(int32_t surface, const uint8_t* pixels) { Surface_Write(surface, pixels); }

const BufferSurfaceAccess kBufferSurfaces = {surface_size, surface_read, surface_write};

// Graphics files go through the buffers' file access, where the file subsystem puts its resolvers.
const GraphicsFileAccess kGraphicsFiles = {
    [](const char* name, std::vector<uint8_t>* out) { return Buffer_GetFileAccess().read_whole(name, out); },
    [](const char* name, const void* bytes, size_t size) { return Buffer_GetFileAccess().write_whole(name, bytes, size); }};

}  // namespace

void TimeSource_TickRoots(int64_t delta_us) { TimeSource_FrameTick(delta_us); }

bool IO_PauseEventThisFrame() { return false; }
// Run_Step is the world's frame step (world/step.cpp) and Room_Draw its room draw
// (world/room_draw.cpp); the draw phase purges, draws and flushes.
void Instance_PurgeDestroyed() { Room_PurgeMarked(Run_Room); }
void Deferred_Process() { Run_Flush(); }
void Backgrounds_Scroll() { Room_ScrollBackgrounds(Run_Room); }

// Room_Switch is the world's (world/room_flow.cpp). Ending the game ends the room with its Game End
// events and frees every working copy, so a restart starts persistent rooms anew.
void Room_EndCurrent(bool game_ending) {
  if (game_ending) {
    Room_EndGame();
  } else {
    Room_End(false);
  }
}
// New_Room may name the room to start with; otherwise the first room of the room order.
bool Room_StartFirst() {
  Room_FreeWorkingCopies();
  const int32_t index = Room_Exists(New_Room) ? New_Room : Room_First();
  if (!Room_Exists(index)) return false;
  Room_Start(index, true);
  return true;
}
// The instance tables of the game: pending lists and counters, with ids continuing from the header;
// a load still queued belongs to the game that ends.
void Game_ResetForRestart() {
  Instance_ResetState();
  SavedGame_Reset();
}
// The data file's global initialisers run on the global object until one ends the game.
bool Script_RunGlobalInit() { return Code_RunList(GameData_GlobalInitCode(), true); }
void Script_RunGameEnd() { Code_RunList(GameData_GameEndCode(), false); }
void Sounds_StopAll() { Audio_StopAll(); }
void Sprites_ResetState() {}

bool Extension_Prepare() { return true; }
// Binds the data file's script records to the compiled rows; code runs the old way with -oldexec.
bool Script_Prepare() {
  Code_SetOldExec(!Run_Options().new_execution_path);
  Code_InstallScriptLookup();
  std::vector<ScriptRecord> records;
  if (!Script_ReadRecords(GameData_Image(), GameData_ImageSize(), &records)) return false;
  return Script_Bind(records);
}
bool TimeLine_Prepare() { return TimeLine_BuildFromAssets(); }
// The objects were prepared when OBJT was read; the sprite table is built, the image update learns
// the sprites' speeds here, and the sprite rows of the instances their frame counts, sizes and
// origins.
bool Object_Prepare() {
  g_DebugConsole->Output("Preparing %d objects:\n", Object_Count());
  // The sprites as drawing and scripts see them: every page entry is final once TXTR is read.
  Sprite_BuildTable();
  AssetNames_Register(datawin::kAssetSprite, Sprite_FindName, Sprite_Name);
  g_StepSpriteAnimation = step_sprite_animation;
  g_BuiltinVarSpriteMetrics = sprite_metrics;
  return true;
}
// Rooms: the default camera, the templates with their views' cameras, the frame's room speed, and
// what rooms ask of input, sprites, cameras and the window.
bool Room_Prepare() {
  RoomDraw_Init();
  Camera_FreeAll();
  DefaultCamera = Camera_Create()->id;
  Room_LoadTemplates();
  Frame_SetRoomSpeedReader(room_speed_field);
  g_RoomHooks.inputClear = IO_Clear;
  g_RoomHooks.imageSize = sprite_size;
  g_EventNameSources.roomName = [](int32_t index) { return std::string(Room_GetName(index)); };
  return true;
}
bool AudioGroup_Prepare() { return Audio_PrepareGroups(); }
// The data file's shaders are compiled once the device and the shader table both exist; surfaces
// go with the device at a reset; buffers and graphics files reach each other here.
bool InitGraphics() {
  Shader_CompileAll();
  ParticleImages_Load();
  // The draw state of a new game: black, opaque, unless the data file names its own colour.
  Draw_ResetState();
  if (Options_Get().draw_colour_set) Draw_SetColour(Options_Get().draw_colour);
  Window_SetSurfaceReleaseHook(Surface_Free_All);
  Buffer_SetSurfaceAccess(&kBufferSurfaces);
  Graphics_SetFileAccess(&kGraphicsFiles);
  return true;
}

void Game_FreeSubjects() {
  Vertex_FreeAll();
  Shader_FreeAll();
  Font_FreeAll();
  Font_ReleaseDefault();
  Sequence_FreeSubjects();
  TimeSource_ResetAll();
  TimeLine_FreeAll();
  MotionGrid_FreeAll();
  Room_FreeAll();
  ParticleLayer_FreeAll();
  Audio_Shutdown();
  Surface_Reset();
  Camera_FreeAll();
  Sprite_FreeAll();
  View_Reset();
  Cull_Reset();
  Buffer_SetSurfaceAccess(nullptr);
  Graphics_SetFileAccess(nullptr);
}
