// The library's state and start-up (__scribble_initialize), its per-frame upkeep (__scribble_tick)
// with the amortised cache collection, the messages, colours, the random generator, the global
// animation properties and the shader uniform helpers.
//
// The state lives as long as one rooted object of the collector: when the game ends and the
// collector lets everything go, the state goes with it, and the next game starts the library anew.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "core/console.h"
#include "core/error.h"
#include "core/frame_state.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/timing.h"
#include "graphics/font.h"
#include "graphics/shader.h"
#include "graphics/vertex_buffer.h"
#include "text/scribble_internal.h"
#include "world/time_source.h"

namespace scribble {

namespace {

// The collector's handle on the library state.
class LibraryRoot final : public KVObjectBase {
 public:
  LibraryRoot() : KVObjectBase(kObjStruct) {}
  void Free(bool free_now) override;
  std::unique_ptr<LibraryState> state;
};

LibraryRoot* g_root = nullptr;
LibraryState* g_state = nullptr;

void LibraryRoot::Free(bool free_now) {
  if (g_root == this) {
    g_root = nullptr;
    g_state = nullptr;
  }
  state.reset();
  KVObjectBase::Free(free_now);
}

struct NamedColour {
  const char* name;
  uint32_t colour;
};
constexpr NamedColour kColours[] = {
    {"c_aqua", 16776960},  {"c_black", 0},          {"c_blue", 16711680},  {"c_dkgray", 4210752},
    {"c_dkgrey", 4210752}, {"c_fuchsia", 16711935}, {"c_gray", 8421504},   {"c_grey", 8421504},
    {"c_green", 32768},    {"c_lime", 65280},       {"c_ltgray", 12632256}, {"c_ltgrey", 12632256},
    {"c_maroon", 128},     {"c_navy", 8388608},     {"c_olive", 32896},    {"c_orange", 4235519},
    {"c_purple", 8388736}, {"c_red", 255},          {"c_silver", 12632256}, {"c_teal", 8421376},
    {"c_white", 16777215}, {"c_yellow", 65535},
};

}  // namespace

LibraryState* state() { return g_state; }

LibraryState& initialize() {
  if (g_state != nullptr) return *g_state;
  auto* root = new LibraryRoot();
  GC_AddObject(root);
  GCAddRoot(root);
  root->state = std::make_unique<LibraryState>();
  g_root = root;
  g_state = root->state.get();
  LibraryState& s = *g_state;

  // The tick: a time source of one frame that runs for ever.
  Value callback;
  KVCreateMethod(callback.get(), tsl_Script___scribble_tick, nullptr);
  TimeSourceSettings settings;
  if (TimeSource_CheckSettings(1, kTimeSourceFrames, *callback, nullptr, -1, kTimeSourceAfter, &settings)) {
    s.tick_source = TimeSource_Create(kTimeSourceGlobalRoot, settings, *callback, nullptr);
    if (s.tick_source >= 0) TimeSource_Start(s.tick_source);
  }

  s.frames = 0;
  s.default_font.clear();
  for (const NamedColour& c : kColours) s.colours[c.name] = c.colour;
  for (const char* name : {"pause", "delay", "speed", "/speed"}) s.typewriter_events[name] = Value();
  s.lcg = static_cast<uint64_t>(std::time(nullptr)) % 2147483647u;
  if (s.lcg == 0) s.lcg = 1;
  anim_reset();

  trace("Text library version " SCRIBBLE_VERSION);
  if (!SCRIBBLE_VERBOSE) trace("Verbose mode is off, set SCRIBBLE_VERBOSE to <true> to see more information");
  font_add_all_from_project();
  return s;
}

// ---- Messages ------------------------------------------------------------------------------------

std::string number_text(double value) { return value_text(RV_Real(value)); }

std::string value_text(const RValue& value) {
  if (RV_Kind(value) == kRVString) return RV_StringText(value);
  char* text = RV_ToText(value);
  std::string out = text != nullptr ? text : "";
  KVFreeString(text);
  return out;
}

void error(const std::string& message) {
  const std::string text = "Scribble " SCRIBBLE_VERSION ":\n" + message + "\n ";
  const Value shown = Value::String(text.c_str());
  int32_t show_error = -1;
  if (Function_Find("show_error", &show_error)) {
    tsl::call(show_error, nullptr, nullptr, {*shown, RV_Bool(true)});
  } else {
    KVError("%s", text.c_str());
  }
  // show_error returns only while errors are muted; the caller still must not go on.
  throw KVTSLException::RuntimeError(text, text, "__scribble_error", 0, {});
}

// As show_debug_message writes it.
void trace(const std::string& message) { g_OutputConsole->Output("Scribble: %s\n", message.c_str()); }

// ---- Colours, random numbers, animation -----------------------------------------------------------

bool process_colour(const RValue& value, uint32_t* out) {
  if (RV_Kind(value) == kRVString) {
    LibraryState& s = initialize();
    const auto it = s.colours.find(RV_StringText(value));
    if (it == s.colours.end()) return false;
    *out = it->second;
    return true;
  }
  *out = static_cast<uint32_t>(static_cast<int64_t>(RV_ToDouble(value)));
  return true;
}

double random01() {
  LibraryState& s = initialize();
  s.lcg = (48271u * s.lcg) % 2147483647u;
  return static_cast<double>(s.lcg) / 2147483648.0;
}

void anim_reset() {
  LibraryState& s = *g_state;
  s.anim = {4, 50, 0.2, 2, 0.4, 0.5, 0.01, 40, 0.15, 0.4, 0.1, 1, 0.5, 0.2, 0.5, 180, 255, 0.7, 1.2, 0.4, 0.25};
  s.blink_on_duration = 50;
  s.blink_off_duration = 50;
  s.blink_time_offset = 0;
  s.standard_anim_desync = true;
  s.standard_anim_desync_to_default = true;
  s.msdf_anim_desync = true;
  s.msdf_anim_desync_to_default = true;
}

double current_time_ms() { return static_cast<double>(Timing_Time() / 1000); }
double delta_time_us() { return static_cast<double>(Run_DeltaTime); }

// Visits up to max(3, ceil(sqrt(n))) entries of a list per call, walking backwards from where the
// last call stopped and wrapping round, and removes those `drop` says are done.
template <class T, class Drop>
void sweep(std::vector<T>& list, size_t& index, Drop drop) {
  size_t batch = std::max<size_t>(3, static_cast<size_t>(std::ceil(std::sqrt(static_cast<double>(list.size())))));
  while (batch-- > 0 && !list.empty()) {
    index = (index == 0 ? list.size() : index) - 1;
    if (drop(list[index])) list.erase(list.begin() + static_cast<std::ptrdiff_t>(index));
  }
  index = std::min(index, list.size());
}

// ---- The tick -----------------------------------------------------------------------------------------

void tick() {
  LibraryState* s = g_state;
  if (s == nullptr) return;
  s->frames += 1;
  int32_t os_is_paused = -1;
  const bool paused = Function_Find("os_is_paused", &os_is_paused) && RV_ToBool(*tsl::call(os_is_paused, nullptr, nullptr));
  if (paused != s->last_paused) {
    s->last_paused = paused;
    s->standard_anim_desync = s->msdf_anim_desync = true;
    s->standard_anim_desync_to_default = s->msdf_anim_desync_to_default = true;
  }

  // Elements not drawn for a while leave the list; the collector frees those the game doesn't hold.
  sweep(s->ecache_array, s->ecache_list_index, [s](Element* element) {
    if (element->last_drawn_ + SCRIBBLE_CACHE_TIMEOUT >= s->frames) return false;
    const auto it = s->ecache_dict.find(element->cache_name_);
    if (it != s->ecache_dict.end() && it->second == element) s->ecache_dict.erase(it);
    GCRemoveRoot(element);
    return true;
  });
  // Names whose element or model is gone.
  sweep(s->ecache_name_array, s->ecache_name_index,
        [s](const std::string& name) { return s->ecache_dict.count(name) == 0; });
  sweep(s->mcache_name_array, s->mcache_name_index, [s](const std::string& name) {
    const auto it = s->mcache_dict.find(name);
    if (it != s->mcache_dict.end() && !it->second.expired()) return false;
    if (it != s->mcache_dict.end()) s->mcache_dict.erase(it);
    return true;
  });
  // Vertex buffers belong to their pages and go when the page does (Page::flush).
}

int32_t vertex_format() {
  LibraryState& s = initialize();
  if (s.vertex_format >= 0 && VertexFormat_Get(s.vertex_format) != nullptr) return s.vertex_format;
  VertexFormat_Begin();
  VertexFormat_Add(kVertexTypeFloat3, kVertexUsagePosition);
  VertexFormat_Add(kVertexTypeFloat3, kVertexUsageNormal);
  VertexFormat_Add(kVertexTypeColour, kVertexUsageColour);
  VertexFormat_Add(kVertexTypeFloat2, kVertexUsageTexcoord);
  VertexFormat_Add(kVertexTypeFloat2, kVertexUsageTexcoord);
  s.vertex_format = VertexFormat_End();
  return s.vertex_format;
}

// ---- Script-visible objects ---------------------------------------------------------------------------

KVObjectBase* make_method_prototype(const MethodRow* rows, size_t count) {
  KVObjectBase* proto = Object_NewStruct();
  GCAddRoot(proto);
  for (size_t i = 0; i < count; ++i) {
    const RValue property = RV_Object(Object_NewProperty(nullptr, rows[i].getter, nullptr));
    Object_SetRValue(proto, rows[i].name, &property);
  }
  return proto;
}

void adopt_object(KVObjectBase* object, const char* class_name, KVObjectBase* prototype) {
  GC_AddObject(object);
  object->flags = kObjFlagExtensible;
  object->className = class_name;
  Object_SetStandardProperties(object);
  KVSetPrototype(object, prototype);
}

// ---- Uniforms ----------------------------------------------------------------------------------------

int32_t uniform(int32_t shader, const char* name) { return Shader_FindUniform(shader, name); }

void set_uniform_f(int32_t shader, const char* name, std::initializer_list<float> values) {
  const int32_t handle = uniform(shader, name);
  if (handle >= 0) Shader_SetUniformFloats(handle, values.begin(), static_cast<int32_t>(values.size()));
}

void set_uniform_fv(int32_t shader, const char* name, const float* values, int32_t count) {
  const int32_t handle = uniform(shader, name);
  if (handle >= 0) Shader_SetUniformFloats(handle, values, count);
}

void set_uniform_colour(int32_t shader, const char* name, uint32_t colour, double alpha) {
  set_uniform_f(shader, name,
                {static_cast<float>((colour & 0xFF) / 255.0), static_cast<float>(((colour >> 8) & 0xFF) / 255.0),
                 static_cast<float>(((colour >> 16) & 0xFF) / 255.0), static_cast<float>(alpha)});
}

void set_uniform_i(int32_t shader, const char* name, int32_t value) {
  const int32_t handle = uniform(shader, name);
  if (handle >= 0) Shader_SetUniformInts(handle, &value, 1);
}

}  // namespace scribble

