#pragma once
// Surfaces: render-target textures under small integer ids, the target stack that redirects all
// drawing to a surface and back, and the application surface that the room is drawn into.
//
// Ids grow: a new id starts at NextSurfaceId and skips live ones, so a freed id comes back only
// when the counter reaches it again. Each surface owns a texture slot (a render target of 8-bit
// RGBA, with depth unless surface_depth_disable is on, kept across draw_texture_flush).
//
// The target stack holds 17 entries (viewport, view rectangle, camera matrices, NoCull and the four
// target ids at the push); beneath it the graphics layer keeps the device's own stack of render
// targets, 8 deep, which only moves when slot 0's id really changes. Setting the id that is already
// bound makes no device call and breaks no batch. Script errors raise with the messages of the
// builtins; the stack isn't unwound when a script error is caught. Main thread only.
#include <cstdint>
#include <vector>

#include "graphics/sprite.h"

constexpr int32_t kNoSurface = static_cast<int32_t>(0xFEEEDEADu);
constexpr int32_t kSurfaceStackSize = 17;
constexpr int32_t kDeviceTargetStackSize = 8;
constexpr int32_t kSurfaceTargetSlots = 4;

struct SurfaceRecord {
  int32_t id = -1;
  int32_t textureSlot = -1;
  int32_t width = 0;
  int32_t height = 0;
};

// The application surface and its settings.
struct AppSurfaceState {
  int32_t id = kNoSurface;  // application_surface
  bool enabled = true;
  bool wasEnabled = true;
  bool drawEnabled = true;
  int32_t width = -1, height = -1;
  int32_t savedWidth = -1, savedHeight = -1;
  int32_t pendingWidth = -1, pendingHeight = -1;
  bool resizePending = false;
};
AppSurfaceState& AppSurface();
// Whether the application surface exists and drawing goes through it.
bool AppSurface_On();

// ---- Surfaces ------------------------------------------------------------------------------------
// id -1 takes a new id; another id makes the surface again under that number. -1 when the texture
// can't be made (no record is left).
int32_t Surface_Create(int32_t width, int32_t height, int32_t id = -1);
const SurfaceRecord* Surface_Get(int32_t id);
bool Surface_Exists(int32_t id);
int32_t Surface_Get_Width(int32_t id);   // -1 for an unknown id
int32_t Surface_Get_Height(int32_t id);
int32_t Surface_Get_Texture(int32_t id);  // the texture slot, -1 for an unknown id
// Raises "Surface in use via surface_set_target()..." for a surface on the stack; the application
// surface goes only with force. False when nothing was freed.
bool Surface_Free(int32_t id, bool force);
// surface_resize: raises for bad sizes, unknown ids and surfaces in use; the application surface
// only records the request for the next room draw.
bool Surface_Resize(int32_t id, int32_t width, int32_t height);
bool Surface_In_Use(int32_t id);
// Frees every surface (a device reset or rebuild): targets are popped, records removed, the
// application surface id becomes kNoSurface.
void Surface_Free_All();
// Every record and the stack forgotten, settings back to their start (end of the game, tests).
void Surface_Reset();
void Surface_SetDepthDisabled(bool disabled);
bool Surface_DepthDisabled();

// ---- Targets --------------------------------------------------------------------------------------
bool Surface_Set_Target(int32_t slot, int32_t id);
// A pop that empties the stack during the GUI pass sets the GUI's view up again.
bool Surface_Pop_Target();
int32_t Surface_Target(int32_t slot);  // -1 outside 0..3 or for none
int32_t Surface_StackDepth();

// ---- Pixels ---------------------------------------------------------------------------------------
// The rectangle read from the surface (rows from the top, RGBA). A rectangle that leaves the surface
// prints "Trying to grab data from outside surface bounds: ..." and the outside stays zero. False
// for an unknown surface or without a device.
bool Surface_Read_Rect(int32_t id, int32_t x, int32_t y, int32_t w, int32_t h, SpriteBitmap* out);
// The main render target's rectangle (the window's picture as drawn so far), read as above.
bool Screen_Read_Rect(int32_t x, int32_t y, int32_t w, int32_t h, SpriteBitmap* out);
// Writes width x height pixels over the whole surface.
bool Surface_Write(int32_t id, const uint8_t* pixels);
// surface_getpixel: the 32-bit pixel; 0 outside or unknown.
uint32_t Surface_GetPixel(int32_t id, int32_t x, int32_t y);
// surface_save / surface_save_part as PNG through the graphics file access.
bool Surface_Save(int32_t id, const char* file, int32_t x, int32_t y, int32_t w, int32_t h);
// surface_copy_part: src's rectangle drawn one to one at (x, y) of dest, blending off.
void Surface_Copy(int32_t dest, float x, float y, int32_t src, int32_t xs, int32_t ys, int32_t ws, int32_t hs);
// The frame of a whole surface, for the quad family.
bool Surface_Frame(int32_t id, SpriteFrame* frame, FrameTexture* texture);

// ---- Clearing -------------------------------------------------------------------------------------
// Flags 1 colour, 2 depth, 4 stencil. A viewport over the whole target clears directly; one over a
// part draws the clear, so it stays inside the port.
void Draw_Clear(uint32_t colour, float depth, uint8_t stencil, uint32_t flags);
// One colour over the whole viewport at that depth, through the render states as they stand.
void Draw_FillViewport(uint32_t colour, float depth);
// The size of the current render target: the surface bound at slot 0, else the main target.
void Surface_TargetSize(int32_t* width, int32_t* height);

// surface_*, draw_surface*, application_surface_* and the GUI size builtins, in table order.
void Surface_RegisterBuiltins();
