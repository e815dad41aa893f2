// The generator's first stages: the model's limits (wrap width and height, line heights and
// spacing, the bezier curve) and the parser, which walks the text's code points into glyph rows
// and control rows: command tags change the font, colour, alpha, scale, alignment and effects,
// insert spaces, sprites and surfaces, and store events; macros put their text in place of the tag.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/call.h"
#include "data/asset_names.h"
#include "datawin/format/asset_kind.h"
#include "text/scribble_generator.h"

namespace scribble {

std::u32string decode_utf8(const std::string& text) {
  std::u32string out;
  out.reserve(text.size());
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const size_t n = text.size();
  for (size_t i = 0; i < n;) {
    const unsigned char c = p[i];
    uint32_t code = c;
    size_t extra = 0;
    if (c >= 0xF0) {
      code = c & 0x07u;
      extra = 3;
    } else if (c >= 0xE0) {
      code = c & 0x0Fu;
      extra = 2;
    } else if (c >= 0xC0) {
      code = c & 0x1Fu;
      extra = 1;
    }
    ++i;
    for (size_t k = 0; k < extra && i < n; ++k, ++i) code = (code << 6) | (p[i] & 0x3Fu);
    out.push_back(code);
  }
  return out;
}

namespace {

std::string encode(const std::u32string& codes) {
  std::string out;
  for (const char32_t c : codes) {
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else if (c < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (c >> 12)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (c >> 18)));
      out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

struct EffectName {
  const char* name;
  int32_t bit;
};
constexpr EffectName kEffects[] = {{"wave", 1},   {"shake", 2},  {"rainbow", 3}, {"wobble", 4}, {"pulse", 5},
                                   {"wheel", 6},  {"cycle", 7},  {"jitter", 8},  {"blink", 9},  {"slant", 10}};

int32_t effect_bit(const std::string& name) {
  std::string lower = name;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (lower != name && std::string(name).find_first_of("abcdefghijklmnopqrstuvwxyz") != std::string::npos) {
    // Only the all-lower and the all-upper forms are names.
    std::string upper = lower;
    std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    if (upper != name) return -1;
  }
  for (const EffectName& e : kEffects) {
    if (lower == e.name) return e.bit;
  }
  return -1;
}

double parse_real(const std::string& text, bool* ok) {
  char* end = nullptr;
  const double v = std::strtod(text.c_str(), &end);
  *ok = end != text.c_str();
  return v;
}

// The parser's running state.
class Parser {
 public:
  Parser(Generator& gen, Element& element) : gen_(gen), element_(element), s_(initialize()) {}
  void run();

 private:
  void set_font(const std::string& name);
  void glyph_from_font(uint32_t code, uint32_t lookup);
  // A row of the code alone (class by its block), its glyph left to stage 3.
  void unshaped(uint32_t code);
  void space_like(int32_t code, int32_t cls, double width_factor);
  void line_feed();
  void page_break();
  void push_glyph(Glyph g);
  void control(Control c) {
    c.glyph_count = static_cast<int32_t>(gen_.glyphs.size());
    gen_.controls.push_back(std::move(c));
  }
  void colour_control() {
    Control c;
    c.type = kControlColour;
    c.number = static_cast<double>((colour_ & 0xFFFFFFu) | (static_cast<uint32_t>(alpha_) << 24));
    control(c);
  }
  void close_span();
  bool tag(std::vector<std::string>& params, size_t* at);
  void set_halign(int32_t halign);
  void set_valign(int32_t valign);
  void arabic(uint32_t code, size_t* at);
  void thai(uint32_t code, size_t* at);
  void style(int32_t which, const char* label);

  Generator& gen_;
  Element& element_;
  LibraryState& s_;
  std::u32string text_;
  std::string font_name_;
  Font* font_ = nullptr;
  const GlyphRow* space_ = nullptr;
  uint32_t colour_ = 0xFFFFFF;
  int32_t alpha_ = 255;
  double scale_ = 1;
  size_t span_start_ = 0;
  int32_t halign_ = 0;
  int32_t effects_ = 0;
  bool arabic_prev_joins_ = false;
  int32_t last_row_ = -1;
};

void Parser::set_font(const std::string& name) {
  Font* font = font_data(name);
  const GlyphRow* space = font->find(32);
  if (space == nullptr) error("The space character is missing from font definition for \"" + name + "\"");
  font_ = font;
  font_name_ = name;
  space_ = space;
  last_row_ = -1;  // kerning pairs hold within one font
  if (font->msdf) {
    gen_.model->uses_msdf_font = true;
  } else {
    gen_.model->uses_standard_font = true;
  }
}

void Parser::push_glyph(Glyph g) {
  g.control_count = static_cast<int32_t>(gen_.controls.size());
  g.animation_index = static_cast<double>(gen_.glyphs.size());
  gen_.glyphs.push_back(g);
}

void Parser::glyph_from_font(uint32_t code, uint32_t lookup) {
  int32_t at = font_->row_of(lookup);
  if (at < 0 && font_->is_krutidev && lookup >= 32 && lookup < 65535) {
    // A Krutidev font keeps its glyphs at their rewritten codes: the row waits for stage 3.
    unshaped(code);
    return;
  }
  if (at < 0) {
    trace_missing_glyph(code, font_name_);
    at = font_->row_of(63);
    if (at < 0) return;
  }
  Glyph g = glyph_of_row(*font_, font_->rows[static_cast<size_t>(at)], static_cast<size_t>(at));
  // Kerning against the glyph before, applied to that glyph's advance.
  if (last_row_ >= 0 && !gen_.glyphs.empty()) {
    apply_kerning(*font_, static_cast<size_t>(last_row_), static_cast<size_t>(at), gen_.glyphs.back());
  }
  last_row_ = at;
  push_glyph(g);
}

void Parser::unshaped(uint32_t code) {
  Glyph g;
  g.code = static_cast<int32_t>(code);
  g.cls = bidi_class(code);
  g.msdf = font_->msdf;
  g.msdf_pxrange = font_->msdf_pxrange;
  gen_.unshaped_rows = true;
  last_row_ = -1;
  push_glyph(g);
}

void Parser::space_like(int32_t code, int32_t cls, double width_factor) {
  Glyph g = glyph_of_row(*font_, *space_, static_cast<size_t>(font_->row_of(32)));
  g.code = code;
  g.cls = cls;
  g.width *= width_factor;
  g.separation *= width_factor;
  last_row_ = -1;
  push_glyph(g);
}

void Parser::line_feed() {
  Glyph g = glyph_of_row(*font_, *space_, static_cast<size_t>(font_->row_of(32)));
  g.code = 10;
  g.cls = kClassIsolated;
  g.width = 0;
  g.separation = 0;
  last_row_ = -1;
  push_glyph(g);
}

void Parser::page_break() {
  Glyph g;
  g.code = 0;
  g.cls = kClassIsolated;
  g.font_scale = 1;
  last_row_ = -1;
  push_glyph(g);
}

// A scale other than 1 applies in one pass over the glyphs written since the last change.
void Parser::close_span() {
  if (scale_ != 1.0) {
    for (size_t i = span_start_; i < gen_.glyphs.size(); ++i) {
      scale_glyph(gen_.glyphs[i], scale_);
    }
  }
  span_start_ = gen_.glyphs.size();
}

void Parser::set_halign(int32_t halign) {
  if (halign == halign_) return;
  if (!gen_.glyphs.empty() && gen_.glyphs.back().code != 10) line_feed();
  halign_ = halign;
  Control c;
  c.type = kControlHalign;
  c.number = halign;
  control(c);
}

void Parser::set_valign(int32_t valign) {
  if (gen_.model->valign < 0) {
    gen_.model->valign = valign;
  } else if (gen_.model->valign != valign) {
    error("In-line vertical alignment cannot be set more than once");
  }
}

void Parser::style(int32_t which, const char* label) {
  const std::string& target = font_->styles[static_cast<size_t>(which)];
  if (target.empty()) {
    trace(std::string(label) + " style not set for font \"" + font_name_ + "\"");
    return;
  }
  if (find_font(target) == nullptr) {
    std::string lower = label;
    lower[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(lower[0])));
    trace("Font \"" + target + "\" not found (" + lower + " style for \"" + font_name_ + "\")");
    return;
  }
  set_font(target);
  Control c;
  c.type = kControlFont;
  c.text = target;
  control(c);
}

// Returns false when the tag's text was replaced (a macro) and the walk must read it again.
bool Parser::tag(std::vector<std::string>& params, size_t* at) {
  const std::string& name = params[0];
  const size_t n = params.size();
  auto param_real = [&](size_t i, double fallback) {
    if (i >= n) return fallback;
    bool ok = false;
    const double v = parse_real(params[i], &ok);
    return ok ? v : fallback;
  };

  if (name.empty() || name == "/") {
    close_span();
    scale_ = 1;
    set_font(element_.starting_font_);
    Control f;
    f.type = kControlFont;
    f.text = font_name_;
    control(f);
    colour_ = element_.starting_colour_;
    alpha_ = 255;
    colour_control();
    effects_ = 0;
    Control e;
    e.type = kControlEffects;
    e.number = 0;
    control(e);
    return true;
  }
  if (name == "/font" || name == "/f") {
    set_font(element_.starting_font_);
    Control f;
    f.type = kControlFont;
    f.text = font_name_;
    control(f);
    return true;
  }
  if (name == "/colour" || name == "/color" || name == "/c") {
    colour_ = element_.starting_colour_;
    colour_control();
    return true;
  }
  if (name == "/alpha" || name == "/a") {
    alpha_ = 255;
    colour_control();
    return true;
  }
  if (name == "/scale" || name == "/s") {
    close_span();
    scale_ = 1;
    return true;
  }
  if (name == "/page") {
    page_break();
    return true;
  }
  if (name == "scale" || name == "scaleStack") {
    if (n < 2) {
      trace("Not enough parameters for [" + name + "] tag!");
      return true;
    }
    close_span();
    scale_ = name == "scale" ? param_real(1, 1) : scale_ * param_real(1, 1);
    return true;
  }
  if (name == "alpha") {
    alpha_ = static_cast<int32_t>(std::lround(255.0 * std::clamp(param_real(1, 1), 0.0, 1.0)));
    colour_control();
    return true;
  }
  static const std::pair<const char*, int32_t> kHalign[] = {
      {"fa_left", 0},   {"fa_center", 1},  {"fa_centre", 1},  {"fa_right", 2}, {"pin_left", 3},
      {"pin_center", 4}, {"pin_centre", 4}, {"pin_right", 5}, {"fa_justify", 6}};
  for (const auto& [tag_name, value] : kHalign) {
    if (name == tag_name) {
      set_halign(value);
      return true;
    }
  }
  static const std::pair<const char*, int32_t> kValign[] = {{"fa_top", 0}, {"fa_middle", 1}, {"fa_bottom", 2}};
  for (const auto& [tag_name, value] : kValign) {
    if (name == tag_name) {
      set_valign(value);
      return true;
    }
  }
  if (name == "nbsp" || name == "&nbsp" || name == "nbsp;" || name == "&nbsp;") {
    const auto count = static_cast<int32_t>(std::max(1.0, param_real(1, 1)));
    for (int32_t i = 0; i < count; ++i) space_like(160, kClassSymbol, 1);
    return true;
  }
  if (name == "zwsp") {
    space_like(8203, kClassWhitespace, 0);
    return true;
  }
  if (name == "cycle") {
    if (n < 2) {
      trace("Not enough parameters for [cycle] tag!");
      return true;
    }
    // Four hues; fewer given repeat in order.
    Control c;
    c.type = kControlCycle;
    const size_t given = std::min<size_t>(n - 1, 4);
    for (size_t i = 0; i < 4; ++i) c.cycle[i] = static_cast<uint32_t>(param_real(1 + i % given, 0));
    control(c);
    gen_.model->has_animation = true;
    return true;
  }
  if (name == "/cycle") {
    Control c;
    c.type = kControlCycle;
    c.defined = false;
    control(c);
    return true;
  }
  if (name == "r" || name == "/b" || name == "/i" || name == "/bi") {
    style(0, "Regular");
    return true;
  }
  if (name == "b") {
    style(1, "Bold");
    return true;
  }
  if (name == "i") {
    style(2, "Italic");
    return true;
  }
  if (name == "bi") {
    style(3, "Bold-Italic");
    return true;
  }
  if (name == "region") {
    if (n < 2) error("[region] tags must contain a name e.g. [region,This is a region]");
    Control c;
    c.type = kControlRegion;
    c.text = params[1];
    control(c);
    return true;
  }
  if (name == "/region") {
    Control c;
    c.type = kControlRegion;
    c.defined = false;
    control(c);
    return true;
  }
  if (name == "surface") {
    if (n < 2) return true;
    const double surface = param_real(1, -1);
    Glyph g;
    g.code = -2;
    g.cls = kClassSymbol;
    g.surface = static_cast<int32_t>(surface);
    g.width = RV_ToDouble(*tsl::call("surface_get_width", nullptr, nullptr, {RV_Real(surface)}));
    g.height = g.font_height = RV_ToDouble(*tsl::call("surface_get_height", nullptr, nullptr, {RV_Real(surface)}));
    g.separation = g.width;
    const Value texture = tsl::call("surface_get_texture", nullptr, nullptr, {RV_Real(surface)});
    g.texture = RV_Kind(*texture) == kRVPtr ? static_cast<int64_t>(reinterpret_cast<intptr_t>(texture.get()->ptr))
                                             : static_cast<int64_t>(RV_ToDouble(*texture));
    g.u1 = g.v1 = 1;
    last_row_ = -1;
    push_glyph(g);
    return true;
  }
  if (name == "typistSound" || name == "typistSoundPerChar") {
    const bool per_char = name == "typistSoundPerChar";
    if ((!per_char && n != 5) || (per_char && n != 4 && n != 5)) {
      error(per_char ? "[typistSoundPerChar] tags must use the same arguments as .sound_per_char()"
                     : "[typistSound] tags must use the same arguments as .sound()");
    }
    Control c;
    c.type = kControlEvent;
    c.event = std::make_shared<Event>();
    c.event->name = per_char ? "__scribble_typist_sound_per_char__" : "__scribble_typist_sound__";
    for (size_t i = 1; i < n; ++i) c.event->data.push_back(Value::String(params[i].c_str()));
    control(c);
    return true;
  }

  const int32_t bit = name[0] == '/' ? effect_bit(name.substr(1)) : effect_bit(name);
  if (bit >= 0) {
    if (name[0] == '/') {
      effects_ &= ~(1 << bit);
    } else {
      effects_ |= 1 << bit;
    }
    Control c;
    c.type = kControlEffects;
    c.number = effects_;
    control(c);
    gen_.model->has_animation = true;
    return true;
  }
  if (const auto it = s_.colours.find(name); it != s_.colours.end()) {
    colour_ = it->second;
    colour_control();
    return true;
  }
  if (s_.typewriter_events.count(name) != 0) {
    Control c;
    c.type = kControlEvent;
    c.event = std::make_shared<Event>();
    c.event->name = name;
    for (size_t i = 1; i < n; ++i) c.event->data.push_back(Value::String(params[i].c_str()));
    control(c);
    return true;
  }
  if (const auto it = s_.macros.find(name); it != s_.macros.end()) {
    if (n - 1 > 8) error("Macro argument count " + number_text(static_cast<double>(n - 1)) + " unsupported");
    std::vector<Value> args;
    for (size_t i = 1; i < n; ++i) args.push_back(Value::String(params[i].c_str()));
    std::vector<RValue*> pointers;
    for (Value& a : args) pointers.push_back(a.get());
    Value returned;
    RValue callee = *it->second.function.get();
    CallMethod(nullptr, nullptr, returned.get(), static_cast<int>(pointers.size()), &callee, pointers.data());
    const std::u32string inserted = decode_utf8(value_text(*returned));
    // The macro's text takes the tag's place and is read next, so it may hold tags of its own.
    text_.insert(*at, inserted);
    return false;
  }
  if (find_font(name) != nullptr) {
    set_font(name);
    Control c;
    c.type = kControlFont;
    c.text = name;
    control(c);
    return true;
  }
  const AssetRef asset = Asset_Lookup(name.c_str());
  if (asset.kind == datawin::kAssetSprite) {
    const RValue sprite = RV_Real(asset.index);
    const double frames = RV_ToDouble(*tsl::call("sprite_get_number", nullptr, nullptr, {sprite}));
    if (frames > 64) error("In-line sprites cannot have more than 64 frames (" + name + ")");
    const double speed = param_real(2, 0);
    if (speed > 4) error("Image speed cannot be more than 4.0 (" + number_text(speed) + ")");
    if (speed < 0) error("Image speed cannot be less than 0.0 (" + number_text(speed) + ")");
    Glyph g;
    g.code = -1;
    g.cls = kClassSymbol;
    g.sprite = asset.index;
    g.sprite_image = static_cast<int32_t>(param_real(1, 0));
    g.sprite_speed = speed;
    g.width = RV_ToDouble(*tsl::call("sprite_get_width", nullptr, nullptr, {sprite}));
    g.height = g.font_height = RV_ToDouble(*tsl::call("sprite_get_height", nullptr, nullptr, {sprite}));
    g.separation = g.width;
    g.sprite_frames = static_cast<int32_t>(frames);
    last_row_ = -1;
    push_glyph(g);
    return true;
  }
  if (asset.kind == datawin::kAssetSound || s_.external_sounds.count(name) != 0) {
    Control c;
    c.type = kControlEvent;
    c.event = std::make_shared<Event>();
    c.event->name = "__scribble_audio_playback__";
    if (asset.kind == datawin::kAssetSound) {
      c.event->data.push_back(Value::Real(asset.index));
    } else {
      c.event->data.push_back(s_.external_sounds[name]);
    }
    control(c);
    return true;
  }
  if (name.size() > 1 && (name[0] == '$' || name[0] == '#')) {
    char* end = nullptr;
    const std::string digits = name.substr(1);
    const unsigned long value = std::strtoul(digits.c_str(), &end, 16);
    if (end != digits.c_str() && *end == 0) {
      colour_ = rgb_to_bgr(static_cast<uint32_t>(value));
      colour_control();
      return true;
    }
  }
  if (name.size() > 2 && (name[0] == 'd' || name[0] == 'D') && name[1] == '#') {
    bool ok = false;
    const double value = parse_real(name.substr(2), &ok);
    if (ok) {
      colour_ = static_cast<uint32_t>(value);
      colour_control();
      return true;
    }
  }
  std::string shown;
  for (size_t i = 0; i < n; ++i) shown += (i > 0 ? "," : "") + params[i];
  trace("Warning! Unrecognised command tag [" + shown + "]");
  return true;
}

void Parser::arabic(uint32_t code, size_t* at) {
  gen_.model->has_arabic = true;
  gen_.model->has_r2l = true;
  size_t next_at = *at;
  uint32_t next = next_at < text_.size() ? text_[next_at] : 0;
  const uint32_t letter = code;
  if (code == 1604 && (next == 1570 || next == 1571 || next == 1573 || next == 1575)) {
    code = next == 1570 ? 65269 : next == 1571 ? 65271 : next == 1573 ? 65273 : 65275;
    ++*at;
    next_at = *at;
    next = next_at < text_.size() ? text_[next_at] : 0;
  }
  while (next >= 1611 && next <= 1618) {
    ++next_at;
    next = next_at < text_.size() ? text_[next_at] : 0;
  }
  const bool next_joins = arabic_joins_prev(next);
  const int32_t form = arabic_prev_joins_ ? (next_joins ? 2 : 3) : (next_joins ? 1 : 0);
  if (const uint32_t shaped = arabic_form(code, form); shaped != 0) code = shaped;
  if (!(letter >= 1611 && letter <= 1618)) arabic_prev_joins_ = arabic_joins_next(letter);
  if (code >= 65269 && code <= 65276) arabic_prev_joins_ = false;
  glyph_from_font(code, code);
}

void Parser::thai(uint32_t code, size_t* at) {
  gen_.model->has_thai = true;
  const size_t count = gen_.glyphs.size();
  auto glyph_code = [&](size_t back) -> uint32_t {
    return count >= back ? static_cast<uint32_t>(gen_.glyphs[count - back].code) : 0;
  };
  const uint32_t next = *at < text_.size() ? text_[*at] : 0;
  if (thai_top(code) && count >= 1) {
    uint32_t base = glyph_code(1);
    if (thai_lower(base) && count >= 2) base = glyph_code(2);
    if (thai_base(base)) {
      const bool climb = next == 3635 || next == 3661;
      if (thai_base_ascender(base) && climb) {
        glyph_from_font(code + 59595, code + 59595);
        glyph_from_font(63249, 63249);
        if (next == 3635) glyph_from_font(3634, 3634);
        ++*at;
        return;
      }
      if (thai_base_ascender(base)) {
        code += 59581;
      } else if (!climb) {
        code += 59586;
      }
      if (!climb && count >= 2 && thai_upper(glyph_code(1)) && thai_base_ascender(glyph_code(2))) code = code - 59586 + 59595;
    }
  } else if (thai_upper(code) && count >= 1 && thai_base_ascender(glyph_code(1))) {
    switch (code) {
      case 3633: code = 63248; break;
      case 3636: code = 63233; break;
      case 3637: code = 63234; break;
      case 3638: code = 63235; break;
      case 3639: code = 63236; break;
      case 3655: code = 63249; break;
      case 3661: code = 63250; break;
      default: break;
    }
  } else if (thai_lower(code) && count >= 1 && thai_base_descender(glyph_code(1))) {
    code += 59616;
  } else if ((code == 3597 || code == 3600) && thai_lower(next)) {
    code = code == 3597 ? 63247 : 63232;
  }
  glyph_from_font(code, code);
}

void Parser::run() {
  Model& model = *gen_.model;
  if (element_.starting_font_.empty()) {
    error("The default font has not been set\nCheck that you've added fonts to Scribble (scribble_font_add() / "
          "scribble_font_add_from_sprite() etc.)");
  }
  text_ = decode_utf8(element_.text_);
  const bool ignore_tags = element_.ignore_command_tags_;

  // The text's direction: the first strong character outside the tags.
  if (gen_.overall_bidi < 0) {
    for (size_t i = 0; i < text_.size(); ++i) {
      const uint32_t c = text_[i];
      if (c == '[' && !ignore_tags) {
        if (i + 1 < text_.size() && text_[i + 1] == '[') {
          ++i;
          continue;
        }
        while (i < text_.size() && text_[i] != ']') ++i;
        continue;
      }
      const int32_t cls = bidi_class(c);
      if (cls == kClassL2R) {
        gen_.overall_bidi = kClassL2R;
        break;
      }
      if (cls >= kClassR2L) {
        gen_.overall_bidi = kClassR2L;
        break;
      }
    }
  }

  gen_.glyphs.reserve(text_.size());
  set_font(element_.starting_font_);
  colour_ = element_.starting_colour_;
  halign_ = element_.starting_halign_;

  for (size_t i = 0; i < text_.size();) {
    const uint32_t c = text_[i];
    if (c == '[' && !ignore_tags) {
      if (i + 1 < text_.size() && text_[i + 1] == '[') {
        glyph_from_font('[', '[');
        i += 2;
        continue;
      }
      size_t end = i + 1;
      while (end < text_.size() && text_[end] != ']') ++end;
      if (end < text_.size()) {
        std::vector<std::string> params(1);
        for (size_t k = i + 1; k < end; ++k) {
          if (text_[k] == ',') {
            params.emplace_back();
          } else {
            params.back() += encode(std::u32string(1, text_[k]));
          }
        }
        text_.erase(i, end + 1 - i);
        size_t at = i;
        tag(params, &at);
        continue;
      }
    }
    ++i;
    if (c == 10 || (c == 13 && !(i < text_.size() && text_[i] == 10))) {
      line_feed();
    } else if (c == 13) {
      continue;
    } else if (c == 9) {
      space_like(9, kClassWhitespace, 4);
    } else if (c == 32) {
      space_like(32, kClassWhitespace, 1);
    } else if (c == 160) {
      space_like(160, kClassSymbol, 1);
    } else if (c == 8203) {
      space_like(8203, kClassWhitespace, 0);
    } else if (c >= 1536 && c <= 1791) {
      arabic(c, &i);
      continue;
    } else if (c >= 3584 && c <= 3711) {
      thai(c, &i);
    } else {
      if (c >= 1424 && c <= 1535) {
        model.has_hebrew = true;
        model.has_r2l = true;
      } else if (c >= 2304 && c <= 2431) {
        // Devanagari goes in unshaped: stage 3 rewrites it and then finds the glyphs.
        model.has_devanagari = true;
        unshaped(c);
        arabic_prev_joins_ = false;
        continue;
      }
      glyph_from_font(c, c);
    }
    arabic_prev_joins_ = false;
  }
  close_span();
  if (model.valign < 0) model.valign = element_.starting_valign_;
}

}  // namespace

Glyph glyph_of_row(const Font& font, const GlyphRow& row, size_t index) {
  Glyph g;
  g.code = static_cast<int32_t>(row[kGlyphUnicode]);
  g.cls = static_cast<int32_t>(row[kGlyphBidi]);
  g.xoff = row[kGlyphXOffset];
  g.yoff = row[kGlyphYOffset];
  g.width = row[kGlyphWidth];
  g.height = row[kGlyphHeight];
  g.font_height = row[kGlyphFontHeight];
  g.separation = row[kGlyphSeparation];
  g.left_offset = row[kGlyphLeftOffset];
  g.font_scale = row[kGlyphFontScale];
  g.texture = index < font.textures.size() ? font.textures[index] : -1;
  g.u0 = row[kGlyphU0];
  g.u1 = row[kGlyphU1];
  g.v0 = row[kGlyphV0];
  g.v1 = row[kGlyphV1];
  g.msdf = font.msdf;
  g.msdf_pxrange = font.msdf ? row[kGlyphMsdfPxRange] : 0;
  g.msdf_thickness = font.msdf ? row[kGlyphMsdfThickness] : 0;
  return g;
}

void apply_kerning(const Font& font, size_t first_row, size_t second_row, Glyph& first) {
  if (font.kerning.empty()) return;
  const GlyphRow& a = font.rows[first_row];
  const GlyphRow& b = font.rows[second_row];
  const auto it = font.kerning.find(
      kerning_key(static_cast<uint32_t>(a[kGlyphCharacter]), static_cast<uint32_t>(b[kGlyphCharacter])));
  if (it != font.kerning.end()) first.separation += it->second * a[kGlyphFontScale] * first.span_scale;
}

void scale_glyph(Glyph& g, double factor) {
  g.xoff *= factor;
  g.yoff *= factor;
  g.width *= factor;
  g.height *= factor;
  g.font_height *= factor;
  g.separation *= factor;
  g.left_offset *= factor;
  g.font_scale *= factor;
  g.span_scale *= factor;
}

void trace_missing_glyph(uint32_t code, const std::string& font_name) {
  char shown[5] = {};
  const std::string utf8 = encode(std::u32string(1, static_cast<char32_t>(code)));
  std::strncpy(shown, utf8.c_str(), 4);
  trace("Couldn't find glyph data for character code " + number_text(code) + " (" + shown + ") in font \"" +
        font_name + "\"");
}

void generator_limits(Generator& gen, Element& element) {
  gen.model_max_width = element.wrap_max_width_ - element.padding_l_ - element.padding_r_;
  if (element.wrap_max_width_ < 0 || gen.model_max_width < 0) gen.model_max_width = kInfinity;
  gen.model_max_height = element.wrap_max_height_ - element.padding_t_ - element.padding_b_;
  if (element.wrap_max_height_ < 0 || gen.model_max_height < 0) gen.model_max_height = kInfinity;
  gen.line_height_min = element.line_height_min_ < 0 ? 0 : element.line_height_min_;
  gen.line_height_max = element.line_height_max_ < 0 ? kInfinity : element.line_height_max_;

  const RValue& spacing = *element.line_spacing_.get();
  if (RV_Kind(spacing) == kRVString) {
    const std::string text = RV_StringText(spacing);
    bool ok = false;
    const double v = text.empty() || text.back() != '%' ? 0 : parse_real(text.substr(0, text.size() - 1), &ok);
    if (!ok) {
      error("Could not parse line spacing \"" + text +
            "\"\nLine spacing must be number or percentage strings e.g. \"200%\"");
    }
    gen.line_spacing_add = 0;
    gen.line_spacing_multiply = v / 100.0;
  } else {
    gen.line_spacing_add = RV_ToDouble(spacing);
    gen.line_spacing_multiply = 0;
  }

  // A bezier curve replaces the width with its length.
  const auto& b = element.bezier_array_;
  gen.bezier_lengths.clear();
  if (std::any_of(b.begin(), b.end(), [](double v) { return v != 0; })) {
    double x0 = 0, y0 = 0, length = 0;
    gen.bezier_lengths.push_back(0);
    for (int i = 1; i < 20; ++i) {
      const double t = i / 19.0, u = 1 - t;
      // Cubic from (0, 0) through the three control points shifted to start there.
      const double x = 3 * u * u * t * b[0] + 3 * u * t * t * b[2] + t * t * t * b[4];
      const double y = 3 * u * u * t * b[1] + 3 * u * t * t * b[3] + t * t * t * b[5];
      length += std::hypot(x - x0, y - y0);
      gen.bezier_lengths.push_back(length);
      x0 = x;
      y0 = y;
    }
    if (std::isfinite(gen.model_max_width)) {
      trace("Warning! Maximum width (" + number_text(gen.model_max_width) + ") has been replaced with Bezier curve length (" +
            number_text(length) + "). Use -1 as the maximum width to turn off this warning");
    }
    gen.model_max_width = length;
  }
}

void generator_parse(Generator& gen, Element& element) {
  Parser parser(gen, element);
  parser.run();
}

}  // namespace scribble
