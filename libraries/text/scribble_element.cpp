// Text elements: the cache of elements by name, the model lookup by layout settings, drawing with
// the text shader's uniforms and the element's matrix, and the library's drawing functions
// (scribble, draw_text_scribble and the string measures).
#include <algorithm>
#include <cmath>

#include "core/gc.h"
#include "graphics/device_state.h"
#include "graphics/draw.h"
#include "graphics/font.h"
#include "graphics/shader.h"
#include "text/scribble_internal.h"

namespace scribble {

namespace {

const MethodRow kElementMethods[] = {
#define SCRIBBLE_ELEMENT_ROW(name) {#name, bound_method_getter<tsl_Script___scribble_class_element_##name>},
    SCRIBBLE_ELEMENT_METHODS(SCRIBBLE_ELEMENT_ROW)
#undef SCRIBBLE_ELEMENT_ROW
};

// The prototype of every element: its methods as properties that bind the element they are read from.
KVObjectBase* element_prototype() {
  LibraryState& s = initialize();
  if (s.element_prototype == nullptr) s.element_prototype = make_method_prototype(kElementMethods, std::size(kElementMethods));
  return s.element_prototype;
}

void adopt(Element* element) { adopt_object(element, "__scribble_class_element", element_prototype()); }

std::string key_text(double v) { return number_text(v); }

}  // namespace

Element::Element() : KVObjectBase(kObjStruct) {}

void Element::Free(bool free_now) {
  if (LibraryState* s = state()) {
    const auto it = s->ecache_dict.find(cache_name_);
    if (it != s->ecache_dict.end() && it->second == this) s->ecache_dict.erase(it);
  }
  model_.reset();
  unique_id_ = Value();
  line_spacing_ = Value();
  template_ = Value();
  tw_legacy_typist_ = Value();
  KVObjectBase::Free(free_now);
}

Element* element_of(CInstance* self) { return dynamic_cast<Element*>(KV_AsObject(self)); }

Value element_value(Element* element) { return Value::Object(element); }

Element* null_element() {
  LibraryState& s = initialize();
  if (s.null_element == nullptr) {
    auto* made = new Element();
    made->null_ = true;
    adopt(made);
    GCAddRoot(made);
    s.null_element = made;
  }
  return s.null_element;
}

Element* new_element(const std::string& text, const RValue& unique_id) {
  LibraryState& s = initialize();
  auto* e = new Element();
  e->text_ = text;
  e->unique_id_ = Value::Copy(unique_id);
  const bool has_id = RV_Kind(unique_id) != kRVUndefined && RV_Kind(unique_id) != kRVUnset;
  e->cache_name_ = text + ":" + (has_id ? value_text(unique_id) : std::string("default"));
  e->last_drawn_ = s.frames;
  e->starting_font_ = s.default_font;
  e->animation_time_ = current_time_ms();
  e->line_spacing_ = Value::String("100%");
  adopt(e);
  // A live element of the same name is flushed: the cache holds one element per name.
  const auto it = s.ecache_dict.find(e->cache_name_);
  if (it != s.ecache_dict.end() && it->second != e) {
    trace("Warning! Flushing element \"" + e->cache_name_ + "\" due to cache name collision");
    it->second->flush();
  }
  s.ecache_dict[e->cache_name_] = e;
  s.ecache_array.push_back(e);
  s.ecache_name_array.push_back(e->cache_name_);
  GCAddRoot(e);
  return e;
}

Element* scribble_element(const std::string& text, const RValue& unique_id) {
  LibraryState& s = initialize();
  const bool has_id = RV_Kind(unique_id) != kRVUndefined && RV_Kind(unique_id) != kRVUnset;
  const std::string name = text + ":" + (has_id ? value_text(unique_id) : std::string("default"));
  const auto it = s.ecache_dict.find(name);
  if (it != s.ecache_dict.end() && !it->second->flushed_) return it->second;
  return new_element(text, unique_id);
}

void Element::flush() {
  if (null_ || flushed_) return;
  if (LibraryState* s = state()) {
    const auto it = s->ecache_dict.find(cache_name_);
    if (it != s->ecache_dict.end() && it->second == this) s->ecache_dict.erase(it);
    const auto at = std::find(s->ecache_array.begin(), s->ecache_array.end(), this);
    if (at != s->ecache_array.end()) {
      s->ecache_array.erase(at);
      GCRemoveRoot(this);
    }
  }
  model_.reset();
  flushed_ = true;
}

Model* Element::get_model(bool allow_create) {
  if (null_ || flushed_ || text_.empty()) {
    model_.reset();
    return nullptr;
  }
  if (model_cache_name_dirty_) {
    model_cache_name_dirty_ = false;
    bbox_dirty_ = true;
    scale_to_box_dirty_ = true;
    std::string key = text_;
    key.reserve(text_.size() + 96);
    key += ':';
    for (const std::string& part :
         {starting_font_, key_text(starting_colour_), key_text(starting_halign_), key_text(starting_valign_),
          key_text(line_height_min_), key_text(line_height_max_), value_text(*line_spacing_.get()),
          key_text(wrap_max_width_ - padding_l_ - padding_r_), key_text(wrap_max_height_ - padding_t_ - padding_b_),
          std::string(wrap_per_char_ ? "1" : "0"), std::string(wrap_no_pages_ ? "1" : "0"), key_text(wrap_max_scale_)}) {
      key += part;
      key += ':';
    }
    for (size_t i = 0; i < bezier_array_.size(); ++i) key += (i > 0 ? "," : "") + key_text(bezier_array_[i]);
    key += ':';
    key += bidi_hint_ < 0 ? std::string("undefined") : key_text(bidi_hint_);
    key += ':';
    key += ignore_command_tags_ ? "1" : "0";
    key += ':';
    model_cache_name_ = std::move(key);
    model_.reset();
  }
  if (model_ && !model_->flushed) return model_.get();
  LibraryState& s = initialize();
  const auto it = s.mcache_dict.find(model_cache_name_);
  if (it != s.mcache_dict.end()) {
    if (auto live = it->second.lock(); live && !live->flushed) {
      model_ = live;
      return model_.get();
    }
  }
  if (!allow_create) return nullptr;
  model_ = build_model(*this, model_cache_name_);
  matrix_dirty_ = true;
  return model_.get();
}

void Element::update_scale_to_box_scale() {
  if (!scale_to_box_dirty_) return;
  scale_to_box_dirty_ = false;
  double scale = 1;
  Model* model = get_model(true);
  if (model != nullptr) {
    if (scale_to_box_max_width_ > 0 && model->width > 0) {
      scale = std::min(scale, (scale_to_box_max_width_ - padding_l_ - padding_r_) / model->width);
    }
    if (scale_to_box_max_height_ > 0 && model->height > 0) {
      scale = std::min(scale, (scale_to_box_max_height_ - padding_t_ - padding_b_) / model->height);
    }
  }
  scale = std::min(scale, 1.0);
  if (scale != scale_to_box_scale_) {
    scale_to_box_scale_ = scale;
    matrix_dirty_ = true;
    bbox_dirty_ = true;
  }
}

void Element::update_matrix(double x, double y) {
  update_scale_to_box_scale();
  if (!matrix_dirty_ && x == matrix_x_ && y == matrix_y_) return;
  matrix_dirty_ = false;
  matrix_x_ = x;
  matrix_y_ = y;
  const Model* model = model_.get();
  const double fit = model != nullptr ? model->fit_scale : 1.0;
  const double xs = scale_to_box_scale_ * xscale_ * fit;
  const double ys = scale_to_box_scale_ * yscale_ * fit;
  // Origin, then scale, then rotation (anticlockwise on screen), then the position.
  const double radians = angle_ * M_PI / 180.0;
  const double c = std::cos(radians), s = std::sin(radians);
  const double ox = -origin_x_, oy = -origin_y_;
  float m[16] = {};
  m[0] = static_cast<float>(xs * c);
  m[1] = static_cast<float>(-xs * s);
  m[4] = static_cast<float>(ys * s);
  m[5] = static_cast<float>(ys * c);
  m[10] = 1;
  m[12] = static_cast<float>(ox * xs * c + oy * ys * s + x);
  m[13] = static_cast<float>(-ox * xs * s + oy * ys * c + y);
  m[15] = 1;
  std::copy(std::begin(m), std::end(m), matrix_.begin());
}

namespace {

void set_uniforms(Element& e, int32_t shader, Typist* typist) {
  LibraryState& s = initialize();
  set_uniform_f(shader, "u_fTime", {static_cast<float>(e.animation_time_)});
  set_uniform_colour(shader, "u_vColourBlend", e.blend_colour_, e.blend_alpha_);
  set_uniform_f(shader, "u_fBlinkState", {e.animation_blink_state_ ? 1.0f : 0.0f});
  set_uniform_colour(shader, "u_vGradient", e.gradient_colour_, e.gradient_alpha_);
  set_uniform_f(shader, "u_vSkew", {static_cast<float>(e.skew_x_), static_cast<float>(e.skew_y_)});
  set_uniform_colour(shader, "u_vFlash", e.flash_colour_, e.flash_alpha_);
  if (e.region_active_defined_) {
    set_uniform_f(shader, "u_vRegionActive",
                  {static_cast<float>(e.region_glyph_start_), static_cast<float>(e.region_glyph_end_), 0, 0});
    set_uniform_colour(shader, "u_vRegionColour", e.region_colour_, e.region_blend_);
  } else {
    set_uniform_f(shader, "u_vRegionActive", {-1, -1, 0, 0});
    set_uniform_colour(shader, "u_vRegionColour", 0, 0);
  }
  bool& desync = shader == kShaderMsdf ? s.msdf_anim_desync : s.standard_anim_desync;
  if (desync) {
    desync = false;
    float values[kAnimPropertyCount];
    for (int i = 0; i < kAnimPropertyCount; ++i) values[i] = static_cast<float>(s.anim[static_cast<size_t>(i)]);
    set_uniform_fv(shader, "u_aDataFields", values, kAnimPropertyCount);
  }
  if (e.bezier_using_) {
    float values[6];
    for (int i = 0; i < 6; ++i) values[i] = static_cast<float>(e.bezier_array_[static_cast<size_t>(i)]);
    set_uniform_fv(shader, "u_aBezier", values, 6);
  }
  if (typist != nullptr) {
    typist->tick_for(&e, typist->function_scope_);
    typist->set_shader_uniforms(&e, shader);
  } else if (e.tw_reveal_defined_) {
    set_uniform_i(shader, "u_iTypewriterMethod", 1);
    set_uniform_i(shader, "u_iTypewriterCharMax", 0);
    set_uniform_f(shader, "u_fTypewriterSmoothness", {0});
    set_uniform_fv(shader, "u_fTypewriterWindowArray", e.tw_reveal_window_array_.data(), 6);
    set_uniform_f(shader, "u_fTypewriterAlphaDuration", {1});
    set_uniform_f(shader, "u_vTypewriterStartPos", {0, 0});
    set_uniform_f(shader, "u_vTypewriterStartScale", {1, 1});
  } else {
    set_uniform_i(shader, "u_iTypewriterMethod", 0);
  }
}

}  // namespace

bool set_standard_uniforms(Element& e, Typist* typist) {
  if (!Shader_IsCompiled(kShaderStandard)) return false;
  Shader_Set(kShaderStandard);
  set_uniforms(e, kShaderStandard, typist);
  return true;
}

bool set_msdf_uniforms(Element& e, Typist* typist) {
  if (!Shader_IsCompiled(kShaderMsdf)) return false;
  Shader_Set(kShaderMsdf);
  set_uniforms(e, kShaderMsdf, typist);
  // The shadow (colour and alpha; offset in the text's pixels and softness) and the border
  // (colour; thickness in the text's pixels) around each glyph's fill.
  set_uniform_colour(kShaderMsdf, "u_vShadowColour", e.msdf_shadow_colour_, e.msdf_shadow_alpha_);
  set_uniform_f(kShaderMsdf, "u_vShadowOffsetAndSoftness",
                {static_cast<float>(e.msdf_shadow_xoffset_), static_cast<float>(e.msdf_shadow_yoffset_),
                 static_cast<float>(e.msdf_shadow_softness_)});
  set_uniform_colour(kShaderMsdf, "u_vBorderColour", e.msdf_border_colour_, 1);
  set_uniform_f(kShaderMsdf, "u_fBorderThickness", {static_cast<float>(e.msdf_border_thickness_)});
  return true;
}

void Element::draw(double x, double y, Typist* typist) {
  Model* model = get_model(true);
  if (model == nullptr) return;
  LibraryState& s = initialize();
  if (last_drawn_ != s.frames) {
    animation_time_ = std::fmod(animation_time_ + animation_speed_ * delta_time_us() / 16666.0, 16383.0);
    last_drawn_ = s.frames;
  }
  const double period = s.blink_on_duration + s.blink_off_duration;
  const double t = period > 0 ? std::fmod(animation_time_ - s.blink_time_offset, period) : 0;
  animation_blink_state_ = (t < 0 ? t + period : t) < s.blink_on_duration;

  // Each text shader in use gets this element's uniforms; a typist ticks once either way.
  bool shaded = model->uses_standard_font && set_standard_uniforms(*this, typist);
  if (model->uses_msdf_font && set_msdf_uniforms(*this, typist)) shaded = true;
  if (!shaded && typist != nullptr) typist->tick_for(this, typist->function_scope_);
  float stored[16];
  GR_Get_Matrix(kMatrixWorld, stored);
  update_matrix(x, y);
  float world[16];
  Matrix_Multiply(matrix_.data(), stored, world);
  GR_Set_Matrix(kMatrixWorld, world);
  const bool double_draw = msdf_border_thickness_ > 0 || msdf_shadow_alpha_ > 0;
  model->submit(page_, msdf_feather_thickness_, double_draw);
  GR_Set_Matrix(kMatrixWorld, stored);
}

}  // namespace scribble

