// Script values in the saved-game stream: writing with object numbers, decoding into records, and
// making the values again.
#include "run/saved_game_values.h"

#include <cstring>
#include <set>

#include "core/code_tables.h"
#include "core/gc.h"
#include "core/object.h"
#include "core/variable_names.h"
#include "world/instance.h"

namespace {

// The script row whose name is name, or -1.
int32_t script_row_named(const std::string& name) {
  if (g_CodeTables == nullptr || g_CodeTables->scriptTable == nullptr || name.empty()) return -1;
  for (int32_t row = 0; row < g_CodeTables->scriptCount; ++row) {
    const char* row_name = g_CodeTables->scriptTable[row].name;
    if (row_name != nullptr && name == row_name) return row;
  }
  return -1;
}

// Whether the struct's prototype is the static struct of the script its class is named after: the
// prototype of every struct a constructor made.
bool prototype_is_script_statics(const KVObjectBase* object) {
  if (object->className == nullptr || object->prototype == nullptr) return false;
  const int32_t row = script_row_named(object->className);
  return row >= 0 && KVGetStaticStruct(100000 + row) == object->prototype;
}

// The object flags a struct brings back; the collector's own bits stay as the new struct has them.
constexpr uint32_t kKeptObjectFlags = kObjFlagExtensible | kObjFlagFinalised | kObjFlagConstructor | kObjFlagNameGiven;

// Class names of structs outlive any one load: each distinct name is kept once for the process.
const char* interned(const std::string& name) {
  static std::set<std::string> names;
  return names.insert(name).first->c_str();
}

bool is_saved_object(const KVObjectBase* object) {
  switch (object->kind) {
    case kObjStruct:
    case kObjInstance:
    case kObjScriptRef:
    case kObjWeakRef:
      return true;
    default:
      return false;
  }
}

}  // namespace

// ---- Writing --------------------------------------------------------------------------------------

void SaveWriter::s32(int32_t v) {
  uint8_t bytes[4];
  std::memcpy(bytes, &v, sizeof bytes);
  bytes_.insert(bytes_.end(), bytes, bytes + sizeof bytes);
}

void SaveWriter::f64(double v) {
  uint8_t bytes[8];
  std::memcpy(bytes, &v, sizeof bytes);
  bytes_.insert(bytes_.end(), bytes, bytes + sizeof bytes);
}

void SaveWriter::i64(int64_t v) {
  s32(static_cast<int32_t>(static_cast<uint64_t>(v) & 0xFFFFFFFFu));
  s32(static_cast<int32_t>(static_cast<uint64_t>(v) >> 32));
}

void SaveWriter::text(const char* text) {
  const char* bytes = text != nullptr ? text : "";
  bytes_.insert(bytes_.end(), bytes, bytes + std::strlen(bytes) + 1);
}

void SaveWriter::value(const RValue& v) { value_at(v, 0); }

int32_t SaveWriter::number_of(const void* object, bool* fresh) {
  const auto [at, inserted] = numbers_.emplace(object, static_cast<int32_t>(numbers_.size()));
  *fresh = inserted;
  return at->second;
}

void SaveWriter::value_at(const RValue& v, int depth) {
  const uint32_t kind = RV_Kind(v);
  switch (kind) {
    case kRVReal:
      s32(kRVReal);
      f64(v.val);
      return;
    case kRVBool:
      s32(kRVBool);
      s32(v.val != 0.0 ? 1 : 0);
      return;
    case kRVInt32:
      s32(kRVInt32);
      s32(v.v32);
      return;
    case kRVInt64:
    case kRVPtr:
    case kRVRef:
      s32(static_cast<int32_t>(kind));
      i64(v.v64);
      return;
    case kRVString:
      s32(kRVString);
      text(RV_StringText(v));
      return;
    case kRVNull:
      s32(kRVNull);
      return;
    case kRVUnset:
      s32(kSaveUnsetKind);
      return;
    case kRVArray:
      if (v.pArray == nullptr || depth >= kSaveMaxDepth) break;
      s32(kRVArray);
      object_at(v.pArray, depth + 1);
      return;
    case kRVObject:
      if (v.pObj == nullptr) {
        s32(kRVObject);
        s32(-1);
        return;
      }
      if (!is_saved_object(v.pObj) || depth >= kSaveMaxDepth) break;
      s32(kRVObject);
      object_at(v.pObj, depth + 1);
      return;
    default:
      break;
  }
  s32(kRVUndefined);
}

