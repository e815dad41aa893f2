#pragma once
// Shared between the object model's own files; nothing outside them includes this.
#include <cstdint>

#include "core/object.h"

// Drops the method layer's cached objects (the "[[Method]]" and weak-reference prototypes and
// every static struct).
void Method_ForgetCachedObjects();
// Drops the weak-reference prototype.
void Property_ForgetCachedObjects();
// The struct text hook of the value model.
void Object_AppendText(KVObjectBase* object, ValueText* text);
// The default "{ name : value, ... }" text of object, its own toString left aside; owned by the
// caller (KV_FREE).
char* Object_DefaultStructText(KVObjectBase* object);
// The script row index (0-based) of a row pointer, or -1.
int32_t Method_RowIndex(const KVScriptRow* row);
