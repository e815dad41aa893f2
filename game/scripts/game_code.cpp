#include "scripts/game_code.h"

#include <cmath>
#include <cstring>

#include "core/instance_hooks.h"
#include "core/object.h"
#include "core/with.h"

namespace {

const GameCodeRegistration* g_first = nullptr;

#define GAME_SUPPORT_VARIABLES(X) \
  X(fsm) X(add) X(get_current_state) X(x) X(hp) X(maxhp) X(damage_timer) X(available) X(data) X(name) X(alpha)
#define GAME_SUPPORT_BUILTINS(X)                                                                      \
  X(SnowState) X(asset_get_index) X(audio_play_sound) X(draw_sprite_ext) X(shader_set) X(shader_reset) \
  X(instance_destroy)
GAME_CODE_ENTRIES(GAME_SUPPORT_VARIABLES, GAME_SUPPORT_BUILTINS)
KVFunctionEntry f_new_struct = {"@@NewTSLObject@@", -1};
KVFunctionEntry* g_language_entries[] = {&f_new_struct, nullptr};
const GameCodeRegistration g_language_registration(nullptr, g_language_entries);

// First instance id: ids below it are object indexes.
constexpr int64_t kFirstInstanceId = 100000;

}  // namespace

GameCodeRegistration::GameCodeRegistration(KVVariableEntry** variables, KVFunctionEntry** functions)
    : variables_(variables), functions_(functions), next_(g_first) {
  g_first = this;
}

void GameCode_Entries(std::vector<KVVariableEntry*>* variables, std::vector<KVFunctionEntry*>* functions) {
  for (const GameCodeRegistration* unit = g_first; unit != nullptr; unit = unit->next_) {
    for (KVVariableEntry** v = unit->variables_; v != nullptr && *v != nullptr; ++v) variables->push_back(*v);
    for (KVFunctionEntry** f = unit->functions_; f != nullptr && *f != nullptr; ++f) functions->push_back(*f);
  }
}

