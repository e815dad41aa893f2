// Input cursor and pointer: each player's cursor (mouse following, aim verbs, elastic pull,
// translation, limits), and the library's own keyboard and mouse checks.
#include <algorithm>

#include "input/input_args.h"
#include "input/input_internal.h"

namespace input {

namespace {

double lerp(double a, double b, double t) { return a + (b - a) * t; }

// input_xy over the cursor verbs, when the game defines them.
bool aim_vector(Player& p, double* dx, double* dy) {
  const char* names[4] = {INPUT_CURSOR_VERB_LEFT, INPUT_CURSOR_VERB_RIGHT, INPUT_CURSOR_VERB_UP, INPUT_CURSOR_VERB_DOWN};
  double values[4] = {};
  for (int i = 0; i < 4; ++i) {
    const VerbState* v = p.find_verb(names[i]);
    if (v == nullptr) return false;
    values[i] = v->inactive ? 0 : v->raw;
  }
  *dx = values[1] - values[0];
  *dy = values[3] - values[2];
  const double d = std::sqrt(*dx * *dx + *dy * *dy);
  if (d > 1) {
    *dx /= d;
    *dy /= d;
  }
  return true;
}

}  // namespace

void Cursor::tick() {
  System& s = sys();
  prev_x = x;
  prev_y = y;
  if (player->source_contains(Source{kSourceMouse, -1})) {
    if (s.mouse_moved) using_mouse = true;
    if (using_mouse) {
      if (s.mouse_capture) {
        x += (s.mouse_x[2] - s.mouse_x_prev[2]) * s.mouse_capture_sensitivity;
        y += (s.mouse_y[2] - s.mouse_y_prev[2]) * s.mouse_capture_sensitivity;
      } else {
        x = mouse_x_in(coord_space);
        y = mouse_y_in(coord_space);
      }
    }
  }
  double dx = 0, dy = 0;
  if (aim_vector(*player, &dx, &dy) && (dx != 0 || dy != 0)) {
    using_mouse = false;
    x += speed * dx;
    y += speed * dy;
  }
  if (elastic_strength > 0 && !using_mouse) {
    x = lerp(x, elastic_x, elastic_strength);
    y = lerp(y, elastic_y, elastic_strength);
  }
  if (translation_active) {
    const double span = translation_end_time - translation_start_time;
    const double t = span <= 0 ? 1 : std::clamp((get_time() - translation_start_time) / span, 0.0, 1.0);
    x = lerp(translation_start_x, translation_end_x, t);
    y = lerp(translation_start_y, translation_end_y, t);
    if (t >= 1) translation_active = false;
  }
  if (x != prev_x || y != prev_y) moved_time = get_time();
  limit();
}

void Cursor::limit() {
  if (limit_l && limit_t && limit_r && limit_b) {
    x = std::clamp(x, *limit_l, std::max(*limit_l, *limit_r));
    y = std::clamp(y, *limit_t, std::max(*limit_t, *limit_b));
  } else if (limit_x && limit_y && limit_radius) {
    const double dx = x - *limit_x;
    const double dy = y - *limit_y;
    const double d = std::sqrt(dx * dx + dy * dy);
    if (d > *limit_radius) {
      x = *limit_x + dx / d * *limit_radius;
      y = *limit_y + dy / d * *limit_radius;
    }
  }
}

}  // namespace input

using namespace input;

INPUT_SCRIPT(input_cursor_x) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_x", self, result);
  return scope.give(real(player_at(argc, argv, 0).cursor.x));
}

INPUT_SCRIPT(input_cursor_y) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_y", self, result);
  return scope.give(real(player_at(argc, argv, 0).cursor.y));
}

INPUT_SCRIPT(input_cursor_previous_x) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_previous_x", self, result);
  return scope.give(real(player_at(argc, argv, 0).cursor.prev_x));
}

INPUT_SCRIPT(input_cursor_previous_y) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_previous_y", self, result);
  return scope.give(real(player_at(argc, argv, 0).cursor.prev_y));
}

