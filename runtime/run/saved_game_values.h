#pragma once
// The byte stream of a saved game and the script values inside it.
//
// Fields are little-endian s32 and f64 as the buffers write them, and text is NUL-terminated.
// A value is an s32 kind followed by its payload. Structs, arrays, methods and weak references
// are numbered in the order the writer meets them: the first meeting writes the number and the
// whole object, every later one only the number, so values shared between variables, and cycles,
// come back shared. Instances inside values are written by id and found again after the rooms are
// rebuilt. Values that cannot outlive the process in any useful form (vectors, matrices,
// accessors, iterators, property objects) are written as undefined; pointers and int64 keep their
// 64 bits, which are only meaningful within the run that wrote them.
//
// Reading goes in two steps: SaveReader decodes the bytes into plain records, checking every
// count against the bytes left and every object number against those defined so far, and only a
// stream read whole is turned into script values by SaveBuilder. A damaged stream therefore
// changes nothing in the running game. Nesting deeper than kSaveMaxDepth is written as undefined
// and refused when read.
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/rvalue.h"

class CInstance;
class KVObjectBase;

constexpr int kSaveMaxDepth = 512;
// The kind word of an unset value in the stream.
constexpr int32_t kSaveUnsetKind = -1;

class SaveWriter {
 public:
  void s32(int32_t v);
  void f64(double v);
  void text(const char* text);
  void text(const std::string& text) { this->text(text.c_str()); }
  void value(const RValue& v);
  std::vector<uint8_t>& bytes() { return bytes_; }

 private:
  void value_at(const RValue& v, int depth);
  void object_at(KVObjectBase* object, int depth);
  void i64(int64_t v);
  // The number of an object met before, or -1 (and a new number given) for a new one.
  int32_t number_of(const void* object, bool* fresh);

  std::vector<uint8_t> bytes_;
  std::unordered_map<const void*, int32_t> numbers_;
};

struct SavedValue {
  int32_t kind = kRVUndefined;  // an RVKind, or kSaveUnsetKind
  double real = 0.0;
  int64_t bits = 0;  // int32, int64, pointer and ref payloads
  std::string text;
  int32_t object = -1;  // array and object kinds: the object's number, -1 for a null object
};

enum SavedObjectType : int32_t {
  kSavedArray = 0,
  kSavedStruct = 1,
  kSavedMethod = 2,
  kSavedWeakRef = 3,
  kSavedInstance = 4,
  kSavedObjectTypeCount = 5,
};

// How a struct's prototype is written.
enum SavedPrototype : int32_t {
  kSavedPrototypeRoot = 0,    // the root "Object" prototype
  kSavedPrototypeScript = 1,  // the static struct of the script named by prototypeName
  kSavedPrototypeValue = 2,   // another object of the stream
  kSavedPrototypeNone = 3,
};

struct SavedObject {
  int32_t type = kSavedArray;
  std::vector<SavedValue> elements;                         // array
  std::vector<std::pair<std::string, SavedValue>> members;  // struct
  std::string className;
  int32_t prototypeMode = kSavedPrototypeRoot;
  std::string prototypeName;
  SavedValue prototype;
  uint32_t objectFlags = 0;
  int32_t functionIndex = -1;  // method: script index (100000 and up) or builtin index
  int64_t compiled = 0;        // method without an index: its native entry, this run only
  SavedValue bound;            // method's bound self; weak reference's target
  int32_t instanceId = -1;     // instance
};

class SaveReader {
 public:
  SaveReader(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  bool s32(int32_t* v);
  bool f64(double* v);
  bool text(std::string* out);
  bool value(SavedValue* out);
  // A count from the stream that the bytes left could hold at min_bytes each.
  bool count(int32_t* n, size_t min_bytes);
  size_t remaining() const { return size_ - offset_; }
  const std::vector<SavedObject>& objects() const { return objects_; }

 private:
  bool value_at(SavedValue* out, int depth);
  bool object_at(int32_t number, int depth);
  bool i64(int64_t* v);

  const uint8_t* data_;
  size_t size_;
  size_t offset_ = 0;
  std::vector<SavedObject> objects_;
  std::vector<bool> defined_;
};

// Makes the script values of a decoded stream. Every object of the stream is made once, before
// any value is handed out, so shared and circular references resolve to the same object. find
// gives the instance of an id (null when it is gone, and the value reads undefined).
class SaveBuilder {
 public:
  using InstanceLookup = CInstance* (*)(int32_t id, void* context);
  SaveBuilder(const std::vector<SavedObject>& objects, InstanceLookup find, void* context);
  ~SaveBuilder();
  SaveBuilder(const SaveBuilder&) = delete;
  SaveBuilder& operator=(const SaveBuilder&) = delete;

  // A new value that the caller owns (free it, or store it with RV_Assign and free it).
  RValue value(const SavedValue& v);
  // Stores a value into an object's variable by name, as a script assignment would.
  void assign(KVObjectBase* object, const std::string& name, const SavedValue& v);

 private:
  void make_shells();
  void fill();
  RValue object_value(int32_t number);

  const std::vector<SavedObject>& objects_;
  InstanceLookup find_;
  void* context_;
  std::vector<KVObjectBase*> made_;  // by number; null for instances and failures
};
