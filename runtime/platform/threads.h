#pragma once
// Thread services the runtime needs beyond std::thread: naming the calling thread (the name shows
// in debuggers and system monitors; the system may cut it, Linux keeps 15 bytes) and the count of
// hardware threads.
#include <cstdint>

// Names the calling thread. Names longer than the system allows are cut, never refused.
void Thread_SetName(const char* name);
// The calling thread's name as the system holds it, "" when it can't be read.
// Writes at most capacity bytes including the terminator.
void Thread_GetName(char* out, int32_t capacity);
// Hardware threads available to the process, at least 1.
int32_t Thread_HardwareCount();