// input_cursor_set(x, y, player_index = 0, prev_too = true)
INPUT_SCRIPT(input_cursor_set) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_set", self, result);
  Cursor& c = player_at(argc, argv, 2).cursor;
  c.x = RV_ToDouble(input::arg(argc, argv, 0));
  c.y = RV_ToDouble(input::arg(argc, argv, 1));
  if (arg_bool(argc, argv, 3, true)) {
    c.prev_x = c.x;
    c.prev_y = c.y;
  }
  c.using_mouse = false;
  c.translation_active = false;
  return result;
}

// input_cursor_translate(x, y, duration, player_index = 0)
INPUT_SCRIPT(input_cursor_translate) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_translate", self, result);
  Cursor& c = player_at(argc, argv, 3).cursor;
  c.translation_active = true;
  c.translation_start_x = c.x;
  c.translation_start_y = c.y;
  c.translation_start_time = get_time();
  c.translation_end_x = RV_ToDouble(input::arg(argc, argv, 0));
  c.translation_end_y = RV_ToDouble(input::arg(argc, argv, 1));
  c.translation_end_time = get_time() + std::max(0.0, arg_real(argc, argv, 2, 0));
  c.using_mouse = false;
  return result;
}

INPUT_SCRIPT(input_cursor_speed_set) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_speed_set", self, result);
  player_at(argc, argv, 1).cursor.speed = RV_ToDouble(input::arg(argc, argv, 0));
  return result;
}

INPUT_SCRIPT(input_cursor_speed_get) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_speed_get", self, result);
  return scope.give(real(player_at(argc, argv, 0).cursor.speed));
}

namespace {

using Limit = std::optional<double> Cursor::*;
constexpr Limit kAllLimits[] = {&Cursor::limit_l, &Cursor::limit_t, &Cursor::limit_r,     &Cursor::limit_b,
                                &Cursor::limit_x, &Cursor::limit_y, &Cursor::limit_radius};

// A cursor's limits become those given: each taken from the arguments in order, the player index
// after them; a box and a circle exclude each other, so every other limit goes.
void set_limits(int argc, RValue** argv, std::initializer_list<Limit> given) {
  Cursor& c = player_at(argc, argv, static_cast<int>(given.size())).cursor;
  for (Limit limit : kAllLimits) (c.*limit).reset();
  int n = 0;
  for (Limit limit : given) c.*limit = RV_ToDouble(input::arg(argc, argv, n++));
}

}  // namespace

// input_cursor_limit_aabb(left, top, right, bottom, player_index = 0)
INPUT_SCRIPT(input_cursor_limit_aabb) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_limit_aabb", self, result);
  set_limits(argc, argv, {&Cursor::limit_l, &Cursor::limit_t, &Cursor::limit_r, &Cursor::limit_b});
  return result;
}

// input_cursor_limit_circle(x, y, radius, player_index = 0)
INPUT_SCRIPT(input_cursor_limit_circle) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_limit_circle", self, result);
  set_limits(argc, argv, {&Cursor::limit_x, &Cursor::limit_y, &Cursor::limit_radius});
  return result;
}

INPUT_SCRIPT(input_cursor_limit_remove) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_limit_remove", self, result);
  set_limits(argc, argv, {});
  return result;
}

// input_cursor_limit_get(player_index = 0): {left, top, right, bottom, x, y, radius}, undefined
// where unset.
INPUT_SCRIPT(input_cursor_limit_get) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_limit_get", self, result);
  const Cursor& c = player_at(argc, argv, 0).cursor;
  const Value out = new_struct();
  auto put = [&](const char* name, const std::optional<double>& v) { set_member(*out, name, v ? RV_Real(*v) : RV_Undefined()); };
  put("left", c.limit_l);
  put("top", c.limit_t);
  put("right", c.limit_r);
  put("bottom", c.limit_b);
  put("x", c.limit_x);
  put("y", c.limit_y);
  put("radius", c.limit_radius);
  return scope.give(out);
}

// input_cursor_elastic_set(x, y, strength, player_index = 0)
INPUT_SCRIPT(input_cursor_elastic_set) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_elastic_set", self, result);
  Cursor& c = player_at(argc, argv, 3).cursor;
  c.elastic_x = RV_ToDouble(input::arg(argc, argv, 0));
  c.elastic_y = RV_ToDouble(input::arg(argc, argv, 1));
  c.elastic_strength = std::clamp(RV_ToDouble(input::arg(argc, argv, 2)), 0.0, 1.0);
  return result;
}