using namespace scribble;


namespace {

bool defined(const RValue& v) { return RV_Kind(v) != kRVUndefined && RV_Kind(v) != kRVUnset; }

Element* element_arg(const RValue& v) {
  KVObjectBase* object = RV_ObjectOf(v);
  return object != nullptr ? dynamic_cast<Element*>(object) : nullptr;
}

// The element the draw-state functions use: the current font, alignment and colour.
Element* draw_state_element(const RValue& text, double wrap_width) {
  LibraryState& s = initialize();
  Element* e = scribble_element(value_text(text), RV_Undefined());
  std::string font;
  if (const TextFont* f = Font_At(Text_GetFont()); f != nullptr && find_font(f->fontName) != nullptr) {
    font = f->fontName;
  } else {
    font = s.default_font;
  }
  const int32_t halign = Text_GetHAlign(), valign = Text_GetVAlign();
  if (halign != e->starting_halign_ || valign != e->starting_valign_) {
    e->starting_halign_ = halign;
    e->starting_valign_ = valign;
    e->layout_changed();
  }
  if (font != e->starting_font_ || e->starting_colour_ != 0xFFFFFF) {
    e->starting_font_ = font;
    e->starting_colour_ = 0xFFFFFF;
    e->layout_changed();
  }
  e->blend_colour_ = Draw_GetColour() & 0xFFFFFF;
  e->blend_alpha_ = Draw_GetAlpha();
  if (wrap_width != e->wrap_max_width_ || e->wrap_max_height_ != -1 || e->wrap_per_char_ || e->wrap_no_pages_) {
    e->wrap_max_width_ = wrap_width;
    e->wrap_max_height_ = -1;
    e->wrap_per_char_ = false;
    e->wrap_no_pages_ = false;
    e->wrap_max_scale_ = 1;
    e->layout_changed();
  }
  return e;
}

void set_reveal(Element* e, const RValue& reveal) {
  if (!defined(reveal)) return;
  e->tw_reveal_defined_ = true;
  e->tw_reveal_ = RV_ToDouble(reveal);
  e->tw_reveal_window_array_[0] = static_cast<float>(e->tw_reveal_);
}

}  // namespace

