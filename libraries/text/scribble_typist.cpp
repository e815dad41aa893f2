// The typist: reveals one element's text over frames by moving a window of character positions
// that the text shader fades in (or out), and runs the events stored at characters as the head
// passes them: pauses, delays, speed changes, sounds and the game's own events.
#include <algorithm>
#include <cmath>

#include "core/call.h"
#include "core/gc.h"
#include "text/scribble_internal.h"

namespace scribble {

namespace {

const MethodRow kTypistMethods[] = {
#define SCRIBBLE_TYPIST_ROW(name) {#name, bound_method_getter<tsl_Script___scribble_class_typist_##name>},
    SCRIBBLE_TYPIST_METHODS(SCRIBBLE_TYPIST_ROW)
#undef SCRIBBLE_TYPIST_ROW
};

KVObjectBase* typist_prototype() {
  LibraryState& s = initialize();
  if (s.typist_prototype == nullptr) s.typist_prototype = make_method_prototype(kTypistMethods, std::size(kTypistMethods));
  return s.typist_prototype;
}

bool defined(const RValue& v) { return RV_Kind(v) != kRVUndefined && RV_Kind(v) != kRVUnset; }

// A sound given by name goes through asset_get_index.
Value sound_value(const RValue& v) {
  if (RV_Kind(v) == kRVString) return tsl::call("asset_get_index", nullptr, nullptr, {v});
  return Value::Copy(v);
}

}  // namespace

Typist::Typist() : KVObjectBase(kObjStruct) {}

void Typist::Free(bool free_now) {
  sound_array_.clear();
  function_ = Value();
  function_scope_ = Value();
  event_stack_.clear();
  last_element_ = nullptr;
  KVObjectBase::Free(free_now);
}

bool Typist::Mark(uint32_t* bitmap, int32_t bits) {
  if (!KVObjectBase::Mark(bitmap, bits)) return false;
  if (last_element_ != nullptr) GCMarkObject(last_element_, false);
  for (const Value& v : sound_array_) GCMarkValue(*v.get());
  GCMarkValue(*function_.get());
  GCMarkValue(*function_scope_.get());
  for (const EventPtr& event : event_stack_) {
    for (const Value& v : event->data) GCMarkValue(*v.get());
  }
  return true;
}

Typist* typist_of(const RValue& value) {
  KVObjectBase* object = RV_ObjectOf(value);
  return object != nullptr ? dynamic_cast<Typist*>(object) : nullptr;
}

Value typist_value(Typist* typist) { return Value::Object(typist); }

Element* Typist::target() {
  if (last_element_ == nullptr) return nullptr;
  KVObjectBase* ref = last_element_->target;
  return ref != nullptr ? dynamic_cast<Element*>(ref) : nullptr;
}

void Typist::reset() {
  last_page_ = 0;
  last_character_ = 0;
  last_audio_character_ = 0;
  window_index_ = 0;
  last_tick_frame_ = -kInfinity;
  window_array_.fill(-smoothness_);
  window_array_[0] = 0;
  paused_ = false;
  delay_paused_ = false;
  delay_end_ = -1;
  inline_speed_ = 1;
  event_stack_.clear();
  skip_ = false;
  drawn_since_skip_ = false;
  reset_done_ = true;
}

void Typist::associate(Element* element) {
  const bool carry = skip_ && (last_element_ == nullptr || !drawn_since_skip_);
  Element* current = target();
  if (last_element_ == nullptr || (current != nullptr && current != element)) {
    reset();
    last_element_ = WeakRef_Create(element);
    GCWriteBarrier(this, last_element_);
  } else if (current == nullptr) {
    trace("Warning! Typist's target text element has been garbage collected");
    reset();
    last_element_ = WeakRef_Create(element);
    GCWriteBarrier(this, last_element_);
  } else if (last_page_ != element->page_) {
    reset();
  }
  last_page_ = element->page_;
  if (carry) {
    skip_ = true;
    drawn_since_skip_ = false;
  }
}

void Typist::play_sound(double head) {
  if (sound_array_.empty()) return;
  bool play = false;
  if (sound_per_char_) {
    play = std::floor(head + 0.0001) > std::floor(last_audio_character_);
    if (play && sound_per_char_exception_) {
      // A character of the exception set stays silent.
      Element* element = target();
      Model* model = element != nullptr ? element->get_model(false) : nullptr;
      const auto index = static_cast<size_t>(std::max(0.0, std::floor(head + 0.0001) - 1));
      if (model != nullptr && static_cast<size_t>(last_page_) < model->pages.size()) {
        const Page& page = *model->pages[static_cast<size_t>(last_page_)];
        if (index < page.glyph_codes.size() && sound_per_char_exception_dict_.count(page.glyph_codes[index]) != 0) {
          play = false;
        }
      }
    }
  } else {
    play = current_time_ms() >= sound_finish_time_;
  }
  if (!play) return;
  last_audio_character_ = head;
  Value sound = sound_array_[static_cast<size_t>(std::floor(random01() * static_cast<double>(sound_array_.size())))];
  if (RV_Kind(*sound) == kRVString) {
    LibraryState& s = initialize();
    const auto it = s.external_sounds.find(RV_StringText(*sound));
    if (it == s.external_sounds.end()) return;
    sound = it->second;
  }
  if (!defined(*sound)) return;
  const Value instance = tsl::call("audio_play_sound", nullptr, nullptr, {*sound, RV_Real(0), RV_Bool(false)});
  tsl::call("audio_sound_pitch", nullptr, nullptr,
            {*instance, RV_Real(sound_pitch_min_ + (sound_pitch_max_ - sound_pitch_min_) * random01())});
  const double length = tsl::call("audio_sound_length", nullptr, nullptr, {*instance}).real();
  sound_finish_time_ = current_time_ms() + 1000 * length - sound_overlap_;
}

void Typist::execute_function_per_character(Element* element) {
  if (!defined(*function_.get())) return;
  Value typist = typist_value(this);
  const Value el = element_value(element);
  KVObjectBase* scope = RV_ObjectOf(*function_scope_.get());
  CInstance* self = scope != nullptr ? KV_AsInstance(scope) : KV_AsInstance(element);
  tsl::call_method(*function_.get(), self, self, {*el, RV_Real(last_character_ - 1), *typist});
}

bool Typist::process_event_stack(int32_t count, Element* element, const Value& scope_value) {
  while (!event_stack_.empty()) {
    const EventPtr event = event_stack_.front();
    event_stack_.erase(event_stack_.begin());
    const std::string& name = event->name;
    const auto& data = event->data;
    if (name == "pause") {
      if (skip_) continue;
      if (last_character_ >= count && event_stack_.empty()) {
        trace("Warning! Ignoring [pause] command before the end of a page");
        continue;
      }
      paused_ = true;
      return false;
    }
    if (name == "delay") {
      if (skip_ || ignore_delay_) continue;
      const double ms = data.empty() ? 450 : RV_ToDouble(*data[0].get());
      delay_paused_ = true;
      delay_end_ = current_time_ms() + ms;
      return false;
    }
    if (name == "speed") {
      if (!data.empty()) inline_speed_ = RV_ToDouble(*data[0].get());
      continue;
    }
    if (name == "/speed") {
      inline_speed_ = 1;
      continue;
    }
    if (name == "__scribble_audio_playback__") {
      if (!data.empty()) tsl::call("audio_play_sound", nullptr, nullptr, {*sound_value(*data[0].get()), RV_Real(1), RV_Bool(false)});
      continue;
    }
    if (name == "__scribble_typist_sound__") {
      sound_array_ = {sound_value(*data[0].get())};
      sound_overlap_ = RV_ToDouble(*data[1].get());
      sound_pitch_min_ = RV_ToDouble(*data[2].get());
      sound_pitch_max_ = RV_ToDouble(*data[3].get());
      sound_per_char_ = false;
      continue;
    }
    if (name == "__scribble_typist_sound_per_char__") {
      sound_array_ = {sound_value(*data[0].get())};
      sound_pitch_min_ = RV_ToDouble(*data[1].get());
      sound_pitch_max_ = RV_ToDouble(*data[2].get());
      sound_per_char_ = true;
      if (data.size() > 3) {
        error("SCRIBBLE_ALLOW_GLYPH_DATA_GETTER must be set to <true> to use sound-per-character exceptions");
      }
      sound_per_char_exception_ = false;
      continue;
    }
    LibraryState& s = initialize();
    const auto it = s.typewriter_events.find(name);
    const Value function = it != s.typewriter_events.end() ? it->second : Value();
    Value args = tsl::call("@@NewTSLArray@@", nullptr, nullptr);
    for (const Value& item : data) tsl::call("array_push", nullptr, nullptr, {*args, *item});
    const Value el = element_value(element);
    KVObjectBase* scope = RV_ObjectOf(*scope_value.get());
    CInstance* self = scope != nullptr ? KV_AsInstance(scope) : KV_AsInstance(element);
    if (defined(*function.get()) && Call_IsCallable(*function.get())) {
      tsl::call_method(*function.get(), self, self, {*el, *args, RV_Real(event->position)});
    } else {
      trace("Warning! Event [" + name + "] not recognised");
    }
  }
  return true;
}

void Typist::tick_for(Element* element, const Value& scope) {
  if (!defined(*function_scope_.get())) function_scope_ = scope;
  associate(element);
  if (skip_) drawn_since_skip_ = true;
  LibraryState& s = initialize();
  if (last_tick_frame_ == static_cast<double>(s.frames)) return;
  last_tick_frame_ = static_cast<double>(s.frames);
  if (in_ < 0) return;

  const double speed = speed_ * inline_speed_ * (delta_time_us() / 16666.0);
  double head = window_array_[static_cast<size_t>(window_index_)];
  Model* model = element->get_model(true);
  if (model == nullptr || last_page_ < 0 || static_cast<size_t>(last_page_) >= model->pages.size()) return;
  const Page& page = *model->pages[static_cast<size_t>(last_page_)];
  const int32_t count = page.character_count;

  if (in_ == 0) {
    head = skip_ ? count : std::min(head + speed, static_cast<double>(count));
    window_array_[static_cast<size_t>(window_index_)] = head;
  } else {
    bool blocked = paused_;
    if (!blocked && delay_paused_) {
      if (current_time_ms() <= delay_end_ && !ignore_delay_) {
        blocked = true;
      } else {
        delay_paused_ = false;
        window_index_ = (window_index_ + 2) % 6;
        window_array_[static_cast<size_t>(window_index_)] = head;
        window_array_[static_cast<size_t>(window_index_ + 1)] = head - smoothness_;
      }
    }
    if (!blocked && !event_stack_.empty() && !process_event_stack(count, element, function_scope_)) blocked = true;
    if (!blocked) {
      bool play = false;
      double remaining = skip_ ? count - head : std::min(speed, count - head);
      while (remaining > 0) {
        head += std::min(1.0, remaining);
        remaining -= 1;
        if (head < last_character_) continue;
        play = true;
        std::vector<EventPtr> events;
        if (const auto it = page.events.find(last_character_); it != page.events.end()) events = it->second;
        ++last_character_;
        if (last_character_ > 1) execute_function_per_character(element);
        if (!events.empty()) {
          event_stack_.insert(event_stack_.end(), events.begin(), events.end());
          if (!process_event_stack(count, element, function_scope_)) {
            head = last_character_ - 1;
            break;
          }
        }
      }
      // Events behind the last character run once the head has reached the end.
      if (head >= count && last_character_ == count) {
        if (const auto it = page.events.find(count); it != page.events.end()) {
          ++last_character_;
          event_stack_.insert(event_stack_.end(), it->second.begin(), it->second.end());
          process_event_stack(count, element, function_scope_);
        }
      }
      if (play && last_character_ <= count) play_sound(head);
      window_array_[static_cast<size_t>(window_index_)] = head;
    }
  }
  for (int i = 0; i < 6; i += 2) {
    double& tail = window_array_[static_cast<size_t>(i + 1)];
    tail = skip_ ? window_array_[static_cast<size_t>(i)] : std::min(tail + speed, window_array_[static_cast<size_t>(i)]);
  }
}

void Typist::set_shader_uniforms(Element* element, int32_t shader) {
  if (in_ < 0) {
    set_uniform_i(shader, "u_iTypewriterMethod", 0);
    return;
  }
  const int32_t method = ease_method_ + (in_ == 0 ? 15 : 0);
  int32_t char_max = 0;
  if (backwards_) {
    Model* model = element->get_model(false);
    const auto pages = model != nullptr ? static_cast<int32_t>(model->pages.size()) : 0;
    if (last_page_ >= pages) {
      trace("Warning! Typist page (" + number_text(last_page_) + ") exceeds text element page count (" +
            number_text(pages) + ")");
    } else {
      char_max = model->pages[static_cast<size_t>(last_page_)]->character_count;
    }
  }
  set_uniform_i(shader, "u_iTypewriterMethod", method);
  set_uniform_i(shader, "u_iTypewriterCharMax", char_max);
  set_uniform_f(shader, "u_fTypewriterSmoothness", {static_cast<float>(smoothness_)});
  set_uniform_f(shader, "u_vTypewriterStartPos", {static_cast<float>(ease_dx_), static_cast<float>(ease_dy_)});
  set_uniform_f(shader, "u_vTypewriterStartScale", {static_cast<float>(ease_xscale_), static_cast<float>(ease_yscale_)});
  set_uniform_f(shader, "u_fTypewriterStartRotation", {static_cast<float>(ease_rotation_)});
  set_uniform_f(shader, "u_fTypewriterAlphaDuration", {static_cast<float>(ease_alpha_duration_)});
  float window[6];
  for (int i = 0; i < 6; ++i) window[i] = static_cast<float>(window_array_[static_cast<size_t>(i)]);
  set_uniform_fv(shader, "u_fTypewriterWindowArray", window, 6);
}

double Typist::get_state() {
  if (last_element_ == nullptr || !reset_done_) return 0;
  if (in_ < 0) return 1;
  Element* element = target();
  Model* model = element != nullptr ? element->get_model(false) : nullptr;
  if (model == nullptr) return 2;
  if (static_cast<size_t>(last_page_) >= model->pages.size()) return 1;
  const int32_t count = model->pages[static_cast<size_t>(last_page_)]->character_count;
  if (count <= 0) return 1;
  const double head = window_array_[static_cast<size_t>(window_index_)];
  const double tail = window_array_[static_cast<size_t>(window_index_ + 1)];
  const double state = std::clamp((head + std::max(0.0, tail + smoothness_ - count)) / (count + smoothness_), 0.0, 1.0);
  if (in_ == 0) return state + 1;
  if (delay_paused_ || !event_stack_.empty()) return std::min(state, 1 - 2 * std::numeric_limits<double>::epsilon());
  return state;
}

}  // namespace scribble

