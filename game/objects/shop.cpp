// The heads-up display (obj_ui_controller: the gold and score panels, and the shop row it creates)
// and the shop's buttons (obj_button): a button grows and lights up under the cursor, and a click
// with enough gold buys its tower kind, which then follows the cursor in its placing state until it
// is put down or refunded; meanwhile every button refuses clicks.
#include <iterator>

#include "scripts/game_code.h"
#include "scripts/screen_text.h"

RValue* tsl_Script_obj_button_initialise(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);
RValue* tsl_Script_obj_button_on_click(CInstance* self, CInstance* other, RValue* result, int argc, RValue** argv);

namespace {

#define SHOP_VARIABLES(X)                                                                                  \
  X(hover) X(cost) X(available) X(type) X(scale) X(alpha) X(colour) X(initialise) X(on_click) X(gold)      \
  X(tower_data) X(x) X(y) X(sprite_width) X(sprite_height) X(sprite_index) X(change) X(fsm)
#define SHOP_FUNCTIONS(X)                                                                                   \
  X(instance_create_depth) X(draw_sprite) X(input_cursor_x) X(input_cursor_y)            \
  X(input_check_pressed) X(point_in_rectangle) X(lerp) X(variable_struct_get) X(shader_set) X(shader_reset) \
  X(asset_get_index)
GAME_CODE_ENTRIES(SHOP_VARIABLES, SHOP_FUNCTIONS)

using game::R;

constexpr double kSpritePanel = 22;
constexpr double kSpriteCoin = 10;
constexpr double kSpriteScore = 37;
constexpr double kShaderHighlight = 5;
constexpr double kHoverScale = 1.05;
constexpr double kScaleRate = 0.15;

// The shop row, left to right, and the price of each kind (the same as tower_data's costs).
struct Ware {
  const char* type;
  double x, cost;
};
const Ware kWares[] = {{"scorpion", 160, 50}, {"ballista", 224, 100}, {"catapault", 288, 40}, {"onager", 352, 80}};

double real_of(CInstance* who, const KVVariableEntry& name) { return tsl::get(who, name).real(); }

// draw_sprite_ext(sprite_index, -1, x, y, scale * 2 / 3, scale * 2 / 3, 0, colour, alpha)
void draw_button(CInstance* self, CInstance* other, double colour, double alpha) {
  const double size = real_of(self, v_scale) * 2 / 3;
  game::draw_sprite_ext(self, other, *tsl::get(self, v_sprite_index), R(-1), real_of(self, v_x), real_of(self, v_y), size,
                        size, 0, colour, alpha);
}

}  // namespace

void tsl_Object_obj_ui_controller_Create_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_ui_controller_Create_0", self);
  for (const Ware& ware : kWares) {
    scope.line(1);
    const tsl::Value button = tsl::call(f_instance_create_depth, self, other, {R(ware.x), R(20), R(0), R(kObjButton)});
    game::call_member(button, v_initialise, self, other, {*game::text(ware.type)});
  }
}

void tsl_Object_obj_ui_controller_Draw_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_ui_controller_Draw_0", self);
  const double third = 2.0 / 3.0;
  game::draw_sprite_ext(self, other, R(kSpritePanel), R(0), 52, 20, 2, third, 0, kColourWhite, 1);
  tsl::call(f_draw_sprite, self, other, {R(kSpriteCoin), R(0), R(20), R(20)});
  game::draw_sprite_ext(self, other, R(kSpritePanel), R(0), 588, 20, 2, third, 0, kColourWhite, 1);
  tsl::call(f_draw_sprite, self, other, {R(kSpriteScore), R(0), R(556), R(20)});
  ScreenText_Gold(self, other);
  ScreenText_Score(self, other);
}

void tsl_Object_obj_button_Create_0(CInstance* self, CInstance*) {
  tsl::EventScope scope("tsl_Object_obj_button_Create_0", self);
  tsl::set(self, v_hover, RV_Bool(false));
  tsl::set(self, v_cost, RV_Undefined());
  tsl::set(self, v_available, RV_Bool(true));
  tsl::set(self, v_type, RV_Undefined());
  tsl::set(self, v_scale, R(1));
  tsl::set(self, v_alpha, R(1));
  tsl::set(self, v_colour, RV_Undefined());
  tsl::set(self, v_initialise, *game::method(tsl_Script_obj_button_initialise, self));
  tsl::set(self, v_on_click, *game::method(tsl_Script_obj_button_on_click, self));
}

// initialise(type): the button's tower kind and its price. A type outside the four kinds is taken
// with no price, as the script's switch leaves it.
RValue* tsl_Script_obj_button_initialise(CInstance* self, CInstance*, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_obj_button_initialise", self, result);
  const RValue& type = tsl::arg(argc, argv, 0);
  tsl::set(self, v_type, type);
  if (RV_Kind(type) == kRVString) {
    for (const Ware& ware : kWares) {
      if (std::string(RV_StringText(type)) == ware.type) tsl::set(self, v_cost, R(ware.cost));
    }
  }
  return scope.result();
}

