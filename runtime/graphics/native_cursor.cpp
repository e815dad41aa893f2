#include "graphics/native_cursor.h"

#include <cmath>
#include <map>
#include <vector>

#include "core/timing.h"
#include "graphics/texture_decode.h"
#include "graphics/window.h"
#include "platform/files.h"

namespace {

struct Frame {
  uint64_t host_cursor = 0;
};

struct Cursor {
  std::vector<Frame> frames;
  double framerate = 0.0;
  int32_t frame = 0;        // the frame on show, or the one shown first when this cursor is set
  int32_t base_frame = 0;   // the frame at base_time
  int64_t base_time = 0;
};

std::map<uint64_t, Cursor> g_cursors;
uint64_t g_last_handle = 0;
uint64_t g_current = 0;
uint64_t g_shown_host_cursor = 0;

Cursor* find(uint64_t handle) {
  const auto it = g_cursors.find(handle);
  return it == g_cursors.end() ? nullptr : &it->second;
}

// Shows the cursor's present frame, asking the host only when the picture changes.
void show(const Cursor& cursor) {
  IWindowHost* host = Window_Host();
  if (host == nullptr || cursor.frames.empty()) return;
  const uint64_t wanted = cursor.frames[static_cast<size_t>(cursor.frame)].host_cursor;
  if (wanted == g_shown_host_cursor) return;
  host->SetImageCursor(wanted);
  g_shown_host_cursor = wanted;
}

void restart_timing(Cursor* cursor) {
  cursor->base_frame = cursor->frame;
  cursor->base_time = Timing_Time();
}

int32_t wrap(int64_t frame, size_t count) {
  const auto n = static_cast<int64_t>(count);
  return static_cast<int32_t>(((frame % n) + n) % n);
}

}  // namespace

uint64_t NativeCursor_Create() {
  if (Window_Host() == nullptr) return 0;
  g_cursors.emplace(++g_last_handle, Cursor{});
  return g_last_handle;
}

bool NativeCursor_AddFrame(uint64_t handle, const uint8_t* rgba, int32_t width, int32_t height, int32_t hot_x,
                           int32_t hot_y) {
  Cursor* cursor = find(handle);
  IWindowHost* host = Window_Host();
  if (cursor == nullptr || host == nullptr || rgba == nullptr || width <= 0 || height <= 0) return false;
  const uint64_t made = host->CreateImageCursor(rgba, width, height, hot_x, hot_y);
  if (made == 0) return false;
  cursor->frames.push_back(Frame{made});
  // The first frame of the cursor on show appears at once.
  if (handle == g_current && cursor->frames.size() == 1) {
    restart_timing(cursor);
    show(*cursor);
  }
  return true;
}

bool NativeCursor_AddFile(uint64_t handle, const std::string& path) {
  std::vector<uint8_t> bytes;
  DecodedImage image;
  if (find(handle) == nullptr || !Platform_ReadWholeFile(path, &bytes) ||
      !Texture_DecodePng(bytes.data(), static_cast<uint32_t>(bytes.size()), &image) || image.width == 0) {
    return false;
  }
  return NativeCursor_AddFrame(handle, image.pixels.data(), static_cast<int32_t>(image.width),
                               static_cast<int32_t>(image.height), 0, 0);
}

bool NativeCursor_Exists(uint64_t handle) { return find(handle) != nullptr; }

bool NativeCursor_Destroy(uint64_t handle) {
  Cursor* cursor = find(handle);
  if (cursor == nullptr) return false;
  if (handle == g_current) NativeCursor_Reset();
  if (IWindowHost* host = Window_Host()) {
    for (const Frame& frame : cursor->frames) host->DestroyImageCursor(frame.host_cursor);
  }
  g_cursors.erase(handle);
  return true;
}

int32_t NativeCursor_FrameCount(uint64_t handle) {
  const Cursor* cursor = find(handle);
  return cursor == nullptr ? -1 : static_cast<int32_t>(cursor->frames.size());
}

bool NativeCursor_Set(uint64_t handle) {
  Cursor* cursor = find(handle);
  if (cursor == nullptr) return false;
  g_current = handle;
  restart_timing(cursor);
  show(*cursor);
  return true;
}

void NativeCursor_Reset() {
  g_current = 0;
  g_shown_host_cursor = 0;
  if (IWindowHost* host = Window_Host()) host->SetImageCursor(0);
}

uint64_t NativeCursor_Current() { return g_current; }

int32_t NativeCursor_GetFrame(uint64_t handle) {
  const Cursor* cursor = find(handle);
  return cursor == nullptr ? -1 : cursor->frame;
}

bool NativeCursor_SetFrame(uint64_t handle, int32_t frame) {
  Cursor* cursor = find(handle);
  if (cursor == nullptr) return false;
  cursor->frame = cursor->frames.empty() ? 0 : wrap(frame, cursor->frames.size());
  restart_timing(cursor);
  if (handle == g_current) show(*cursor);
  return true;
}

double NativeCursor_GetFramerate(uint64_t handle) {
  const Cursor* cursor = find(handle);
  return cursor == nullptr ? -1.0 : cursor->framerate;
}

bool NativeCursor_SetFramerate(uint64_t handle, double framerate) {
  Cursor* cursor = find(handle);
  if (cursor == nullptr || !std::isfinite(framerate)) return false;
  cursor->framerate = framerate;
  restart_timing(cursor);
  return true;
}

void NativeCursor_Tick(int64_t now) {
  Cursor* cursor = find(g_current);
  if (cursor == nullptr || cursor->frames.size() < 2 || cursor->framerate <= 0.0) return;
  const double elapsed = static_cast<double>(now - cursor->base_time) / 1000000.0;
  if (elapsed < 0) return;
  const auto advanced = static_cast<int64_t>(std::floor(elapsed * cursor->framerate));
  cursor->frame = wrap(cursor->base_frame + advanced, cursor->frames.size());
  show(*cursor);
}

void NativeCursor_ReleaseAll() {
  if (g_current != 0) NativeCursor_Reset();
  IWindowHost* host = Window_Host();
  for (auto& [handle, cursor] : g_cursors) {
    if (host == nullptr) continue;
    for (const Frame& frame : cursor.frames) host->DestroyImageCursor(frame.host_cursor);
  }
  g_cursors.clear();
  g_current = 0;
  g_shown_host_cursor = 0;
}
