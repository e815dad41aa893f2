#pragma once
// The system heap's policy for memory that was freed. The memory manager sends every block it
// doesn't serve from its buckets to the system heap, with a 32-byte header, so blocks of 513 bytes
// and up miss the heap's per-thread caches. A frame that makes and drops a few hundred such blocks
// would otherwise see the heap shrink its top and grow it again each time, which costs a system
// call and page faults every frame.

// Keeps freed memory in the process up to generous limits (tens of MiB) instead of returning it
// to the system at once; blocks up to the same order of size come from the heap, not from maps
// of their own. Called once by the memory manager's start.
void Heap_RetainFreedMemory();
