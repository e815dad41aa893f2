#include "datawin/builder/game_build.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "datawin/builder/font_raster.h"
#include "datawin/builder/texture_packer.h"
#include "datawin/format/asset_kind.h"
#include "datawin/format/options_layout.h"
#include "datawin/format/room_layout.h"
#include "datawin/format/sprite_layout.h"
#include "datawin/format/texture_layout.h"
#include "datawin/writer/chunk_audio.h"
#include "datawin/writer/chunk_code_lists.h"
#include "datawin/writer/chunk_font.h"
#include "datawin/writer/chunk_gen8.h"
#include "datawin/writer/chunk_objects.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/chunk_rooms.h"
#include "datawin/writer/chunk_shdr.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"
#include "image/image.h"

namespace datawin {

namespace {

// The vertex inputs a GLSL program declares (`in <type> <name>;` at the start of a line), in order:
// the attribute names of its SHDR record.
std::vector<std::string> vertex_inputs(const std::string& source) {
  std::vector<std::string> names;
  std::istringstream in(source);
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line);
    std::string keyword, type, name;
    if (!(words >> keyword >> type >> name) || keyword != "in") continue;
    if (!name.empty() && name.back() == ';') name.pop_back();
    names.push_back(name);
  }
  return names;
}
constexpr int32_t kFirstInstanceId = 100001;
constexpr uint32_t kSoundDecodeOnLoad = 103;  // decoded to PCM once, at load
constexpr uint32_t kSoundCompressed = 102;    // kept compressed, decoded while it plays

struct EventName {
  const char* name;
  int32_t type;
};
constexpr EventName kEventNames[] = {
    {"Create", 0}, {"Destroy", 1}, {"Alarm", 2},      {"Step", 3},     {"Collision", 4},
    {"Keyboard", 5}, {"Mouse", 6}, {"Other", 7},      {"Draw", 8},     {"KeyPress", 9},
    {"KeyRelease", 10}, {"CleanUp", 12}, {"Gesture", 13}, {"PreCreate", 14},
};

class Builder {
 public:
  Builder(const Manifest& manifest, const AssetManifest& assets, const BuildOptions& options)
      : manifest_(manifest), assets_(assets), options_(options) {}

  Writer build();

 private:
  [[noreturn]] void fail_at(const SourceLine& at, const std::string& what) const {
    throw BuildError(options_.manifest_path + ":" + std::to_string(at.line) + ": " + what);
  }
  void step(const std::string& what) {
    if (options_.progress) options_.progress(what);
  }
  std::string find_file(const SourceLine& at, const std::string& what, const std::string& relative) const;
  std::vector<uint8_t> read_bytes(const std::string& path) const;
  template <typename Entry>
  int32_t index_table(std::vector<Entry>& entries, const char* kind, std::map<std::string, int32_t>* names);

  void load_sprites();
  void load_fonts();
  void add_header();
  void add_sounds();
  void add_sprites();
  void add_code_chunks();
  void add_shaders();
  void add_fonts();
  void add_objects();
  void add_curves();
  void add_rooms();
  void add_tags();
  void add_textures();

  int32_t sprite_ref(const SourceLine& at, const std::string& name, const char* what) const {
    if (name.empty()) return -1;
    const auto found = sprite_index_.find(name);
    if (found == sprite_index_.end()) fail_at(at, std::string(what) + " names sprite \"" + name + "\", which [sprites] does not list");
    return found->second;
  }
  int32_t object_ref(const SourceLine& at, const std::string& name, const char* what) const {
    const auto found = object_index_.find(name);
    if (found == object_index_.end()) fail_at(at, std::string(what) + " names object \"" + name + "\", which [objects] does not list");
    return found->second;
  }

  const Manifest& manifest_;
  AssetManifest assets_;
  const BuildOptions& options_;
  Writer writer_;
  TexturePacker packer_;
  std::vector<Label> entry_labels_;

  struct SpriteData {
    std::vector<kimage::Image> frames;
    std::vector<int> handles;
  };
  std::map<std::string, int32_t> sprite_index_, sound_index_, font_index_, shader_index_, curve_index_, object_index_,
      room_index_;
  int32_t sprite_count_ = 0, sound_count_ = 0, font_count_ = 0, shader_count_ = 0, curve_count_ = 0, object_count_ = 0,
          room_count_ = 0;
  std::vector<SpriteData> sprite_data_;  // by entry
  std::vector<RasterFont> font_data_;    // by entry
  std::vector<int> font_handles_;
  std::vector<std::optional<std::vector<uint8_t>>> audio_blobs_;
  std::vector<CodeRecord> code_records_;
  std::vector<std::optional<RoomRecord>> room_records_;
  int32_t last_instance_id_ = kFirstInstanceId - 1;
};

