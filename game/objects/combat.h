#pragma once
// The fighting objects: obj_tower (every tower on the board, and the ghost of a bought tower while
// the player places it), obj_enemy (walks left along its lane, stops at a tower and hits it, ends
// the run when it gets through) and obj_projectile (flies right from a tower and strikes the
// nearest living enemy on its path). Each runs on a SnowState machine in its `fsm` variable; the
// object events forward to it, and the states' functions are the scripts below. An object's Create
// event gives it its methods: `initialise(data)` with a record of tower_data or enemy_data, and
// `damage(...)` on towers (amount) and enemies (amount, knockback).
//
// All of them are rows of the script table; nothing calls them by name but the machines they build.
#include "core/code_tables.h"

#define COMBAT_SCRIPT(name) \
  RValue* tsl_Script_##name(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
#define COMBAT_EVENT(name) void tsl_Object_##name(CInstance* self, CInstance* other);

COMBAT_SCRIPT(obj_tower_initialise)
COMBAT_SCRIPT(obj_tower_damage)
COMBAT_SCRIPT(obj_tower_idle_enter)
COMBAT_SCRIPT(obj_tower_idle_step)
COMBAT_SCRIPT(obj_tower_attacking_enter)
COMBAT_SCRIPT(obj_tower_attacking_step)
COMBAT_SCRIPT(obj_tower_dead_enter)
COMBAT_SCRIPT(obj_tower_dead_step)
COMBAT_SCRIPT(obj_tower_placing_step)
COMBAT_SCRIPT(obj_tower_draw)
COMBAT_EVENT(obj_tower_Create_0)
COMBAT_EVENT(obj_tower_Step_0)
COMBAT_EVENT(obj_tower_Draw_0)
COMBAT_EVENT(obj_tower_Draw_73)
COMBAT_EVENT(obj_tower_Other_7)

COMBAT_SCRIPT(obj_enemy_initialise)
COMBAT_SCRIPT(obj_enemy_damage)
COMBAT_SCRIPT(obj_enemy_normal_step)
COMBAT_SCRIPT(obj_enemy_normal_draw)
COMBAT_SCRIPT(obj_enemy_dead_enter)
COMBAT_SCRIPT(obj_enemy_dead_step)
COMBAT_SCRIPT(obj_enemy_dead_draw)
COMBAT_EVENT(obj_enemy_Create_0)
COMBAT_EVENT(obj_enemy_Step_0)
COMBAT_EVENT(obj_enemy_Draw_0)
COMBAT_EVENT(obj_enemy_Other_7)

COMBAT_SCRIPT(obj_projectile_initialise)
COMBAT_SCRIPT(obj_projectile_normal_step)
COMBAT_SCRIPT(obj_projectile_dead_enter)
COMBAT_SCRIPT(obj_projectile_dead_step)
COMBAT_SCRIPT(obj_projectile_draw)
COMBAT_SCRIPT(obj_projectile_compare_x)
COMBAT_EVENT(obj_projectile_Create_0)
COMBAT_EVENT(obj_projectile_Step_0)
COMBAT_EVENT(obj_projectile_Draw_0)
COMBAT_EVENT(obj_projectile_Other_7)
COMBAT_EVENT(obj_projectile_CleanUp_0)

#undef COMBAT_SCRIPT
#undef COMBAT_EVENT
