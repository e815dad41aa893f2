#pragma once
// Turns the manifest and the source assets into the game's data file, in the chunk order the
// loader needs: GEN8, OPTN, SOND, AGRP, SPRT, SCPT, GLOB, SHDR, FONT, OBJT, ACRV, ROOM, TAGS,
// TPAG, TGIN, TXTR, AUDO, CODE, STRG. Sprites and font atlases are packed onto PNG texture pages;
// sounds go in as the Ogg Vorbis files they are; shaders as GLSL source; object events are bound
// to the code index of their `tsl_Object_<object>_<Event>_<n>` row of the function table.
//
// Every failure throws BuildError with one line that names the file (or the manifest line) and the
// problem: a missing or bad file, a frame count that doesn't divide a strip, a reference to an
// asset that doesn't exist, an event row of an unknown object.
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "datawin/builder/asset_manifest.h"
#include "datawin/builder/manifest.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/writer.h"

namespace datawin {

class BuildError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct BuildOptions {
  std::string manifest_path;             // for messages, and the first folder files are found in
  std::vector<std::string> search_dirs;  // further folders, in order (generated assets)
  std::function<void(const std::string&)> progress;  // one line per step, may be empty
};

Writer build_game(const Manifest& manifest, const AssetManifest& assets, const BuildOptions& options);

// The SCPT records and the GLOB list of a function order: a record for each script and global
// script, in row order, whose code word is the row (its top bit set for a constructor), and the
// global scripts' rows, which run at start in that order.
struct FunctionTableChunks {
  std::vector<std::optional<ScriptRecord>> scripts;
  std::vector<int32_t> global_init;
};
FunctionTableChunks function_table_chunks(const std::vector<manifest::CodeRow>& rows);

// The event type number of an event name as compiled function names spell it (Create, Step,
// Draw, Other, CleanUp, ...), or -1.
int32_t event_type_of(const std::string& name);

}  // namespace datawin
