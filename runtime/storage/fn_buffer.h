#pragma once
// The buffer builtins (buffer_create .. buffer_load_async), registered in one fixed order. Every
// handler given a buffer id raises "Illegal Buffer Index %d" when it names no buffer, except
// buffer_delete (ignored), buffer_exists (false), buffer_copy and buffer_compress (their own
// messages). The vertex-buffer forms belong to the vertex buffers and register there.
void Buffer_RegisterBuiltins();
