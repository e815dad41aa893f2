#pragma once
// What the game's compiled object code shares: the registry through which each file's reference
// entries reach the program's code tables, and the few helpers that stand for language constructs
// the objects use over and over (member calls on a state machine, `new SnowState`, struct literals
// of state events, the runtime's comparisons of reals, asset look-up by name, the health bar).
//
// A file of compiled code lists the variables and builtins it names and defines them with
// GAME_CODE_ENTRIES inside its anonymous namespace; the entries register themselves at static
// initialisation, and Compiled_CodeTables gathers them with GameCode_Entries before any data file
// is loaded, which is when the loader fills their ids.
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "core/code_tables.h"
#include "core/script_api.h"

// Object indexes the game's code names.
constexpr int32_t kObjButton = 2;
constexpr int32_t kObjEnemy = 4;
constexpr int32_t kObjProjectile = 5;
constexpr int32_t kObjTower = 6;
// Shaders, sprites and sounds by index.
constexpr int32_t kShaderFlash = 0;
constexpr int32_t kSprHealthBack = 31;
constexpr int32_t kSprHealthFill = 3;
constexpr int32_t kSprHealthShine = 4;
constexpr int32_t kSoundMusic = 10;
constexpr int32_t kSoundBreach = 5;
constexpr double kColourWhite = 16777215.0;
constexpr double kColourRed = 255.0;
constexpr double kColourGreen = 65280.0;

class GameCodeRegistration {
 public:
  GameCodeRegistration(KVVariableEntry** variables, KVFunctionEntry** functions);

 private:
  KVVariableEntry** variables_;
  KVFunctionEntry** functions_;
  const GameCodeRegistration* next_;
  friend void GameCode_Entries(std::vector<KVVariableEntry*>*, std::vector<KVFunctionEntry*>*);
};

// Appends the entries of every registered file of game code.
void GameCode_Entries(std::vector<KVVariableEntry*>* variables, std::vector<KVFunctionEntry*>* functions);

#define GAME_CODE_DEFINE_VARIABLE(name) KVVariableEntry v_##name = {#name, -1};
#define GAME_CODE_DEFINE_BUILTIN(name) KVFunctionEntry f_##name = {#name, -1};
#define GAME_CODE_LIST(name) &v_##name,
#define GAME_CODE_LIST_BUILTIN(name) &f_##name,
// Defines v_<name> for each variable and f_<name> for each builtin, and registers them.
#define GAME_CODE_ENTRIES(VARIABLES, BUILTINS)                                                        \
  VARIABLES(GAME_CODE_DEFINE_VARIABLE)                                                                \
  BUILTINS(GAME_CODE_DEFINE_BUILTIN)                                                                  \
  KVVariableEntry* g_variable_entries[] = {VARIABLES(GAME_CODE_LIST) nullptr};                        \
  KVFunctionEntry* g_function_entries[] = {BUILTINS(GAME_CODE_LIST_BUILTIN) nullptr};                 \
  const GameCodeRegistration g_registration(g_variable_entries, g_function_entries);

namespace game {

using tsl::Value;

inline RValue R(double v) { return RV_Real(v); }
inline Value text(const std::string& s) { return Value::String(s.c_str()); }
inline bool is_undefined(const Value& v) { return RV_Kind(*v) == kRVUndefined || RV_Kind(*v) == kRVUnset; }
// a + b + ... as the language adds (strings join; a string and a number raise).
Value join(std::initializer_list<RValue> parts);
// a == b on a string value.
bool is_text(const Value& v, const char* s);

// The comparisons of reals as scripts make them: equal within the runtime's epsilon.
bool eq(double a, double b);
inline bool le(double a, double b) { return a < b || eq(a, b); }
inline bool ge(double a, double b) { return a > b || eq(a, b); }
inline bool gt(double a, double b) { return !le(a, b); }
inline bool lt(double a, double b) { return !ge(a, b); }

// who.name as a real, who.name = value, who.name = true/false, who.name += amount.
inline double real(CInstance* who, const KVVariableEntry& entry) { return tsl::get(who, entry).real(); }
inline void set(CInstance* who, const KVVariableEntry& entry, double value) { tsl::set(who, entry, R(value)); }
inline void set_flag(CInstance* who, const KVVariableEntry& entry, bool value) { tsl::set(who, entry, RV_Bool(value)); }
void add_to(CInstance* who, const KVVariableEntry& entry, const Value& amount);

// who.name, or undefined when who has no such variable (a read that may not raise).
Value get_if_set(CInstance* who, const KVVariableEntry& entry);
// who.name[row][column] = value, written in place through who's own variable as the language
// writes nested elements.
void set_cell(CInstance* who, const KVVariableEntry& entry, int32_t row, int32_t column, const RValue& value);
// The instance a value names: an instance or struct it holds, or a live instance by id or
// reference; null for anything else.
CInstance* instance_of(const RValue& value);
inline CInstance* instance_of(const Value& value) { return instance_of(*value); }

// object.name: a variable of a struct or an instance that a value names.
Value member(const Value& object, const KVVariableEntry& entry);
// object.method(args), the method read from the struct or instance and called with its binding.
Value call_member(const Value& object, const KVVariableEntry& method, CInstance* self, CInstance* other,
                  std::initializer_list<RValue> args = {});
// self.fsm.method(args).
Value fsm(CInstance* self, CInstance* other, const KVVariableEntry& method, std::initializer_list<RValue> args = {});
// who.fsm.get_current_state() is the named state.
bool in_state(CInstance* who, CInstance* self, CInstance* other, const char* state);

// One event of a state: its name and the compiled function that serves it.
using StateEvent = std::pair<const char*, KVScriptFunction>;
// self.fsm = new SnowState(initial), the constructor run from self.
void new_machine(CInstance* self, const char* initial);
// self.fsm.add(name, {event: function, ...}).
void add_state(CInstance* self, CInstance* other, const char* name, std::initializer_list<StateEvent> events);
// A function value of compiled code, bound to self (unbound for null).
Value method(KVScriptFunction function, CInstance* self);

// asset_get_index(name).
Value asset(CInstance* self, CInstance* other, const std::string& name);
// audio_play_sound(sound, 0, false).
void play_sound(CInstance* self, CInstance* other, const RValue& sound);
void draw_sprite_ext(CInstance* self, CInstance* other, const RValue& sprite, const RValue& image, double x, double y,
                     double xscale, double yscale, double angle, double colour, double alpha);
// The white flash of a hit: shader_set(0) while damage_timer is above 0, saying whether it did;
// flash_end resets the shader when it was set.
[[nodiscard]] bool flash_begin(CInstance* self, CInstance* other);
void flash_end(CInstance* self, CInstance* other, bool set);
// What initialise does first with a record of tower_data or enemy_data: data, name, and hp with
// maxhp from the record's hp.
void take_record(CInstance* self, const Value& data);
// The dying fade of towers and enemies, one step of 20: alpha falls by 0.05, and at 0 the instance
// is destroyed.
void fade_out(CInstance* self, CInstance* other);
// The health bar of towers and enemies at bar_y: the back, the fill by hp / maxhp, the shine.
void draw_health_bar(CInstance* self, CInstance* other, double bar_y);
// with (every obj_button) available = true.
void buttons_available(CInstance* self, CInstance* other);

}  // namespace game
