#pragma once
// RValue: the 16-byte tagged value that scripts and builtins exchange. Strings are counted records
// (_RefThing), arrays are counted collector objects (RefDynamicArrayOfRValue). Only kinds 1, 2 and
// 6 need work on copy or free, tested with one mask so plain numbers stay off the slow path.
// Conversions and operators raise script errors through KVError with the runtime's own messages.
// Number parsing and printing never depend on the process locale. With g_ErrorsMuted a routine
// whose error was swallowed returns a neutral value (0, false, null, or leaves the left operand).
#include <cstddef>
#include <cstdint>

class KVObjectBase;
class RefDynamicArrayOfRValue;
class CInstance;

enum RVKind : uint32_t {
  kRVReal = 0,
  kRVString = 1,
  kRVArray = 2,
  kRVPtr = 3,
  kRVVec3 = 4,
  kRVUndefined = 5,
  kRVObject = 6,
  kRVInt32 = 7,
  kRVVec4 = 8,
  kRVMatrix = 9,
  kRVInt64 = 10,
  kRVAccessor = 11,
  kRVNull = 12,
  kRVBool = 13,
  kRVIterator = 14,
  kRVRef = 15,
  kRVKindCount = 16,
  kRVUnset = 0xFFFFFF,
};

constexpr uint32_t kRVKindMask = 0x00FFFFFF;
constexpr uint32_t kRVRefKindMask = 0x46;  // strings, arrays, objects
constexpr uint32_t kRVFlagOwnsPointer = 8;  // a pointer value that owns what it points at

// Counted string record. size has its top bit set for a constant record whose text is never freed.
struct _RefThing {
  const char* text;
  int32_t refCount;
  int32_t size;
};
static_assert(sizeof(_RefThing) == 16);

struct RValue {
  union {
    double val;
    int32_t v32;
    int64_t v64;
    void* ptr;
    _RefThing* pRefString;
    RefDynamicArrayOfRValue* pArray;
    KVObjectBase* pObj;
  };
  uint32_t flags;
  uint32_t kind;
};
static_assert(sizeof(RValue) == 16, "RValue must stay 16 bytes");

inline uint32_t RV_Kind(const RValue& v) { return v.kind & kRVKindMask; }
inline bool RV_IsRefKind(const RValue& v) { return ((1u << (v.kind & 31)) & kRVRefKindMask) != 0; }
inline bool RV_NeedsFree(const RValue& v) {
  return RV_IsRefKind(v) || (RV_Kind(v) == kRVPtr && (v.flags & kRVFlagOwnsPointer) != 0);
}

inline RValue RV_Real(double d) { RValue v; v.val = d; v.flags = 0; v.kind = kRVReal; return v; }
inline RValue RV_Bool(bool b) { RValue v; v.val = b ? 1.0 : 0.0; v.flags = 0; v.kind = kRVBool; return v; }
inline RValue RV_Int32(int32_t i) { RValue v; v.v64 = 0; v.v32 = i; v.flags = 0; v.kind = kRVInt32; return v; }
inline RValue RV_Int64(int64_t i) { RValue v; v.v64 = i; v.flags = 0; v.kind = kRVInt64; return v; }
inline RValue RV_Ptr(void* p) { RValue v; v.ptr = p; v.flags = 0; v.kind = kRVPtr; return v; }
inline RValue RV_Undefined() { RValue v; v.v64 = 0; v.flags = 0; v.kind = kRVUndefined; return v; }
inline RValue RV_Unset() { RValue v; v.v64 = 0; v.flags = 0; v.kind = kRVUnset; return v; }
inline RValue RV_Null() { RValue v; v.v64 = 0; v.flags = 0; v.kind = kRVNull; return v; }

extern const RValue g_Undefined;

