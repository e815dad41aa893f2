#include "platform/sdl/x11_connection.h"

#include <X11/Xlib.h>
#include <unistd.h>

#include <cstdio>

namespace {

DisplayLostFn g_lost = nullptr;

int on_connection_lost(Display*) {
  if (g_lost != nullptr) {
    g_lost();
  } else {
    std::fputs("Lost the connection to the display\n", stderr);
  }
  std::fflush(nullptr);
  _exit(1);
}

}  // namespace

void X11Connection_SetLostHandler(DisplayLostFn handler) { g_lost = handler; }

void X11Connection_Watch() { XSetIOErrorHandler(on_connection_lost); }
