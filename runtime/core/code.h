#pragma once
// Code objects and script resources. All game code is native: a CCode is only a reference to a
// row of the compiled-script table (g_CodeTables), and running it calls the row's function in the
// shape its name says: a script ("tsl_Script..." or "tsl_GlobalScript...") with the script shape
// and no arguments, anything else (object events, room creation code) with the event shape.
//
// CScript is a script resource of the data file, bound at preparation to its row by code index;
// the top bit of the record's code index marks a constructor. Script indexes that scripts see
// (100000 + n) name row n of the compiled table, as the call path does.
//
// Code lists (the global initialisers of GLOB, the game-end code of GMEN) run as code objects on
// the global object. Main thread only.
#include <cstdint>
#include <string>
#include <vector>

#include "core/rvalue.h"

struct KVScriptRow;
class KVObjectBase;

class CCode {
 public:
  explicit CCode(int32_t code_index);

  int32_t index() const { return index_; }
  const KVScriptRow* row() const { return row_; }
  const char* name() const { return name_; }  // the row's full name; "" without a row
  bool is_script() const { return is_script_; }

 private:
  int32_t index_;
  const KVScriptRow* row_;
  const char* name_;
  bool is_script_;
};

// Runs a code object on self and other; result (may be null) takes a script's result. False when
// the code has no row or no function. With -oldexec nothing runs and the answer is true.
bool Code_Execute(CInstance* self, CInstance* other, CCode* code, RValue* result, int flags);
void Code_SetOldExec(bool old_exec);

class CScript {
 public:
  CScript(const char* name, int32_t code_index, bool constructor);

  const std::string& name() const { return name_; }
  int32_t code_index() const { return code_index_; }
  bool constructor() const { return constructor_; }
  const KVScriptRow* row() const;  // null when the code index names no row
  CCode& code() { return code_; }
  // The script's static struct, made on first use; null without a row.
  KVObjectBase* static_struct() const;

 private:
  std::string name_;
  int32_t code_index_;
  bool constructor_;
  CCode code_;
};

// One SCPT record as the binder takes it: the code index with its top bit (the constructor mark).
struct ScriptRecord {
  const char* name = nullptr;  // null: an empty slot of the list
  uint32_t code_word = 0;
};

// Binds script resources to their rows: the "[[Method]]" prototype is made first, then each
// record's row gets its constructor flag. Replaces what an earlier round bound. False when a
// record names a row outside the compiled table.
bool Script_Bind(const std::vector<ScriptRecord>& records);
void Script_UnbindAll();
int32_t Script_Count();
CScript* Script_Get(int32_t index);  // null for an empty or missing slot
// Reads the SCPT chunk's records (with their constructor bits) from a data image; false when the
// image or the chunk is damaged. An image without SCPT gives an empty list.
bool Script_ReadRecords(const uint8_t* image, uint32_t size, std::vector<ScriptRecord>* records);

// Whether script index (100000 + row) names a row of the compiled table.
bool Script_Exists(int32_t script_index);
// The name of a script index: the bound resource's name, else the row's name without its
// "tsl_Script_" prefix; "<undefined>" below 0, "<unknown>" past the table.
std::string Script_Name(int32_t script_index);

// Runs each code index on the global object, in order; stop_when_ending stops the run once
// New_Room is the end request. False when the run was stopped.
bool Code_RunList(const std::vector<int32_t>& code_indices, bool stop_when_ending);

// The script lookup of Function_Find: a row's full name, or a script's name, gives its row.
void Code_InstallScriptLookup();