using namespace scribble;


SCRIBBLE_SCRIPT(__scribble_initialize) {
  tsl::ScriptScope scope("__scribble_initialize", self, result);
  initialize();
  return result;
}

SCRIBBLE_SCRIPT(__scribble_tick) {
  tsl::ScriptScope scope("__scribble_tick", self, result);
  tick();
  return result;
}

RValue* tsl_GlobalScript___scribble_system(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_GlobalScript___scribble_system", self, result);
  initialize();
  return result;
}

SCRIBBLE_SCRIPT(__scribble_random) {
  tsl::ScriptScope scope("__scribble_random", self, result);
  return scope.give(Value::Real(random01()));
}

SCRIBBLE_SCRIPT(__scribble_process_colour) {
  tsl::ScriptScope scope("__scribble_process_colour", self, result);
  uint32_t colour = 0;
  if (!process_colour(ARG(0), &colour)) error("Colour \"" + value_text(ARG(0)) + "\" not recognised");
  return scope.give(Value::Real(colour));
}

SCRIBBLE_SCRIPT(scribble_rgb_to_bgr) {
  tsl::ScriptScope scope("scribble_rgb_to_bgr", self, result);
  return scope.give(Value::Real(rgb_to_bgr(static_cast<uint32_t>(RV_ToDouble(ARG(0))))));
}

