#pragma once
// The game's own data file, build/data.win, for the test programs built with KOVA_BINARY_DIR.
// StartGameFile starts it in a 640 x 360 window with the given code tables (the program's
// compiled ones) as the runner starts it, on whatever window and device the test installed.
// CallScript and CallMember call the game's scripts and methods as its compiled code calls them.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "core/call.h"
#include "core/script_api.h"
#include "support/draw_game.h"

inline std::vector<uint8_t> GameFileImage() {
  std::ifstream in(std::string(KOVA_BINARY_DIR) + "/data.win", std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void StartGameFile(DrawGame* game, KVCodeTables* tables) {
  std::vector<uint8_t> image = GameFileImage();
  ASSERT_GT(image.size(), 1024u) << "build the data_win target first";
  game->window_width = 640;
  game->window_height = 360;
  ASSERT_TRUE(game->StartImage(std::move(image), tables));
}

// A compiled script called with the global object as self and other.
inline tsl::Value CallScript(KVScriptFunction script, std::vector<RValue> args) {
  std::vector<RValue*> pointers;
  for (RValue& a : args) pointers.push_back(&a);
  tsl::Value result;
  CInstance* global = tsl::global();
  script(global, global, result.get(), static_cast<int>(pointers.size()), pointers.data());
  return result;
}

// target.name(args...), with the global object as self.
inline tsl::Value CallMember(const tsl::Value& target, const char* name, std::vector<RValue> args) {
  const tsl::Value member = tsl::get(KV_AsInstance(target.object()), name);
  std::vector<RValue*> pointers;
  for (RValue& a : args) pointers.push_back(&a);
  tsl::Value out;
  RValue callee = *member;
  CallMethod(tsl::global(), nullptr, out.get(), static_cast<int>(pointers.size()), &callee, pointers.data());
  return out;
}
