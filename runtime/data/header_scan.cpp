// The header scan (the first walk) and the reader of the header record, GEN8, which both walks use.
#include "core/builtin_families.h"
#include "core/console.h"
#include "core/error.h"
#include "core/timing.h"
#include "data/game_data.h"
#include "data/game_file.h"
#include "data/loader_internal.h"
#include "datawin/format/gen8_layout.h"

using namespace datawin;

namespace {

constexpr const char kDefaultFileName[] = "Default";
constexpr const char kDefaultDisplayName[] = "Made with Tolvarine";

bool read_name(ByteCursor& cur, uint32_t field, const char* fallback, const char** out) {
  const char* text = nullptr;
  if (!cur.seek(field) || !cur.read_string(&text)) return false;
  *out = text != nullptr ? text : fallback;
  return true;
}

// Fields at fixed offsets (everything before the room order).
bool read_fixed_fields(ByteCursor& cur, uint32_t payload, int version, GameHeader* h) {
  using namespace gen8;
  if (!read_name(cur, payload + kFileName, kDefaultFileName, &h->file_name)) {
    return load_error("GEN8", "game file name is not a string of the file", cur.offset());
  }
  if (!cur.read_u32(&h->last_instance_id) || !cur.read_u32(&h->last_tile_id) || !cur.read_i32(&h->game_id)) {
    return load_error("GEN8", "header record truncated", cur.offset());
  }
  for (uint32_t& word : h->guid) {
    if (!cur.read_u32(&word)) return load_error("GEN8", "header record truncated", cur.offset());
  }
  if (!read_name(cur, payload + kProjectName, "", &h->project_name)) {
    return load_error("GEN8", "project name is not a string of the file", cur.offset());
  }
  if (version < kVersionWindow) return true;

  uint32_t flags = 0;
  if (!cur.read_u32(&h->generation) || !cur.seek(payload + kWindowWidth) || !cur.read_i32(&h->window_width) ||
      !cur.read_i32(&h->window_height) || !cur.read_u32(&flags) || !cur.read_u32(&h->checksum)) {
    return load_error("GEN8", "header record truncated", cur.offset());
  }
  if (g_loader.in_a_window) flags &= ~static_cast<uint32_t>(kInfoFullScreen);
  h->info_flags = flags;
  for (uint8_t& byte : h->digest) {
    if (!cur.read_u8(&byte)) return load_error("GEN8", "header record truncated", cur.offset());
  }
  if (!cur.read_u64(&h->build_time)) return load_error("GEN8", "header record truncated", cur.offset());
  if (version >= kVersionDisplayName &&
      !read_name(cur, payload + kDisplayName, kDefaultDisplayName, &h->display_name)) {
    return load_error("GEN8", "display name is not a string of the file", cur.offset());
  }
  uint64_t classes = kAllFunctionClasses;
  if (version >= kVersionFunctionClasses && (!cur.seek(payload + kFunctionClasses) || !cur.read_u64(&classes))) {
    return load_error("GEN8", "header record truncated", cur.offset());
  }
  FunctionClasses = classes;
  return true;
}

// The room order and, from version 14 in generation 2, the game speed and the timer start.
bool read_room_order_and_speed(ByteCursor& cur, uint32_t payload, int version, GameHeader* h) {
  uint32_t count = 0;
  if (!cur.seek(payload + gen8::room_order_offset(version)) || !cur.read_u32(&count)) {
    return load_error("GEN8", "room order missing", cur.offset());
  }
  if (!cur.fits(count, 4)) return load_error("GEN8", "room order count larger than the record", cur.offset() - 4);
  h->room_order.resize(count);
  for (int32_t& room : h->room_order) cur.read_i32(&room);
  if (!gen8::has_game_speed(version, h->generation)) return true;
  float speed = 0.0f;
  if (!cur.skip(gen8::kReservedBlockBytes) || !cur.read_f32(&speed)) {
    return load_error("GEN8", "game speed missing", cur.offset());
  }
  GameSpeed = speed;
  GameTimer_Reset(&Run_GameTimer, GameSpeed, Timing_Time());
  return true;
}

}  // namespace

bool read_header(uint32_t payload, uint32_t size, bool full) {
  ByteCursor cur = payload_cursor(payload, size);
  uint8_t debug_off = 0;
  uint8_t version = 0;
  if (!cur.read_u8(&debug_off) || !cur.read_u8(&version)) {
    return load_error("GEN8", "header record truncated", cur.offset());
  }
  if (size < gen8::room_order_offset(version)) {
    return load_error("GEN8", "header record shorter than its version's fields", payload + size);
  }
  GameHeader header;
  header.debug_off = debug_off;
  header.version = version;
  header.record = g_loader.image + payload;
  header.record_size = size;
  DataVersion = version;
  NewCodeForm = version >= gen8::kVersionNewCodeForm;
  if (!read_fixed_fields(cur, payload, version, &header)) return false;
  if (full && !read_room_order_and_speed(cur, payload, version, &header)) return false;
  Run_UseGameTimer = header.generation >= 2;
  g_loader.header = std::move(header);
  return true;
}

bool read_string_table(uint32_t payload, uint32_t size) {
  ByteCursor cur = payload_cursor(payload, size);
  uint32_t count = 0;
  if (!cur.read_u32(&count) || !cur.fits(count, 4)) {
    return load_error("STRG", "string count larger than the chunk", payload);
  }
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t entry = 0;
    const char* text = nullptr;
    cur.read_u32(&entry);
    if (entry != 0 && (entry > UINT32_MAX - 4 || !cur.string_at(entry + 4, &text))) {
      return load_error("STRG", "entry does not point at a string of the file", cur.offset() - 4);
    }
  }
  g_loader.string_table = payload + 4;
  g_loader.string_count = count;
  return true;
}

bool HeaderScan(uint8_t* image, uint32_t size) {
  g_loader.image = image;
  g_loader.size = image != nullptr ? size : 0;
  g_loader.header = GameHeader{};
  g_loader.code_seen = false;
  g_loader.string_table = 0;
  g_loader.string_count = 0;
  DataVersion = 0;
  FunctionClasses = gen8::kAllFunctionClasses;
  NewCodeForm = false;
  if (image == nullptr || size < 8) return true;
  const uint32_t form_size = load_u32(image + 4);
  if (form_size != size - 8) {
    GameFile_ReportUnexpectedSize(size, form_size);
    return false;
  }
  return walk_chunks(image, size, "data file", [](uint32_t tag, uint32_t payload, uint32_t chunk_size) {
    if (chunk_size == 0) return true;
    switch (find_chunk(tag)) {
      case kChunkSTRG:
        return read_string_table(payload, chunk_size);
      case kChunkGEN7:
      case kChunkGEN8:
      case kChunkGENL: {
        g_DebugConsole->Output("Get Header Information\n");
        const bool ok = read_header(payload, chunk_size, false);
        // The builtin table is built once per load, however many header records the file holds.
        if (!g_loader.builtins_registered) {
          g_loader.builtins_registered = true;
          InitTSLFunctions();
        }
        return ok;
      }
      case kChunkCODE:
        g_DebugConsole->Output("Code_Load()\n");
        g_loader.code_seen = true;
        return true;
      case kChunkVARI:
        g_DebugConsole->Output("VARI_Load()\n");
        return apply_variable_chain(payload, chunk_size);
      default:
        return true;
    }
  });
}
