#include "datawin/builder/inspect.h"

#include <cstring>
#include <set>

#include "datawin/format/audio_layout.h"
#include "datawin/format/font_shader_layout.h"
#include "datawin/format/gen8_layout.h"
#include "datawin/format/object_layout.h"
#include "datawin/format/room_layout.h"
#include "datawin/format/sequence_layout.h"
#include "datawin/format/sprite_layout.h"
#include "datawin/format/texture_layout.h"

namespace datawin {

namespace {

class Reader {
 public:
  Reader(const std::vector<uint8_t>& file, Inspection* out) : file_(file), out_(out) {}

  uint32_t size() const { return static_cast<uint32_t>(file_.size()); }
  bool fits(uint64_t at, uint64_t bytes) const { return at <= file_.size() && bytes <= file_.size() - at; }
  bool u32(uint64_t at, uint32_t* value) const {
    if (!fits(at, 4)) return false;
    std::memcpy(value, file_.data() + at, 4);
    return true;
  }
  bool i32(uint64_t at, int32_t* value) const { return u32(at, reinterpret_cast<uint32_t*>(value)); }
  bool u16(uint64_t at, uint16_t* value) const {
    if (!fits(at, 2)) return false;
    std::memcpy(value, file_.data() + at, 2);
    return true;
  }
  float f32(uint64_t at) const {
    float value = 0;
    if (fits(at, 4)) std::memcpy(&value, file_.data() + at, 4);
    return value;
  }
  // The string whose offset stands at `field`; `none_ok` accepts offset 0.
  bool string_field(uint64_t field, std::string* text, const std::string& what, bool none_ok = false) {
    uint32_t offset = 0;
    if (!u32(field, &offset)) return error(what + ": record runs past the end of the file");
    if (offset == 0) {
      text->clear();
      return none_ok || error(what + ": missing name");
    }
    uint32_t length = 0;
    if (offset < 4 || !u32(offset - 4, &length) || !fits(offset, uint64_t{length} + 1) || file_[offset + length] != 0) {
      return error(what + ": string offset " + std::to_string(offset) + " does not hold a string inside the file");
    }
    text->assign(reinterpret_cast<const char*>(file_.data() + offset), length);
    return true;
  }
  // A u32 count and that many offsets inside [at, end); each offset 0 or inside the file.
  bool pointer_list(uint64_t at, uint64_t end, std::vector<uint32_t>* offsets, const std::string& what) {
    uint32_t count = 0;
    if (at + 4 > end || !u32(at, &count)) return error(what + ": list runs past its chunk");
    if (count > (end - at - 4) / 4) return error(what + ": list of " + std::to_string(count) + " entries runs past its chunk");
    offsets->resize(count);
    for (uint32_t i = 0; i < count; ++i) {
      u32(at + 4 + 4 * i, &(*offsets)[i]);
      if ((*offsets)[i] != 0 && (*offsets)[i] >= size()) {
        return error(what + " " + std::to_string(i) + ": offset " + std::to_string((*offsets)[i]) + " lies outside the file");
      }
    }
    return true;
  }
  bool error(const std::string& text) {
    out_->errors.push_back(text);
    return false;
  }
  const uint8_t* data(uint32_t at) const { return file_.data() + at; }

