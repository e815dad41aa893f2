#pragma once
// The asset sections of the manifest: what the game's data file holds, kind by kind, each entry
// with its asset index. An entry's index is a number (a fixed index the game's scripts rely on) or
// `-` (the lowest slot no fixed entry takes, in the order of the lines). Options are `key=value`
// words or bare flags; file paths are relative to the manifest's folder or a generated folder.
//
//   [sprites]  <index> <name> [file=sprites/<name>.png] [frames=1] [origin=centre|X,Y] [speed=15]
//              [precise]                 a PNG strip of equal frames side by side
//   [sounds]   <index> <name> [file=sounds/<name>.ogg] [gain=1] [music]
//   [fonts]    <index> <name> file=<font file> size=<pixels> [first=32] [last=126] [smooth]
//   [shaders]  <index> <name> [file=shaders/<name>]     reads <file>.vsh and <file>.fsh (GLSL)
//   [curves]   curve <index> <name>
//              channel <name> [linear|smooth|bezier] <x>:<value> ...
//   [objects]  <index> <name> [sprite=<sprite>] [mask=<sprite>] [parent=<object>] [depth=0]
//              [visible=1] [solid] [persistent]      events come from the [functions] rows
//   [rooms]    room <index> <name> [speed=60] [colour=RRGGBB] [width=640] [height=360] [persistent]
//              layer <name> instances|background [depth=0] [sprite=<sprite>]
//              instance <object> <x> <y>             on the room's last instance layer
//   [tags]     <asset name> <tag>[, <tag> ...]
//
// Errors name the manifest and the line: an unknown option or flag, a bad number, a name used
// twice in a kind, a fixed index taken twice, a reference to an asset that doesn't exist.
#include <cstdint>
#include <string>
#include <vector>

namespace datawin {

// An entry's place in the manifest, for messages.
struct SourceLine {
  int line = 0;
};

struct SpriteEntry {
  SourceLine at;
  int32_t index = -1;  // -1: the next free slot
  std::string name;
  std::string file;
  int frames = 1;
  bool origin_centre = true;
  int32_t origin_x = 0, origin_y = 0;
  float speed = 15.0f;
  bool precise = false;
};

struct SoundEntry {
  SourceLine at;
  int32_t index = -1;
  std::string name;
  std::string file;
  float gain = 1.0f;
  bool music = false;
};

struct FontEntry {
  SourceLine at;
  int32_t index = -1;
  std::string name;
  std::string file;
  int size = 12;
  int first = 32;
  int last = 126;
  bool smooth = false;
};

struct ShaderEntry {
  SourceLine at;
  int32_t index = -1;
  std::string name;
  std::string file;         // without the .vsh / .fsh extension
  std::string vertex_file;  // the .vsh's stem: another shader's vertex program may be shared
};

struct CurvePoint {
  float x = 0, value = 0;
};
struct CurveChannelEntry {
  std::string name;
  int32_t type = 0;
  std::vector<CurvePoint> points;
};
struct CurveEntry {
  SourceLine at;
  int32_t index = -1;
  std::string name;
  std::vector<CurveChannelEntry> channels;
};

struct ObjectEntry {
  SourceLine at;
  int32_t index = -1;
  std::string name;
  std::string sprite, mask, parent;
  int32_t depth = 0;
  bool visible = true, solid = false, persistent = false;
};

struct InstanceEntry {
  SourceLine at;
  std::string object;
  int32_t x = 0, y = 0;
};
struct LayerEntry {
  SourceLine at;
  std::string name;
  bool instances = true;  // else a background layer
  int32_t depth = 0;
  std::string sprite;
  std::vector<InstanceEntry> placed;
};
struct RoomEntry {
  SourceLine at;
  int32_t index = -1;
  std::string name;
  int32_t speed = 60;
  uint32_t colour = 0;
  int32_t width = 640, height = 360;
  bool persistent = false;
  std::vector<LayerEntry> layers;
};

struct TagEntry {
  SourceLine at;
  std::string asset;
  std::vector<std::string> tags;
};

struct AssetManifest {
  std::vector<SpriteEntry> sprites;
  std::vector<SoundEntry> sounds;
  std::vector<FontEntry> fonts;
  std::vector<ShaderEntry> shaders;
  std::vector<CurveEntry> curves;
  std::vector<ObjectEntry> objects;
  std::vector<RoomEntry> rooms;
  std::vector<TagEntry> tags;
};

// Parses the asset sections of `text`; on failure returns false with "<source>:<line>: <what>".
bool parse_asset_sections(const std::string& text, const std::string& source, AssetManifest* out, std::string* error);

// Gives every entry of a kind its final index: fixed ones keep theirs, the others take the lowest
// free slots in line order. Returns the table size, or -1 with "<source>:<line>: <what>" when a
// fixed index is taken twice or a name is used twice.
template <typename Entry>
int32_t assign_indexes(std::vector<Entry>& entries, const std::string& source, const char* kind, std::string* error);

}  // namespace datawin