INPUT_SCRIPT(input_cursor_elastic_get) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_elastic_get", self, result);
  const Cursor& c = player_at(argc, argv, 0).cursor;
  const Value out = new_struct();
  set_member(*out, "x", RV_Real(c.elastic_x));
  set_member(*out, "y", RV_Real(c.elastic_y));
  set_member(*out, "strength", RV_Real(c.elastic_strength));
  return scope.give(out);
}

INPUT_SCRIPT(input_cursor_elastic_remove) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_elastic_remove", self, result);
  player_at(argc, argv, 0).cursor.elastic_strength = 0;
  return result;
}

INPUT_SCRIPT(input_cursor_coord_space_set) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_coord_space_set", self, result);
  const double space = RV_ToDouble(input::arg(argc, argv, 0));
  if (space < 0 || space > 2) {
    error("Coordinate space " + shown(input::arg(argc, argv, 0)) + " not recognised");
    return result;
  }
  Cursor& c = player_at(argc, argv, 1).cursor;
  c.coord_space = static_cast<int32_t>(space);
  if (c.using_mouse) {
    c.x = mouse_x_in(c.coord_space);
    c.y = mouse_y_in(c.coord_space);
  }
  return result;
}

INPUT_SCRIPT(input_cursor_coord_space_get) {
  tsl::ScriptScope scope("tsl_Script_input_cursor_coord_space_get", self, result);
  return scope.give(real(player_at(argc, argv, 0).cursor.coord_space));
}

// ---- Keyboard and mouse -------------------------------------------------------------------------

namespace {

// A key the player's sources can read: the player must hold the keyboard, and the key not be
// ignored.
bool keyboard_ok(int argc, RValue** argv, int n) {
  return player_at(argc, argv, n).source_contains(Source{kSourceKeyboard, -1});
}

bool mouse_ok(int argc, RValue** argv, int n) {
  return !sys().mouse_blocked && player_at(argc, argv, n).source_contains(Source{kSourceMouse, -1});
}

}  // namespace