SCRIBBLE_SCRIPT(scribble) {
  tsl::ScriptScope scope("scribble", self, result);
  initialize();
  if (element_arg(ARG(0)) != nullptr) {
    error("scribble() should not be used to access/draw text elements\nPlease instead call the .draw() method on a "
          "text element e.g. scribble(\"text\").draw(x, y);");
  }
  return scope.give(element_value(scribble_element(value_text(ARG(0)), ARG(1))));
}

SCRIBBLE_SCRIPT(draw_text_scribble) {
  tsl::ScriptScope scope("draw_text_scribble", self, result);
  Element* e = draw_state_element(ARG(2), -1);
  set_reveal(e, ARG(3));
  e->draw(RV_ToDouble(ARG(0)), RV_ToDouble(ARG(1)), nullptr);
  return scope.give(element_value(null_element()));
}

SCRIBBLE_SCRIPT(draw_text_scribble_ext) {
  tsl::ScriptScope scope("draw_text_scribble_ext", self, result);
  Element* e = draw_state_element(ARG(2), RV_ToDouble(ARG(3)));
  set_reveal(e, ARG(4));
  e->draw(RV_ToDouble(ARG(0)), RV_ToDouble(ARG(1)), nullptr);
  return scope.give(element_value(null_element()));
}

namespace {

double measure(const RValue& text, double wrap_width, bool width) {
  Element* e = draw_state_element(text, wrap_width);
  Model* model = e->get_model(true);
  if (model == nullptr) return 0;
  return width ? model->width * e->xscale_ + e->padding_l_ + e->padding_r_
               : model->height * e->yscale_ + e->padding_t_ + e->padding_b_;
}

}  // namespace

