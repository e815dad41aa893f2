#pragma once
// A world test fixture: a game built with the writer holding the objects a test describes, loaded
// through the real loader and started as the runner starts it, with the test's own event functions
// bound as compiled code rows, the world hooks installed and the world's builtins registered.
//   code(name, fn)   a code index running fn; register every function before load_objects
//   load_objects     writes a minimal header, OBJT and one empty room, loads them, prepares the
//                    rooms and starts the first one; room_ is then its working copy
//   make(...)        Create_Instance in the current room
//   call(name, ...)  runs a registered builtin with self and other
//   Log()            a shared event log that test functions append to
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "core/code_tables.h"
#include "core/rvalue.h"
#include "datawin/writer/chunk_objects.h"
#include "datawin/writer/writer.h"
#include "world/room.h"

class CInstance;

using TestEventFn = void (*)(CInstance* self, CInstance* other);

std::vector<std::string>& Log();

class WorldTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  int32_t code(const char* name, TestEventFn fn);
  bool load_objects(const std::vector<std::optional<datawin::ObjectRecord>>& objects, int version = 17,
                    uint32_t generation = 2);
  // Loads what the writer holds and starts it as load_objects does (the code rows included).
  bool load_and_start(const datawin::Writer& writer);
  CInstance* make(int32_t object, float x = 0, float y = 0, float depth = 0);
  RValue call(const char* name, CInstance* self, const std::vector<RValue>& args, CInstance* other = nullptr);

  CRoom* room_ = nullptr;
  std::vector<KVScriptRow> rows_;
  KVCodeTables tables_;
  std::vector<uint8_t> image_;
};

// An object record with the given name, parent and events {type, subtype, code}.
datawin::ObjectRecord ObjectDef(const std::string& name, int32_t parent = -1,
                                std::vector<datawin::ObjectEvent> events = {});