void SaveWriter::object_at(KVObjectBase* object, int depth) {
  bool fresh = false;
  s32(number_of(object, &fresh));
  if (!fresh) return;
  switch (object->kind) {
    case kObjArray: {
      auto* array = static_cast<RefDynamicArrayOfRValue*>(object);
      s32(kSavedArray);
      s32(array->length);
      for (int32_t i = 0; i < array->length; ++i) value_at(array->pArray[i], depth);
      return;
    }
    case kObjInstance:
      s32(kSavedInstance);
      s32(KV_AsInstance(object)->id);
      return;
    case kObjScriptRef: {
      auto* function = static_cast<CScriptRef*>(object);
      s32(kSavedMethod);
      const int32_t index = Method_GetIndex(function);
      s32(index);
      i64(index < 0 ? static_cast<int64_t>(reinterpret_cast<intptr_t>(function->compiled)) : 0);
      value_at(function->boundSelf, depth);
      return;
    }
    case kObjWeakRef: {
      auto* ref = static_cast<CWeakRef*>(object);
      s32(kSavedWeakRef);
      value_at(RV_Object(ref->target), depth);
      return;
    }
    default:
      break;
  }
  s32(kSavedStruct);
  text(object->className != nullptr ? object->className : "");
  if (object->prototype == nullptr) {
    s32(kSavedPrototypeNone);
  } else if (object->prototype == Object_RootPrototype()) {
    s32(kSavedPrototypeRoot);
  } else if (prototype_is_script_statics(object)) {
    s32(kSavedPrototypeScript);
    text(object->className);
  } else {
    s32(kSavedPrototypeValue);
    value_at(RV_Object(object->prototype), depth);
  }
  s32(static_cast<int32_t>(object->flags));
  const std::vector<int32_t> slots = Object_OwnSlots(object);
  s32(static_cast<int32_t>(slots.size()));
  for (int32_t slot : slots) {
    text(Variable_NameOf(slot));
    const RValue* held = object->FindOwnSlot(slot);
    value_at(held != nullptr ? *held : RV_Undefined(), depth);
  }
}

// ---- Reading --------------------------------------------------------------------------------------

bool SaveReader::s32(int32_t* v) {
  if (remaining() < 4) return false;
  std::memcpy(v, data_ + offset_, 4);
  offset_ += 4;
  return true;
}

bool SaveReader::f64(double* v) {
  if (remaining() < 8) return false;
  std::memcpy(v, data_ + offset_, 8);
  offset_ += 8;
  return true;
}

bool SaveReader::i64(int64_t* v) {
  int32_t low = 0;
  int32_t high = 0;
  if (!s32(&low) || !s32(&high)) return false;
  *v = static_cast<int64_t>((static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32) | static_cast<uint32_t>(low));
  return true;
}

bool SaveReader::text(std::string* out) {
  const void* end = std::memchr(data_ + offset_, 0, remaining());
  if (end == nullptr) return false;
  const size_t length = static_cast<size_t>(static_cast<const uint8_t*>(end) - (data_ + offset_));
  out->assign(reinterpret_cast<const char*>(data_ + offset_), length);
  offset_ += length + 1;
  return true;
}

bool SaveReader::count(int32_t* n, size_t min_bytes) {
  return s32(n) && *n >= 0 && static_cast<size_t>(*n) <= remaining() / (min_bytes > 0 ? min_bytes : 1);
}

bool SaveReader::value(SavedValue* out) { return value_at(out, 0); }

bool SaveReader::value_at(SavedValue* out, int depth) {
  *out = SavedValue{};
  if (!s32(&out->kind)) return false;
  switch (out->kind) {
    case kRVReal:
      return f64(&out->real);
    case kRVBool:
    case kRVInt32: {
      int32_t v = 0;
      if (!s32(&v)) return false;
      out->bits = v;
      return true;
    }
    case kRVInt64:
    case kRVPtr:
    case kRVRef:
      return i64(&out->bits);
    case kRVString:
      return text(&out->text);
    case kRVNull:
    case kRVUndefined:
    case kSaveUnsetKind:
      return true;
    case kRVArray:
    case kRVObject: {
      if (depth >= kSaveMaxDepth || !s32(&out->object)) return false;
      if (out->object == -1) return out->kind == kRVObject;
      const auto known = static_cast<int32_t>(objects_.size());
      if (out->object < 0 || out->object > known) return false;
      if (out->object == known) {
        if (!object_at(out->object, depth + 1)) return false;
      } else if (!defined_[static_cast<size_t>(out->object)] && objects_[static_cast<size_t>(out->object)].type != kSavedArray &&
                 objects_[static_cast<size_t>(out->object)].type != kSavedStruct) {
        return false;  // only containers can be met again while their contents are read
      }
      const int32_t type = objects_[static_cast<size_t>(out->object)].type;
      return (out->kind == kRVArray) == (type == kSavedArray);
    }
    default:
      return false;
  }
}

