#pragma once
// How the window layer reaches a display, handed to it at start-up: the runner's entry point picks
// the backends of this build, and no subsystem names one. The display pair is tried first; the
// no-display pair serves when no window can open (no X server, or -headless) and always opens.
#include <memory>
#include <string>

#include "platform/device.h"
#include "platform/window_host.h"

struct DisplayBackend {
  std::unique_ptr<IWindowHost> (*create_host)() = nullptr;
  // The device that draws into the host's window; null, with the reason in *error, when it can't start.
  std::unique_ptr<IDevice> (*create_device)(IWindowHost* host, std::string* error) = nullptr;
};

struct DisplayPlatform {
  DisplayBackend display;
  DisplayBackend no_display;
};
