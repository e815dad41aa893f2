#pragma once
// The audio group manager's operations behind the group builtins. Group 0 is the data file's
// own and always loaded; the others load from "audiogroup%d.dat" beside the game: the file is read
// whole on the main thread, its sounds decoded on "Audio group load thread", and the buffers made
// at the tick that sees the thread done ("Loaded", one asynchronous event). Unloading stops the
// group's voices and frees its buffers and file at the first tick with none of them left.
#include <cstdint>

// 1 when the load started; 0 for group 0, an unknown or empty group, one not unloaded, or a file
// that can't be read or isn't an AUDO image (with its console line).
int32_t AudioGroup_LoadFile(int32_t index);
// 1 when a loaded group above 0 starts to unload, else 0.
int32_t AudioGroup_Unload(int32_t index);
// 100 for group 0 and a loaded group, the percent while loading, else 0.
int32_t AudioGroup_Progress(int32_t index);
// Null for an unknown group.
const char* AudioGroup_Name(int32_t index);
bool AudioGroup_Exists(int32_t index);
void AudioGroup_StopAll(int32_t index);
void AudioGroup_SetGain(int32_t index, float gain, int32_t time_ms);
