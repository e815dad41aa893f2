#pragma once
// The call path of function values: CallMethod takes anything a script may call (a method, or a
// number naming a builtin row or a script as 100000 + row) with arguments as an array of pointers;
// CallFunctionObject calls a function object with a contiguous array of values. A bound function
// runs with its bound self; an unbound one with the caller's. Compiled entries link their own
// frames; these routines add none. Errors: "attempting to call invalid function with script index
// %d" for a number that names nothing, "argument is not a method, unable to call" for anything
// else that cannot be called. Both free the result value before the call and leave it undefined
// when the callee gives nothing.
#include <vector>

#include "core/rvalue.h"

class CScriptRef;

// self is replaced by the function's bound self; a builtin function object runs with g_CurrentFunction
// at its row. argv holds argc values that stay the caller's.
void CallFunctionObject(CInstance* self, CInstance* other, RValue* result, CScriptRef* functionObject, int argc,
                        RValue* argv);
// Calls builtin row index with argv's values copied bit for bit into one contiguous block (the
// caller keeps the references; a builtin must not free its arguments). The result is freed and
// left undefined first; g_CurrentFunction is the row for the call and restored after, unwinding
// too. An index outside the builtin table raises "attempting to call invalid function with script
// index %d".
void CallBuiltin(CInstance* self, CInstance* other, RValue* result, int argc, int32_t index, RValue** argv);
// CallBuiltin with the arguments as argc values in a row (the callee gets copies of them).
void CallBuiltinValues(CInstance* self, CInstance* other, RValue* result, int argc, int32_t index,
                       const RValue* args);
// CallBuiltin by the builtin's name, with no self or other and the values given; the caller owns
// both the arguments' references and the result. Undefined when no builtin has that name.
RValue CallBuiltinNamed(const char* name, std::vector<RValue> args);
// method is a value: a function object, or a function index. argv may be null when argc is 0.
// Returns result.
RValue* CallMethod(CInstance* self, CInstance* other, RValue* result, int argc, RValue* method, RValue** argv);
// Whether CallMethod would accept the value: a function object with something to call, or a number
// naming a builtin row or an existing script.
bool Call_IsCallable(const RValue& value);
