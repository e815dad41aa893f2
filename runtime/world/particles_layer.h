#pragma once
// Particle systems on the room's layers: each system of a generation 2 file stands on a layer as
// an element of kind 6, which the layer draw walk draws. part_system_depth only queues the system
// (once, however often it is called in a step); the step's flush moves it to an automatic layer at
// its depth. At a room's end systems leave their layers, keeping the name of a layer that isn't an
// automatic one, and those made to die with the room are destroyed; at the next room's start the
// others go to a layer of that name (made at their depth when the room has none) or to an
// automatic layer at their depth. Older files have no layers: the room draw merges the systems
// with the instances by depth instead.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "graphics/particles.h"

struct CLayer;
struct CRoom;

// part_system_create: a system on a layer at depth 0 of the current room, kept across rooms.
int32_t ParticleSystem_Create();
// part_system_create_layer on a layer of the current room.
int32_t ParticleSystem_CreateOnLayer(CLayer* layer, bool persistent);
void ParticleSystem_Destroy(int32_t id);
void ParticleSystem_Clear(int32_t id);
void ParticleSystem_SetDepth(int32_t id, float depth);
// part_system_layer: the system moves to the layer at once.
void ParticleSystem_SetLayer(int32_t id, CLayer* layer);
int32_t ParticleSystem_GetLayer(int32_t id);  // -1 for none

// The frame step's flush: the queue of part_system_depth is applied and emptied.
void ParticleSystem_ApplyDepths();
void ParticleSystem_LeaveRoom(CRoom* room);
void ParticleSystem_EnterRoom(CRoom* room);

// The layer name a system would look for in the next room: its layer's, or empty for an automatic
// layer, a depth waiting in the queue or no layer.
std::string ParticleSystem_KeptLayerName(int32_t id);
// A loaded game's tables replace the running ones (Particles_ReplaceTables): the depth queue and
// the presets' systems and types are forgotten. Call between rooms; the next room's start puts the
// systems on their layers.
void ParticleLayer_Replace(std::vector<std::optional<ParticleType>> types,
                           std::vector<std::optional<ParticleSystem>> systems);

// Installs the room and layer hooks (called by World_Init).
void ParticleLayer_Init();
// Frees every system, type and image and the depth queue (game end, and tests).
void ParticleLayer_FreeAll();

void ParticleLayer_RegisterBuiltins();

// effect_create_below / effect_create_above: kinds 0 to 11 in three sizes, on two systems of
// their own made on first use (and again once destroyed).
void Effect_Create(bool above, int32_t kind, float x, float y, int32_t size, int32_t colour);
// Forgets the presets' systems and types (the tables went).
void Effect_Forget();
