#pragma once
// SnowState, the hierarchical state machine the game's moving objects run on, compiled from its
// script. `new SnowState(initial_state, exec_enter = true)` builds a struct whose methods are
// members of it (add, change, trigger, history_get, ...): the constructor `tsl_Script_SnowState`
// and every method `tsl_Script_SnowState_<name>` are rows of the script table that the manifest
// orders, found through it as compiled game code is. A state is a struct of named event functions;
// each event name a state uses becomes a method of the machine that runs that event of the current
// state, so `fsm.step()` and `fsm.draw()` exist once a state has a step or a draw.
//
// The machine is an ordinary struct owned by the collector; every event function is bound to the
// instance that made the machine (`other` at construction). Errors stop the game through
// show_error with "[SnowState]\n" and the message; warnings go to the debug output with
// "[SnowState] " in front. Main thread only; event functions run to their end before the next call.
#include "core/code_tables.h"

// The constructor and the library's start-up code (rows of the script table).
RValue* tsl_Script_SnowState(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
RValue* tsl_GlobalScript___snowstate_system(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);

// The reference entries of the library's code, null-terminated, for the program's code tables: the
// loader fills their ids when it links a data file.
KVVariableEntry** SnowState_VariableEntries();
KVFunctionEntry** SnowState_FunctionEntries();
