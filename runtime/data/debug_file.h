#pragma once
// The debug side file: "<game>.kvdebug" beside the data file, in the same container. Only DBGI,
// SCPT and INST are kept, for the debug link; other tags are ignored. The file is read whole and
// owned here; the tables point into that copy. Every count and offset is checked against the file:
// a damaged table is dropped with a line on the release console, and the rest is kept.
// Offsets in this file are from its own start.
#include <cstdint>
#include <string>
#include <vector>

struct DebugRecord {
  const uint8_t* words = nullptr;  // count u32 words, or null for an empty slot
  uint32_t count = 0;
};

struct DebugInfo {
  std::vector<int32_t> record_of_code;  // DBGI: per code index, the index of its debug record
  std::vector<DebugRecord> records;     // DBGI: the debug records
  std::vector<const char*> sources;     // SCPT: per entry, its source text (null for none)
  uint32_t instance_count = 0;          // INST
  const uint8_t* instance_table = nullptr;
  uint32_t instance_table_size = 0;
};

// The runner's entry is GameData_LoadDebugSideFile (game_data.h).
// Takes a side file's bytes; false when a table in it was damaged (the others are kept).
bool DebugFile_LoadImage(std::vector<uint8_t> image);
const DebugInfo& DebugFile_Info();
bool DebugFile_Loaded();
void DebugFile_Reset();
