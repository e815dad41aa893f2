#pragma once
// Where the pointer is: window client coordinates to the room's and to the GUI's, and GUI
// coordinates back to the window's. Until the views subject maps through views and the fitted
// application surface, the room is taken to fill the window's client area and the GUI to be the
// window itself.
void IO_WindowToRoom(float wx, float wy, float* rx, float* ry);
void IO_WindowToGui(float wx, float wy, float* gx, float* gy);
void IO_GuiToWindow(float gx, float gy, float* wx, float* wy);