bool SaveReader::object_at(int32_t number, int depth) {
  objects_.emplace_back();
  defined_.push_back(false);
  const auto at = static_cast<size_t>(number);
  int32_t type = 0;
  if (!s32(&type) || type < 0 || type >= kSavedObjectTypeCount) return false;
  objects_[at].type = type;
  switch (type) {
    case kSavedArray: {
      int32_t length = 0;
      if (!count(&length, 4)) return false;
      for (int32_t i = 0; i < length; ++i) {
        SavedValue element;
        if (!value_at(&element, depth)) return false;
        objects_[at].elements.push_back(std::move(element));
      }
      break;
    }
    case kSavedStruct: {
      std::string class_name;
      int32_t mode = 0;
      if (!text(&class_name) || !s32(&mode)) return false;
      objects_[at].className = std::move(class_name);
      objects_[at].prototypeMode = mode;
      if (mode == kSavedPrototypeScript) {
        std::string name;
        if (!text(&name)) return false;
        objects_[at].prototypeName = std::move(name);
      } else if (mode == kSavedPrototypeValue) {
        SavedValue prototype;
        if (!value_at(&prototype, depth) || prototype.kind != kRVObject) return false;
        objects_[at].prototype = std::move(prototype);
      } else if (mode != kSavedPrototypeRoot && mode != kSavedPrototypeNone) {
        return false;
      }
      int32_t flags = 0;
      int32_t members = 0;
      if (!s32(&flags) || !count(&members, 5)) return false;
      objects_[at].objectFlags = static_cast<uint32_t>(flags);
      for (int32_t i = 0; i < members; ++i) {
        std::string name;
        SavedValue member;
        if (!text(&name) || !value_at(&member, depth)) return false;
        objects_[at].members.emplace_back(std::move(name), std::move(member));
      }
      break;
    }
    case kSavedMethod: {
      int32_t index = -1;
      int64_t compiled = 0;
      SavedValue bound;
      if (!s32(&index) || !i64(&compiled) || !value_at(&bound, depth)) return false;
      objects_[at].functionIndex = index;
      objects_[at].compiled = compiled;
      objects_[at].bound = std::move(bound);
      break;
    }
    case kSavedWeakRef: {
      SavedValue target;
      if (!value_at(&target, depth) || target.kind != kRVObject) return false;
      objects_[at].bound = std::move(target);
      break;
    }
    case kSavedInstance:
      if (!s32(&objects_[at].instanceId)) return false;
      break;
    default:
      return false;
  }
  defined_[at] = true;
  return true;
}

// ---- Making values --------------------------------------------------------------------------------

SaveBuilder::SaveBuilder(const std::vector<SavedObject>& objects, InstanceLookup find, void* context)
    : objects_(objects), find_(find), context_(context), made_(objects.size(), nullptr) {
  make_shells();
  fill();
}

SaveBuilder::~SaveBuilder() {
  // The builder held one count on each array it made; values stored since hold their own.
  for (size_t i = 0; i < made_.size(); ++i) {
    if (made_[i] == nullptr || objects_[i].type != kSavedArray) continue;
    RValue held;
    held.pArray = static_cast<RefDynamicArrayOfRValue*>(made_[i]);
    held.flags = 0;
    held.kind = kRVArray;
    RV_Free(&held);
  }
}

void SaveBuilder::make_shells() {
  for (size_t i = 0; i < objects_.size(); ++i) {
    const SavedObject& saved = objects_[i];
    switch (saved.type) {
      case kSavedArray: {
        const int64_t owner = g_CurrentArrayOwner;
        g_CurrentArrayOwner = 0;  // no owner yet: the first script write takes it
        made_[i] = RV_NewArray(static_cast<int32_t>(saved.elements.size()));
        g_CurrentArrayOwner = owner;
        break;
      }
      case kSavedStruct:
        made_[i] = Object_NewStruct();
        break;
      case kSavedMethod:
        if (saved.functionIndex >= 100000) {
          made_[i] = Method_ForScript(saved.functionIndex - 100000, nullptr);
        } else if (saved.functionIndex >= 0) {
          made_[i] = Method_ForBuiltin(saved.functionIndex);
        } else if (saved.compiled != 0) {
          RValue method = RV_Undefined();
          KVCreateMethod(&method, reinterpret_cast<KVScriptFunction>(static_cast<intptr_t>(saved.compiled)), nullptr);
          made_[i] = RV_ObjectOf(method);
        }
        break;
      default:
        break;
    }
  }
  // Weak references last, so that their targets exist.
  for (size_t i = 0; i < objects_.size(); ++i) {
    if (objects_[i].type != kSavedWeakRef) continue;
    RValue target = value(objects_[i].bound);
    if (KVObjectBase* object = RV_ObjectOf(target)) made_[i] = WeakRef_Create(object);
    RV_FreeToUndefined(&target);
  }
}