#define INPUT_DEVICE_CHECK(name, ok, entry)                                                 \
  INPUT_SCRIPT(name) {                                                                      \
    tsl::ScriptScope scope("tsl_Script_" #name, self, result);                              \
    if (!ok(argc, argv, 1)) return give_bool(scope, false);                                 \
    return give_bool(scope, RV_ToBool(*builtin(entry, {RV_Real(arg_real(argc, argv, 0, 0))}))); \
  }

INPUT_DEVICE_CHECK(input_keyboard_check, keyboard_ok, f_keyboard_check)
INPUT_DEVICE_CHECK(input_keyboard_check_pressed, keyboard_ok, f_keyboard_check_pressed)
INPUT_DEVICE_CHECK(input_keyboard_check_released, keyboard_ok, f_keyboard_check_released)
INPUT_DEVICE_CHECK(input_mouse_check, mouse_ok, f_mouse_check_button)
INPUT_DEVICE_CHECK(input_mouse_check_pressed, mouse_ok, f_mouse_check_button_pressed)
INPUT_DEVICE_CHECK(input_mouse_check_released, mouse_ok, f_mouse_check_button_released)
#undef INPUT_DEVICE_CHECK

// input_mouse_x(coord_space = the library's), input_mouse_y, and their deltas.
INPUT_SCRIPT(input_mouse_x) {
  tsl::ScriptScope scope("tsl_Script_input_mouse_x", self, result);
  return scope.give(real(mouse_x_in(static_cast<int32_t>(arg_real(argc, argv, 0, sys().mouse_coord_space)))));
}

INPUT_SCRIPT(input_mouse_y) {
  tsl::ScriptScope scope("tsl_Script_input_mouse_y", self, result);
  return scope.give(real(mouse_y_in(static_cast<int32_t>(arg_real(argc, argv, 0, sys().mouse_coord_space)))));
}

INPUT_SCRIPT(input_mouse_dx) {
  tsl::ScriptScope scope("tsl_Script_input_mouse_dx", self, result);
  const auto space = static_cast<size_t>(std::clamp(static_cast<int32_t>(arg_real(argc, argv, 0, sys().mouse_coord_space)), 0, 2));
  return scope.give(real(sys().mouse_x[space] - sys().mouse_x_prev[space]));
}

INPUT_SCRIPT(input_mouse_dy) {
  tsl::ScriptScope scope("tsl_Script_input_mouse_dy", self, result);
  const auto space = static_cast<size_t>(std::clamp(static_cast<int32_t>(arg_real(argc, argv, 0, sys().mouse_coord_space)), 0, 2));
  return scope.give(real(sys().mouse_y[space] - sys().mouse_y_prev[space]));
}

INPUT_SCRIPT(input_mouse_moved) {
  tsl::ScriptScope scope("tsl_Script_input_mouse_moved", self, result);
  return give_bool(scope, sys().mouse_moved);
}

// Whether the pointer lies inside the window.
INPUT_SCRIPT(input_mouse_in_bounds) {
  tsl::ScriptScope scope("tsl_Script_input_mouse_in_bounds", self, result);
  const double x = sys().mouse_x[2];
  const double y = sys().mouse_y[2];
  return give_bool(scope, x >= 0 && y >= 0 && x < builtin_real(f_window_get_width) && y < builtin_real(f_window_get_height));
}

INPUT_SCRIPT(input_mouse_capture_set) {
  tsl::ScriptScope scope("tsl_Script_input_mouse_capture_set", self, result);
  sys().mouse_capture = RV_ToBool(input::arg(argc, argv, 0));
  sys().mouse_capture_sensitivity = arg_real(argc, argv, 1, 1);
  return result;
}

INPUT_SCRIPT(input_mouse_capture_get) {
  tsl::ScriptScope scope("tsl_Script_input_mouse_capture_get", self, result);
  const Value out = new_struct();
  set_member(*out, "capture", RV_Bool(sys().mouse_capture));
  set_member(*out, "sensitivity", RV_Real(sys().mouse_capture_sensitivity));
  return scope.give(out);
}

INPUT_SCRIPT(input_mouse_coord_space_set) {
  tsl::ScriptScope scope("tsl_Script_input_mouse_coord_space_set", self, result);
  const double space = RV_ToDouble(input::arg(argc, argv, 0));
  if (space < 0 || space > 2) {
    error("Coordinate space " + shown(input::arg(argc, argv, 0)) + " not recognised");
    return result;
  }
  sys().mouse_coord_space = static_cast<int32_t>(space);
  return result;
}

INPUT_SCRIPT(input_mouse_coord_space_get) {
  tsl::ScriptScope scope("tsl_Script_input_mouse_coord_space_get", self, result);
  return scope.give(real(sys().mouse_coord_space));
}

INPUT_SCRIPT(input_window_has_focus) {
  tsl::ScriptScope scope("tsl_Script_input_window_has_focus", self, result);
  return give_bool(scope, sys().window_focus);
}

// input_ignore_key_add(key), input_ignore_key_remove(key): keys the hot-swap and scans pass over.
INPUT_SCRIPT(input_ignore_key_add) {
  tsl::ScriptScope scope("tsl_Script_input_ignore_key_add", self, result);
  const RValue& key = input::arg(argc, argv, 0);
  sys().ignored_keys.insert(is_string(key) ? std::toupper(static_cast<unsigned char>(RV_StringText(key)[0])) : RV_ToInt32(key));
  return result;
}

INPUT_SCRIPT(input_ignore_key_remove) {
  tsl::ScriptScope scope("tsl_Script_input_ignore_key_remove", self, result);
  const RValue& key = input::arg(argc, argv, 0);
  sys().ignored_keys.erase(is_string(key) ? std::toupper(static_cast<unsigned char>(RV_StringText(key)[0])) : RV_ToInt32(key));
  return result;
}

// input_tick(): the library ticks itself; a call does nothing more.
INPUT_SCRIPT(input_tick) {
  tsl::ScriptScope scope("tsl_Script_input_tick", self, result);
  return result;
}
