#pragma once
// The pieces of the draw family's builtin table, registered in their fixed order by
// Draw_RegisterBuiltins (fn_draw.cpp). Not for other subsystems.
#include "core/function_table.h"

struct BuiltinRow {
  const char* name;
  TSL_Builtin handler;
  int argc;
};

// A name of a subsystem this platform doesn't build: one console line per name, undefined.
void Graphics_NotAvailable(RValue* result, CInstance* self, CInstance* other, int argc, RValue* argv);

// Adds the rows in order; a name already in the table is left alone.
void Graphics_AddRows(const BuiltinRow* rows, int count);

void Gpu_RegisterBuiltins();     // gpu_set_*, their twins, push/pop, get/set state
void Matrix_RegisterBuiltins();  // matrix_*
void Light_RegisterBuiltins();   // draw_light_*, draw_set_lighting, draw_get_lighting
void Gpu_RegisterLateBuiltins(); // the gpu_get_* names the table lists last
