#pragma once
// The rows of the builtin variable table (core/builtin_var.h): the instance rows over CInstance's
// fields, then the global rows (run variables, room, views, input, time, game, system, rollback),
// registered in the order of the assets manifest. The run layer calls BuiltinVar_RegisterAll once
// per process round before the data file is read; the suite compares the rows with the manifest.
//
// Rows whose subject keeps its state elsewhere read through that subject. Where the subject has no
// state yet (views, legacy backgrounds, input, the application surface), the row reads the value
// it has without a room or device (-1, 0 or "") and a write is accepted and changes nothing.
#include <cstdint>
#include <string>

// Empties the table, adds every row in manifest order and routes the object model to the table.
void BuiltinVar_RegisterAll();
void BuiltinVar_AddInstanceRows();  // the 91 instance rows
void BuiltinVar_AddGlobalRows();    // the global rows, the os_* and rollback rows last

// The run variables: score, lives and health with their captions and show flags, cursor_sprite.
struct RunVariables {
  int32_t score = 0;
  int32_t lives = 0;
  double health = 100.0;
  bool showScore = true;
  bool showLives = false;
  bool showHealth = false;
  std::string captionScore = "Score: ";
  std::string captionLives = "Lives: ";
  std::string captionHealth = "Health: ";
  int32_t cursorSprite = -1;
};
extern RunVariables g_RunVariables;
// Back to the start values (InitGame's reset of the run variables).
void RunVariables_Reset();

// The directories the game sees, each with a trailing '/': set by the start-up and the save area.
struct GameDirectories {
  std::string working;
  std::string temp;
  std::string program;
  std::string save;  // game_save_id
};
extern GameDirectories g_GameDirectories;

// What the sprite rows of an instance read (image_number, sprite_width, ...): installed by the
// sprites subject; without it, or for a sprite it doesn't know, every sprite row reads 0.
struct SpriteMetrics {
  int32_t frames = 0;
  int32_t width = 0;
  int32_t height = 0;
  int32_t xoffset = 0;
  int32_t yoffset = 0;
};
extern bool (*g_BuiltinVarSpriteMetrics)(int32_t sprite, SpriteMetrics* out);
