#pragma once
// Argument readers and results shared by the layer, element and tile map builtins. The builtins
// act on Layer_TargetRoom(). A missing layer or element prints the builtin's own line on the
// release console; the caller then gives -1 (false for a query).
#include <cstdint>
#include <vector>

#include "core/rvalue.h"
#include "world/layer.h"

// Raises "<name>() - wrong number of arguments" unless argc is within [low, high].
bool LayerArg_Count(const char* name, int argc, int low, int high);
inline bool LayerArg_Count(const char* name, int argc, int count) { return LayerArg_Count(name, argc, count, count); }
// A layer by id or, for a string, by name; null without a room or when unknown (no message).
CLayer* LayerArg_Layer(CRoom* room, const RValue* argv, int n);
// The same, printing "<name>() - can't find specified layer\n" when it fails.
CLayer* LayerArg_LayerOrSay(CRoom* room, const RValue* argv, int n, const char* name);
// An element of the kind (0: any); prints "<name>() - can't find specified element\n" when missing.
CLayerElementBase* LayerArg_Element(CRoom* room, const RValue* argv, int n, int32_t kind, const char* name);

void LayerResult_Real(RValue* result, double value);
void LayerResult_Bool(RValue* result, bool value);
void LayerResult_Array(RValue* result, const std::vector<double>& values);

// The registrars of the element and tile map families, run by Layer_RegisterBuiltins.
void Layer_RegisterElementBuiltins();
void Layer_RegisterTilemapBuiltins();