void SaveBuilder::fill() {
  for (size_t i = 0; i < objects_.size(); ++i) {
    const SavedObject& saved = objects_[i];
    KVObjectBase* object = made_[i];
    if (object == nullptr) continue;
    switch (saved.type) {
      case kSavedArray: {
        auto* array = static_cast<RefDynamicArrayOfRValue*>(object);
        for (size_t e = 0; e < saved.elements.size() && e < static_cast<size_t>(array->length); ++e) {
          RValue element = value(saved.elements[e]);
          RV_Assign(&array->pArray[e], &element);
          if (KVObjectBase* child = RV_Kind(element) == kRVArray ? element.pArray : RV_ObjectOf(element)) {
            GCWriteBarrier(array, child);
          }
          RV_FreeToUndefined(&element);
        }
        break;
      }
      case kSavedStruct: {
        if (saved.prototypeMode == kSavedPrototypeNone) {
          object->prototype = nullptr;
        } else if (saved.prototypeMode == kSavedPrototypeScript) {
          const int32_t row = script_row_named(saved.prototypeName);
          if (KVObjectBase* statics = row >= 0 ? KVGetStaticStruct(100000 + row) : nullptr) {
            KVSetPrototype(object, statics);
          }
        } else if (saved.prototypeMode == kSavedPrototypeValue) {
          RValue prototype = value(saved.prototype);
          if (KVObjectBase* proto = RV_ObjectOf(prototype)) KVSetPrototype(object, proto);
          RV_FreeToUndefined(&prototype);
        }
        // The class name must outlive the struct: a script row's name, else the name table's copy.
        if (const int32_t row = script_row_named(saved.className); row >= 0) {
          object->className = g_CodeTables->scriptTable[row].name;
        } else if (!saved.className.empty() && saved.className != "Object") {
          object->className = interned(saved.className);
        }
        object->flags = saved.objectFlags & kKeptObjectFlags;
        for (const auto& [name, member] : saved.members) assign(object, name, member);
        break;
      }
      case kSavedMethod: {
        RValue bound = value(saved.bound);
        if (KVObjectBase* self = RV_ObjectOf(bound)) {
          auto* function = static_cast<CScriptRef*>(object);
          function->boundSelf = RV_Object(self);
          GCWriteBarrier(function, self);
        }
        RV_FreeToUndefined(&bound);
        break;
      }
      default:
        break;
    }
  }
}

RValue SaveBuilder::object_value(int32_t number) {
  if (number < 0 || static_cast<size_t>(number) >= objects_.size()) return RV_Object(nullptr);
  const SavedObject& saved = objects_[static_cast<size_t>(number)];
  if (saved.type == kSavedInstance) {
    CInstance* instance = find_ != nullptr ? find_(saved.instanceId, context_) : nullptr;
    return instance != nullptr ? RV_Object(KV_AsObject(instance)) : RV_Undefined();
  }
  KVObjectBase* object = made_[static_cast<size_t>(number)];
  if (object == nullptr) return RV_Undefined();
  if (saved.type == kSavedArray) {
    RValue out = RV_Undefined();
    RV_SetArray(&out, static_cast<RefDynamicArrayOfRValue*>(object));
    return out;
  }
  return RV_Object(object);
}

RValue SaveBuilder::value(const SavedValue& v) {
  RValue out = RV_Undefined();
  switch (v.kind) {
    case kRVReal:
      return RV_Real(v.real);
    case kRVBool:
      return RV_Bool(v.bits != 0);
    case kRVInt32:
      return RV_Int32(static_cast<int32_t>(v.bits));
    case kRVInt64:
      return RV_Int64(v.bits);
    case kRVPtr:
      out.v64 = v.bits;
      out.flags = 0;
      out.kind = kRVPtr;
      return out;
    case kRVRef:
      out.v64 = v.bits;
      out.flags = 0;
      out.kind = kRVRef;
      return out;
    case kRVString:
      RV_SetStringLen(&out, v.text.data(), static_cast<int32_t>(v.text.size()));
      return out;
    case kRVNull:
      return RV_Null();
    case kSaveUnsetKind:
      return RV_Unset();
    case kRVArray:
    case kRVObject:
      return object_value(v.object);
    default:
      return out;
  }
}

void SaveBuilder::assign(KVObjectBase* object, const std::string& name, const SavedValue& v) {
  RValue held = value(v);
  Object_SetVar(object, Variable_FindOrAddSlot(name.c_str()), kIndexWholeValue, &held);
  RV_FreeToUndefined(&held);
}