// ---- Construction, copy and free -------------------------------------------------------------
// An empty text gives a record over a shared constant "" (nothing to free but the record).
void RV_SetString(RValue* out, const char* text);
void RV_SetStringLen(RValue* out, const char* text, int32_t length);  // text need not be terminated
void RV_SetStringConst(RValue* out, const char* text);
// Frees out and makes it a string that takes over text, a NUL-terminated KV_ALLOC block of length
// bytes before the NUL; no copy is made.
void RV_SetStringOwned(RValue* out, char* text, int32_t length);
void RV_Assign(RValue* dst, const RValue* src);
void RV_CopyRef(RValue* dst, const RValue* src);
void RV_Free(RValue* v);
// Frees v and leaves it undefined.
inline void RV_FreeToUndefined(RValue* v) {
  if (RV_NeedsFree(*v)) RV_Free(v);
  *v = RV_Undefined();
}
void RV_SetArray(RValue* out, RefDynamicArrayOfRValue* array);  // takes a new reference
RefDynamicArrayOfRValue* KVCreateArray();

// Text of a string value; "" for a null record or text.
const char* RV_StringText(const RValue& v);

// ---- Conversions used by the language ----------------------------------------------------------
bool RV_ToBool(const RValue& v);
double RV_ToDouble(const RValue& v);
int32_t RV_ToInt32(const RValue& v);
int64_t RV_ToInt64(const RValue& v);
void* RV_ToPointer(const RValue& v);
// The lenient conversion of objects and object-reached strings: blanks, Infinity, 0x.
double RV_ToNumber(const char* text);

// ---- Builtin argument readers (n counts from 0) --------------------------------------------------
bool KVGetBool(const RValue* argv, int n);
int32_t KVGetInt32(const RValue* argv, int n);
uint32_t KVGetUint32(const RValue* argv, int n);
int64_t KVGetInt64(const RValue* argv, int n);
double KVGetReal(const RValue* argv, int n);
float KVGetFloat(const RValue* argv, int n);
void* KVGetPtr(const RValue* argv, int n);
int64_t KVGetPtrOrInt(const RValue* argv, int n);
const char* KVGetString(const RValue* argv, int n);

// ---- Operators that compiled scripts call ---------------------------------------------------------
void RV_AddAssign(RValue* left, const RValue* right);
void RV_SubAssign(RValue* left, const RValue* right);
void RV_MulAssign(RValue* left, const RValue* right);
void RV_DivAssign(RValue* left, const RValue* right);
void RV_ModAssign(RValue* left, const RValue* right);
void RV_PostIncrement(RValue* result, RValue* value);
void RV_PostDecrement(RValue* result, RValue* value);

// The forms with a constant right operand (the compiled scripts keep it in a register); they give
// the same results, and an error message shows the constant as a temporary value.
#define KV_CONST_OPERATOR_FORMS(name)                                                        \
  inline void name(RValue* left, double right) { const RValue r = RV_Real(right); name(left, &r); } \
  inline void name(RValue* left, int32_t right) { const RValue r = RV_Int32(right); name(left, &r); } \
  inline void name(RValue* left, int64_t right) { const RValue r = RV_Int64(right); name(left, &r); }
KV_CONST_OPERATOR_FORMS(RV_AddAssign)
KV_CONST_OPERATOR_FORMS(RV_SubAssign)
KV_CONST_OPERATOR_FORMS(RV_MulAssign)
KV_CONST_OPERATOR_FORMS(RV_DivAssign)
KV_CONST_OPERATOR_FORMS(RV_ModAssign)
#undef KV_CONST_OPERATOR_FORMS

// -1, 0, 1, or -2 when the pair cannot be ordered. The pair table is exact per kind pair; see
// value_compare.cpp. epsilon applies to real/bool pairs and real-int64; string paths have none.
int RV_Compare(const RValue* a, const RValue* b, double epsilon, int strict);
// The current math epsilon, 0.00001 at start; math_set_epsilon changes it.
double Math_GetEpsilon();
void Math_SetEpsilon(double epsilon);

