#pragma once
// A world test fixture: a game built with the writer holding the objects a test describes, loaded
// through the real loader, with the test's own event functions bound as compiled code rows, the
// world hooks installed, a current room and the world's builtins registered.
//   code(name, fn)   a code index running fn; register every function before load_objects
//   load_objects     writes OBJT (and a minimal header) and loads it
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
#include "world/room.h"

class CInstance;

using TestEventFn = void (*)(CInstance* self, CInstance* other);

std::vector<std::string>& Log();

class WorldTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  int32_t code(const char* name, TestEventFn fn);
  bool load_objects(const std::vector<std::optional<datawin::ObjectRecord>>& objects, int version = 17);
  CInstance* make(int32_t object, float x = 0, float y = 0, float depth = 0);
  RValue call(const char* name, CInstance* self, const std::vector<RValue>& args, CInstance* other = nullptr);

  CRoom room_;
  std::vector<KVScriptRow> rows_;
  KVCodeTables tables_;
  std::vector<uint8_t> image_;
};

// An object record with the given name, parent and events {type, subtype, code}.
datawin::ObjectRecord ObjectDef(const std::string& name, int32_t parent = -1,
                                std::vector<datawin::ObjectEvent> events = {});