using namespace scribble;

#define TYPIST_METHOD(name)                                                                           \
  RValue* tsl_Script___scribble_class_typist_##name(CInstance* self, [[maybe_unused]] CInstance* other, \
                                                    RValue* result, [[maybe_unused]] int argc,          \
                                                    [[maybe_unused]] RValue** argv)
#define TYPIST_ENTRY(name)                                                  \
  tsl::ScriptScope scope("__scribble_class_typist_" #name, self, result); \
  Typist* t = dynamic_cast<Typist*>(KV_AsObject(self));                     \
  if (t == nullptr) return result
#define RETURN_SELF return scope.give(Value::Object(t))

namespace {

std::vector<Value> sounds_of(const RValue& v) {
  std::vector<Value> out;
  if (RV_Kind(v) == kRVArray && v.pArray != nullptr) {
    for (int32_t i = 0; i < v.pArray->length; ++i) out.push_back(sound_value(v.pArray->pArray[i]));
  } else if (defined(v)) {
    out.push_back(sound_value(v));
  }
  return out;
}

uint64_t delay_key(const RValue& character) {
  if (RV_Kind(character) != kRVString) return static_cast<uint64_t>(RV_ToDouble(character));
  const std::u32string codes = decode_utf8(RV_StringText(character));
  if (codes.empty()) return 0;
  if (codes.size() == 1) return codes[0];
  return static_cast<uint64_t>(codes[0]) | (static_cast<uint64_t>(codes[1]) << 32);
}

}  // namespace

RValue* tsl_Script_scribble_typist(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("scribble_typist", self, result);
  initialize();
  auto* typist = new Typist();
  adopt_object(typist, "__scribble_class_typist", typist_prototype());
  typist->sound_finish_time_ = current_time_ms();
  typist->reset();
  typist->reset_done_ = false;
  return scope.give(Value::Object(typist));
}

TYPIST_METHOD(reset) {
  TYPIST_ENTRY(reset);
  t->reset();
  RETURN_SELF;
}

TYPIST_METHOD(in) {
  TYPIST_ENTRY(in);
  const int32_t old = t->in_;
  t->in_ = 1;
  t->backwards_ = false;
  t->speed_ = RV_ToDouble(ARG(0));
  t->smoothness_ = RV_ToDouble(ARG(1));
  t->skip_ = false;
  if (old != 1) t->reset();
  RETURN_SELF;
}

TYPIST_METHOD(out) {
  TYPIST_ENTRY(out);
  const int32_t old = t->in_;
  t->in_ = 0;
  t->backwards_ = RV_ToBool(ARG(2));
  t->speed_ = RV_ToDouble(ARG(0));
  t->smoothness_ = RV_ToDouble(ARG(1));
  t->skip_ = false;
  if (old != 0) t->reset();
  RETURN_SELF;
}

TYPIST_METHOD(skip) {
  TYPIST_ENTRY(skip);
  t->skip_ = defined(ARG(0)) ? RV_ToBool(ARG(0)) : true;
  t->drawn_since_skip_ = false;
  RETURN_SELF;
}

TYPIST_METHOD(ignore_delay) {
  TYPIST_ENTRY(ignore_delay);
  t->ignore_delay_ = defined(ARG(0)) ? RV_ToBool(ARG(0)) : true;
  RETURN_SELF;
}

TYPIST_METHOD(sound) {
  TYPIST_ENTRY(sound);
  t->sound_array_ = sounds_of(ARG(0));
  t->sound_overlap_ = RV_ToDouble(ARG(1));
  t->sound_pitch_min_ = defined(ARG(2)) ? RV_ToDouble(ARG(2)) : 1;
  t->sound_pitch_max_ = defined(ARG(3)) ? RV_ToDouble(ARG(3)) : 1;
  t->sound_per_char_ = false;
  RETURN_SELF;
}

TYPIST_METHOD(sound_per_char) {
  TYPIST_ENTRY(sound_per_char);
  t->sound_array_ = sounds_of(ARG(0));
  t->sound_pitch_min_ = defined(ARG(1)) ? RV_ToDouble(ARG(1)) : 1;
  t->sound_pitch_max_ = defined(ARG(2)) ? RV_ToDouble(ARG(2)) : 1;
  t->sound_per_char_ = true;
  if (RV_Kind(ARG(3)) == kRVString) {
    error("SCRIBBLE_ALLOW_GLYPH_DATA_GETTER must be set to <true> to use sound-per-character exceptions");
  }
  t->sound_per_char_exception_ = false;
  RETURN_SELF;
}

TYPIST_METHOD(function_per_char) {
  TYPIST_ENTRY(function_per_char);
  t->function_ = Value::Copy(ARG(0));
  RETURN_SELF;
}

TYPIST_METHOD(pause) {
  TYPIST_ENTRY(pause);
  t->paused_ = true;
  RETURN_SELF;
}

TYPIST_METHOD(unpause) {
  TYPIST_ENTRY(unpause);
  if (t->paused_) {
    const double head = t->window_array_[static_cast<size_t>(t->window_index_)];
    t->window_index_ = (t->window_index_ + 2) % 6;
    t->window_array_[static_cast<size_t>(t->window_index_)] = head;
    t->window_array_[static_cast<size_t>(t->window_index_ + 1)] = head - t->smoothness_;
    t->paused_ = false;
  }
  RETURN_SELF;
}

TYPIST_METHOD(ease) {
  TYPIST_ENTRY(ease);
  t->ease_method_ = RV_ToInt32(ARG(0));
  t->ease_dx_ = RV_ToDouble(ARG(1));
  t->ease_dy_ = RV_ToDouble(ARG(2));
  t->ease_xscale_ = RV_ToDouble(ARG(3));
  t->ease_yscale_ = RV_ToDouble(ARG(4));
  t->ease_rotation_ = RV_ToDouble(ARG(5));
  t->ease_alpha_duration_ = RV_ToDouble(ARG(6));
  RETURN_SELF;
}

TYPIST_METHOD(execution_scope) {
  TYPIST_ENTRY(execution_scope);
  t->function_scope_ = Value::Copy(ARG(0));
  RETURN_SELF;
}

TYPIST_METHOD(character_delay_add) {
  TYPIST_ENTRY(character_delay_add);
  if (!SCRIBBLE_ALLOW_GLYPH_DATA_GETTER) {
    error("SCRIBBLE_ALLOW_GLYPH_DATA_GETTER must be set to <true> to use per-character delay");
  }
  t->character_delay_ = true;
  t->character_delay_dict_[delay_key(ARG(0))] = RV_ToDouble(ARG(1));
  RETURN_SELF;
}

TYPIST_METHOD(character_delay_remove) {
  TYPIST_ENTRY(character_delay_remove);
  t->character_delay_dict_.erase(delay_key(ARG(0)));
  RETURN_SELF;
}

TYPIST_METHOD(character_delay_clear) {
  TYPIST_ENTRY(character_delay_clear);
  t->character_delay_ = false;
  t->character_delay_dict_.clear();
  RETURN_SELF;
}

TYPIST_METHOD(get_skip) {
  TYPIST_ENTRY(get_skip);
  return scope.give(Value::Bool(t->skip_));
}

TYPIST_METHOD(get_ignore_delay) {
  TYPIST_ENTRY(get_ignore_delay);
  return scope.give(Value::Bool(t->ignore_delay_));
}

TYPIST_METHOD(get_state) {
  TYPIST_ENTRY(get_state);
  return scope.give(Value::Real(t->get_state()));
}

TYPIST_METHOD(get_position) {
  TYPIST_ENTRY(get_position);
  if (t->in_ < 0) return result;
  return scope.give(Value::Real(t->window_array_[static_cast<size_t>(t->window_index_)]));
}

TYPIST_METHOD(get_paused) {
  TYPIST_ENTRY(get_paused);
  return scope.give(Value::Bool(t->paused_));
}

TYPIST_METHOD(get_text_element) {
  TYPIST_ENTRY(get_text_element);
  Element* element = t->target();
  return element != nullptr ? scope.give(element_value(element)) : result;
}

TYPIST_METHOD(get_execution_scope) {
  TYPIST_ENTRY(get_execution_scope);
  return scope.give(t->function_scope_);
}

TYPIST_METHOD(__associate) {
  TYPIST_ENTRY(__associate);
  if (Element* element = element_of(const_cast<CInstance*>(KV_AsInstance(RV_ObjectOf(ARG(0)))))) t->associate(element);
  RETURN_SELF;
}

TYPIST_METHOD(__tick) {
  TYPIST_ENTRY(__tick);
  if (Element* element = element_of(KV_AsInstance(RV_ObjectOf(ARG(0))))) t->tick_for(element, Value::Copy(ARG(1)));
  RETURN_SELF;
}

TYPIST_METHOD(__set_shader_uniforms) {
  TYPIST_ENTRY(__set_shader_uniforms);
  if (Element* element = t->target()) t->set_shader_uniforms(element, 1);
  RETURN_SELF;
}

TYPIST_METHOD(__set_msdf_shader_uniforms) {
  TYPIST_ENTRY(__set_msdf_shader_uniforms);
  if (Element* element = t->target()) t->set_shader_uniforms(element, 6);
  RETURN_SELF;
}

TYPIST_METHOD(__process_event_stack) {
  TYPIST_ENTRY(__process_event_stack);
  Element* element = element_of(KV_AsInstance(RV_ObjectOf(ARG(1))));
  if (element == nullptr) return result;
  return scope.give(Value::Bool(t->process_event_stack(RV_ToInt32(ARG(0)), element, Value::Copy(ARG(2)))));
}

TYPIST_METHOD(__play_sound) {
  TYPIST_ENTRY(__play_sound);
  t->play_sound(RV_ToDouble(ARG(0)));
  RETURN_SELF;
}

TYPIST_METHOD(__execute_function_per_character) {
  TYPIST_ENTRY(__execute_function_per_character);
  if (Element* element = element_of(KV_AsInstance(RV_ObjectOf(ARG(0))))) t->execute_function_per_character(element);
  RETURN_SELF;
}

RValue* tsl_Script_scribble_typists_add_event(CInstance* self, CInstance*, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("scribble_typists_add_event", self, result);
  LibraryState& s = initialize();
  const RValue& name_value = ARG(0);
  const RValue& function = ARG(1);
  if (RV_Kind(name_value) != kRVString) {
    error("Event names should be strings.\n(Input to script was \"" + value_text(name_value) + "\")");
  }
  const bool is_method = RV_ToBool(*tsl::call("is_method", nullptr, nullptr, {function}));
  if (!is_method) {
    if (RV_Kind(function) == kRVString || !defined(function) || RV_Kind(function) == kRVObject) {
      error("Invalid function provided\n(Input datatype was \"" +
            value_text(*tsl::call("typeof", nullptr, nullptr, {function})) + "\")");
    }
    if (!RV_ToBool(*tsl::call("script_exists", nullptr, nullptr, {function}))) {
      error("Script with asset index " + value_text(function) + " doesn't exist\n ");
    }
  }
  const std::string name = RV_StringText(name_value);
  if (s.colours.count(name) != 0) trace("Warning! Event name \"" + name + "\" has already been defined as a colour");
  static const char* const kEffects[] = {"wave", "shake", "rainbow", "wobble", "pulse", "wheel", "cycle", "jitter", "blink", "slant"};
  for (const char* effect : kEffects) {
    if (name == effect) trace("Warning! Event name \"" + name + "\" has already been defined as an effect");
  }
  if (s.macros.count(name) != 0) trace("Warning! Macro name \"" + name + "\" has already been defined as a macro");
  const auto it = s.typewriter_events.find(name);
  if (it != s.typewriter_events.end() && defined(*it->second.get())) {
    const RValue& old = *it->second.get();
    std::string shown;
    if (RV_ToBool(*tsl::call("is_method", nullptr, nullptr, {old}))) {
      shown = "\"" + value_text(old) + "\"";
    } else if (RV_ToBool(*tsl::call("script_exists", nullptr, nullptr, {old}))) {
      shown = "\"" + value_text(*tsl::call("script_get_name", nullptr, nullptr, {old})) + "\"";
    } else {
      shown = "<invalid script>";
    }
    trace("Warning! Overwriting event [" + name + "] tied to " + shown);
  }
  s.typewriter_events[name] = Value::Copy(function);
  return result;
}

RValue* tsl_Script_scribble_typewriter_add_event(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("scribble_typewriter_add_event", self, result);
  error("scribble_typewriter_add_event() has been replaced by scribble_typists_add_event()");
}

RValue* tsl_Script_scribble_typewriter_add_character_delay(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("scribble_typewriter_add_character_delay", self, result);
  error("scribble_typewriter_add_character_delay() has been moved to a typist method\nPlease use "
        "<typist>.character_delay_add() instead\nAdditioanlly, SCRIBBLE_ALLOW_GLYPH_DATA_GETTER must be set to <true> to "
        "use per-character delay");
}