// ---- Text of a value ----------------------------------------------------------------------------
// The text of v ("%.2f" reals, "[ a,b ]" arrays, quoted strings inside containers, recursion
// warnings); allocations through the memory manager. The returned string is owned by the caller
// (KV_FREE). Raises "STRING argument is unset" for an unset value, at any depth.
char* RV_ToText(const RValue& v);
// Frees out and makes it a new string holding the text of v (string(v)); a string v is shared.
void RV_SetStringFromValue(RValue* out, const RValue& v);
// The typeof word of a kind: "number", "string", ..., "struct" or "method" for kind 6 (an object
// of object kind kObjScriptRef is a method), "unset" for unset, "unknown" for others.
const char* RV_KindName(const RValue& v);

// One print in progress: its growing buffer, the container depth (strings inside a container are
// quoted) and the sorted table of containers entered, searched by binary search. An entry stays
// until the outermost print ends, so a container met twice in one print (not only a cycle) prints
// as the recursion warning, as the runtime this follows does.
struct ValueText;
void ValueText_Append(ValueText* text, const char* bytes, size_t length);
void ValueText_AppendCString(ValueText* text, const char* bytes);
// Appends the text of a value met inside the container being printed.
void ValueText_AppendValue(ValueText* text, const RValue& value);
// Enters a container (array or struct): false when it was entered before in this print; the caller
// then appends its warning ("\"Warning: recursive struct found\"") instead of the contents.
bool ValueText_Enter(ValueText* text, const void* container);
void ValueText_Leave(ValueText* text);

// Object text. Kind 6 with a null pointer prints "null". A non-null object prints through the hook
// that the object model installs (toString, or the default "{ name : value, ... }" with
// ValueText_Enter/Leave around the members); until one is installed it prints "{ }". A null hook
// restores that default.
using ValueObjectTextHook = void (*)(KVObjectBase* object, ValueText* text);
void Value_SetObjectTextHook(ValueObjectTextHook hook);

// ---- Scratch area -------------------------------------------------------------------------------
// A bump allocator for short-lived text; the frame driver resets it at each frame start. When the
// block is full a new one 1.5 times larger takes over; the older blocks stay until the reset, so a
// pointer handed out stays good for the whole frame.
char* Scratch_Alloc(size_t size);
void Scratch_Reset();

// ---- Arrays -------------------------------------------------------------------------------------
// Arrays grow with spare room (1.5x), the block size being the capacity; growth clears the new
// elements to real 0 whatever the spare room holds.
extern int64_t g_CurrentArrayOwner;
extern bool g_CopyOnWrite;  // true at start; the data file's option bit 29 sets it
// The element write of `a[i] = v`: returns the slot to write, after copy-on-write and growth; null
// for a negative index (the failure record is set). A non-array value becomes a new array.
// Raises "Unable to write to immutable array". The slot is valid until the array next changes.
RValue* RV_ArrayElementForWrite(RValue* array_value, int32_t index);
// The whole write `a[i] = v`; value may lie inside the array (it is re-based if the array moves).
void RV_ArrayWrite(RValue* array_value, int32_t index, const RValue* value);
// The element read of compiled code; raises "trying to index variable that is not an array" or
// "index out of bounds request %d maximum size is %d"; null only when errors are muted.
RValue* RV_ArrayElementForRead(RValue* array_value, int32_t index);
// A new array of length elements of real 0, refCount 1, owner g_CurrentArrayOwner, with an edge
// from the current object.
RefDynamicArrayOfRValue* RV_NewArray(int32_t length);
// Sets the length: new elements real 0, removed ones freed. Raises on a failed allocation.
void RV_ArraySetLength(RefDynamicArrayOfRValue* array, int32_t length);

// Set by a write with a negative index (index, length at the time) for the variable layer's
// message; the routines here never clear it: the reader does.
struct ArrayIndexFailure {
  bool set = false;
  int32_t index = 0;
  int32_t length = 0;
};
extern ArrayIndexFailure g_ArrayIndexFailure;
