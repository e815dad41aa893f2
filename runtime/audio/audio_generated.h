#pragma once
// Sounds that scripts make. A buffer sound copies 8-bit unsigned or 16-bit signed PCM out of a
// script buffer (ids 100000 on). A play queue (200000 on) is played like a sound; buffers queued on
// it play one after another, and each one played through is handed back with an "Audio Playback"
// event {"queue_id", "buffer_id", "queue_shutdown"} (1 when the queue was freed with it still
// queued). A stream (300000 on) plays an Ogg file from disk through the streaming workers; its
// destroy waits for the voices that still play it. Each returns -1 with the console line on failure.
#include <cstdint>
#include <string>

// format: buffer_u8 or buffer_s16; channels: audio_mono (0), audio_stereo (1) or audio_3d (2).
int32_t BufferSound_Create(int32_t buffer, int32_t format, int32_t rate, int32_t offset, int32_t length,
                           int32_t channels);
bool BufferSound_Free(int32_t id);
int32_t PlayQueue_Create(int32_t format, int32_t rate, int32_t channels);
int32_t PlayQueue_Add(int32_t queue, int32_t buffer, int32_t offset, int32_t length);
bool PlayQueue_Free(int32_t queue);
int32_t Stream_Create(const std::string& file);
int32_t Stream_Destroy(int32_t id);
