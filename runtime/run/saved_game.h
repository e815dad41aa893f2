#pragma once
// The saved game: game_save and game_save_buffer write the whole game state into a stream,
// game_load and game_load_buffer queue a stream that replaces it between two frames.
//
// The stream: version s32 852, the game's settings in fixed order (current room, game speed, the
// run variables, the instance and layer id counters, the random generator, the math epsilon), the
// global variables by name, then the room count and for each room index a flag (1: the room has a
// working copy, the current one or a persistent room that was left) followed by that room's
// record: its fields, backgrounds and views with their cameras and camera scripts, its layers with
// their drawn and sequence elements, and its instances with their builtin state, path and timeline
// record and variables; last the particle types and systems, with their emitters and live
// particles. Values are written as saved_game_values.h tells.
//
// A load tears the rooms down without any event, rebuilds every stored room from its template
// with the saved layers and instances, and takes the current room up again without events
// (Room_Resume): the game goes on where it was saved. A stream of another version prints "Save
// game format has changed"; a damaged one its own warning; either leaves the game as it was.
// Main thread only.
#include <cstddef>
#include <cstdint>
#include <vector>

constexpr int32_t kSavedGameVersion = 852;

// The game state as a stream; false without a current room.
bool SavedGame_Write(std::vector<uint8_t>* out);
// Replaces the game state with the stream's, at once. False, with a console line and the game
// untouched, when the stream is not one this runtime wrote or is damaged.
bool SavedGame_Restore(const uint8_t* data, size_t size);

// The load queue: one stream waits from game_load until the next frame begins.
bool SavedGame_LoadPending();
// Drops a queued stream (a game restart).
void SavedGame_Reset();

void SavedGame_RegisterBuiltins();
