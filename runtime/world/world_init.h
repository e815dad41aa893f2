#pragma once
// Wires the world into the core: the instance hooks of `with` and id lookups, the instance selector
// of the object model, the name sources of error texts, and the chunk load's hook that takes the
// header's instance id counter. Called once at game start (and by tests); calling it again is
// harmless.
class KVTSLException;

using WorldUnhandledFn = void (*)(const KVTSLException& exception);

// unhandled receives script exceptions that escape an event dispatched by the runtime; without one
// they propagate to the caller.
void World_Init(WorldUnhandledFn unhandled = nullptr);
void World_UnhandledException(const KVTSLException& exception);

// Registrars of the builtin families (installed by the run layer).
void ObjectType_RegisterBuiltins();
void Event_RegisterBuiltins();
void Instance_RegisterBuiltins();
