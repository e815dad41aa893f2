// EXTN reader: packages, their file lists with functions, and their option lists.
#include "data/asset_extensions.h"

#include "data/asset_load.h"
#include "data/game_data.h"
#include "datawin/format/options_layout.h"

namespace {

AssetTable<ExtensionPackageAsset> g_packages;

bool fail(const char* what, uint32_t offset) { return Asset_LoadError("EXTN", what, offset); }

bool read_function(uint32_t offset, ExtensionFunctionAsset* function) {
  ByteCursor cur = Asset_RecordCursor(offset);
  int32_t count = 0;
  if (!cur.read_string(&function->name) || !cur.read_i32(&function->id) || !cur.read_i32(&function->kind) ||
      !cur.read_i32(&function->return_type) || !cur.read_string(&function->external_name) || !cur.read_i32(&count)) {
    return fail("function record cut off or bad string", cur.offset());
  }
  if (count < 0 || !cur.fits(static_cast<uint32_t>(count), 4)) return fail("bad argument count", cur.offset() - 4);
  function->argument_types.resize(count);
  for (int32_t& type : function->argument_types) cur.read_i32(&type);
  return true;
}

bool read_file(uint32_t offset, ExtensionFileAsset* file) {
  ByteCursor cur = Asset_RecordCursor(offset);
  uint32_t count = 0;
  if (!cur.read_string(&file->file_name) || !cur.read_string(&file->init) || !cur.read_string(&file->final) ||
      !cur.read_i32(&file->kind) || !cur.read_u32(&count)) {
    return fail("file record cut off or bad string", cur.offset());
  }
  std::vector<uint32_t> functions;
  if (!Asset_ReadOffsets(cur, "EXTN", count, &functions)) return false;
  for (uint32_t function_offset : functions) {
    if (function_offset == 0) return fail("null function offset", offset);
    file->functions.emplace_back();
    if (!read_function(function_offset, &file->functions.back())) return false;
  }
  return true;
}

bool read_options(uint32_t offset, std::vector<ExtensionOptionAsset>* options) {
  if (offset == 0) return true;
  ByteCursor cur = Asset_RecordCursor(offset);
  std::vector<uint32_t> records;
  if (!Asset_ReadPointerList(cur, "EXTN", &records)) return false;
  for (uint32_t record : records) {
    if (record == 0) continue;
    ByteCursor option = Asset_RecordCursor(record);
    ExtensionOptionAsset out;
    if (!option.read_string(&out.name) || !option.read_string(&out.value) || !option.read_i32(&out.kind)) {
      return fail("option record cut off or bad string", record);
    }
    options->push_back(out);
  }
  return true;
}

bool read_package(uint32_t offset, ExtensionPackageAsset* package) {
  ByteCursor cur = Asset_RecordCursor(offset);
  uint32_t files = 0, options = 0;
  if (!cur.read_string(&package->name) || !cur.read_string(&package->setter1) || !cur.read_string(&package->setter2) ||
      !cur.read_u32(&files) || !cur.read_u32(&options)) {
    return fail("package record cut off or bad string", cur.offset());
  }
  if (files != 0) {
    ByteCursor list = Asset_RecordCursor(files);
    std::vector<uint32_t> records;
    if (!Asset_ReadPointerList(list, "EXTN", &records)) return false;
    for (uint32_t record : records) {
      if (record == 0) continue;
      package->files.emplace_back();
      if (!read_file(record, &package->files.back())) return false;
    }
  }
  return read_options(options, &package->options);
}

}  // namespace

const AssetTable<ExtensionPackageAsset>& Extension_Table() { return g_packages; }
void Extension_Clear() { g_packages.clear(); }

bool Extension_Load(const uint8_t* payload, uint32_t size, const uint8_t*) {
  ByteCursor cur = GameData_Cursor(payload, size);
  std::vector<uint32_t> offsets;
  g_packages.clear();
  if (!Asset_ReadPointerList(cur, "EXTN", &offsets)) return false;
  g_packages.reset(static_cast<uint32_t>(offsets.size()));
  for (uint32_t i = 0; i < offsets.size(); ++i) {
    if (offsets[i] == 0) continue;
    auto package = std::make_unique<ExtensionPackageAsset>();
    if (!read_package(offsets[i], package.get())) return false;
    const char* name = package->name;
    g_packages.set(i, std::move(package), name);
  }
  return true;
}
