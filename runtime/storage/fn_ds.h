#pragma once
// The data structure builtins (ds_exists, ds_set_precision, ds_map_*, ds_list_*, ds_stack_*,
// ds_queue_*, ds_priority_*, ds_grid_*) and the entries compiled accessors call
// (map[? key], list[| pos], grid[# x, y]).
//
// DS_RegisterBuiltins adds the family in one fixed order: ds_exists and ds_set_precision, then
// maps, lists, stacks, queues, priorities and grids, each in the order of its reference table.
// Every handler given an id raises "Data structure with index does not exist." when the id names
// no live structure of its kind. Map, list, stack, queue and priority handlers hold DsMutex.
// The ds_map_secure_* builtins raise "<name>: not available on this platform".
#include "core/rvalue.h"

void DS_RegisterBuiltins();

// tsl_release_mode: true swaps in the unchecked ds_grid_set and ds_grid_get, which skip the id
// error and the out-of-bounds console lines (a bad id or cell still changes nothing and reads
// undefined); false restores the checked ones. Needs the family registered.
void DS_SetReleaseMode(bool unchecked);

// Compiled accessors. Reads give the stored value with marks cleared (undefined when absent);
// writes follow ds_map_set (the key is made when new), ds_list_set and ds_grid_set.
void DS_MapAccessRead(RValue* result, const RValue& id, const RValue& key);
void DS_MapAccessWrite(const RValue& id, const RValue& key, const RValue& value);
void DS_ListAccessRead(RValue* result, const RValue& id, const RValue& pos);
void DS_ListAccessWrite(const RValue& id, const RValue& pos, const RValue& value);
void DS_GridAccessRead(RValue* result, const RValue& id, const RValue& x, const RValue& y);
void DS_GridAccessWrite(const RValue& id, const RValue& x, const RValue& y, const RValue& value);
