#pragma once
// RValue: the 16-byte tagged value that scripts and builtins exchange. Strings are counted records
// (_RefThing), arrays are counted collector objects (RefDynamicArrayOfRValue). Only kinds 1, 2 and
// 6 need work on copy or free, tested with one mask so plain numbers stay off the slow path.
// Conversions and operators raise script errors through KVError with the runtime's own messages.
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
void RV_SetString(RValue* out, const char* text);
void RV_SetStringLen(RValue* out, const char* text, int32_t length);  // text need not be terminated
void RV_SetStringConst(RValue* out, const char* text);
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

// -1, 0, 1, or -2 when the pair cannot be ordered.
int RV_Compare(const RValue* a, const RValue* b, double epsilon, int strict);
double Math_GetEpsilon();
void Math_SetEpsilon(double epsilon);

// ---- Text of a value ----------------------------------------------------------------------------
// Appends the text of v; allocations through the memory manager. The returned string is owned by
// the caller (KV_FREE).
char* RV_ToText(const RValue& v);
// The typeof word of a kind, "unknown" for others.
const char* RV_KindName(const RValue& v);

// ---- Scratch area -------------------------------------------------------------------------------
// A bump allocator for short-lived text; the frame driver resets it at each frame start.
char* Scratch_Alloc(size_t size);
void Scratch_Reset();

// ---- Arrays -------------------------------------------------------------------------------------
extern int64_t g_CurrentArrayOwner;
extern bool g_CopyOnWrite;
// The element write of `a[i] = v`: returns the slot to write, after copy-on-write and growth; null
// for a negative index (the failure record is set).
RValue* RV_ArrayElementForWrite(RValue* array_value, int32_t index);
// The element read of compiled code; raises on a non-array or an index out of range.
RValue* RV_ArrayElementForRead(RValue* array_value, int32_t index);

struct ArrayIndexFailure {
  bool set = false;
  int32_t index = 0;
  int32_t length = 0;
};
extern ArrayIndexFailure g_ArrayIndexFailure;
