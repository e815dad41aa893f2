#include "text_fixture.h"

#include "support/game_file.h"

void TextLibraryTest::SetUp() {
  Window_UsePlatform(&host_, &device_);
  StartGameFile(&game_, Compiled_CodeTables());
}

void TextLibraryTest::TearDown() {
  game_.Stop();
  Window_UsePlatform(nullptr, nullptr);
}

tsl::Value TextLibraryTest::call(KVScriptFunction script, std::vector<RValue> args) {
  return CallScript(script, std::move(args));
}

tsl::Value TextLibraryTest::method(const tsl::Value& target, const char* name, std::vector<RValue> args) {
  return CallMember(target, name, std::move(args));
}

std::string TextLibraryTest::error_of(KVScriptFunction script, std::vector<RValue> args) {
  return ErrorRaisedBy([&] { call(script, std::move(args)); });
}