namespace game {

Value join(std::initializer_list<RValue> parts) {
  Value out;
  bool first = true;
  for (const RValue& part : parts) {
    if (first) {
      out = Value::Copy(part);
      first = false;
    } else {
      RV_AddAssign(out.get(), &part);
    }
  }
  return out;
}

bool is_text(const Value& v, const char* s) { return RV_Kind(*v) == kRVString && std::strcmp(RV_StringText(*v), s) == 0; }

bool eq(double a, double b) { return std::fabs(a - b) <= Math_GetEpsilon(); }

void add_to(CInstance* who, const KVVariableEntry& entry, const Value& amount) {
  Value sum = tsl::get(who, entry);
  RV_AddAssign(sum.get(), amount.get());
  tsl::set(who, entry, *sum);
}

Value get_if_set(CInstance* who, const KVVariableEntry& entry) {
  Value out;
  if (who == nullptr || !Object_GetVar(KV_AsObject(who), entry.id, kIndexWholeValue, out.get())) return Value();
  return out;
}

void set_cell(CInstance* who, const KVVariableEntry& entry, int32_t row, int32_t column, const RValue& value) {
  RValue* whole = KV_AsObject(who)->FindOwnSlot(entry.id);
  if (whole == nullptr) {
    tsl::set(who, entry, RV_Undefined());
    whole = KV_AsObject(who)->FindOwnSlot(entry.id);
  }
  RValue* cells = whole != nullptr ? RV_ArrayElementForWrite(whole, row) : nullptr;
  if (cells != nullptr) RV_ArrayWrite(cells, column, &value);
}

CInstance* instance_of(const RValue& value) {
  if (KVObjectBase* object = RV_ObjectOf(value)) return KV_AsInstance(object);
  const uint32_t kind = RV_Kind(value);
  if (kind != kRVReal && kind != kRVInt32 && kind != kRVInt64 && kind != kRVRef) return nullptr;
  const int64_t id = RV_ToInt64(value);
  if (id < kFirstInstanceId || id > INT32_MAX || g_InstanceHooks.findLive == nullptr) return nullptr;
  return g_InstanceHooks.findLive(static_cast<int32_t>(id));
}

Value member(const Value& object, const KVVariableEntry& entry) {
  CInstance* target = instance_of(object);
  if (target == nullptr) {
    KVError("Unable to get variable %s from a value that is not an object\n", entry.name);
    return Value();
  }
  return tsl::get(target, entry);
}

Value call_member(const Value& object, const KVVariableEntry& method, CInstance* self, CInstance* other,
                  std::initializer_list<RValue> args) {
  const Value function = member(object, method);
  return tsl::call_method(*function, self, other, args);
}

Value fsm(CInstance* self, CInstance* other, const KVVariableEntry& method, std::initializer_list<RValue> args) {
  return call_member(tsl::get(self, v_fsm), method, self, other, args);
}

bool in_state(CInstance* who, CInstance* self, CInstance* other, const char* state) {
  return is_text(call_member(tsl::get(who, v_fsm), v_get_current_state, self, other), state);
}

void new_machine(CInstance* self, const char* initial) {
  const Value name = Value::String(initial);
  tsl::set(self, v_fsm, *tsl::call(f_new_struct, self, self, {R(f_SnowState.id), *name}));
}

Value method(KVScriptFunction function, CInstance* self) {
  Value made;
  KVCreateMethod(made.get(), function, self);
  return made;
}

void add_state(CInstance* self, CInstance* other, const char* name, std::initializer_list<StateEvent> events) {
  const Value state = tsl::call(f_new_struct, self, other);
  for (const StateEvent& event : events) tsl::set(KV_AsInstance(state.object()), event.first, *method(event.second, self));
  const Value state_name = Value::String(name);
  fsm(self, other, v_add, {*state_name, *state});
}

Value asset(CInstance* self, CInstance* other, const std::string& name) {
  return tsl::call(f_asset_get_index, self, other, {*text(name)});
}

void play_sound(CInstance* self, CInstance* other, const RValue& sound) {
  tsl::call(f_audio_play_sound, self, other, {sound, R(0), RV_Bool(false)});
}

void draw_sprite_ext(CInstance* self, CInstance* other, const RValue& sprite, const RValue& image, double x, double y,
                     double xscale, double yscale, double angle, double colour, double alpha) {
  tsl::call(f_draw_sprite_ext, self, other,
            {sprite, image, R(x), R(y), R(xscale), R(yscale), R(angle), R(colour), R(alpha)});
}

bool flash_begin(CInstance* self, CInstance* other) {
  if (!gt(tsl::get(self, v_damage_timer).real(), 0)) return false;
  tsl::call(f_shader_set, self, other, {R(kShaderFlash)});
  return true;
}

void flash_end(CInstance* self, CInstance* other, bool set) {
  if (set) tsl::call(f_shader_reset, self, other);
}

void take_record(CInstance* self, const Value& data) {
  tsl::set(self, v_data, *data);
  tsl::set(self, v_name, *member(data, v_name));
  tsl::set(self, v_maxhp, *member(data, v_hp));
  tsl::set(self, v_hp, *tsl::get(self, v_maxhp));
}

void fade_out(CInstance* self, CInstance* other) {
  set(self, v_alpha, real(self, v_alpha) - 0.05);
  if (le(real(self, v_alpha), 0)) tsl::call(f_instance_destroy, self, other);
}

void draw_health_bar(CInstance* self, CInstance* other, double bar_y) {
  const double x = real(self, v_x);
  const double fill = real(self, v_hp) / real(self, v_maxhp) * 30;
  draw_sprite_ext(self, other, R(kSprHealthBack), R(0), x - 16, bar_y, 32, 1, 0, kColourWhite, 1);
  draw_sprite_ext(self, other, R(kSprHealthFill), R(0), x - 15, bar_y, fill, 1, 0, kColourWhite, 1);
  draw_sprite_ext(self, other, R(kSprHealthShine), R(0), x - 15, bar_y, 32, 1, 0, kColourWhite, 0);
}

void buttons_available(CInstance* self, CInstance* other) {
  for (KVWith w(&self, &other, kObjButton); w.Next();) tsl::set(self, v_available, RV_Bool(true));
}

}  // namespace game
