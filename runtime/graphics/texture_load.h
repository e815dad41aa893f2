#pragma once
// TextureLoadManager: brings pages into memory on demand. One per process. A TextureRequest loads
// one slot (reading its external file when the slot has no object of its own, decoding on a job
// worker, optionally building the device object); a GroupRequest runs one TextureRequest per page
// of a group. Each Request_Step advances a request by one state; TextureLoad_Tick (once a frame,
// at the start of drawing) steps every request and removes finished ones. A synchronous run steps
// one request until it ends.
//
// Texture_Get is the one way drawing code reaches a page: it starts loads as the mode allows and,
// while a page isn't ready, lends the slot the first frame of the default sprite or the embedded
// "fallbacktexture" page, so the draw goes on; the borrowed object is replaced when the page
// arrives.
//
// Workers and file callbacks touch only their request, by id, through atomic exchanges under the
// "TextureLoadMutex"; a request that was removed is ignored. Jobs go to the job workers; while the
// pool isn't running (tests, before start-up) they run at once on the caller's thread.
#include <cstdint>
#include <string>

#include "core/job_manager.h"

struct TextureSlot;

// Texture_Get(handle, wantFetch, force, synchronous, viaGroup): the slot with a usable object, or
// null; `handle` is a slot index.
TextureSlot* Texture_Get(int32_t slot, bool want_fetch, bool force, bool synchronous, bool via_group);

// The manager's settings.
bool TextureLoad_AutoLoad();     // true: pages in use load on demand; false: explicit mode
void TextureLoad_SetMode(bool explicit_mode, bool debug, int32_t default_sprite);
int32_t TextureLoad_DefaultSprite();
bool TextureLoad_Debug();
void TextureLoad_SetAsync(bool async);  // file reads and decodes through jobs; start true

// Where external page files are looked for: the save area first, then beside the game. Both are
// directory prefixes ending in '/', or "" for the current directory.
void TextureLoad_SetRoots(const std::string& save_area, const std::string& game_directory);
const std::string& TextureLoad_SaveArea();
const std::string& TextureLoad_GameDirectory();

// Starts loading a page (texture_preload, texture_prefetch); true when a request runs or the page
// was ready.
bool TextureLoad_RequestSlot(int32_t slot, bool fetch, bool synchronous);
// Starts a group load (texturegroup_load); false for an unknown group.
bool TextureLoad_RequestGroup(int32_t group, bool fetch, bool synchronous);
// Cancels the slot's requests and frees its device object (texture_flush).
void TextureLoad_FlushSlot(int32_t slot);
void TextureLoad_FlushGroup(int32_t group);
// Unloads a dynamic group: cancels its requests, frees its pages' objects. False for a group in the
// data file ("...is in WAD and can't be unloaded") or an unknown index.
bool TextureLoad_UnloadGroup(int32_t group);
// texturegroup_get_status: 0 unloaded, 1 loading, 2 loaded, 3 fetched.
int32_t TextureLoad_GroupStatus(int32_t group);

// Steps every request once and removes the finished ones.
void TextureLoad_Tick();
int32_t TextureLoad_PendingRequests();
// Drops every request and restores the settings (start of a load, tests).
void TextureLoad_Reset();

// Runs fn(id, null) as a job for the request `id`; false when it could not be queued.
bool TextureLoad_RunJob(JobFunction fn, int64_t id);
