#pragma once
// The orders section of the assets manifest: the one place that fixes every order the compiled
// program and the data file must agree on. The manifest's leading `key = value` lines belong to
// the data-file builder; from the first `[section]` line on, the file holds these sections, each at
// most once, one entry per line, blank lines and whole-line `#` comments allowed:
//
//   [functions]           compiled code rows in function-table order; a row's position is the code
//                         index the data file uses. Each line is a full compiled name, a script's
//                         optionally followed by `constructor`:
//                         tsl_Script_<name>        a script (SCPT record <name>)
//                         tsl_GlobalScript_<name>  a script file's top-level code (SCPT record and
//                                                  a GLOB entry, run at game start in this order)
//                         tsl_Object_<object>_<Event>_<n>, tsl_RoomCC_<room>  event bodies
//   [instance_variables]  builtin variable rows that apply to instances, in id order: `<name>` or
//                         `<name> r` for a read-only row
//   [global_variables]    the global rows after them, in the same form
//   [registrars]          `<Family> <function> <header>`: builtin registrars in registration order,
//                         grouped by family in the families' fixed order (HighScore .. Multiplayer)
//   [sprites] [sounds] [fonts] [shaders] [curves] [objects] [rooms] [tags]
//                         the game's assets with their indexes, read by the data-file builder
//                         (tools/datawin/builder/asset_manifest.h) and skipped here
//
// Errors name the source and line: an unknown section or repeated one, a bad or repeated name, an
// unknown family, a family out of order. Generators (tools/manifest/main.cpp) turn a parsed
// manifest into C++ so the program's tables come from the same text as the data file.
#include <string>
#include <vector>

namespace manifest {

enum class CodeKind { kScript, kGlobalScript, kObjectEvent, kRoomCode };

struct CodeRow {
  std::string name;         // the compiled function's name
  CodeKind kind = CodeKind::kScript;
  std::string script_name;  // for scripts and global scripts: the name behind the prefix
  bool constructor = false;  // a script written `tsl_Script_<name> constructor`: `new` may build with it
};

struct VariableRow {
  std::string name;
  bool read_only = false;
};

struct RegistrarRow {
  int family = 0;  // position in kFamilyNames
  std::string function;
  std::string header;
};

struct Orders {
  std::vector<CodeRow> functions;
  std::vector<VariableRow> instance_variables;
  std::vector<VariableRow> global_variables;
  std::vector<RegistrarRow> registrars;
};

// The builtin families in their registration order; the C++ enumerators are kFamily<name>.
extern const char* const kFamilyNames[];
extern const int kFamilyNameCount;

// The sections that list the game's assets; the orders parser accepts and skips them.
extern const char* const kAssetSections[];
extern const int kAssetSectionCount;

// Text helpers of the manifest's parsers: blanks cut from both ends; a line's words; a C name.
std::string trim(const std::string& text);
std::vector<std::string> words(const std::string& line);
bool is_identifier(const std::string& text);

// Whether a manifest line opens the orders part (a `[section]` line).
bool is_section_line(const std::string& trimmed_line);

// Parses the sections of `text` (lines before the first section are skipped). On failure returns
// false with "<source>:<line>: <what>" in *error.
bool parse_orders(const std::string& text, const std::string& source, Orders* out, std::string* error);

// Generated sources. Each begins with a line saying it is generated and from what.
// Run_InstallBuiltinRegistrars() adding every registrar in order, with the headers it needs.
std::string emit_registrars(const Orders& orders);
// A header of kBuiltinVar_<name> id constants, kBuiltinInstanceVariableCount and kBuiltinVariableCount.
std::string emit_variable_ids(const Orders& orders);
// The compiled script table: declarations of every row's function and g_CompiledScriptRows /
// g_CompiledScriptRowCount in function-table order. The declarations are weak: a row whose code
// is not in the program yet (the manifest may name functions ahead of their code) holds a null
// entry, which runs nothing.
std::string emit_script_table(const Orders& orders);

}  // namespace manifest
