#pragma once
// The game's global state: `global_init` (run once at game start, before the first room) fills the
// tower and enemy tables and starts a run; the two utility scripts `round_func` and `screenshake`.
//
// Globals: tower_data and enemy_data (structs of records keyed by kind name, never changed after
// start), gold 200, score 0, loss false, and towers, the board's 4 rows of 3 cells holding undefined
// or the name of the tower kind on the cell, with the two starting scorpions on column 2 of rows 1
// and 2. The board: cells of 80 x 80, column c centred at x = (c + 0.5) * 80, row r at
// y = (r + 0.5) * 80 + 40; the four lanes are the row centres.
#include "core/code_tables.h"

constexpr int32_t kBoardColumns = 3;
constexpr int32_t kBoardRows = 4;
constexpr double kCellSize = 80.0;
constexpr double kBoardTop = 40.0;
constexpr double kEnemySpawnX = 640.0;
constexpr double kEnemyEscapeX = 16.0;
constexpr double kStartingGold = 200.0;
// The object whose instances shake the screen (obj_camera).
constexpr int32_t kObjCamera = 3;

inline double Board_ColumnX(int32_t column) { return (column + 0.5) * kCellSize; }
inline double Board_RowY(int32_t row) { return (row + 0.5) * kCellSize + kBoardTop; }

// gold, score, loss and towers as a new run has them; the loss screen puts them back the same way.
void Globals_StartRun();

RValue* tsl_GlobalScript_global_init(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
RValue* tsl_Script_round_func(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
RValue* tsl_Script_screenshake(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);

// The reference entries of this code, null-terminated, for the program's code tables: the loader
// fills their ids when it links a data file.
KVVariableEntry** GameGlobals_VariableEntries();
KVFunctionEntry** GameGlobals_FunctionEntries();
