#pragma once
// The collector's builtins: gc_enable, gc_is_enabled, gc_collect, gc_target_frame_time,
// gc_get_target_frame_time and gc_get_stats (a struct of the last pass's figures).
void GC_RegisterBuiltins();
