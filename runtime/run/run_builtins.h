#pragma once
// The builtins of the spine (game_end, game_restart, the game speed and the display timing
// builtins) and the installation of every family's registrars in their fixed order.
class CInstance;
struct RValue;

void Run_InstallBuiltinRegistrars();
void Run_RegisterGameBuiltins();
void Run_RegisterDisplayTimingBuiltins();
// The builtins between buffers and vertex buffers (vertex_create_buffer_from_buffer*,
// buffer_create_from_vertex_buffer*, buffer_copy_from_vertex_buffer), which need both subsystems.
void Run_RegisterVertexBufferBuiltins();
// os_get_config and os_get_info, which read the data file's header and make a ds_map.
void Run_RegisterSystemBuiltins();
// debug_event and the switches it turns.
void Run_RegisterDebugEventBuiltins();

struct DebugFlags {
  bool vmTrace = false;       // accepted; nothing traces
  bool badRefsCrash = false;  // VMBadRefsCrash / VMBadRefsIgnore
  bool breakOnError = false;
};
DebugFlags& Debug_Flags();
