#include "input/io_coords.h"

#include "core/frame_state.h"
#include "graphics/window.h"
#include "world/room.h"

void IO_WindowToRoom(float wx, float wy, float* rx, float* ry) {
  const CRoom* room = Run_Room;
  const WindowState& window = Window_State();
  if (room == nullptr || window.client_width <= 0 || window.client_height <= 0) {
    *rx = wx;
    *ry = wy;
    return;
  }
  *rx = static_cast<float>(static_cast<int32_t>(wx * static_cast<float>(room->width) / static_cast<float>(window.client_width)));
  *ry = static_cast<float>(static_cast<int32_t>(wy * static_cast<float>(room->height) / static_cast<float>(window.client_height)));
}

void IO_WindowToGui(float wx, float wy, float* gx, float* gy) {
  *gx = wx;
  *gy = wy;
}

void IO_GuiToWindow(float gx, float gy, float* wx, float* wy) {
  *wx = gx;
  *wy = gy;
}
