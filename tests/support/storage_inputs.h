#pragma once
// Inputs and checks shared by the random-input tests of the storage parsers and the fuzz targets.
#include <cstdint>
#include <vector>

#include "core/rvalue.h"

// The streams each structure's own writer makes, in the order map, list, stack, queue, grid,
// priority, holding values: the list, stack and queue every one of them, the priority each with
// its position as priority, the map each value but an array under the key of the one before it,
// and a 3 x 2 grid values[1] and values[2] in two cells.
std::vector<std::vector<uint8_t>> DsStreamsHolding(const std::vector<RValue>& values);

// The text through json_parse, json_stringify of the result parsed again, and json_decode with
// json_encode of the map it makes (destroyed after). False when a text that parsed printed as
// one that doesn't.
bool JsonRoundTrip(const char* text);
