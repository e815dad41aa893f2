// The methods of a text element, in their order of declaration. Setters return the element so
// calls chain; a setter that changes layout marks the model's name out of date, so the next draw
// finds (or builds) the model of the new settings. The null element answers every method and
// does nothing.
#include <algorithm>
#include <cmath>

#include "core/call.h"
#include "graphics/draw.h"
#include "text/scribble_internal.h"

using namespace scribble;

#define ELEMENT_METHOD(name)                                                                           \
  RValue* tsl_Script___scribble_class_element_##name(CInstance* self, [[maybe_unused]] CInstance* other, \
                                                     RValue* result, [[maybe_unused]] int argc,          \
                                                     [[maybe_unused]] RValue** argv)
// The element, or the null element's answer (itself) at once.
#define ELEMENT_ENTRY(name)                                                  \
  tsl::ScriptScope scope("__scribble_class_element_" #name, self, result); \
  Element* e = element_of(self);                                             \
  if (e == nullptr || e->null_) return scope.give(self_value(self))
#define RETURN_SELF return scope.give(self_value(self))

namespace {

Value self_value(CInstance* self) { return Value::Object(KV_AsObject(self)); }
bool defined(const RValue& v) { return RV_Kind(v) != kRVUndefined && RV_Kind(v) != kRVUnset; }
double real_or(const RValue& v, double fallback) { return defined(v) ? RV_ToDouble(v) : fallback; }

uint32_t colour_arg(const RValue& v) {
  uint32_t colour = 0;
  if (!process_colour(v, &colour)) error("Colour \"" + value_text(v) + "\" not recognised");
  return colour;
}

Page* current_page(Element* e) {
  Model* model = e->get_model(true);
  if (model == nullptr || model->pages.empty()) return nullptr;
  const auto index = static_cast<size_t>(std::clamp(e->page_, 0, static_cast<int32_t>(model->pages.size()) - 1));
  return model->pages[index].get();
}

// The element's box on its page, in element space before the transform.
struct Box {
  double left = 0, top = 0, right = 0, bottom = 0;
};
Box local_box(Element* e) {
  Box box;
  Model* model = e->get_model(true);
  const Page* page = current_page(e);
  if (model == nullptr || page == nullptr) return box;
  box.left = page->min_x - (model->pad_bbox_l ? e->padding_l_ : 0);
  box.top = page->min_y - (model->pad_bbox_t ? e->padding_t_ : 0);
  box.right = page->max_x + (model->pad_bbox_r ? e->padding_r_ : 0);
  box.bottom = page->max_y + (model->pad_bbox_b ? e->padding_b_ : 0);
  return box;
}

// A point of element space on the screen at (x, y). The shader shears the text about its origin
// (x by y, y by x) before the element's transform, so the point is sheared first.
void transform_point(Element* e, double x, double y, double px, double py, double* ox, double* oy) {
  e->update_matrix(x, y);
  const auto& m = e->matrix_;
  const double kx = px + e->skew_x_ * py, ky = py + e->skew_y_ * px;
  *ox = kx * m[0] + ky * m[4] + m[12];
  *oy = kx * m[1] + ky * m[5] + m[13];
}

// The screen point (px, py) back in element space for the element drawn at (x, y); false when
// the transform or the shear flattens the text.
bool untransform_point(Element* e, double x, double y, double px, double py, double* lx, double* ly) {
  e->update_matrix(x, y);
  const auto& m = e->matrix_;
  const double det = m[0] * m[5] - m[1] * m[4];
  const double sx = e->skew_x_, sy = e->skew_y_;
  const double shear = 1 - sx * sy;
  if (det == 0 || shear == 0) return false;
  const double dx = px - m[12], dy = py - m[13];
  const double kx = (dx * m[5] - dy * m[4]) / det, ky = (dy * m[0] - dx * m[1]) / det;
  *lx = (kx - sx * ky) / shear;
  *ly = (ky - sy * kx) / shear;
  return true;
}

// The axis-aligned box on the screen: {left, top, right, bottom}.
Box screen_box(Element* e, double x, double y) {
  const Box b = local_box(e);
  Box out{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
  for (const double px : {b.left, b.right}) {
    for (const double py : {b.top, b.bottom}) {
      double sx = 0, sy = 0;
      transform_point(e, x, y, px, py, &sx, &sy);
      out.left = std::min(out.left, sx);
      out.right = std::max(out.right, sx);
      out.top = std::min(out.top, sy);
      out.bottom = std::max(out.bottom, sy);
    }
  }
  return out;
}

[[noreturn]] void legacy_typewriter() {
  error(".typewriter_*() methods have been deprecated\nIt is recommend you move to the new \"typist\" system\n"
        "Please see the library's documentation on typists\n"
        "(Set SCRIBBLE_WARNING_LEGACY_TYPEWRITER to <false> to turn off this warning)");
}

}  // namespace

ELEMENT_METHOD(draw) {
  ELEMENT_ENTRY(draw);
  Typist* typist = typist_of(ARG(2));
  e->draw(RV_ToDouble(ARG(0)), RV_ToDouble(ARG(1)), typist);
  return scope.give(Value::Object(null_element()));
}

ELEMENT_METHOD(starting_format) {
  ELEMENT_ENTRY(starting_format);
  if (RV_Kind(ARG(0)) == kRVString) {
    const std::string font = RV_StringText(ARG(0));
    font_data(font);
    if (font != e->starting_font_) {
      e->starting_font_ = font;
      e->layout_changed();
    }
  } else if (defined(ARG(0))) {
    error("Fonts should be specified using their name as a string.\n(Input was an invalid datatype)");
  }
  if (defined(ARG(1))) {
    const uint32_t colour = colour_arg(ARG(1)) & 0xFFFFFFu;
    if (colour != e->starting_colour_) {
      e->starting_colour_ = colour;
      e->layout_changed();
    }
  }
  RETURN_SELF;
}

ELEMENT_METHOD(align) {
  ELEMENT_ENTRY(align);
  const auto h = static_cast<int32_t>(real_or(ARG(0), e->starting_halign_));
  const auto v = static_cast<int32_t>(real_or(ARG(1), e->starting_valign_));
  if (h != e->starting_halign_ || v != e->starting_valign_) {
    e->starting_halign_ = h;
    e->starting_valign_ = v;
    e->layout_changed();
  }
  RETURN_SELF;
}

ELEMENT_METHOD(blend) {
  ELEMENT_ENTRY(blend);
  e->blend_colour_ = colour_arg(ARG(0)) & 0xFFFFFFu;
  e->blend_alpha_ = real_or(ARG(1), 1);
  RETURN_SELF;
}

ELEMENT_METHOD(gradient) {
  ELEMENT_ENTRY(gradient);
  e->gradient_colour_ = colour_arg(ARG(0)) & 0xFFFFFFu;
  e->gradient_alpha_ = real_or(ARG(1), 0);
  RETURN_SELF;
}

ELEMENT_METHOD(flash) {
  ELEMENT_ENTRY(flash);
  e->flash_colour_ = colour_arg(ARG(0)) & 0xFFFFFFu;
  e->flash_alpha_ = real_or(ARG(1), 0);
  RETURN_SELF;
}

ELEMENT_METHOD(fog) { return tsl_Script___scribble_class_element_flash(self, other, result, argc, argv); }

ELEMENT_METHOD(origin) {
  ELEMENT_ENTRY(origin);
  e->origin_x_ = real_or(ARG(0), 0);
  e->origin_y_ = real_or(ARG(1), 0);
  e->matrix_dirty_ = e->bbox_dirty_ = true;
  RETURN_SELF;
}

ELEMENT_METHOD(transform) {
  ELEMENT_ENTRY(transform);
  e->xscale_ = real_or(ARG(0), 1);
  e->yscale_ = real_or(ARG(1), 1);
  e->angle_ = real_or(ARG(2), 0);
  e->matrix_dirty_ = e->bbox_dirty_ = true;
  RETURN_SELF;
}

ELEMENT_METHOD(skew) {
  ELEMENT_ENTRY(skew);
  const double sx = real_or(ARG(0), 0), sy = real_or(ARG(1), 0);
  if (sx != e->skew_x_ || sy != e->skew_y_) e->bbox_dirty_ = true;
  e->skew_x_ = sx;
  e->skew_y_ = sy;
  RETURN_SELF;
}

ELEMENT_METHOD(scale_to_box) {
  ELEMENT_ENTRY(scale_to_box);
  const double w = real_or(ARG(0), 0), h = real_or(ARG(1), 0);
  if (w != e->scale_to_box_max_width_ || h != e->scale_to_box_max_height_) {
    e->scale_to_box_max_width_ = w;
    e->scale_to_box_max_height_ = h;
    e->scale_to_box_dirty_ = e->bbox_dirty_ = true;
  }
  RETURN_SELF;
}

ELEMENT_METHOD(wrap) {
  ELEMENT_ENTRY(wrap);
  const double w = real_or(ARG(0), -1), h = real_or(ARG(1), -1);
  const bool per_char = RV_ToBool(ARG(2));
  if (w != e->wrap_max_width_ || h != e->wrap_max_height_ || per_char != e->wrap_per_char_ || e->wrap_no_pages_ ||
      e->wrap_max_scale_ != 1) {
    e->layout_changed();
    e->wrap_max_width_ = w;
    e->wrap_max_height_ = h;
    e->wrap_per_char_ = per_char;
    e->wrap_no_pages_ = false;
    e->wrap_max_scale_ = 1;
  }
  RETURN_SELF;
}

ELEMENT_METHOD(fit_to_box) {
  ELEMENT_ENTRY(fit_to_box);
  const double w = real_or(ARG(0), -1), h = real_or(ARG(1), -1);
  const bool per_char = RV_ToBool(ARG(2));
  const double max_scale = real_or(ARG(3), 1);
  if (w != e->wrap_max_width_ || h != e->wrap_max_height_ || per_char != e->wrap_per_char_ || !e->wrap_no_pages_ ||
      max_scale != e->wrap_max_scale_) {
    e->layout_changed();
    e->matrix_dirty_ = true;
    e->wrap_max_width_ = w;
    e->wrap_max_height_ = h;
    e->wrap_per_char_ = per_char;
    e->wrap_no_pages_ = true;
    e->wrap_max_scale_ = max_scale;
  }
  RETURN_SELF;
}

ELEMENT_METHOD(line_height) {
  ELEMENT_ENTRY(line_height);
  const double lo = real_or(ARG(0), -1), hi = real_or(ARG(1), -1);
  if (lo != e->line_height_min_ || hi != e->line_height_max_) {
    e->line_height_min_ = lo;
    e->line_height_max_ = hi;
    e->layout_changed();
  }
  RETURN_SELF;
}

ELEMENT_METHOD(line_spacing) {
  ELEMENT_ENTRY(line_spacing);
  if (value_text(ARG(0)) != value_text(*e->line_spacing_.get()) || RV_Kind(ARG(0)) != RV_Kind(*e->line_spacing_.get())) {
    e->line_spacing_ = Value::Copy(ARG(0));
    e->layout_changed();
  }
  RETURN_SELF;
}

ELEMENT_METHOD(padding) {
  ELEMENT_ENTRY(padding);
  const double l = real_or(ARG(0), 0), t = real_or(ARG(1), 0), r = real_or(ARG(2), 0), b = real_or(ARG(3), 0);
  if (l != e->padding_l_ || t != e->padding_t_ || r != e->padding_r_ || b != e->padding_b_) {
    e->padding_l_ = l;
    e->padding_t_ = t;
    e->padding_r_ = r;
    e->padding_b_ = b;
    e->layout_changed();
    e->matrix_dirty_ = true;
  }
  RETURN_SELF;
}

ELEMENT_METHOD(bezier) {
  ELEMENT_ENTRY(bezier);
  std::array<double, 6> curve{};
  if (argc >= 8) {
    const double x1 = RV_ToDouble(ARG(0)), y1 = RV_ToDouble(ARG(1));
    for (int i = 0; i < 6; ++i) curve[static_cast<size_t>(i)] = RV_ToDouble(ARG(2 + i)) - (i % 2 == 0 ? x1 : y1);
  }
  if (curve != e->bezier_array_) {
    e->bezier_array_ = curve;
    e->bezier_using_ = std::any_of(curve.begin(), curve.end(), [](double v) { return v != 0; });
    e->layout_changed();
  }
  RETURN_SELF;
}

ELEMENT_METHOD(right_to_left) {
  ELEMENT_ENTRY(right_to_left);
  const int32_t hint = RV_ToBool(ARG(0)) ? kClassR2L : -1;
  if (hint != e->bidi_hint_) {
    e->bidi_hint_ = hint;
    e->layout_changed();
  }
  RETURN_SELF;
}

ELEMENT_METHOD(region_detect) {
  ELEMENT_ENTRY(region_detect);
  const Page* page = current_page(e);
  if (page == nullptr) return result;
  double lx = 0, ly = 0;
  if (!untransform_point(e, RV_ToDouble(ARG(0)), RV_ToDouble(ARG(1)), RV_ToDouble(ARG(2)), RV_ToDouble(ARG(3)), &lx, &ly)) {
    return result;
  }
  for (const Region& region : page->regions) {
    for (const auto& b : region.bboxes) {
      if (lx >= b[0] && lx <= b[2] && ly >= b[1] && ly <= b[3]) return scope.give(Value::String(region.name.c_str()));
    }
  }
  return result;
}

ELEMENT_METHOD(region_set_active) {
  ELEMENT_ENTRY(region_set_active);
  if (!defined(ARG(0))) {
    e->region_active_defined_ = false;
    e->region_active_.clear();
    RETURN_SELF;
  }
  const std::string name = value_text(ARG(0));
  const Page* page = current_page(e);
  if (page != nullptr) {
    for (const Region& region : page->regions) {
      if (region.name != name) continue;
      e->region_active_defined_ = true;
      e->region_active_ = name;
      e->region_glyph_start_ = region.start;
      e->region_glyph_end_ = region.end;
      e->region_colour_ = colour_arg(ARG(1)) & 0xFFFFFFu;
      e->region_blend_ = real_or(ARG(2), 1);
      RETURN_SELF;
    }
  }
  trace("Warning! Region \"" + name + "\" not found");
  RETURN_SELF;
}

ELEMENT_METHOD(region_get_active) {
  ELEMENT_ENTRY(region_get_active);
  return e->region_active_defined_ ? scope.give(Value::String(e->region_active_.c_str())) : result;
}

ELEMENT_METHOD(__update_bbox_matrix) {
  ELEMENT_ENTRY(__update_bbox_matrix);
  e->bbox_dirty_ = false;
  RETURN_SELF;
}

ELEMENT_METHOD(get_left) {
  ELEMENT_ENTRY(get_left);
  return scope.give(Value::Real(screen_box(e, real_or(ARG(0), 0), real_or(ARG(1), 0)).left));
}

ELEMENT_METHOD(get_top) {
  ELEMENT_ENTRY(get_top);
  return scope.give(Value::Real(screen_box(e, real_or(ARG(0), 0), real_or(ARG(1), 0)).top));
}

ELEMENT_METHOD(get_right) {
  ELEMENT_ENTRY(get_right);
  return scope.give(Value::Real(screen_box(e, real_or(ARG(0), 0), real_or(ARG(1), 0)).right));
}

ELEMENT_METHOD(get_bottom) {
  ELEMENT_ENTRY(get_bottom);
  return scope.give(Value::Real(screen_box(e, real_or(ARG(0), 0), real_or(ARG(1), 0)).bottom));
}

ELEMENT_METHOD(get_width) {
  ELEMENT_ENTRY(get_width);
  const Box b = screen_box(e, 0, 0);
  return scope.give(Value::Real(b.right - b.left));
}

ELEMENT_METHOD(get_height) {
  ELEMENT_ENTRY(get_height);
  const Box b = screen_box(e, 0, 0);
  return scope.give(Value::Real(b.bottom - b.top));
}

ELEMENT_METHOD(get_bbox) {
  ELEMENT_ENTRY(get_bbox);
  const double x = real_or(ARG(0), 0), y = real_or(ARG(1), 0);
  const Box aabb = screen_box(e, x, y);
  const Box local = local_box(e);
  KVObjectBase* bbox = Object_NewStruct();
  const Value held = Value::Object(bbox);
  Object_SetReal(bbox, "left", aabb.left);
  Object_SetReal(bbox, "top", aabb.top);
  Object_SetReal(bbox, "right", aabb.right);
  Object_SetReal(bbox, "bottom", aabb.bottom);
  Object_SetReal(bbox, "width", aabb.right - aabb.left);
  Object_SetReal(bbox, "height", aabb.bottom - aabb.top);
  const double corners[4][2] = {{local.left, local.top}, {local.right, local.top}, {local.left, local.bottom},
                                {local.right, local.bottom}};
  const char* names[4][2] = {{"x0", "y0"}, {"x1", "y1"}, {"x2", "y2"}, {"x3", "y3"}};
  for (int i = 0; i < 4; ++i) {
    double sx = 0, sy = 0;
    transform_point(e, x, y, corners[i][0], corners[i][1], &sx, &sy);
    Object_SetReal(bbox, names[i][0], sx);
    Object_SetReal(bbox, names[i][1], sy);
  }
  return scope.give(held);
}

ELEMENT_METHOD(get_bbox_revealed) {
  ELEMENT_ENTRY(get_bbox_revealed);
  error("Getting the revealed glyph bounding box requires SCRIBBLE_ALLOW_GLYPH_DATA_GETTER to be set to <true>");
}

ELEMENT_METHOD(page) {
  ELEMENT_ENTRY(page);
  int32_t index = RV_ToInt32(ARG(0));
  if (Model* model = e->get_model(true)) {
    const auto count = static_cast<int32_t>(model->pages.size());
    if (index < 0) {
      trace("Warning! Cannot set a text element's page to less than 0");
      index = 0;
    } else if (index > count - 1) {
      trace("Warning! Page " + number_text(index) + " is too big. Valid pages are from 0 to " + number_text(count - 1) +
            " (pages are 0-indexed)");
      index = count - 1;
    }
  }
  if (index != e->page_) {
    e->page_ = index;
    e->bbox_dirty_ = true;
  }
  RETURN_SELF;
}

ELEMENT_METHOD(get_page) {
  ELEMENT_ENTRY(get_page);
  return scope.give(Value::Real(e->page_));
}

ELEMENT_METHOD(get_page_count) {
  ELEMENT_ENTRY(get_page_count);
  Model* model = e->get_model(true);
  return scope.give(Value::Real(model == nullptr ? 0 : static_cast<double>(model->pages.size())));
}

ELEMENT_METHOD(get_pages) { return tsl_Script___scribble_class_element_get_page_count(self, other, result, argc, argv); }

ELEMENT_METHOD(on_last_page) {
  ELEMENT_ENTRY(on_last_page);
  Model* model = e->get_model(true);
  return scope.give(Value::Bool(model == nullptr || e->page_ >= static_cast<int32_t>(model->pages.size()) - 1));
}

ELEMENT_METHOD(get_wrapped) {
  ELEMENT_ENTRY(get_wrapped);
  Model* model = e->get_model(true);
  return scope.give(Value::Bool(model != nullptr && model->wrapped));
}

ELEMENT_METHOD(get_text) {
  ELEMENT_ENTRY(get_text);
  error("Cannot get text, SCRIBBLE_ALLOW_TEXT_GETTER = <false>\nPlease set SCRIBBLE_ALLOW_TEXT_GETTER to <true> to get text");
}

ELEMENT_METHOD(get_glyph_data) {
  ELEMENT_ENTRY(get_glyph_data);
  error("Cannot get glyph data, SCRIBBLE_ALLOW_GLYPH_DATA_GETTER = <false>\nPlease set "
        "SCRIBBLE_ALLOW_GLYPH_DATA_GETTER to <true> to get glyph data");
}

ELEMENT_METHOD(get_glyph_count) {
  ELEMENT_ENTRY(get_glyph_count);
  Model* model = e->get_model(true);
  return scope.give(Value::Real(model == nullptr ? 0 : model->glyph_count));
}

ELEMENT_METHOD(get_line_count) {
  ELEMENT_ENTRY(get_line_count);
  Model* model = e->get_model(true);
  if (model == nullptr) return scope.give(Value::Real(0));
  const int32_t index = defined(ARG(0)) ? RV_ToInt32(ARG(0)) : e->page_;
  const auto count = static_cast<int32_t>(model->pages.size());
  if (index < 0) error("Page index " + number_text(index) + " doesn't exist. Minimum page index is 0");
  if (index >= count) error("Page index " + number_text(index) + " doesn't exist. Maximum page index is " + number_text(count - 1));
  return scope.give(Value::Real(model->pages[static_cast<size_t>(index)]->line_count));
}

ELEMENT_METHOD(reveal) {
  ELEMENT_ENTRY(reveal);
  e->tw_reveal_defined_ = defined(ARG(0));
  e->tw_reveal_ = real_or(ARG(0), 0);
  e->tw_reveal_window_array_ = {};
  e->tw_reveal_window_array_[0] = static_cast<float>(e->tw_reveal_);
  RETURN_SELF;
}

ELEMENT_METHOD(get_reveal) {
  ELEMENT_ENTRY(get_reveal);
  return e->tw_reveal_defined_ ? scope.give(Value::Real(e->tw_reveal_)) : result;
}

ELEMENT_METHOD(animation_speed) {
  ELEMENT_ENTRY(animation_speed);
  e->animation_speed_ = real_or(ARG(0), 1);
  RETURN_SELF;
}

ELEMENT_METHOD(animation_tick_speed) { return tsl_Script___scribble_class_element_animation_speed(self, other, result, argc, argv); }

ELEMENT_METHOD(get_animation_speed) {
  ELEMENT_ENTRY(get_animation_speed);
  return scope.give(Value::Real(e->animation_speed_));
}

ELEMENT_METHOD(is_animated) {
  ELEMENT_ENTRY(is_animated);
  Model* model = e->get_model(true);
  return scope.give(Value::Bool(model != nullptr && model->has_animation));
}

ELEMENT_METHOD(animation_sync) {
  ELEMENT_ENTRY(animation_sync);
  if (Element* source = dynamic_cast<Element*>(RV_ObjectOf(ARG(0))); source != nullptr) {
    e->animation_time_ = source->animation_time_;
  }
  RETURN_SELF;
}

// The element's animation setters change the library's shared animation properties.
#define ELEMENT_ANIMATION(name)                                              \
  ELEMENT_METHOD(animation_##name) {                                         \
    ELEMENT_ENTRY(animation_##name);                                         \
    tsl_Script_scribble_anim_##name(self, other, scope.result(), argc, argv); \
    RETURN_SELF;                                                             \
  }
ELEMENT_ANIMATION(wave)
ELEMENT_ANIMATION(shake)
ELEMENT_ANIMATION(rainbow)
ELEMENT_ANIMATION(wobble)
ELEMENT_ANIMATION(pulse)
ELEMENT_ANIMATION(wheel)
ELEMENT_ANIMATION(cycle)
ELEMENT_ANIMATION(jitter)
ELEMENT_ANIMATION(blink)
#undef ELEMENT_ANIMATION

ELEMENT_METHOD(msdf_shadow) {
  ELEMENT_ENTRY(msdf_shadow);
  e->msdf_shadow_colour_ = colour_arg(ARG(0)) & 0xFFFFFFu;
  e->msdf_shadow_alpha_ = real_or(ARG(1), 0);
  e->msdf_shadow_xoffset_ = real_or(ARG(2), 0);
  e->msdf_shadow_yoffset_ = real_or(ARG(3), 0);
  e->msdf_shadow_softness_ = real_or(ARG(4), 0.1);
  RETURN_SELF;
}

ELEMENT_METHOD(msdf_border) {
  ELEMENT_ENTRY(msdf_border);
  e->msdf_border_colour_ = colour_arg(ARG(0)) & 0xFFFFFFu;
  e->msdf_border_thickness_ = real_or(ARG(1), 0);
  RETURN_SELF;
}

ELEMENT_METHOD(msdf_feather) {
  ELEMENT_ENTRY(msdf_feather);
  e->msdf_feather_thickness_ = real_or(ARG(0), 1);
  RETURN_SELF;
}

ELEMENT_METHOD(build) {
  ELEMENT_ENTRY(build);
  e->freeze_ = RV_ToBool(ARG(0));
  if (Model* model = e->get_model(true); model != nullptr && e->freeze_) {
    for (auto& page : model->pages) {
      if (!page->frozen) page->freeze();
    }
  }
  RETURN_SELF;
}

ELEMENT_METHOD(flush) {
  ELEMENT_ENTRY(flush);
  e->flush();
  return scope.give(Value::Object(null_element()));
}

ELEMENT_METHOD(get_events) {
  ELEMENT_ENTRY(get_events);
  Value events = tsl::call("@@NewTSLArray@@", nullptr, nullptr);
  Model* model = e->get_model(true);
  const int32_t index = defined(ARG(1)) ? RV_ToInt32(ARG(1)) : e->page_;
  if (model == nullptr || index < 0 || index >= static_cast<int32_t>(model->pages.size())) return scope.give(events);
  const Page& page = *model->pages[static_cast<size_t>(index)];
  const auto it = page.events.find(RV_ToInt32(ARG(0)));
  if (it == page.events.end()) return scope.give(events);
  for (const EventPtr& event : it->second) {
    KVObjectBase* record = Object_NewStruct();
    const Value held = Value::Object(record);
    Object_SetReal(record, "position", event->position);
    const Value name = Value::String(event->name.c_str());
    Object_SetRValue(record, "name", name.get());
    Value data = tsl::call("@@NewTSLArray@@", nullptr, nullptr);
    for (const Value& item : event->data) tsl::call("array_push", nullptr, nullptr, {*data, *item});
    Object_SetRValue(record, "data", data.get());
    tsl::call("array_push", nullptr, nullptr, {*events, *held});
  }
  return scope.give(events);
}

ELEMENT_METHOD(template) {
  ELEMENT_ENTRY(template);
  const RValue& function = ARG(0);
  const bool only_on_change = defined(ARG(1)) ? RV_ToBool(ARG(1)) : true;
  if (only_on_change && value_text(function) == value_text(*e->template_.get()) && defined(function)) RETURN_SELF;
  e->template_ = Value::Copy(function);
  if (RV_Kind(function) == kRVArray && function.pArray != nullptr) {
    for (int32_t i = 0; i < function.pArray->length; ++i) {
      RValue callee = function.pArray->pArray[i];
      Value ignored;
      CallMethod(self, self, ignored.get(), 0, &callee, nullptr);
    }
  } else if (defined(function)) {
    RValue callee = function;
    Value ignored;
    CallMethod(self, self, ignored.get(), 0, &callee, nullptr);
  }
  RETURN_SELF;
}

ELEMENT_METHOD(ignore_command_tags) {
  ELEMENT_ENTRY(ignore_command_tags);
  const bool state = defined(ARG(0)) ? RV_ToBool(ARG(0)) : true;
  if (state != e->ignore_command_tags_) {
    e->ignore_command_tags_ = state;
    e->layout_changed();
  }
  RETURN_SELF;
}

ELEMENT_METHOD(z) {
  ELEMENT_ENTRY(z);
  e->z_ = real_or(ARG(0), 0);
  RETURN_SELF;
}

ELEMENT_METHOD(get_z) {
  ELEMENT_ENTRY(get_z);
  return scope.give(Value::Real(e->z_));
}

ELEMENT_METHOD(overwrite) {
  ELEMENT_ENTRY(overwrite);
  const std::string text = value_text(ARG(0));
  if (text == e->text_) RETURN_SELF;
  LibraryState& s = initialize();
  const auto it = s.ecache_dict.find(e->cache_name_);
  if (it != s.ecache_dict.end() && it->second == e) s.ecache_dict.erase(it);
  e->text_ = text;
  const bool has_id = defined(*e->unique_id_.get());
  e->cache_name_ = text + ":" + (has_id ? value_text(*e->unique_id_.get()) : std::string("default"));
  const auto other_it = s.ecache_dict.find(e->cache_name_);
  if (other_it != s.ecache_dict.end() && other_it->second != e) {
    trace("Warning! Flushing element \"" + e->cache_name_ + "\" due to cache name collision");
    other_it->second->flush();
  }
  s.ecache_dict[e->cache_name_] = e;
  s.ecache_name_array.push_back(e->cache_name_);
  e->layout_changed();
  RETURN_SELF;
}

ELEMENT_METHOD(debug_draw_bbox) {
  ELEMENT_ENTRY(debug_draw_bbox);
  const Box b = screen_box(e, real_or(ARG(0), 0), real_or(ARG(1), 0));
  const uint32_t c = Draw_MergedColour();
  Draw_Rectangle(static_cast<float>(b.left), static_cast<float>(b.top), static_cast<float>(b.right),
                 static_cast<float>(b.bottom), c, c, c, c, true);
  RETURN_SELF;
}

ELEMENT_METHOD(__get_model) {
  ELEMENT_ENTRY(__get_model);
  return scope.give(Value::Bool(e->get_model(RV_ToBool(ARG(0))) != nullptr));
}

// __set_standard_uniforms(typist, function_scope) and __set_msdf_uniforms: the text shader set with
// this element's uniforms, a typist's reveal among them.
ELEMENT_METHOD(__set_standard_uniforms) {
  ELEMENT_ENTRY(__set_standard_uniforms);
  set_standard_uniforms(*e, typist_of(ARG(0)));
  RETURN_SELF;
}

ELEMENT_METHOD(__set_msdf_uniforms) {
  ELEMENT_ENTRY(__set_msdf_uniforms);
  set_msdf_uniforms(*e, typist_of(ARG(0)));
  RETURN_SELF;
}

ELEMENT_METHOD(__update_scale_to_box_scale) {
  ELEMENT_ENTRY(__update_scale_to_box_scale);
  e->update_scale_to_box_scale();
  RETURN_SELF;
}

ELEMENT_METHOD(__update_matrix) {
  ELEMENT_ENTRY(__update_matrix);
  e->update_matrix(real_or(ARG(0), 0), real_or(ARG(1), 0));
  RETURN_SELF;
}

#define ELEMENT_LEGACY(name)    \
  ELEMENT_METHOD(name) {        \
    ELEMENT_ENTRY(name);        \
    legacy_typewriter();        \
  }
ELEMENT_LEGACY(typewriter_off)
ELEMENT_LEGACY(typewriter_reset)
ELEMENT_LEGACY(typewriter_in)
ELEMENT_LEGACY(typewriter_out)
ELEMENT_LEGACY(typewriter_skip)
ELEMENT_LEGACY(typewriter_sound)
ELEMENT_LEGACY(typewriter_sound_per_char)
ELEMENT_LEGACY(typewriter_function)
ELEMENT_LEGACY(typewriter_pause)
ELEMENT_LEGACY(typewriter_unpause)
ELEMENT_LEGACY(typewriter_ease)
ELEMENT_LEGACY(get_typewriter_state)
ELEMENT_LEGACY(get_typewriter_paused)
ELEMENT_LEGACY(get_typewriter_pos)
#undef ELEMENT_LEGACY
