#pragma once
// Sync groups and recording.
//
// A sync group gathers compressed sounds that must keep time with each other: each sound added
// gets a voice that waits, paused, until the group starts; start, pause, resume and stop act on
// all of them at once, and the group's track position is that of its first sound. Only compressed
// sounds may join ("Error: cannot play uncompressed sounds in a sync group\n"), at most
// kSyncGroupMaxSounds ("Too many sounds added to sync group, not adding this one.\n").
//
// Recording reads 16-bit mono PCM at kRecordingRate from a capture device of the mixing layer;
// whenever more than a tenth of a second waits, it goes into a new buffer and an "Audio Recording"
// event {"buffer_id", "channel_index", "data_len"} is queued.
#include <cstdint>

constexpr int32_t kSyncGroupMaxSounds = 16;
constexpr int32_t kRecordingRate = 16000;

int32_t SyncGroup_Create(bool looping);
void SyncGroup_Destroy(int32_t group);
// The voice id, or -1.
int32_t SyncGroup_Add(int32_t group, int32_t sound);
void SyncGroup_Start(int32_t group);
void SyncGroup_SetPaused(int32_t group, bool paused);
void SyncGroup_Stop(int32_t group);
double SyncGroup_TrackPosition(int32_t group);
void SyncGroup_Debug(int32_t group);
bool SyncGroup_IsPlaying(int32_t group);

// The recording's channel index, or -1 with a console line.
int32_t Recording_Start(int32_t device);
void Recording_Stop(int32_t channel);
int32_t Recording_DeviceCount();
// A ds_map {"name", "index", "data_format", "sample_rate"}, or -1 for an unknown device.
int32_t Recording_DeviceInfo(int32_t device);
