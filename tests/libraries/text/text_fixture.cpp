#include "text_fixture.h"

#include <fstream>
#include <iterator>

#include "core/object.h"

void TextLibraryTest::SetUp() {
  Window_UsePlatform(&host_, &device_);
  std::ifstream in(std::string(KOVA_BINARY_DIR) + "/data.win", std::ios::binary);
  std::vector<uint8_t> image((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_GT(image.size(), 1024u) << "build the data_win target first";
  ASSERT_TRUE(game_.StartImage(std::move(image), Compiled_CodeTables()));
}

void TextLibraryTest::TearDown() {
  game_.Stop();
  Window_UsePlatform(nullptr, nullptr);
}

tsl::Value TextLibraryTest::call(KVScriptFunction script, std::vector<RValue> args) {
  std::vector<RValue*> pointers;
  for (RValue& a : args) pointers.push_back(&a);
  tsl::Value result;
  CInstance* global = KV_AsInstance(Object_Global());
  script(global, global, result.get(), static_cast<int>(pointers.size()), pointers.data());
  return result;
}

std::string TextLibraryTest::error_of(KVScriptFunction script, std::vector<RValue> args) {
  try {
    call(script, std::move(args));
  } catch (const KVTSLException& e) {
    return e.message();
  }
  return "";
}
