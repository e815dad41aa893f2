#pragma once
// Questions about the machine and hand-offs to the desktop: the machine's id, whether a network
// link is up, and opening an address in the user's browser. Nothing here blocks for long or
// prints; failures come back as "" or false.
#include <cstdint>
#include <string>

// A stable id of this machine ("" when the system keeps none).
std::string Platform_MachineId();
// Whether a network link is up. depth 0 asks only whether any interface other than loopback is
// up; depth 1 also wants it to carry an address; depth 2 also wants a default route.
bool Platform_NetworkConnected(int32_t depth);
// Hands the address to the desktop's opener without waiting for it; false when it can't start.
bool Platform_OpenUrl(const std::string& url);