 private:
  const std::vector<uint8_t>& file_;
  Inspection* out_;
};

struct Chunk {
  uint32_t payload = 0, size = 0;
  bool present = false;
};

void check_unique(Inspection* out, const std::string& kind) {
  std::set<std::string> seen;
  for (const InspectedAsset& a : out->assets[kind]) {
    if (!a.name.empty() && !seen.insert(a.name).second) out->errors.push_back(kind + ": name \"" + a.name + "\" is used twice");
  }
}

std::string size_text(int32_t w, int32_t h) { return std::to_string(w) + "x" + std::to_string(h); }

}  // namespace

Inspection inspect_data_file(const std::vector<uint8_t>& file) {
  Inspection out;
  Reader r(file, &out);
  if (file.size() < 8 || (std::memcmp(file.data(), "FORM", 4) != 0 && std::memcmp(file.data(), "MROF", 4) != 0)) {
    out.errors.push_back("not a data file: it does not start with FORM");
    return out;
  }
  uint32_t form_size = 0;
  r.u32(4, &form_size);
  if (form_size != file.size() - 8) {
    out.errors.push_back("the FORM header says " + std::to_string(form_size) + " bytes follow, the file has " +
                         std::to_string(file.size() - 8));
  }
  std::map<std::string, Chunk> chunks;
  uint64_t at = 8;
  while (at < file.size()) {
    uint32_t size = 0;
    if (!r.fits(at, 8)) {
      out.errors.push_back("a chunk header at " + std::to_string(at) + " is cut off by the end of the file");
      break;
    }
    r.u32(at + 4, &size);
    const std::string tag(reinterpret_cast<const char*>(file.data() + at), 4);
    if (!r.fits(at + 8, size)) {
      out.errors.push_back("chunk " + tag + " at " + std::to_string(at) + " says " + std::to_string(size) +
                           " bytes, past the end of the file");
      break;
    }
    out.chunks.push_back({tag, static_cast<uint32_t>(at), size});
    if (chunks.count(tag) != 0) out.errors.push_back("chunk " + tag + " appears twice");
    chunks[tag] = Chunk{static_cast<uint32_t>(at + 8), size, true};
    at += 8 + uint64_t{size};
  }
  auto chunk = [&](const char* tag) { return chunks.count(tag) != 0 ? chunks[tag] : Chunk{}; };
  auto end_of = [](const Chunk& c) { return uint64_t{c.payload} + c.size; };

  // Code rows: only their count and names.
  int64_t code_count = -1;
  if (const Chunk c = chunk("CODE"); c.present && c.size > 0) {
    std::vector<uint32_t> offsets;
    if (r.pointer_list(c.payload, end_of(c), &offsets, "CODE")) {
      code_count = static_cast<int64_t>(offsets.size());
      for (size_t i = 0; i < offsets.size(); ++i) {
        InspectedAsset a{static_cast<int32_t>(i), "", ""};
        if (offsets[i] != 0) r.string_field(offsets[i], &a.name, "CODE " + std::to_string(i));
        out.assets["code"].push_back(a);
      }
    }
  }
  auto code_ok = [&](int32_t index) { return index >= 0 && (code_count < 0 || index < code_count); };

  // Texture pages, then the page entries that point into them.
  std::vector<std::pair<uint16_t, uint16_t>> page_sizes;
  if (const Chunk c = chunk("TXTR"); c.present && c.size > 0) {
    std::vector<uint32_t> offsets;
    if (r.pointer_list(c.payload, end_of(c), &offsets, "TXTR")) {
      for (size_t i = 0; i < offsets.size(); ++i) {
        uint32_t data_size = 0, data = 0, w = 0, h = 0;
        const uint32_t rec = offsets[i];
        if (rec == 0 || !r.u32(rec + txtr::kDataSize, &data_size) || !r.u32(rec + txtr::kData, &data) ||
            !r.u32(rec + txtr::kWidth, &w) || !r.u32(rec + txtr::kHeight, &h)) {
          r.error("TXTR " + std::to_string(i) + ": record missing or cut off");
          page_sizes.emplace_back(0, 0);
          out.pages.emplace_back();
          continue;
        }
        if (data != 0 && !r.fits(data, data_size)) {
          r.error("TXTR " + std::to_string(i) + ": image data runs past the end of the file");
          data = 0;
        }
        page_sizes.emplace_back(static_cast<uint16_t>(w), static_cast<uint16_t>(h));
        out.pages.emplace_back(data == 0 ? std::vector<uint8_t>() : std::vector<uint8_t>(r.data(data), r.data(data) + data_size));
        out.assets["pages"].push_back({static_cast<int32_t>(i), "page " + std::to_string(i),
                                       size_text(static_cast<int32_t>(w & 0xFFFF), static_cast<int32_t>(h & 0xFFFF)) + ", " +
                                           std::to_string(data_size) + " bytes"});
      }
    }
  }
  std::set<uint32_t> entry_offsets;
  if (const Chunk c = chunk("TPAG"); c.present && c.size > 0) {
    std::vector<uint32_t> offsets;
    if (r.pointer_list(c.payload, end_of(c), &offsets, "TPAG")) {
      for (size_t i = 0; i < offsets.size(); ++i) {
        if (offsets[i] == 0) continue;
        if (!r.fits(offsets[i], tpag::kEntryBytes)) {
          r.error("TPAG " + std::to_string(i) + ": entry runs past the end of the file");
          continue;
        }
        InspectedEntry e;
        r.u16(offsets[i] + tpag::kX, &e.x);
        r.u16(offsets[i] + tpag::kY, &e.y);
        r.u16(offsets[i] + tpag::kW, &e.w);
        r.u16(offsets[i] + tpag::kH, &e.h);
        uint16_t page = 0;
        r.u16(offsets[i] + tpag::kTexture, &page);
        e.page = static_cast<int16_t>(page);
        if (e.page < 0 || static_cast<size_t>(e.page) >= page_sizes.size()) {
          r.error("TPAG " + std::to_string(i) + ": page " + std::to_string(e.page) + " out of range (" +
                  std::to_string(page_sizes.size()) + " pages)");
        } else if (e.x + e.w > page_sizes[e.page].first || e.y + e.h > page_sizes[e.page].second) {
          r.error("TPAG " + std::to_string(i) + ": rectangle leaves page " + std::to_string(e.page));
        }
        entry_offsets.insert(offsets[i]);
      }
    }
  }
  auto read_entry = [&](uint32_t offset, InspectedEntry* e, const std::string& what) {
    if (entry_offsets.count(offset) == 0) return r.error(what + ": offset " + std::to_string(offset) + " is not a page entry of TPAG");
    r.u16(offset + tpag::kX, &e->x);
    r.u16(offset + tpag::kY, &e->y);
    r.u16(offset + tpag::kW, &e->w);
    r.u16(offset + tpag::kH, &e->h);
    r.u16(offset + tpag::kXOffset, &e->x_offset);
    r.u16(offset + tpag::kYOffset, &e->y_offset);
    r.u16(offset + tpag::kOriginalWidth, &e->original_width);
    r.u16(offset + tpag::kOriginalHeight, &e->original_height);
    uint16_t page = 0;
    r.u16(offset + tpag::kTexture, &page);
    e->page = static_cast<int16_t>(page);
    return true;
  };

  uint32_t generation = 2;
  int version = 17;
  if (const Chunk c = chunk("GEN8"); c.present && c.size >= 64) {
    version = file[c.payload + 1];
    r.u32(c.payload + 44, &generation);
    std::string name;
    r.string_field(c.payload + 8, &name, "GEN8 file name", true);
    out.assets["header"].push_back({0, name, "format version " + std::to_string(version) + ", generation " + std::to_string(generation)});
  } else {
    r.error("no GEN8 header chunk");
  }

  int64_t sprite_count = 0;
  if (const Chunk c = chunk("SPRT"); c.present && c.size > 0) {
    std::vector<uint32_t> offsets;
    if (r.pointer_list(c.payload, end_of(c), &offsets, "SPRT")) {
      sprite_count = static_cast<int64_t>(offsets.size());
      for (size_t i = 0; i < offsets.size(); ++i) {
        const uint32_t rec = offsets[i];
        if (rec == 0) continue;
        const std::string what = "sprite " + std::to_string(i);
        InspectedSprite s;
        s.index = static_cast<int32_t>(i);
        if (!r.string_field(rec + sprt::kName, &s.name, what)) continue;
        uint32_t form = 0, kind = 0, sversion = 1, frames = 0;
        r.i32(rec + sprt::kWidth, &s.width);
        r.i32(rec + sprt::kHeight, &s.height);
        if (!r.u32(rec + sprt::kFormWord, &form)) {
          r.error(what + " \"" + s.name + "\": record cut off");
          continue;
        }
        uint64_t body = rec + sprt::kOldFrames;
        if (form == sprt::kNewFormMarker) {
          r.u32(rec + sprt::kNewVersion, &sversion);
          r.u32(rec + sprt::kNewKind, &kind);
          body = rec + sprt::sprite_body_offset(generation, sversion);
          if (kind != sprt::kKindBitmap) {
            out.assets["sprites"].push_back({s.index, s.name, "not a bitmap sprite"});
            continue;
          }
          if (!r.u32(body, &frames)) {
            r.error(what + " \"" + s.name + "\": frame list cut off");
            continue;
          }
          body += 4;
        } else {
          frames = form;
        }
        if (frames > (r.size() - std::min<uint64_t>(body, r.size())) / 4) {
          r.error(what + " \"" + s.name + "\": " + std::to_string(frames) + " frames run past the end of the file");
          continue;
        }
        for (uint32_t f = 0; f < frames; ++f) {
          uint32_t entry = 0;
          r.u32(body + 4 * f, &entry);
          InspectedEntry e;
          if (read_entry(entry, &e, what + " \"" + s.name + "\" frame " + std::to_string(f))) s.frames.push_back(e);
        }
        uint32_t masks = 0;
        const uint64_t mask_at = body + 4ull * frames;
        if (!r.u32(mask_at, &masks)) {
          r.error(what + " \"" + s.name + "\": mask count cut off");
        } else if (masks > 0 && (s.width <= 0 || s.height <= 0 || !r.fits(mask_at + 4, sprt::mask_bytes(s.width, s.height) * masks))) {
          r.error(what + " \"" + s.name + "\": " + std::to_string(masks) + " masks run past the end of the file");
        }
        out.assets["sprites"].push_back({s.index, s.name, size_text(s.width, s.height) + ", " + std::to_string(frames) + " frames" +
                                                             (masks > 0 ? ", precise" : "")});
        out.sprites.push_back(std::move(s));
      }
    }
  }
  auto sprite_ok = [&](int32_t index) { return index == -1 || (index >= 0 && index < sprite_count); };

  int64_t audio_count = -1;
  if (const Chunk c = chunk("AUDO"); c.present && c.size > 0) {
    std::vector<uint32_t> offsets;
    if (r.pointer_list(c.payload, end_of(c), &offsets, "AUDO")) {
      audio_count = static_cast<int64_t>(offsets.size());
      for (size_t i = 0; i < offsets.size(); ++i) {
        uint32_t bytes = 0;
        if (offsets[i] != 0 && (!r.u32(offsets[i], &bytes) || !r.fits(offsets[i] + 4ull, bytes))) {
          r.error("AUDO " + std::to_string(i) + ": sound data runs past the end of the file");
        }
      }
    }
  }
  if (const Chunk c = chunk("SOND"); c.present && c.size > 0) {
    std::vector<uint32_t> offsets;
    if (r.pointer_list(c.payload, end_of(c), &offsets, "SOND")) {
      for (size_t i = 0; i < offsets.size(); ++i) {
        if (offsets[i] == 0) continue;
        InspectedAsset a{static_cast<int32_t>(i), "", ""};
        if (!r.string_field(offsets[i] + sond::kName, &a.name, "sound " + std::to_string(i))) continue;
        int32_t kind = 0, audo = -1;
        r.i32(offsets[i] + sond::kKind, &kind);
        if (!r.i32(offsets[i] + sond::kAudoIndex, &audo)) r.error("sound \"" + a.name + "\": record cut off");
        if (audo < -1 || (audio_count >= 0 && audo >= audio_count)) {
          r.error("sound \"" + a.name + "\": audio data index " + std::to_string(audo) + " out of range");
        }
        a.detail = "kind " + std::to_string(kind) + ", data " + std::to_string(audo);
        out.assets["sounds"].push_back(a);
      }
    }
  }

  auto named_list = [&](const char* tag, const char* kind, auto&& detail) {
    const Chunk c = chunk(tag);
    if (!c.present || c.size == 0) return;
    std::vector<uint32_t> offsets;
    if (!r.pointer_list(c.payload, end_of(c), &offsets, tag)) return;
    for (size_t i = 0; i < offsets.size(); ++i) {
      if (offsets[i] == 0) continue;
      InspectedAsset a{static_cast<int32_t>(i), "", ""};
      if (!r.string_field(offsets[i], &a.name, std::string(kind) + " " + std::to_string(i))) continue;
      a.detail = detail(offsets[i], a.name);
      out.assets[kind].push_back(a);
    }
  };
  named_list("AGRP", "audio groups", [](uint32_t, const std::string&) { return std::string(); });
  named_list("SCPT", "scripts", [&](uint32_t rec, const std::string& name) {
    uint32_t word = 0;
    r.u32(rec + 4, &word);
    const auto index = static_cast<int32_t>(word & 0x7FFFFFFF);
    if (!code_ok(index)) r.error("script \"" + name + "\": code index " + std::to_string(index) + " out of range");
    return "code " + std::to_string(index);
  });
  named_list("SHDR", "shaders", [&](uint32_t rec, const std::string& name) {
    std::string vertex, fragment;
    r.string_field(rec + shdr::kPrograms, &vertex, "shader \"" + name + "\" vertex program", true);
    r.string_field(rec + shdr::kPrograms + 4, &fragment, "shader \"" + name + "\" fragment program", true);
    return std::to_string(vertex.size()) + " + " + std::to_string(fragment.size()) + " bytes of GLSL";
  });
  named_list("FONT", "fonts", [&](uint32_t rec, const std::string& name) {
    uint32_t entry = 0, count = 0;
    r.u32(rec + font::kPageEntry, &entry);
    InspectedEntry e;
    read_entry(entry, &e, "font \"" + name + "\" atlas");
    const uint32_t count_at = font::glyph_count_offset(version);
    if (!r.u32(rec + count_at, &count) || count > (r.size() - std::min<uint64_t>(rec + count_at + 4, r.size())) / 4) {
      r.error("font \"" + name + "\": glyph list runs past the end of the file");
      return std::string();
    }
    for (uint32_t g = 0; g < count; ++g) {
      uint32_t glyph = 0;
      r.u32(rec + count_at + 4 + 4 * g, &glyph);
      if (!r.fits(glyph, font::kGlyphBytes)) r.error("font \"" + name + "\": glyph " + std::to_string(g) + " lies outside the file");
    }
    const float size = r.f32(rec + font::kSize);
    return std::to_string(count) + " glyphs, " + std::to_string(static_cast<int>(size)) + " px";
  });
  // ACRV has an unread word in front of its count: its list starts at +4.
  if (const Chunk c = chunk("ACRV"); c.present && c.size > 0) {
    std::vector<uint32_t> offsets;
    if (r.pointer_list(c.payload + 4, end_of(c), &offsets, "ACRV")) {
      for (size_t i = 0; i < offsets.size(); ++i) {
        if (offsets[i] == 0) continue;
        InspectedAsset a{static_cast<int32_t>(i), "", ""};
        if (!r.string_field(offsets[i], &a.name, "curve " + std::to_string(i))) continue;
        int32_t channels = 0;
        r.i32(offsets[i] + 8, &channels);
        uint64_t at_channel = offsets[i] + 12ull;
        std::string names;
        for (int32_t ch = 0; ch < channels && ch < 256; ++ch) {
          std::string channel;
          int32_t points = 0;
          if (!r.string_field(at_channel, &channel, "curve \"" + a.name + "\" channel") || !r.i32(at_channel + 12, &points) ||
              points < 0 || !r.fits(at_channel + 16, uint64_t{static_cast<uint32_t>(points)} * 24)) {
            r.error("curve \"" + a.name + "\": channel " + std::to_string(ch) + " runs past the end of the file");
            break;
          }
          names += (names.empty() ? "" : ", ") + channel;
          at_channel += 16 + uint64_t{static_cast<uint32_t>(points)} * 24;
        }
        a.detail = "channels: " + names;
        out.assets["curves"].push_back(a);
      }
    }
  }

  int64_t object_count = 0;
  if (const Chunk c = chunk("OBJT"); c.present && c.size > 0) {
    std::vector<uint32_t> offsets;
    if (r.pointer_list(c.payload, end_of(c), &offsets, "OBJT")) {
      object_count = static_cast<int64_t>(offsets.size());
      for (size_t i = 0; i < offsets.size(); ++i) {
        const uint32_t rec = offsets[i];
        if (rec == 0) continue;
        InspectedAsset a{static_cast<int32_t>(i), "", ""};
        if (!r.string_field(rec + objt::kName, &a.name, "object " + std::to_string(i))) continue;
        const std::string what = "object \"" + a.name + "\"";
        int32_t sprite = -1, parent = -1, mask = -1, points = 0;
        r.i32(rec + objt::kSprite, &sprite);
        r.i32(rec + objt::kParent, &parent);
        r.i32(rec + objt::kMask, &mask);
        if (!sprite_ok(sprite)) r.error(what + ": sprite " + std::to_string(sprite) + " out of range");
        if (!sprite_ok(mask)) r.error(what + ": mask " + std::to_string(mask) + " out of range");
        if (parent < -1 || parent >= static_cast<int64_t>(offsets.size())) r.error(what + ": parent " + std::to_string(parent) + " out of range");
        uint64_t table = rec + objt::kBaseBytes;
        if (version >= objt::kPhysicsVersion) {
          r.i32(rec + objt::kPointCount, &points);
          table = rec + (version >= objt::kPhysicsExtraVersion ? objt::kPhysicsExtraBytes : objt::kFriction) +
                  8ull * static_cast<uint32_t>(std::max(points, 0));
        }
        int32_t types = 0;
        int events = 0;
        if (!r.i32(table, &types) || types < 0 || types > 64 || !r.fits(table + 4, 4ull * static_cast<uint32_t>(types))) {
          r.error(what + ": event table runs past the end of the file");
        } else {
          for (int32_t t = 0; t < types; ++t) {
            uint32_t list = 0;
            r.u32(table + 4 + 4 * t, &list);
            if (list == 0) continue;
            std::vector<uint32_t> entries;
            if (!r.pointer_list(list, r.size(), &entries, what + " events of type " + std::to_string(t))) continue;
            for (uint32_t entry : entries) {
              int32_t actions = 0;
              uint32_t action = 0;
              int32_t code = -1;
              if (!r.i32(entry + objt::kEventActionCount, &actions) || !r.u32(entry + objt::kEventFirstAction, &action)) {
                r.error(what + ": event entry cut off");
                continue;
              }
              if (actions > 0 && !r.i32(uint64_t{action} + objt::kActionCodeIndex, &code)) r.error(what + ": action cut off");
              if (actions > 0 && !code_ok(code)) r.error(what + ": event code index " + std::to_string(code) + " out of range");
              ++events;
            }
          }
        }
        a.detail = "sprite " + std::to_string(sprite) + ", parent " + std::to_string(parent) + ", " + std::to_string(events) + " events";
        out.assets["objects"].push_back(a);
      }
    }
  }

  if (const Chunk c = chunk("ROOM"); c.present && c.size > 0) {
    std::vector<uint32_t> offsets;
    if (r.pointer_list(c.payload, end_of(c), &offsets, "ROOM")) {
      for (size_t i = 0; i < offsets.size(); ++i) {
        const uint32_t rec = offsets[i];
        if (rec == 0) continue;
        InspectedAsset a{static_cast<int32_t>(i), "", ""};
        if (!r.string_field(rec + room::kName, &a.name, "room " + std::to_string(i))) continue;
        const std::string what = "room \"" + a.name + "\"";
        int32_t speed = 0;
        uint32_t flags = 0, placements_at = 0, layers_at = 0;
        r.i32(rec + room::kSpeed, &speed);
        r.u32(rec + room::kFlags, &flags);
        r.u32(rec + room::kPlacements, &placements_at);
        std::set<int32_t> ids;
        std::vector<uint32_t> placements;
        if (placements_at != 0 && r.pointer_list(placements_at, r.size(), &placements, what + " placements")) {
          for (uint32_t p : placements) {
            int32_t object = 0, id = 0;
            if (!r.i32(p + 8ull, &object) || !r.i32(p + 12ull, &id)) {
              r.error(what + ": placement cut off");
              continue;
            }
            if (object < 0 || object >= object_count) r.error(what + ": placed object " + std::to_string(object) + " out of range");
            if (!ids.insert(id).second) r.error(what + ": instance id " + std::to_string(id) + " placed twice");
          }
        }
        int layer_count = 0;
        if (room::record_version(flags) >= room::kLayersVersion && r.u32(rec + 88ull, &layers_at) && layers_at != 0) {
          std::vector<uint32_t> layers;
          if (r.pointer_list(layers_at, r.size(), &layers, what + " layers")) {
            for (uint32_t l : layers) {
              std::string layer_name;
              int32_t kind = 0;
              uint32_t properties = 0;
              if (l == 0 || !r.string_field(l + layer::kName, &layer_name, what + " layer") || !r.i32(l + layer::kKind, &kind) ||
                  !r.u32(l + layer::kEffectPropertyCount, &properties) || properties > 1024) {
                r.error(what + ": layer record cut off");
                continue;
              }
              ++layer_count;
              const uint64_t data = l + uint64_t{layer::data_offset(properties)};
              if (kind == layer::kKindInstances) {
                int32_t count = 0;
                if (!r.i32(data, &count) || count < 0 || !r.fits(data + 4, 4ull * static_cast<uint32_t>(count))) {
                  r.error(what + ": layer \"" + layer_name + "\" instance list cut off");
                  continue;
                }
                for (int32_t k = 0; k < count; ++k) {
                  int32_t id = 0;
                  r.i32(data + 4 + 4ull * k, &id);
                  if (ids.count(id) == 0) r.error(what + ": layer \"" + layer_name + "\" names instance " + std::to_string(id) + ", which is not placed");
                }
              } else if (kind == layer::kKindBackground) {
                int32_t sprite = -1;
                if (!r.i32(data + 8, &sprite) || !sprite_ok(sprite)) {
                  r.error(what + ": layer \"" + layer_name + "\" sprite " + std::to_string(sprite) + " out of range");
                }
              }
            }
          }
        }
        a.detail = "speed " + std::to_string(speed) + ", " + std::to_string(layer_count) + " layers, " +
                   std::to_string(placements.size()) + " instances";
        out.assets["rooms"].push_back(a);
      }
    }
  }

  if (const Chunk c = chunk("GLOB"); c.present && c.size > 0) {
    uint32_t count = 0;
    if (!r.u32(c.payload, &count) || count > (c.size - 4) / 4) {
      r.error("GLOB: list runs past its chunk");
    } else {
      for (uint32_t i = 0; i < count; ++i) {
        int32_t index = 0;
        r.i32(c.payload + 4 + 4ull * i, &index);
        if (!code_ok(index)) r.error("GLOB: code index " + std::to_string(index) + " out of range");
      }
    }
  }

  for (const char* kind : {"sprites", "sounds", "fonts", "shaders", "objects", "rooms", "curves", "scripts"}) check_unique(&out, kind);
  return out;
}

}  // namespace datawin
