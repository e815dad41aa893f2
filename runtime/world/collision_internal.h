#pragma once
// Shared between the collision files: the collision sprite of an instance and the box computation
// without the tree.
struct SpriteAsset;
class CInstance;

// The mask if set, else the sprite; null when neither exists.
const SpriteAsset* Collision_SpriteOf(const CInstance* instance);
// The box from the instance's position, scale, angle and collision sprite; clears flag 0x8.
void Collision_BoxOf(CInstance* instance);
