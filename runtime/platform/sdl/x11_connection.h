#pragma once
// The display connection under SDL's X11 driver. When the X server goes away, Xlib calls its IO
// error handler and, if that returns, exit(): the exit-time destructors would then talk to the
// dead display and abort. The handler installed here reports the loss through the window layer's
// handler (a line on standard error without one) and ends the process at once with status 1.
#include "platform/window_host.h"

void X11Connection_SetLostHandler(DisplayLostFn handler);
// Installs the handler; called once SDL's video runs on X11.
void X11Connection_Watch();