SCRIBBLE_SCRIPT(string_width_scribble) {
  tsl::ScriptScope scope("string_width_scribble", self, result);
  return scope.give(Value::Real(measure(ARG(0), -1, true)));
}

SCRIBBLE_SCRIPT(string_height_scribble) {
  tsl::ScriptScope scope("string_height_scribble", self, result);
  return scope.give(Value::Real(measure(ARG(0), -1, false)));
}

SCRIBBLE_SCRIPT(string_width_scribble_ext) {
  tsl::ScriptScope scope("string_width_scribble_ext", self, result);
  return scope.give(Value::Real(measure(ARG(0), RV_ToDouble(ARG(1)), true)));
}

SCRIBBLE_SCRIPT(string_height_scribble_ext) {
  tsl::ScriptScope scope("string_height_scribble_ext", self, result);
  return scope.give(Value::Real(measure(ARG(0), RV_ToDouble(ARG(1)), false)));
}

SCRIBBLE_SCRIPT(scribble_flush_everything) {
  tsl::ScriptScope scope("scribble_flush_everything", self, result);
  LibraryState& s = initialize();
  const std::vector<Element*> elements = s.ecache_array;
  for (Element* e : elements) e->flush();
  for (auto& [name, weak] : s.mcache_dict) {
    if (auto model = weak.lock()) model->flush();
  }
  s.mcache_dict.clear();
  s.mcache_name_array.clear();
  s.ecache_dict.clear();
  s.ecache_name_array.clear();
  return result;
}

SCRIBBLE_SCRIPT(scribble_is_text_element) {
  tsl::ScriptScope scope("scribble_is_text_element", self, result);
  return scope.give(Value::Bool(element_arg(ARG(0)) != nullptr));
}
