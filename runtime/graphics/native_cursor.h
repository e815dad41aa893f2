#pragma once
// Mouse cursors of the game's own pictures, still or animated, behind the cursor extension's
// `*_raw` builtins. A cursor is a list of frames, each a system cursor made by the window host from
// RGBA pixels, and a frame rate in frames per second. The cursor on show switches frames at the
// runner's frame (NativeCursor_Tick from Start_Frame): frame = (first + whole frames elapsed since
// it was shown or its frame was set) modulo the count, so a rate of 0 or below stays on one frame.
// Handles count from 1 and are never reused; 0 means none. Cursors live until destroyed or until
// the window closes (NativeCursor_ReleaseAll). Main thread only.
#include <cstdint>
#include <string>

// A new cursor without frames; 0 when there is no window.
uint64_t NativeCursor_Create();
// Adds one frame from width x height RGBA pixels with its hot spot; false for an unknown cursor,
// a size of 0 or less, or pixels the system refused.
bool NativeCursor_AddFrame(uint64_t cursor, const uint8_t* rgba, int32_t width, int32_t height, int32_t hot_x,
                           int32_t hot_y);
// Adds the frame of a PNG file, its hot spot at the top-left corner; false when it can't be read.
bool NativeCursor_AddFile(uint64_t cursor, const std::string& path);
bool NativeCursor_Exists(uint64_t cursor);
bool NativeCursor_Destroy(uint64_t cursor);
int32_t NativeCursor_FrameCount(uint64_t cursor);

// Shows the cursor (a cursor without frames shows nothing new); Reset puts the system's back.
bool NativeCursor_Set(uint64_t cursor);
void NativeCursor_Reset();
uint64_t NativeCursor_Current();

// The frame: -1 for an unknown cursor. Setting takes it modulo the count and restarts the timing.
int32_t NativeCursor_GetFrame(uint64_t cursor);
bool NativeCursor_SetFrame(uint64_t cursor, int32_t frame);
// Frames per second; -1 for an unknown cursor.
double NativeCursor_GetFramerate(uint64_t cursor);
bool NativeCursor_SetFramerate(uint64_t cursor, double framerate);

// Advances the cursor on show to the frame its rate gives at now (microseconds).
void NativeCursor_Tick(int64_t now);
// Destroys every cursor (the window is going away).
void NativeCursor_ReleaseAll();

// The extension's raw builtins (native_cursor_*_raw, native_cursor_preinit_raw,
// native_cursor_check_full_path).
void NativeCursor_RegisterBuiltins();
