#pragma once
// Whole data files built with the writer, shared by the loader tests and the fuzzing seeds:
//   EveryChunkGame   a generation 2 file of version 17 holding one or two records of every asset
//                    chunk the readers take (sound, sprite in both forms, tile set, path, script,
//                    shader, font, timeline, curve, sequence, room, tags, effects, texture pages
//                    with a QOI page and an empty one, embedded images)
//   CodeChainsGame   a file of the given version with CODE, VARI and FUNC chains through the
//                    bytecode, GLOB, GMEN and FEAT lists, a NINE chunk, and an SPRT in a simple
//                    layout of its own (a name and two words a record) that the real sprite reader
//                    refuses; its VARI and FUNC name "show_message" and "first_builtin"
#include "datawin/writer/writer.h"

datawin::Writer EveryChunkGame();
datawin::Writer CodeChainsGame(int version);
