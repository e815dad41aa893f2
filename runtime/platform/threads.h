#pragma once
// Thread services the runtime needs beyond std::thread: naming the calling thread (the name shows
// in debuggers and system monitors; the system may cut it, Linux keeps 15 bytes), the count of
// hardware threads, and a memory barrier across the whole process.
#include <cstdint>

// Names the calling thread. Names longer than the system allows are cut, never refused.
void Thread_SetName(const char* name);
// The calling thread's name as the system holds it, "" when it can't be read.
// Writes at most capacity bytes including the terminator.
void Thread_GetName(char* out, int32_t capacity);
// Hardware threads available to the process, at least 1.
int32_t Thread_HardwareCount();

// The process barrier: when Thread_ProcessBarrier returns, every other thread of the process that
// was running has passed a full memory barrier since the call began, and the caller has made one
// itself. It lets a lock's frequent side order its accesses with no fence of its own, the rare side
// paying for both (a few microseconds a call). Thread_EnableProcessBarrier prepares it once and
// answers false where the system has none; Thread_ProcessBarrier must not be called then.
bool Thread_EnableProcessBarrier();
void Thread_ProcessBarrier();
