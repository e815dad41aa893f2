#include "datawin/builder/game_build.h"

#include "datawin/writer/chunk_gen8.h"

namespace datawin {

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
  writer.add_strings_chunk();
  return writer;
}

}  // namespace datawin
