#pragma once
// The script table of chunk SCPT: per script its name and the code index (a row of the compiled
// function table) with the top bit masked off. Binding to code happens when scripts are prepared.
#include <cstdint>

#include "data/asset_table.h"

struct ScriptAsset {
  const char* name = nullptr;  // in the image
  int32_t code_index = 0;
};

const AssetTable<ScriptAsset>& Script_Table();
// The index of the first script with this name, -1 when there is none.
int32_t Script_Find(const char* name);

bool Script_Load(const uint8_t* payload, uint32_t size, const uint8_t* image_base);
void Script_Clear();
