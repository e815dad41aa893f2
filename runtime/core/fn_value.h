#pragma once
// Builtins of the value model: type words and tests (typeof, is_*), conversions (string, real,
// bool, int64, ptr), the array family (array_*), the array owner mark and the math epsilon.
// Value_RegisterBuiltins adds them in one fixed order (the order of the list in fn_value.cpp);
// the family order that gives them their indexes is decided by whoever calls it.
// Array arguments arrive as values: a builtin that writes sees the caller's array through them.
// A builtin called with fewer arguments than it reads sees the missing ones as undefined.
#include "core/rvalue.h"

void Value_RegisterBuiltins();
// math_set_epsilon and math_get_epsilon, which close the arithmetic list of the math family.
void Value_RegisterEpsilonBuiltins();

// array_sort's callable comparators (a method, or a number naming a script) go through the calls
// layer, which installs this hook: call function with argc arguments into result; false when the
// value cannot be called. Without a hook, a number below Function_Count() calls that builtin row's
// handler directly, and anything else raises "argument is not a method, unable to call".
using ValueCallHook = bool (*)(const RValue* function, int argc, RValue* argv, RValue* result);
void Value_SetCallHook(ValueCallHook hook);
