#pragma once
// The audio engine: sound assets, voices, emitters, the listener, audio groups, buffer sounds,
// play queues, streams, sync groups and recording, over the mixing layer that the runner hands in
// (platform/audio_device.h). Everything here is for the main thread.
//
// Without an output (the -noaudio option, or a device that can't be opened) the engine stays off:
// every builtin returns at once with the neutral result of its kind. Failures are console lines,
// never script errors, except the argument counts of the play builtins.
#include <cstdint>
#include <string>

#include "platform/audio_device.h"

// Opens the output through `platform` (unless no_audio), makes the sources and the listener. A
// failed open prints one console line and leaves audio off.
void Audio_Init(const AudioPlatform& platform, bool no_audio);
// Where audio group files and streamed sounds are looked for (ends with '/').
void Audio_SetGameDirectory(const std::string& directory);
// Prepares the sounds of group 0 (after the chunks are loaded) and sizes the group table.
bool Audio_PrepareGroups();
// Once per frame, before the step: groups, listener, streams, gain ramps, voices, emitters,
// recorders, queues.
void Audio_Tick();
// Hands the starts of this frame to the output together (the step's flushes call it).
void Audio_Flush();
// Every voice stops at once (the game's end).
void Audio_StopAll();
// Frees every voice, sound buffer, group, stream and emitter and closes the output.
void Audio_Shutdown();
bool Audio_Enabled();
// The output the engine mixes into, null while audio is off (a loopback device is rendered through it).
IAudioDevice* Audio_OutputDevice();

// Where the engine's asynchronous events go: a ds_map id and the event subtype. Until one is set
// the maps are destroyed again.
using AudioAsyncSink = void (*)(int32_t map, int32_t subtype);
void Audio_SetAsyncSink(AudioAsyncSink sink);

// The audio builtins, in their registration order.
void Audio_RegisterBuiltins();
