#include "datawin/builder/game_build.h"

#include <optional>

#include "datawin/writer/chunk_code_lists.h"
#include "datawin/writer/chunk_gen8.h"
#include "datawin/writer/chunk_options.h"

namespace datawin {

namespace {

// The code chunks from the manifest's function order: a row's position is its code index, which
// is also its row in the program's compiled script table (generated from the same list).
// Scripts and global scripts get a SCPT record each, in row order; global scripts also run at
// start, in row order (GLOB). CODE carries the row names with empty bytecode.
void add_function_table(Writer& writer, const Manifest& manifest) {
  std::vector<std::optional<ScriptRecord>> scripts;
  std::vector<int32_t> global_init;
  std::vector<CodeRecord> code;
  const std::vector<manifest::CodeRow>& rows = manifest.orders.functions;
  for (size_t index = 0; index < rows.size(); ++index) {
    const manifest::CodeRow& row = rows[index];
    if (row.kind == manifest::CodeKind::kScript || row.kind == manifest::CodeKind::kGlobalScript) {
      scripts.push_back(ScriptRecord{row.script_name, static_cast<uint32_t>(index)});
    }
    if (row.kind == manifest::CodeKind::kGlobalScript) global_init.push_back(static_cast<int32_t>(index));
    CodeRecord record;
    record.name = row.name;
    code.push_back(std::move(record));
  }
  add_scpt(writer, scripts);
  add_glob(writer, global_init);
  add_code(writer, manifest.version, code);
}

}  // namespace

Writer build_game(const Manifest& manifest) {
  Writer writer;
  Gen8Record header;
  header.debug_off = manifest.debug_off;
  header.version = static_cast<uint8_t>(manifest.version);
  header.file_name = manifest.name;
  header.project_name = manifest.project;
  header.display_name = manifest.display_name;
  header.game_id = manifest.game_id;
  header.generation = manifest.generation;
  header.window_width = manifest.window_width;
  header.window_height = manifest.window_height;
  header.info_flags = manifest.info_flags;
  header.room_order = manifest.room_order;
  header.game_speed = manifest.speed;
  header.build_time = 0;  // builds are reproducible: the same manifest gives the same bytes
  add_gen8(writer, header);
  add_function_table(writer, manifest);
  writer.add_strings_chunk();
  return writer;
}

}  // namespace datawin
