#pragma once
// The no-display backends as one pair: the fake window host, and the recording null device sized
// to the host's client area. The runner uses it when no window can open; tests use it as a whole
// platform.
#include "platform/display.h"

DisplayBackend FakeDisplay_Backend();
