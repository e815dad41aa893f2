#include "datawin/writer/chunk_gen8.h"

#include "datawin/format/gen8_layout.h"

namespace datawin {

namespace {

// Pads with zeros up to a field's offset; the fields are written in offset order.
void to(Blob& blob, uint32_t offset) {
  if (blob.size() > offset) throw WriteError("GEN8 fields written out of order");
  blob.zeros(offset - blob.size());
}

}  // namespace

Blob& add_gen8(Writer& writer, const Gen8Record& record) {
  using namespace gen8;
  const int version = record.version;
  Blob& blob = writer.add_chunk(kChunkGEN8);
  blob.u8(record.debug_off);
  blob.u8(record.version);
  to(blob, kFileName);
  blob.string_or_none(record.file_name);
  blob.u32(record.last_instance_id);
  blob.u32(record.last_tile_id);
  blob.i32(record.game_id);
  for (uint32_t word : record.guid) blob.u32(word);
  blob.string_or_none(record.project_name);
  if (version >= kVersionWindow) {
    blob.u32(record.generation);
    to(blob, kWindowWidth);
    blob.i32(record.window_width);
    blob.i32(record.window_height);
    blob.u32(record.info_flags);
    blob.u32(record.checksum);
    blob.bytes(record.digest, sizeof record.digest);
    blob.u64(record.build_time);
    if (version >= kVersionDisplayName) blob.string_or_none(record.display_name);
    if (version >= kVersionReserved11) blob.u64(0);
    if (version >= kVersionFunctionClasses) blob.u64(record.function_classes);
    if (version >= kVersionReserved13) blob.u32(0);
    if (version >= kVersionReserved14) blob.u32(0);
  }
  to(blob, room_order_offset(version));
  blob.u32(static_cast<uint32_t>(record.room_order.size()));
  for (uint32_t room : record.room_order) blob.u32(room);
  if (version >= kVersionWindow && has_game_speed(version, record.generation)) {
    blob.zeros(kReservedBlockBytes);
    blob.f32(record.game_speed);
  }
  return blob;
}

}  // namespace datawin
