#pragma once
// Builtins of the object model: the "@@" family that compiled code calls for struct and array
// literals, self, other, global and delete; method and its queries; instanceof in both forms; weak
// references; statics; and the variable_global_*, variable_instance_* and variable_struct_*
// families, which take a variable name as a string.
//
// Object_RegisterBuiltins adds them in one fixed order (the list at the end of fn_object.cpp, the
// variable family last) and installs the object text and call hooks of the value model; the family
// order that gives them their indexes is decided by whoever calls it.
//
// Ids: a first argument that is a number is an instance id or object index, resolved through the
// instance layer's selector (-1 self, -2 other, -5 the global object). Ids that select nothing give
// the neutral result: false, undefined, an empty array or 0, and a set does nothing.
#include "core/rvalue.h"

void Object_RegisterBuiltins();
// The variable family alone, in its order; Object_RegisterBuiltins calls it.
void Object_RegisterVariableBuiltins();
