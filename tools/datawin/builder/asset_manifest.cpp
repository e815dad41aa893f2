#include "datawin/builder/asset_manifest.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>

#include "datawin/format/sequence_layout.h"
#include "manifest/manifest_orders.h"

namespace datawin {

namespace {

enum class Section { kOther, kSprites, kSounds, kFonts, kShaders, kCurves, kObjects, kRooms, kTags };

bool to_int(const std::string& text, int64_t low, int64_t high, int64_t* out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  const long long value = std::strtoll(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || value < low || value > high) return false;
  *out = value;
  return true;
}

bool to_float(const std::string& text, float* out) {
  if (text.empty()) return false;
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (*end != '\0' || !std::isfinite(value)) return false;
  *out = static_cast<float>(value);
  return true;
}

// The options of one line: key=value words and bare flags, each checked against what the kind knows.
class Options {
 public:
  Options(const std::vector<std::string>& parts, size_t first) {
    for (size_t i = first; i < parts.size(); ++i) {
      const size_t eq = parts[i].find('=');
      if (eq == std::string::npos) {
        flags_.insert(parts[i]);
      } else {
        values_[parts[i].substr(0, eq)] = parts[i].substr(eq + 1);
      }
    }
  }
  // The first option or flag not in the lists, or "".
  std::string unknown(std::initializer_list<const char*> keys, std::initializer_list<const char*> flags) const {
    for (const auto& [key, value] : values_) {
      bool ok = false;
      for (const char* k : keys) ok = ok || key == k;
      if (!ok) return key + "=";
    }
    for (const std::string& flag : flags_) {
      bool ok = false;
      for (const char* f : flags) ok = ok || flag == f;
      if (!ok) return flag;
    }
    return "";
  }
  bool has(const char* key) const { return values_.count(key) != 0; }
  std::string get(const char* key, const std::string& fallback) const {
    const auto found = values_.find(key);
    return found == values_.end() ? fallback : found->second;
  }
  bool flag(const char* name) const { return flags_.count(name) != 0; }