SCRIBBLE_SCRIPT(scribble_anim_reset) {
  tsl::ScriptScope scope("scribble_anim_reset", self, result);
  initialize();
  anim_reset();
  return result;
}

namespace {

// Stores values from `first` of the animation array; the shaders learn of it only on a change.
void store_anim(int32_t first, int argc, RValue** argv) {
  LibraryState& s = initialize();
  bool changed = false;
  for (int i = 0; i < argc && first + i < kAnimPropertyCount; ++i) {
    const double v = RV_ToDouble(*argv[i]);
    if (s.anim[static_cast<size_t>(first + i)] != v) {
      s.anim[static_cast<size_t>(first + i)] = v;
      changed = true;
    }
  }
  if (changed) {
    s.standard_anim_desync = s.msdf_anim_desync = true;
    s.standard_anim_desync_to_default = s.msdf_anim_desync_to_default = false;
  }
}

}  // namespace

#define SCRIBBLE_ANIM(name, first, count)                  \
  SCRIBBLE_SCRIPT(name) {                                   \
    tsl::ScriptScope scope(#name, self, result);            \
    store_anim(first, std::min(argc, count), argv);         \
    return result;                                          \
  }
SCRIBBLE_ANIM(scribble_anim_wave, 0, 3)
SCRIBBLE_ANIM(scribble_anim_shake, 3, 2)
SCRIBBLE_ANIM(scribble_anim_rainbow, 5, 2)
SCRIBBLE_ANIM(scribble_anim_wobble, 7, 2)
SCRIBBLE_ANIM(scribble_anim_pulse, 9, 2)
SCRIBBLE_ANIM(scribble_anim_wheel, 11, 3)
SCRIBBLE_ANIM(scribble_anim_cycle, 14, 3)
SCRIBBLE_ANIM(scribble_anim_jitter, 17, 4)
#undef SCRIBBLE_ANIM

SCRIBBLE_SCRIPT(scribble_anim_blink) {
  tsl::ScriptScope scope("scribble_anim_blink", self, result);
  LibraryState& s = initialize();
  s.blink_on_duration = RV_ToDouble(ARG(0));
  s.blink_off_duration = RV_ToDouble(ARG(1));
  s.blink_time_offset = RV_ToDouble(ARG(2));
  return result;
}

SCRIBBLE_SCRIPT(scribble_add_macro) {
  tsl::ScriptScope scope("scribble_add_macro", self, result);
  LibraryState& s = initialize();
  if (RV_Kind(ARG(0)) != kRVString) {
    error("Macro names should be strings.\n(Input to script was \"" + value_text(ARG(0)) + "\")");
  }
  if (!RV_ToBool(*tsl::call("is_method", nullptr, nullptr, {ARG(1)})) &&
      !(RV_Kind(ARG(1)) != kRVString && RV_ToBool(*tsl::call("script_exists", nullptr, nullptr, {ARG(1)})))) {
    error("Invalid function provided\n(Input datatype was \"" +
          value_text(*tsl::call("typeof", nullptr, nullptr, {ARG(1)})) + "\")");
  }
  const std::string name = RV_StringText(ARG(0));
  if (s.colours.count(name) != 0) trace("Warning! Macro name \"" + name + "\" has already been defined as a colour");
  static const char* const kEffects[] = {"wave", "shake", "rainbow", "wobble", "pulse", "wheel", "cycle", "jitter", "blink", "slant"};
  for (const char* effect : kEffects) {
    if (name == effect) trace("Warning! Macro name \"" + name + "\" has already been defined as an effect");
  }
  s.macros[name] = Macro{Value::Copy(ARG(1))};
  return result;
}