std::string Builder::find_file(const SourceLine& at, const std::string& what, const std::string& relative) const {
  namespace fs = std::filesystem;
  if (fs::path(relative).is_absolute()) {
    if (fs::is_regular_file(relative)) return relative;
    fail_at(at, what + ": file " + relative + " not found");
  }
  std::vector<std::string> dirs = {fs::path(options_.manifest_path).parent_path().string()};
  dirs.insert(dirs.end(), options_.search_dirs.begin(), options_.search_dirs.end());
  std::string looked;
  for (const std::string& dir : dirs) {
    const fs::path candidate = fs::path(dir.empty() ? "." : dir) / relative;
    if (fs::is_regular_file(candidate)) return candidate.string();
    looked += (looked.empty() ? "" : ", ") + (dir.empty() ? std::string(".") : dir);
  }
  fail_at(at, what + ": file " + relative + " not found (looked in " + looked + ")");
}

std::vector<uint8_t> Builder::read_bytes(const std::string& path) const {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw BuildError(path + ": cannot read the file");
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

template <typename Entry>
int32_t Builder::index_table(std::vector<Entry>& entries, const char* kind, std::map<std::string, int32_t>* names) {
  std::string error;
  const int32_t size = assign_indexes(entries, options_.manifest_path, kind, &error);
  if (size < 0) throw BuildError(error);
  for (const Entry& e : entries) (*names)[e.name] = e.index;
  return size;
}

void Builder::load_sprites() {
  step("reading " + std::to_string(assets_.sprites.size()) + " sprites");
  for (const SpriteEntry& e : assets_.sprites) {
    const std::string path = find_file(e.at, "sprite \"" + e.name + "\"", e.file);
    kimage::Image strip;
    std::string error;
    if (!kimage::read_png(path, &strip, &error)) throw BuildError(error);
    if (strip.width % e.frames != 0) {
      throw BuildError(path + ": " + std::to_string(strip.width) + " pixels wide, not a strip of " + std::to_string(e.frames) +
                       " equal frames");
    }
    SpriteData data;
    const int w = strip.width / e.frames;
    for (int f = 0; f < e.frames; ++f) {
      data.frames.push_back(strip.crop(f * w, 0, w, strip.height));
      data.handles.push_back(packer_.add(data.frames.back()));
    }
    sprite_data_.push_back(std::move(data));
  }
}

void Builder::load_fonts() {
  step("rasterising " + std::to_string(assets_.fonts.size()) + " fonts");
  for (const FontEntry& e : assets_.fonts) {
    const std::string path = find_file(e.at, "font \"" + e.name + "\"", e.file);
    try {
      font_data_.push_back(rasterise_font(path, e.size, e.first, e.last, e.smooth));
    } catch (const std::runtime_error& failure) {
      throw BuildError(failure.what());
    }
    font_handles_.push_back(packer_.add(font_data_.back().atlas, false));
  }
}

void Builder::add_header() {
  Gen8Record header;
  header.debug_off = manifest_.debug_off;
  header.version = static_cast<uint8_t>(manifest_.version);
  header.file_name = manifest_.name;
  header.project_name = manifest_.project;
  header.display_name = manifest_.display_name;
  header.game_id = manifest_.game_id;
  header.generation = manifest_.generation;
  header.window_width = manifest_.window_width;
  header.window_height = manifest_.window_height;
  header.info_flags = manifest_.info_flags;
  header.room_order = manifest_.room_order;
  if (header.room_order.empty()) {
    for (const RoomEntry& room : assets_.rooms) header.room_order.push_back(static_cast<uint32_t>(room.index));
    std::sort(header.room_order.begin(), header.room_order.end());
  }
  for (uint32_t room : header.room_order) {
    if (static_cast<int32_t>(room) >= room_count_) {
      throw BuildError(options_.manifest_path + ": room_order names room " + std::to_string(room) + ", which [rooms] does not hold");
    }
  }
  header.last_instance_id = static_cast<uint32_t>(last_instance_id_);
  header.game_speed = manifest_.speed;
  header.build_time = 0;  // builds are reproducible: the same sources give the same bytes
  add_gen8(writer_, header);
  OptnRecord options;
  options.flags = optn::kDefaultFlags;
  // The game's drawing starts white: its words take their colours from tags, over the draw colour.
  options.constants.push_back({"@@DrawColour", "4294967295"});
  add_optn(writer_, options);
}

void Builder::add_sounds() {
  step("reading " + std::to_string(assets_.sounds.size()) + " sounds");
  std::vector<std::optional<SoundRecord>> records(static_cast<size_t>(sound_count_));
  std::vector<std::optional<std::vector<uint8_t>>> blobs;
  for (const SoundEntry& e : assets_.sounds) {
    const std::string path = find_file(e.at, "sound \"" + e.name + "\"", e.file);
    std::vector<uint8_t> bytes = read_bytes(path);
    if (bytes.size() < 4 || std::memcmp(bytes.data(), "OggS", 4) != 0) throw BuildError(path + ": not an Ogg Vorbis file");
    SoundRecord record;
    record.name = e.name;
    record.kind = static_cast<int32_t>(e.music ? kSoundCompressed : kSoundDecodeOnLoad);
    record.file_name = std::filesystem::path(e.file).filename().string();
    record.gain = e.gain;
    record.group = 0;
    record.audo_index = static_cast<int32_t>(blobs.size());
    blobs.push_back(std::move(bytes));
    records[static_cast<size_t>(e.index)] = record;
  }
  add_sond(writer_, records);
  add_agrp(writer_, {std::string("audiogroup_default")});
  audio_blobs_ = std::move(blobs);
}

void Builder::add_sprites() {
  std::vector<std::optional<SpriteRecord>> records(static_cast<size_t>(sprite_count_));
  for (size_t i = 0; i < assets_.sprites.size(); ++i) {
    const SpriteEntry& e = assets_.sprites[i];
    const SpriteData& data = sprite_data_[i];
    SpriteRecord r;
    r.name = e.name;
    r.width = data.frames[0].width;
    r.height = data.frames[0].height;
    // The box around every opaque pixel of every frame.
    int left = r.width, top = r.height, right = -1, bottom = -1;
    for (const kimage::Image& frame : data.frames) {
      kimage::Bounds box;
      if (!kimage::opaque_bounds(frame, &box)) continue;
      left = std::min(left, box.left);
      right = std::max(right, box.right);
      top = std::min(top, box.top);
      bottom = std::max(bottom, box.bottom);
    }
    if (right < 0) left = top = right = bottom = 0;
    r.bbox_left = left;
    r.bbox_right = right;
    r.bbox_top = top;
    r.bbox_bottom = bottom;
    r.transparent = true;
    r.x_origin = e.origin_centre ? r.width / 2 : e.origin_x;
    r.y_origin = e.origin_centre ? r.height / 2 : e.origin_y;
    r.speed = e.speed;
    r.speed_type = 0;  // frames per second
    r.form = SpriteForm::kNew;
    r.version = 1;
    if (e.precise) {
      r.collision_kind = sprt::kCollisionPrecise;
      for (const kimage::Image& frame : data.frames) {
        std::vector<uint8_t> mask(sprt::mask_bytes(frame.width, frame.height), 0);
        const uint32_t row = sprt::mask_row_bytes(frame.width);
        for (int y = 0; y < frame.height; ++y) {
          for (int x = 0; x < frame.width; ++x) {
            if (frame.at(x, y).a != 0) mask[y * row + x / 8] |= static_cast<uint8_t>(0x80 >> (x & 7));
          }
        }
        r.masks.push_back(std::move(mask));
      }
    }
    for (int handle : data.handles) r.frames.push_back(Ref{entry_labels_[static_cast<size_t>(handle)], 0});
    records[static_cast<size_t>(e.index)] = std::move(r);
  }
  add_sprt(writer_, manifest_.generation, records);
}

void Builder::add_code_chunks() {
  const FunctionTableChunks chunks = function_table_chunks(manifest_.orders.functions);
  add_scpt(writer_, chunks.scripts);
  add_glob(writer_, chunks.global_init);
  std::vector<CodeRecord> code;
  for (const manifest::CodeRow& row : manifest_.orders.functions) {
    CodeRecord record;
    record.name = row.name;
    code.push_back(std::move(record));
  }
  code_records_ = std::move(code);
}

void Builder::add_shaders() {
  std::vector<std::optional<ShaderRecord>> records(static_cast<size_t>(shader_count_));
  for (const ShaderEntry& e : assets_.shaders) {
    ShaderRecord r;
    r.name = e.name;
    r.kind = 1;
    for (int stage = 0; stage < 2; ++stage) {
      const std::string path =
          find_file(e.at, "shader \"" + e.name + "\"", stage == 0 ? e.vertex_file + ".vsh" : e.file + ".fsh");
      const std::vector<uint8_t> bytes = read_bytes(path);
      const std::string text(bytes.begin(), bytes.end());
      if (text.find("#version") == std::string::npos || text.find("main") == std::string::npos) {
        throw BuildError(path + ": not a GLSL program (no #version line or no main)");
      }
      if (text.find('\0') != std::string::npos) throw BuildError(path + ": holds a zero byte");
      r.programs[stage] = text;
    }
    r.attributes = vertex_inputs(r.programs[0]);
    if (r.attributes.empty()) fail_at(e.at, "shader \"" + e.name + "\": its vertex program declares no inputs");
    records[static_cast<size_t>(e.index)] = std::move(r);
  }
  add_shdr(writer_, records);
}

void Builder::add_fonts() {
  std::vector<std::optional<FontRecord>> records(static_cast<size_t>(font_count_));
  for (size_t i = 0; i < assets_.fonts.size(); ++i) {
    const FontEntry& e = assets_.fonts[i];
    const RasterFont& font = font_data_[i];
    FontRecord r;
    r.name = e.name;
    r.display_name = font.family;
    // The size is the line height in pixels, so that the size and the height of a glyph agree.
    r.size = static_cast<float>(font.line_height);
    r.bold = font.bold;
    r.italic = font.italic;
    r.first_char = static_cast<uint32_t>(e.first);
    r.last_char = e.last;
    r.antialias = e.smooth ? 4 : 0;
    r.page_entry = Ref{entry_labels_[static_cast<size_t>(font_handles_[i])], 0};
    r.ascender = font.ascender;
    r.ascender_offset = 0;
    r.glyphs = font.glyphs;
    records[static_cast<size_t>(e.index)] = std::move(r);
  }
  add_font(writer_, manifest_.version, records);
}

void Builder::add_objects() {
  std::vector<std::optional<ObjectRecord>> records(static_cast<size_t>(object_count_));
  for (const ObjectEntry& e : assets_.objects) {
    ObjectRecord r;
    r.name = e.name;
    r.sprite = sprite_ref(e.at, e.sprite, "sprite=");
    r.mask = sprite_ref(e.at, e.mask, "mask=");
    r.parent = e.parent.empty() ? -1 : object_ref(e.at, e.parent, "parent=");
    r.depth = e.depth;
    r.visible = e.visible;
    r.solid = e.solid;
    r.persistent = e.persistent;
    records[static_cast<size_t>(e.index)] = std::move(r);
  }
  // Parents must not loop.
  for (const ObjectEntry& e : assets_.objects) {
    int32_t at = records[static_cast<size_t>(e.index)]->parent;
    for (int32_t steps = 0; at >= 0; ++steps) {
      if (at == e.index || steps > object_count_) fail_at(e.at, "object \"" + e.name + "\" is its own ancestor");
      at = records[static_cast<size_t>(at)]->parent;
    }
  }
  // Events: every tsl_Object_<object>_<Event>_<n> row, bound by its code index.
  const std::vector<manifest::CodeRow>& rows = manifest_.orders.functions;
  for (size_t index = 0; index < rows.size(); ++index) {
    const manifest::CodeRow& row = rows[index];
    if (row.kind != manifest::CodeKind::kObjectEvent) continue;
    const std::string body = row.name.substr(std::strlen("tsl_Object_"));
    bool bound = false;
    for (const ObjectEntry& e : assets_.objects) {
      if (body.compare(0, e.name.size() + 1, e.name + "_") != 0) continue;
      const std::string rest = body.substr(e.name.size() + 1);
      const size_t cut = rest.rfind('_');
      if (cut == std::string::npos) continue;
      const int32_t type = event_type_of(rest.substr(0, cut));
      char* end = nullptr;
      const long subtype = std::strtol(rest.c_str() + cut + 1, &end, 10);
      if (type < 0 || *end != '\0' || cut + 1 == rest.size() || subtype < 0) continue;
      records[static_cast<size_t>(e.index)]->events.push_back(
          ObjectEvent{type, static_cast<int32_t>(subtype), static_cast<int32_t>(index)});
      bound = true;
      break;
    }
    if (!bound) {
      throw BuildError(options_.manifest_path + ": function row \"" + row.name +
                       "\" is not tsl_Object_<object>_<Event>_<n> of an object that [objects] lists");
    }
  }
  add_objt(writer_, records, manifest_.version);
}

void Builder::add_curves() {
  std::vector<std::optional<AnimCurveRecord>> records(static_cast<size_t>(curve_count_));
  for (const CurveEntry& e : assets_.curves) {
    if (e.channels.empty()) fail_at(e.at, "curve \"" + e.name + "\" has no channel");
    AnimCurveRecord r;
    r.name = e.name;
    r.channels.clear();
    for (const CurveChannelEntry& c : e.channels) {
      CurveChannelRecord channel;
      channel.name = c.name;
      channel.type = c.type;
      channel.points.clear();
      for (const CurvePoint& p : c.points) channel.points.push_back(CurvePointRecord{p.x, p.value, 0, 0, 0, 0});
      r.channels.push_back(std::move(channel));
    }
    records[static_cast<size_t>(e.index)] = std::move(r);
  }
  add_acrv(writer_, records);
}

void Builder::add_rooms() {
  std::vector<std::optional<RoomRecord>> records(static_cast<size_t>(room_count_));
  int32_t next_id = kFirstInstanceId;
  for (const RoomEntry& e : assets_.rooms) {
    RoomRecord r;
    r.name = e.name;
    r.width = e.width;
    r.height = e.height;
    r.speed = e.speed;
    r.persistent = e.persistent;
    r.colour = e.colour;
    r.show_colour = true;
    int32_t layer_id = 1;
    for (const LayerEntry& layer : e.layers) {
      RoomLayerRecord l;
      l.name = layer.name;
      l.id = layer_id++;
      l.depth = layer.depth;
      if (layer.instances) {
        l.kind = layer::kKindInstances;
        for (const InstanceEntry& placed : layer.placed) {
          RoomPlacementRecord p;
          p.x = placed.x;
          p.y = placed.y;
          p.object = object_ref(placed.at, placed.object, "instance");
          p.id = next_id++;
          r.placements.push_back(p);
          l.instances.push_back(p.id);
        }
      } else {
        l.kind = layer::kKindBackground;
        l.background.sprite = sprite_ref(layer.at, layer.sprite, "sprite=");
      }
      r.layers.push_back(std::move(l));
    }
    records[static_cast<size_t>(e.index)] = std::move(r);
  }
  last_instance_id_ = next_id - 1;
  room_records_ = std::move(records);
}

void Builder::add_tags() {
  std::vector<std::string> names;
  std::vector<TagsAsset> tagged;
  const std::pair<const std::map<std::string, int32_t>*, AssetKind> kTables[] = {
      {&object_index_, kAssetObject}, {&sprite_index_, kAssetSprite}, {&sound_index_, kAssetSound},
      {&room_index_, kAssetRoom},     {&font_index_, kAssetFont},     {&shader_index_, kAssetShader},
      {&curve_index_, kAssetAnimCurve}};
  for (const TagEntry& e : assets_.tags) {
    std::optional<uint32_t> key;
    for (const auto& [table, kind] : kTables) {
      const auto found = table->find(e.asset);
      if (found != table->end()) key = asset_key(kind, found->second);
    }
    if (!key) fail_at(e.at, "tags name \"" + e.asset + "\", which is no asset of the manifest");
    for (const std::string& tag : e.tags) {
      if (std::find(names.begin(), names.end(), tag) == names.end()) names.push_back(tag);
    }
    auto existing = std::find_if(tagged.begin(), tagged.end(), [&](const TagsAsset& t) { return t.key == *key; });
    if (existing == tagged.end()) {
      tagged.push_back(TagsAsset{*key, e.tags});
    } else {
      existing->tags.insert(existing->tags.end(), e.tags.begin(), e.tags.end());
    }
  }
  datawin::add_tags(writer_, names, tagged);
}

void Builder::add_textures() {
  std::vector<std::optional<TpagEntry>> entries;
  for (size_t handle = 0; handle < entry_labels_.size(); ++handle) {
    const PagePlacement& p = packer_.placement(static_cast<int>(handle));
    TpagEntry t;
    t.x = static_cast<uint16_t>(p.x);
    t.y = static_cast<uint16_t>(p.y);
    t.w = static_cast<uint16_t>(p.w);
    t.h = static_cast<uint16_t>(p.h);
    t.x_offset = static_cast<uint16_t>(p.x_offset);
    t.y_offset = static_cast<uint16_t>(p.y_offset);
    t.crop_width = static_cast<uint16_t>(p.w);
    t.crop_height = static_cast<uint16_t>(p.h);
    t.original_width = static_cast<uint16_t>(p.original_width);
    t.original_height = static_cast<uint16_t>(p.original_height);
    t.texture = static_cast<int16_t>(p.page);
    entries.push_back(t);
  }
  add_tpag(writer_, entries, entry_labels_);
  TginRecord group;
  group.name = "Default";
  for (size_t page = 0; page < packer_.pages().size(); ++page) group.lists[tgin::kListTextures].push_back(static_cast<int32_t>(page));
  for (const SpriteEntry& e : assets_.sprites) group.lists[tgin::kListSprites].push_back(e.index);
  for (const FontEntry& e : assets_.fonts) group.lists[tgin::kListFonts].push_back(e.index);
  add_tgin(writer_, {group});
  step("encoding " + std::to_string(packer_.pages().size()) + " texture pages");
  std::vector<std::optional<TxtrRecord>> pages;
  for (size_t i = 0; i < packer_.pages().size(); ++i) {
    const kimage::Image& page = packer_.pages()[i];
    TxtrRecord record;
    record.width = static_cast<uint16_t>(page.width);
    record.height = static_cast<uint16_t>(page.height);
    record.file_index = static_cast<int32_t>(i);
    record.data = kimage::encode_png(page);
    if (record.data.empty()) throw BuildError("texture page " + std::to_string(i) + ": the PNG encoder failed");
    pages.push_back(std::move(record));
  }
  add_txtr(writer_, pages);
}

Writer Builder::build() {
  sprite_count_ = index_table(assets_.sprites, "sprite", &sprite_index_);
  sound_count_ = index_table(assets_.sounds, "sound", &sound_index_);
  font_count_ = index_table(assets_.fonts, "font", &font_index_);
  shader_count_ = index_table(assets_.shaders, "shader", &shader_index_);
  curve_count_ = index_table(assets_.curves, "curve", &curve_index_);
  object_count_ = index_table(assets_.objects, "object", &object_index_);
  room_count_ = index_table(assets_.rooms, "room", &room_index_);

  load_sprites();
  load_fonts();
  step("packing " + std::to_string(packer_.unique_count()) + " images onto texture pages");
  if (!packer_.pack()) throw BuildError("an image is larger than a texture page of " + std::to_string(TexturePacker::kMaxPage) + " pixels");
  // One page entry per added image, in the order they were added.
  size_t images = 0;
  for (const SpriteData& data : sprite_data_) images += data.handles.size();
  images += font_handles_.size();
  entry_labels_ = new_labels(writer_, images);

  add_rooms();  // first: it counts the instance ids the header records
  add_header();
  add_sounds();
  add_sprites();
  add_code_chunks();
  add_shaders();
  add_fonts();
  add_objects();
  add_curves();
  add_room(writer_, room_records_);
  add_tags();
  add_textures();
  add_audo(writer_, audio_blobs_);
  add_code(writer_, manifest_.version, code_records_);
  writer_.add_strings_chunk();
  return std::move(writer_);
}

}  // namespace

int32_t event_type_of(const std::string& name) {
  for (const EventName& e : kEventNames) {
    if (name == e.name) return e.type;
  }
  return -1;
}

FunctionTableChunks function_table_chunks(const std::vector<manifest::CodeRow>& rows) {
  FunctionTableChunks chunks;
  for (size_t index = 0; index < rows.size(); ++index) {
    const manifest::CodeRow& row = rows[index];
    if (row.kind == manifest::CodeKind::kScript || row.kind == manifest::CodeKind::kGlobalScript) {
      // The top bit of the code word marks a constructor.
      const uint32_t word = static_cast<uint32_t>(index) | (row.constructor ? 0x80000000u : 0u);
      chunks.scripts.push_back(ScriptRecord{row.script_name, word});
    }
    if (row.kind == manifest::CodeKind::kGlobalScript) chunks.global_init.push_back(static_cast<int32_t>(index));
  }
  return chunks;
}

Writer build_game(const Manifest& manifest, const AssetManifest& assets, const BuildOptions& options) {
  return Builder(manifest, assets, options).build();
}

}  // namespace datawin