 private:
  std::map<std::string, std::string> values_;
  std::set<std::string> flags_;
};

}  // namespace

bool parse_asset_sections(const std::string& text, const std::string& source, AssetManifest* out, std::string* error) {
  AssetManifest manifest;
  Section section = Section::kOther;
  int line_number = 0;
  auto fail = [&](const std::string& what) {
    *error = source + ":" + std::to_string(line_number) + ": " + what;
    return false;
  };
  auto index_of = [&](const std::string& word, int32_t* index) {
    if (word == "-") {
      *index = -1;
      return true;
    }
    int64_t value = 0;
    if (!to_int(word, 0, 0xFFFFFF, &value)) return fail("bad asset index \"" + word + "\": a number or -");
    *index = static_cast<int32_t>(value);
    return true;
  };
  auto name_of = [&](const std::string& word, std::string* name) {
    if (!manifest::is_identifier(word)) return fail("bad asset name \"" + word + "\"");
    *name = word;
    return true;
  };
  auto number = [&](const Options& options, const char* key, int64_t low, int64_t high, int64_t fallback, int64_t* value) {
    *value = fallback;
    if (!options.has(key)) return true;
    const std::string text = options.get(key, "");
    if (!to_int(text, low, high, value)) {
      return fail(std::string("\"") + key + "\" must be a whole number from " + std::to_string(low) + " to " +
                  std::to_string(high) + ", got \"" + text + "\"");
    }
    return true;
  };
  auto real = [&](const Options& options, const char* key, float fallback, float* value) {
    *value = fallback;
    if (!options.has(key)) return true;
    const std::string text = options.get(key, "");
    if (!to_float(text, value)) return fail(std::string("\"") + key + "\" must be a number, got \"" + text + "\"");
    return true;
  };
  auto known = [&](const Options& options, std::initializer_list<const char*> keys, std::initializer_list<const char*> flags) {
    const std::string bad = options.unknown(keys, flags);
    return bad.empty() || fail("unknown option \"" + bad + "\"");
  };

  std::istringstream in(text);
  for (std::string raw; std::getline(in, raw);) {
    ++line_number;
    const std::string line = manifest::trim(raw);
    if (line.empty() || line[0] == '#') continue;
    if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
      static const std::pair<const char*, Section> kNames[] = {
          {"sprites", Section::kSprites}, {"sounds", Section::kSounds}, {"fonts", Section::kFonts},
          {"shaders", Section::kShaders}, {"curves", Section::kCurves}, {"objects", Section::kObjects},
          {"rooms", Section::kRooms},     {"tags", Section::kTags}};
      section = Section::kOther;
      for (const auto& [name, value] : kNames) {
        if (line.substr(1, line.size() - 2) == name) section = value;
      }
      continue;
    }
    if (section == Section::kOther) continue;
    const std::vector<std::string> parts = manifest::words(line);
    switch (section) {
      case Section::kSprites: {
        if (parts.size() < 2) return fail("expected `<index> <name> [options]`");
        SpriteEntry e;
        e.at.line = line_number;
        if (!index_of(parts[0], &e.index) || !name_of(parts[1], &e.name)) return false;
        const Options o(parts, 2);
        if (!known(o, {"file", "frames", "origin", "speed"}, {"precise"})) return false;
        e.file = o.get("file", "sprites/" + e.name + ".png");
        int64_t frames = 1;
        if (!number(o, "frames", 1, 4096, 1, &frames)) return false;
        e.frames = static_cast<int>(frames);
        const std::string origin = o.get("origin", "centre");
        if (origin != "centre") {
          const size_t comma = origin.find(',');
          int64_t ox = 0, oy = 0;
          if (comma == std::string::npos || !to_int(origin.substr(0, comma), -16384, 16384, &ox) ||
              !to_int(origin.substr(comma + 1), -16384, 16384, &oy)) {
            return fail("\"origin\" must be centre or X,Y, got \"" + origin + "\"");
          }
          e.origin_centre = false;
          e.origin_x = static_cast<int32_t>(ox);
          e.origin_y = static_cast<int32_t>(oy);
        }
        if (!real(o, "speed", 15.0f, &e.speed)) return false;
        e.precise = o.flag("precise");
        manifest.sprites.push_back(std::move(e));
        break;
      }
      case Section::kSounds: {
        if (parts.size() < 2) return fail("expected `<index> <name> [options]`");
        SoundEntry e;
        e.at.line = line_number;
        if (!index_of(parts[0], &e.index) || !name_of(parts[1], &e.name)) return false;
        const Options o(parts, 2);
        if (!known(o, {"file", "gain"}, {"music"})) return false;
        e.file = o.get("file", "sounds/" + e.name + ".ogg");
        if (!real(o, "gain", 1.0f, &e.gain)) return false;
        e.music = o.flag("music");
        manifest.sounds.push_back(std::move(e));
        break;
      }
      case Section::kFonts: {
        if (parts.size() < 2) return fail("expected `<index> <name> file=<font> size=<pixels>`");
        FontEntry e;
        e.at.line = line_number;
        if (!index_of(parts[0], &e.index) || !name_of(parts[1], &e.name)) return false;
        const Options o(parts, 2);
        if (!known(o, {"file", "size", "first", "last"}, {"smooth"})) return false;
        if (!o.has("file")) return fail("font \"" + e.name + "\" needs file=<font file>");
        e.file = o.get("file", "");
        int64_t size = 0, first = 0, last = 0;
        if (!o.has("size")) return fail("font \"" + e.name + "\" needs size=<pixels>");
        if (!number(o, "size", 4, 256, 12, &size) || !number(o, "first", 1, 0xFFFF, 32, &first) ||
            !number(o, "last", 1, 0xFFFF, 126, &last)) {
          return false;
        }
        if (last < first) return fail("font \"" + e.name + "\": last is below first");
        e.size = static_cast<int>(size);
        e.first = static_cast<int>(first);
        e.last = static_cast<int>(last);
        e.smooth = o.flag("smooth");
        manifest.fonts.push_back(std::move(e));
        break;
      }
      case Section::kShaders: {
        if (parts.size() < 2) return fail("expected `<index> <name> [file=<stem>] [vertex=<stem>]`");
        ShaderEntry e;
        e.at.line = line_number;
        if (!index_of(parts[0], &e.index) || !name_of(parts[1], &e.name)) return false;
        const Options o(parts, 2);
        if (!known(o, {"file", "vertex"}, {})) return false;
        e.file = o.get("file", "shaders/" + e.name);
        e.vertex_file = o.get("vertex", e.file);
        manifest.shaders.push_back(std::move(e));
        break;
      }
      case Section::kCurves: {
        if (parts[0] == "curve") {
          if (parts.size() != 3) return fail("expected `curve <index> <name>`");
          CurveEntry e;
          e.at.line = line_number;
          if (!index_of(parts[1], &e.index) || !name_of(parts[2], &e.name)) return false;
          manifest.curves.push_back(std::move(e));
        } else if (parts[0] == "channel") {
          if (manifest.curves.empty()) return fail("a channel before any curve");
          if (parts.size() < 3) return fail("expected `channel <name> [linear|smooth|bezier] <x>:<value> ...`");
          CurveChannelEntry channel;
          channel.name = parts[1];
          size_t first = 2;
          if (parts[2] == "linear" || parts[2] == "smooth" || parts[2] == "bezier") {
            channel.type = parts[2] == "linear" ? acrv::kTypeLinear : parts[2] == "smooth" ? acrv::kTypeCatmullRom : acrv::kTypeBezier;
            first = 3;
          }
          for (size_t i = first; i < parts.size(); ++i) {
            const size_t colon = parts[i].find(':');
            CurvePoint point;
            if (colon == std::string::npos || !to_float(parts[i].substr(0, colon), &point.x) ||
                !to_float(parts[i].substr(colon + 1), &point.value)) {
              return fail("bad curve point \"" + parts[i] + "\": expected <x>:<value>");
            }
            if (!channel.points.empty() && point.x < channel.points.back().x) return fail("curve points must rise in x");
            channel.points.push_back(point);
          }
          if (channel.points.empty()) return fail("channel \"" + channel.name + "\" has no points");
          for (const CurveChannelEntry& other : manifest.curves.back().channels) {
            if (other.name == channel.name) return fail("channel \"" + channel.name + "\" given twice");
          }
          manifest.curves.back().channels.push_back(std::move(channel));
        } else {
          return fail("expected `curve ...` or `channel ...`");
        }
        break;
      }
      case Section::kObjects: {
        if (parts.size() < 2) return fail("expected `<index> <name> [options]`");
        ObjectEntry e;
        e.at.line = line_number;
        if (!index_of(parts[0], &e.index) || !name_of(parts[1], &e.name)) return false;
        const Options o(parts, 2);
        if (!known(o, {"sprite", "mask", "parent", "depth", "visible"}, {"solid", "persistent"})) return false;
        e.sprite = o.get("sprite", "");
        e.mask = o.get("mask", "");
        e.parent = o.get("parent", "");
        int64_t depth = 0, visible = 1;
        if (!number(o, "depth", INT32_MIN, INT32_MAX, 0, &depth) || !number(o, "visible", 0, 1, 1, &visible)) return false;
        e.depth = static_cast<int32_t>(depth);
        e.visible = visible != 0;
        e.solid = o.flag("solid");
        e.persistent = o.flag("persistent");
        manifest.objects.push_back(std::move(e));
        break;
      }
      case Section::kRooms: {
        if (parts[0] == "room") {
          if (parts.size() < 3) return fail("expected `room <index> <name> [options]`");
          RoomEntry e;
          e.at.line = line_number;
          if (!index_of(parts[1], &e.index) || !name_of(parts[2], &e.name)) return false;
          const Options o(parts, 3);
          if (!known(o, {"speed", "colour", "width", "height"}, {"persistent"})) return false;
          int64_t speed = 0, width = 0, height = 0;
          if (!number(o, "speed", 1, 1000, 60, &speed) || !number(o, "width", 1, 65536, 640, &width) ||
              !number(o, "height", 1, 65536, 360, &height)) {
            return false;
          }
          const std::string colour = o.get("colour", "000000");
          char* end = nullptr;
          const unsigned long rgb = std::strtoul(colour.c_str(), &end, 16);
          if (colour.size() != 6 || *end != '\0') return fail("\"colour\" must be six hex digits RRGGBB, got \"" + colour + "\"");
          // Stored as a draw colour: red in the low byte.
          e.colour = static_cast<uint32_t>(((rgb >> 16) & 0xFF) | (rgb & 0xFF00) | ((rgb & 0xFF) << 16));
          e.speed = static_cast<int32_t>(speed);
          e.width = static_cast<int32_t>(width);
          e.height = static_cast<int32_t>(height);
          e.persistent = o.flag("persistent");
          manifest.rooms.push_back(std::move(e));
        } else if (parts[0] == "layer") {
          if (manifest.rooms.empty()) return fail("a layer before any room");
          if (parts.size() < 3 || (parts[2] != "instances" && parts[2] != "background")) {
            return fail("expected `layer <name> instances|background [options]`");
          }
          LayerEntry layer;
          layer.at.line = line_number;
          if (!name_of(parts[1], &layer.name)) return false;
          layer.instances = parts[2] == "instances";
          const Options o(parts, 3);
          if (!known(o, {"depth", "sprite"}, {})) return false;
          int64_t depth = 0;
          if (!number(o, "depth", INT32_MIN, INT32_MAX, 0, &depth)) return false;
          layer.depth = static_cast<int32_t>(depth);
          layer.sprite = o.get("sprite", "");
          if (!layer.instances && layer.sprite.empty()) return fail("a background layer needs sprite=<sprite>");
          manifest.rooms.back().layers.push_back(std::move(layer));
        } else if (parts[0] == "instance") {
          if (parts.size() != 4) return fail("expected `instance <object> <x> <y>`");
          if (manifest.rooms.empty()) return fail("an instance before any room");
          LayerEntry* target = nullptr;
          for (LayerEntry& layer : manifest.rooms.back().layers) {
            if (layer.instances) target = &layer;
          }
          if (target == nullptr) return fail("an instance before the room's first instance layer");
          InstanceEntry placed;
          placed.at.line = line_number;
          int64_t x = 0, y = 0;
          if (!to_int(parts[2], -1000000, 1000000, &x) || !to_int(parts[3], -1000000, 1000000, &y)) {
            return fail("bad instance position \"" + parts[2] + " " + parts[3] + "\"");
          }
          placed.object = parts[1];
          placed.x = static_cast<int32_t>(x);
          placed.y = static_cast<int32_t>(y);
          target->placed.push_back(std::move(placed));
        } else {
          return fail("expected `room ...`, `layer ...` or `instance ...`");
        }
        break;
      }
      case Section::kTags: {
        if (parts.size() < 2) return fail("expected `<asset name> <tag>[, <tag> ...]`");
        TagEntry e;
        e.at.line = line_number;
        e.asset = parts[0];
        const std::string rest = manifest::trim(line.substr(line.find(parts[0]) + parts[0].size()));
        std::istringstream tags(rest);
        for (std::string tag; std::getline(tags, tag, ',');) {
          tag = manifest::trim(tag);
          if (tag.empty()) return fail("an empty tag");
          e.tags.push_back(tag);
        }
        manifest.tags.push_back(std::move(e));
        break;
      }
      case Section::kOther:
        break;
    }
  }
  *out = std::move(manifest);
  return true;
}

