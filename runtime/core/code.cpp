#include "core/code.h"

#include <cstring>
#include <memory>

#include "core/code_tables.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "core/hash_map.h"
#include "core/object.h"

namespace {

constexpr char kScriptPrefix[] = "tsl_Script_";
constexpr size_t kScriptPrefixLength = sizeof kScriptPrefix - 1;
constexpr uint32_t kConstructorBit = 0x80000000u;
constexpr int32_t kFirstScriptIndex = 100000;

bool g_old_exec = false;
std::vector<std::unique_ptr<CScript>> g_scripts;

uint32_t load_u32(const uint8_t* at) {
  return static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 | static_cast<uint32_t>(at[2]) << 16 |
         static_cast<uint32_t>(at[3]) << 24;
}

// The text of a string field: a u32 length before it and a NUL after, all inside the image.
const char* string_at(const uint8_t* image, uint32_t size, uint32_t offset) {
  if (offset < 4 || offset > size) return nullptr;
  const uint32_t length = load_u32(image + offset - 4);
  if (length >= size - offset || image[offset + length] != 0) return nullptr;
  return reinterpret_cast<const char*>(image + offset);
}

// Row names and script names to rows, made for the tables the lookup was installed with. Keys
// point at the rows' own names, which live as long as the tables.
struct RowNames {
  const KVScriptRow* table = nullptr;
  int32_t count = -1;
  CHashMap<const char*, int32_t> rows{256};
};

RowNames& row_names() {
  static auto* names = new RowNames;
  return *names;
}

// The row of a name: the full row name, or a script's name behind "tsl_Script_"; the first row wins.
int32_t find_row(const char* name) {
  if (g_CodeTables == nullptr || g_CodeTables->scriptTable == nullptr || name == nullptr) return -1;
  RowNames& names = row_names();
  if (names.table != g_CodeTables->scriptTable || names.count != g_CodeTables->scriptCount) {
    names.rows.Clear();
    const auto add = [&names](const char* key, int32_t row) {
      if (!names.rows.Contains(key)) names.rows.Insert(key, row);
    };
    for (int32_t row = 0; row < g_CodeTables->scriptCount; ++row) {
      const char* row_name = g_CodeTables->scriptTable[row].name;
      if (row_name == nullptr) continue;
      add(row_name, row);
      if (std::strncmp(row_name, kScriptPrefix, kScriptPrefixLength) == 0) add(row_name + kScriptPrefixLength, row);
    }
    names.table = g_CodeTables->scriptTable;
    names.count = g_CodeTables->scriptCount;
  }
  const int32_t* found = names.rows.Find(name);
  return found != nullptr ? *found : -1;
}

}  // namespace

// ---- CCode ----------------------------------------------------------------------------------------

CCode::CCode(int32_t code_index)
    : index_(code_index), row_(CodeTables_Row(code_index)), name_(row_ != nullptr && row_->name ? row_->name : ""),
      is_script_(row_ != nullptr && CodeTables_IsScriptName(row_->name)) {}

bool Code_Execute(CInstance* self, CInstance* other, CCode* code, RValue* result, int /*flags*/) {
  if (g_old_exec) return true;
  if (code == nullptr || code->row() == nullptr || code->row()->function == nullptr) return false;
  if (!code->is_script()) {
    reinterpret_cast<KVEventFunction>(code->row()->function)(self, other);
    return true;
  }
  RValue local = RV_Undefined();
  RValue* target = result != nullptr ? result : &local;
  reinterpret_cast<KVScriptFunction>(code->row()->function)(self, other, target, 0, nullptr);
  RV_FreeToUndefined(&local);
  return true;
}

void Code_SetOldExec(bool old_exec) { g_old_exec = old_exec; }

// ---- CScript --------------------------------------------------------------------------------------

CScript::CScript(const char* name, int32_t code_index, bool constructor)
    : name_(name != nullptr ? name : ""), code_index_(code_index), constructor_(constructor), code_(code_index) {}

const KVScriptRow* CScript::row() const { return CodeTables_Row(code_index_); }

