#include "data/debug_file.h"

#include <cstdio>

#include "data/cursor.h"
#include "data/loader_internal.h"

using namespace datawin;

namespace {

std::vector<uint8_t> g_image;
DebugInfo g_info;
bool g_loaded = false;

bool read_dbgi(ByteCursor cur) {
  uint32_t count = 0;
  if (!cur.read_u32(&count) || !cur.fits(count, 4)) return load_error("DBGI", "code index count larger than the chunk", cur.offset());
  std::vector<int32_t> record_of_code(count);
  for (int32_t& index : record_of_code) cur.read_i32(&index);
  if (!cur.read_u32(&count) || !cur.fits(count, 4)) return load_error("DBGI", "record count larger than the chunk", cur.offset());
  std::vector<DebugRecord> records(count);
  for (DebugRecord& record : records) {
    uint32_t offset = 0;
    cur.read_u32(&offset);
    if (offset == 0) continue;
    ByteCursor at(cur.image(), cur.image_size(), offset, cur.image_size());
    if (offset >= cur.image_size() || !at.read_u32(&record.count) || !at.fits(record.count, 4)) {
      return load_error("DBGI", "debug record outside the file", cur.offset() - 4);
    }
    record.words = at.here();
  }
  g_info.record_of_code = std::move(record_of_code);
  g_info.records = std::move(records);
  return true;
}

bool read_scpt(ByteCursor cur) {
  uint32_t count = 0;
  if (!cur.read_u32(&count) || !cur.fits(count, 4)) return load_error("SCPT", "count larger than the chunk", cur.offset());
  std::vector<const char*> sources(count, nullptr);
  for (const char*& source : sources) {
    uint32_t offset = 0;
    cur.read_u32(&offset);
    if (offset == 0) continue;
    ByteCursor at(cur.image(), cur.image_size(), offset, cur.image_size());
    if (offset >= cur.image_size() || !at.read_string(&source)) {
      return load_error("SCPT", "source record outside the file", cur.offset() - 4);
    }
  }
  g_info.sources = std::move(sources);
  return true;
}

bool read_inst(ByteCursor cur) {
  if (!cur.read_u32(&g_info.instance_count)) return load_error("INST", "count missing", cur.offset());
  g_info.instance_table = cur.here();
  g_info.instance_table_size = cur.remaining();
  return true;
}

}  // namespace

bool GameData_LoadDebugSideFile(const std::string& path) {
  FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  std::vector<uint8_t> bytes;
  uint8_t buffer[65536];
  size_t got = 0;
  while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
    bytes.insert(bytes.end(), buffer, buffer + got);
    if (bytes.size() > UINT32_MAX) break;
  }
  std::fclose(file);
  if (bytes.size() > UINT32_MAX) return false;
  DebugFile_LoadImage(std::move(bytes));
  return true;
}

bool DebugFile_LoadImage(std::vector<uint8_t> image) {
  DebugFile_Reset();
  g_image = std::move(image);
  g_loaded = true;
  const auto size = static_cast<uint32_t>(g_image.size());
  const uint8_t* base = g_image.data();
  if (size < 8) return true;
  return walk_chunks(base, size, "debug file", [base, size](uint32_t tag, uint32_t payload, uint32_t chunk_size) {
    const ByteCursor cur(base, size, payload, payload + chunk_size);
    switch (find_chunk(tag)) {
      case kChunkDBGI:
        return read_dbgi(cur);
      case kChunkSCPT:
        return read_scpt(cur);
      case kChunkINST:
        return read_inst(cur);
      default:
        return true;
    }
  });
}

const DebugInfo& DebugFile_Info() { return g_info; }

bool DebugFile_Loaded() { return g_loaded; }

void DebugFile_Reset() {
  g_info = DebugInfo{};
  g_image.clear();
  g_image.shrink_to_fit();
  g_loaded = false;
}