template <typename Entry>
int32_t assign_indexes(std::vector<Entry>& entries, const std::string& source, const char* kind, std::string* error) {
  std::map<int32_t, const Entry*> taken;
  std::map<std::string, const Entry*> names;
  for (const Entry& e : entries) {
    if (!names.emplace(e.name, &e).second) {
      *error = source + ":" + std::to_string(e.at.line) + ": " + kind + " name \"" + e.name + "\" is used twice (first on line " +
               std::to_string(names[e.name]->at.line) + ")";
      return -1;
    }
    if (e.index < 0) continue;
    const auto [at, fresh] = taken.emplace(e.index, &e);
    if (!fresh) {
      *error = source + ":" + std::to_string(e.at.line) + ": " + kind + " index " + std::to_string(e.index) +
               " is taken twice, by \"" + at->second->name + "\" (line " + std::to_string(at->second->at.line) + ") and \"" +
               e.name + "\"";
      return -1;
    }
  }
  int32_t next = 0;
  int32_t size = taken.empty() ? 0 : taken.rbegin()->first + 1;
  for (Entry& e : entries) {
    if (e.index >= 0) continue;
    while (taken.count(next) != 0) ++next;
    e.index = next;
    taken.emplace(next, &e);
    size = std::max(size, next + 1);
  }
  return size;
}

template int32_t assign_indexes(std::vector<SpriteEntry>&, const std::string&, const char*, std::string*);
template int32_t assign_indexes(std::vector<SoundEntry>&, const std::string&, const char*, std::string*);
template int32_t assign_indexes(std::vector<FontEntry>&, const std::string&, const char*, std::string*);
template int32_t assign_indexes(std::vector<ShaderEntry>&, const std::string&, const char*, std::string*);
template int32_t assign_indexes(std::vector<CurveEntry>&, const std::string&, const char*, std::string*);
template int32_t assign_indexes(std::vector<ObjectEntry>&, const std::string&, const char*, std::string*);
template int32_t assign_indexes(std::vector<RoomEntry>&, const std::string&, const char*, std::string*);

}  // namespace datawin
