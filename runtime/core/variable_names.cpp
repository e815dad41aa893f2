#include "core/variable_names.h"

#include <cstring>
#include <vector>

#include "core/hash_map.h"
#include "core/memory.h"

namespace {

char* duplicate(const char* text) {
  const size_t length = std::strlen(text);
  auto* copy = static_cast<char*>(KV_ALLOC(length + 1));
  std::memcpy(copy, text, length + 1);
  return copy;
}

// Rows of owned names; a null row is free.
class NameRows {
 public:
  ~NameRows() { clear(); }
  int32_t size() const { return static_cast<int32_t>(rows_.size()); }
  const char* at(int32_t row) const { return row >= 0 && row < size() ? rows_[row] : nullptr; }
  void set(int32_t row, const char* name) {
    if (row >= size()) rows_.resize(static_cast<size_t>(row) + 1, nullptr);
    KV_FREE(rows_[row]);
    rows_[row] = duplicate(name);
  }
  void resize_empty(int32_t rows) {
    clear();
    rows_.assign(static_cast<size_t>(rows > 0 ? rows : 0), nullptr);
  }
  void reserve(int32_t rows) {
    if (rows > 0) rows_.reserve(static_cast<size_t>(rows));
  }
  int32_t first_free() const {
    for (int32_t row = 0; row < size(); ++row) {
      if (rows_[row] == nullptr) return row;
    }
    return -1;
  }
  void clear() {
    for (char* name : rows_) KV_FREE(name);
    rows_.clear();
  }

 private:
  std::vector<char*> rows_;
};

NameRows g_builtin_names;
NameRows g_user_names;
NameRows g_global_names;
NameRows g_instance_names;
// Name maps keyed by the owned text of a table row, so a lookup hashes the caller's text and
// allocates nothing. A key's row is renamed or freed only after its entry has left the map.
using NameMap = CHashMap<const char*, int32_t>;
constexpr int32_t kNameMapCapacity = 128;

NameMap& builtin_ids() {
  static NameMap* map = new NameMap(kNameMapCapacity);
  return *map;
}

NameMap& user_slots() {
  static NameMap* map = new NameMap(kNameMapCapacity);
  return *map;
}

int32_t g_user_rows = 0;

int32_t find(const NameMap& map, const char* name) {
  const int32_t* found = map.Find(name);
  return found != nullptr ? *found : -1;
}

int32_t user_slot(const char* name) { return find(user_slots(), name); }

}  // namespace

int32_t Variable_AddBuiltinName(const char* name) {
  const int32_t found = find(builtin_ids(), name);
  if (found >= 0) return found;
  const int32_t id = g_builtin_names.size();
  if (id >= kBuiltinVariableLimit) return -1;
  g_builtin_names.set(id, name);
  builtin_ids().Insert(g_builtin_names.at(id), id);
  return id;
}

int32_t Variable_BuiltinNameCount() { return g_builtin_names.size(); }

int32_t Variable_GetSlot(const char* name) {
  const int32_t builtin = find(builtin_ids(), name);
  return builtin >= 0 ? builtin : user_slot(name);
}

int32_t Variable_FindOrAddSlot(const char* name) {
  const int32_t slot = Variable_GetSlot(name);
  if (slot >= 0) return slot;
  const int32_t added = kFirstUserVariableSlot + g_user_rows;
  Variable_BindSlot(name, added);
  return added;
}

const char* Variable_NameOf(int32_t slot) {
  const char* name = nullptr;
  if (slot >= 0 && slot < kBuiltinVariableLimit) {
    name = g_builtin_names.at(slot);
  } else if (slot >= kFirstUserVariableSlot) {
    name = g_user_names.at(slot - kFirstUserVariableSlot);
  }
  return name != nullptr ? name : "<unknown variable>";
}

bool Variable_BindSlot(const char* name, int32_t slot) {
  if (slot < kFirstUserVariableSlot) return false;
  const int32_t row = slot - kFirstUserVariableSlot;
  // A row that changes its name gives up the old name's map entry.
  if (const char* old = g_user_names.at(row); old != nullptr && user_slot(old) == slot) user_slots().Delete(old);
  g_user_names.set(row, name);
  g_instance_names.set(row, name);
  user_slots().Insert(g_user_names.at(row), slot);
  if (row + 1 > g_user_rows) g_user_rows = row + 1;
  return true;
}

int32_t Variable_UserSlotCount() { return g_user_rows; }

void Variable_SizeNameTables(int32_t global_count, int32_t instance_count) {
  g_global_names.resize_empty(global_count);
  g_user_names.reserve(instance_count);
}

int32_t Variable_AddGlobalName(const char* name) {
  int32_t row = g_global_names.first_free();
  if (row < 0) row = g_global_names.size();
  g_global_names.set(row, name);
  return row;
}

int32_t Variable_GlobalNameRows() { return g_global_names.size(); }

const char* Variable_GlobalName(int32_t row) { return g_global_names.at(row); }

void Variable_AllocInstanceNames(int32_t rows) {
  g_instance_names.resize_empty(rows);
  for (int32_t row = 0; row < g_user_names.size(); ++row) {
    if (const char* name = g_user_names.at(row)) g_instance_names.set(row, name);
  }
}

int32_t Variable_InstanceNameRows() { return g_instance_names.size(); }

const char* Variable_InstanceName(int32_t row) { return g_instance_names.at(row); }

void Variable_ResetNames() {
  builtin_ids().Clear();
  user_slots().Clear();
  g_builtin_names.clear();
  g_user_names.clear();
  g_global_names.clear();
  g_instance_names.clear();
  g_user_rows = 0;
}
