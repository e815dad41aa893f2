#pragma once
// The frame driver: Frame_Drive paces one frame to the room speed (from the end of one wait to
// the end of the next, never catching up), then runs the frame's subjects in a fixed order under
// the frame mutex. DoAStep is the body of a running frame. Script errors that escape a subject go
// to the unhandled-exception path.
#include <cstdint>
#include <mutex>

int32_t Frame_Drive();
void DoAStep();

// Drains the window's messages; only on the main thread. A quit ends the loop.
void ProcessMessages();
// Makes the calling thread the main thread, whose precise waits pump its messages.
void Frame_SetMainThread();

// The mutex that async callbacks take before they touch run-time state.
std::recursive_mutex& Frame_Mutex();

// Replaces the whole of DoAStep with one call (the rollback layer's hook); null restores it.
void Frame_SetStepHook(void (*hook)(void* argument), void* argument);

// The speed a room record asks for; rooms land later, so the driver reads it through this hook.
void Frame_SetRoomSpeedReader(int32_t* (*reader)(void* room));
