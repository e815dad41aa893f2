#include "input/io_coords.h"

#include "graphics/view.h"

// The mouse maps through the room draw's view ports and fit offsets, and the GUI through its
// matrix, so that what a script reads matches what the frame showed, and GUI rectangles (the
// virtual keys) land in the window where the GUI pass drew them.
void IO_WindowToRoom(float wx, float wy, float* rx, float* ry) { Window_To_Room(wx, wy, rx, ry); }

void IO_WindowToGui(float wx, float wy, float* gx, float* gy) { Window_To_Gui(wx, wy, gx, gy); }

void IO_GuiToWindow(float gx, float gy, float* wx, float* wy) { Gui_To_Window(gx, gy, wx, wy); }
