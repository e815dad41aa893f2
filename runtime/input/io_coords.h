#pragma once
// Where the pointer is: window client coordinates to the room's (through the room draw's view
// ports, cameras and the fitted application surface) and to the GUI's (through the GUI pass's
// inverse matrix), and GUI coordinates back to the window's through the GUI pass's matrix.
void IO_WindowToRoom(float wx, float wy, float* rx, float* ry);
void IO_WindowToGui(float wx, float wy, float* gx, float* gy);
void IO_GuiToWindow(float gx, float gy, float* wx, float* wy);
