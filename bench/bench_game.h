#pragma once
// Starts a game for a world benchmark the way the runner starts one: the memory manager, the
// world's wiring and the chunk readers, then a data file that the writer makes (a generation-2
// header, the given objects, one empty room) loaded through the real loader, the rooms prepared
// and the first room started. Event code indexes name rows of `tables`, the benchmark's own
// compiled functions. `assets`, when given, adds chunks (sprites, pages) behind the header.
// Returns false when any step fails.
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "core/code_tables.h"
#include "core/frame_state.h"
#include "core/memory.h"
#include "data/game_data.h"
#include "datawin/writer/chunk_gen8.h"
#include "datawin/writer/chunk_objects.h"
#include "datawin/writer/chunk_rooms.h"
#include "datawin/writer/writer.h"
#include "run/asset_readers.h"
#include "run/run_subjects.h"
#include "world/world_init.h"

// The header of a bench's game: generation 2, one room in the room order.
inline datawin::Gen8Record Bench_Header() {
  datawin::Gen8Record header;
  header.file_name = "bench";
  header.display_name = "Bench Game";
  header.project_name = "bench_project";
  header.room_order = {0};
  return header;
}

inline bool Bench_StartGame(const std::vector<std::optional<datawin::ObjectRecord>>& objects, KVCodeTables* tables,
                            const std::function<void(datawin::Writer&)>& assets = {}) {
  MemoryManager::Start();
  g_CodeTables = tables;
  World_Init();
  Assets_InstallReaders();
  const datawin::Gen8Record header = Bench_Header();
  datawin::Writer writer;
  datawin::add_gen8(writer, header);
  if (assets) assets(writer);
  datawin::add_objt(writer, objects, header.version);
  datawin::RoomRecord room;
  room.name = "rm_bench";
  datawin::add_room(writer, {room});
  // The image lives as long as the process, as the runner's does.
  static std::vector<uint8_t> image;
  image = writer.build();
  const auto size = static_cast<uint32_t>(image.size());
  if (!HeaderScan(image.data(), size) || !LoadGameData(image.data(), size)) return false;
  if (!Room_Prepare() || !Room_StartFirst()) return false;
  New_Room = kNewRoomNone;
  return true;
}