KVObjectBase* CScript::static_struct() const { return KVGetStaticStruct(kFirstScriptIndex + code_index_); }

bool Script_Bind(const std::vector<ScriptRecord>& records) {
  Object_MethodPrototype();
  g_scripts.clear();
  g_scripts.resize(records.size());
  bool all_bound = true;
  for (size_t i = 0; i < records.size(); ++i) {
    if (records[i].name == nullptr) continue;
    const auto code_index = static_cast<int32_t>(records[i].code_word & ~kConstructorBit);
    const bool constructor = (records[i].code_word & kConstructorBit) != 0;
    g_scripts[i] = std::make_unique<CScript>(records[i].name, code_index, constructor);
    if (CodeTables_Row(code_index) == nullptr) {
      // Scripts of a file without compiled code stay unbound; a missing row is a mismatched build.
      if (g_CodeTables != nullptr) all_bound = false;
      continue;
    }
    KVScript_SetConstructor(code_index, constructor);
  }
  return all_bound;
}

void Script_UnbindAll() { g_scripts.clear(); }
int32_t Script_Count() { return static_cast<int32_t>(g_scripts.size()); }

CScript* Script_Get(int32_t index) {
  return index >= 0 && static_cast<size_t>(index) < g_scripts.size() ? g_scripts[static_cast<size_t>(index)].get()
                                                                       : nullptr;
}

bool Script_ReadRecords(const uint8_t* image, uint32_t size, std::vector<ScriptRecord>* records) {
  records->clear();
  if (image == nullptr || size < 8 || std::memcmp(image, "FORM", 4) != 0) return false;
  uint32_t at = 8;
  while (size - at >= 8) {
    const uint32_t chunk_size = load_u32(image + at + 4);
    const uint32_t payload = at + 8;
    if (chunk_size > size - payload) return false;
    if (std::memcmp(image + at, "SCPT", 4) != 0) {
      at = payload + chunk_size;
      continue;
    }
    if (chunk_size < 4) return false;
    const uint32_t count = load_u32(image + payload);
    if (count > (chunk_size - 4) / 4) return false;
    records->resize(count);
    for (uint32_t i = 0; i < count; ++i) {
      const uint32_t offset = load_u32(image + payload + 4 + 4 * i);
      if (offset == 0) continue;
      if (offset > size - 8) return false;
      ScriptRecord& record = (*records)[i];
      record.name = string_at(image, size, load_u32(image + offset));
      if (record.name == nullptr) return false;
      record.code_word = load_u32(image + offset + 4);
    }
    return true;
  }
  return true;
}

bool Script_Exists(int32_t script_index) {
  return script_index >= kFirstScriptIndex && CodeTables_Row(script_index - kFirstScriptIndex) != nullptr;
}

std::string Script_Name(int32_t script_index) {
  if (script_index < 0) return "<undefined>";
  if (script_index < kFirstScriptIndex) {
    const RFunction* builtin = Function_Row(script_index);
    return builtin != nullptr ? builtin->name : "<unknown>";
  }
  const int32_t row_index = script_index - kFirstScriptIndex;
  const KVScriptRow* row = CodeTables_Row(row_index);
  if (row == nullptr) return "<unknown>";
  for (const auto& script : g_scripts) {
    if (script != nullptr && script->code_index() == row_index) return script->name();
  }
  const char* name = row->name != nullptr ? row->name : "";
  return std::strncmp(name, kScriptPrefix, kScriptPrefixLength) == 0 ? name + kScriptPrefixLength : name;
}

bool Code_RunList(const std::vector<int32_t>& code_indices, bool stop_when_ending) {
  CInstance* global = KV_AsInstance(Object_Global());
  for (const int32_t index : code_indices) {
    CCode code(index);
    RValue result = RV_Undefined();
    Code_Execute(global, global, &code, &result, 0);
    RV_FreeToUndefined(&result);
    if (stop_when_ending && New_Room == kNewRoomEndGame) return false;
  }
  return true;
}

void Code_InstallScriptLookup() { Function_SetScriptLookup(find_row); }