// on_click(): buys the button's kind: a tower at the cursor, placing, paid for at once; no button
// takes a click until it is placed or refunded.
RValue* tsl_Script_obj_button_on_click(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_obj_button_on_click", self, result);
  scope.line(1);
  const tsl::Value cursor_x = tsl::call(f_input_cursor_x, self, other);
  const tsl::Value cursor_y = tsl::call(f_input_cursor_y, self, other);
  const tsl::Value made = tsl::call(f_instance_create_depth, self, other, {*cursor_x, *cursor_y, R(0), R(kObjTower)});
  scope.line(2);
  const tsl::Value record = tsl::call(f_variable_struct_get, self, other,
                                      {*tsl::get(tsl::global(), v_tower_data), *tsl::get(self, v_type)});
  game::call_member(made, v_initialise, self, other, {*record});
  scope.line(3);
  game::call_member(game::member(made, v_fsm), v_change, self, other, {*game::text("placing")});
  scope.line(4);
  tsl::set(tsl::global(), v_gold, R(real_of(tsl::global(), v_gold) - real_of(self, v_cost)));
  scope.line(5);
  for (KVWith w(&self, &other, kObjButton); w.Next();) tsl::set(self, v_available, RV_Bool(false));
  return scope.result();
}

void tsl_Object_obj_button_Step_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_button_Step_0", self);
  scope.line(1);
  const double x = real_of(self, v_x);
  const double y = real_of(self, v_y);
  const double scale = real_of(self, v_scale);
  const double half_width = real_of(self, v_sprite_width) * scale / 2;
  const double half_height = real_of(self, v_sprite_height) * scale / 2;
  const tsl::Value cursor_x = tsl::call(f_input_cursor_x, self, other);
  const tsl::Value cursor_y = tsl::call(f_input_cursor_y, self, other);
  tsl::set(self, v_hover,
           *tsl::call(f_point_in_rectangle, self, other,
                      {*cursor_x, *cursor_y, R(x - half_width), R(y - half_height), R(x + half_width),
                       R(y + half_height)}));
  const bool hover = RV_ToBool(*tsl::get(self, v_hover));
  scope.line(2);
  if (hover) {
    tsl::set(self, v_scale, *tsl::call(f_lerp, self, other, {R(scale), R(kHoverScale), R(kScaleRate)}));
    if (RV_ToBool(*tsl::get(self, v_available))) tsl::set(self, v_colour, R(kColourWhite));
  } else {
    tsl::set(self, v_scale, *tsl::call(f_lerp, self, other, {R(scale), R(1), R(kScaleRate)}));
    tsl::set(self, v_colour, RV_Undefined());
  }
  scope.line(3);
  if (hover) {
    if (RV_ToBool(*tsl::call(f_input_check_pressed, self, other, {*game::text("select")})) &&
        RV_ToBool(*tsl::get(self, v_available)) && game::ge(real_of(tsl::global(), v_gold), real_of(self, v_cost))) {
      game::call_member(tsl::Value::Object(KV_AsObject(self)), v_on_click, self, other);
    }
    if (game::gt(real_of(self, v_cost), real_of(tsl::global(), v_gold))) tsl::set(self, v_colour, R(kColourRed));
  }
}

void tsl_Object_obj_button_Draw_0(CInstance* self, CInstance* other) {
  tsl::EventScope scope("tsl_Object_obj_button_Draw_0", self);
  const double alpha = real_of(self, v_alpha);
  scope.line(1);
  draw_button(self, other, kColourWhite, alpha);
  scope.line(2);
  const tsl::Value colour = tsl::get(self, v_colour);
  if (!game::is_undefined(colour)) {
    if (game::eq(colour.real(), kColourWhite)) {
      tsl::call(f_shader_set, self, other, {R(kShaderHighlight)});
      draw_button(self, other, kColourWhite, alpha * 0.5);
      tsl::call(f_shader_reset, self, other);
    } else {
      draw_button(self, other, colour.real(), alpha * 0.25);
    }
  }
  scope.line(3);
  const tsl::Value shop_name = game::join({*game::text("spr_"), *tsl::get(self, v_type), *game::text("_shop")});
  const tsl::Value icon = tsl::call(f_asset_get_index, self, other, {*shop_name});
  game::draw_sprite_ext(self, other, *icon, R(0), real_of(self, v_x), real_of(self, v_y), 1, 1, 0, kColourWhite, alpha);
  scope.line(4);
  const double price_x = real_of(self, v_x) - real_of(self, v_sprite_width) / 2 + 4;
  ScreenText_Price(self, other, price_x, real_of(self, v_y), *tsl::get(self, v_cost), *tsl::get(tsl::global(), v_gold));
}
