// The global rows of the builtin variable table, in manifest order. Their functions ignore the
// instance they are given: a global row reads and writes the same state from any self.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>

#include "core/builtin_var.h"
#include "core/error.h"
#include "core/event_context.h"
#include "core/frame_state.h"
#include "core/memory.h"
#include "core/timing.h"
#include "data/game_data.h"
#include "graphics/font.h"
#include "graphics/surface.h"
#include "world/builtin_var_rows.h"
#include "world/event.h"
#include "world/instance.h"
#include "world/room.h"
#include "world/room_draw.h"
#include "world/step.h"

RunVariables g_RunVariables;
GameDirectories g_GameDirectories;

void RunVariables_Reset() { g_RunVariables = RunVariables{}; }

namespace {

using Get = BuiltinVariableGet;
using Set = BuiltinVariableSet;

constexpr int32_t kArgumentRows = 16;

void set_text(RValue* out, const std::string& text) { RV_SetString(out, text.c_str()); }

// The text a caption or string row stores: a string as it is, anything else as its value text.
std::string text_of(const RValue* value) {
  if (RV_Kind(*value) == kRVString) return RV_StringText(*value);
  char* text = RV_ToText(*value);
  std::string copy = text != nullptr ? text : "";
  KV_FREE(text);
  return copy;
}

bool read_real(RValue* out, double value) {
  *out = RV_Real(value);
  return true;
}

bool read_bool(RValue* out, bool value) {
  *out = RV_Bool(value);
  return true;
}

// A write that the row's subject takes without keeping anything (the subject has no state yet, or
// the row is documented to ignore writes).
bool ignore_write(CInstance*, int32_t, RValue*) { return true; }

bool illegal_argument_access(int32_t index) {
  if (index < 0) return false;
  KVError("illegal access of argument, argument is not provided to script");
  return true;
}

// The kernel's release as major << 16 | minor, read once; 0 when it can't be read.
int32_t os_version() {
  static const int32_t version = [] {
    std::ifstream in("/proc/sys/kernel/osrelease");
    int major = 0;
    int minor = 0;
    char dot = 0;
    if (!(in >> major >> dot >> minor) || dot != '.') return 0;
    return static_cast<int32_t>((major << 16) | (minor & 0xFFFF));
  }();
  return version;
}

bool read_local_time(RValue* out, int field) {
  const std::time_t now = std::time(nullptr);
  const std::tm* local = std::localtime(&now);
  if (local == nullptr) return read_real(out, 0.0);
  const int values[] = {local->tm_year + 1900, local->tm_mon + 1, local->tm_mday, local->tm_wday,
                        local->tm_hour, local->tm_min, local->tm_sec};
  return read_real(out, values[field]);
}

// ---- Rooms: the current working copy backs these; without one, reads give -1 (the caption "")
// and writes change nothing. `room` asks for the change through Room_Goto. ----------------------

bool get_room(CInstance*, int32_t, RValue* out) { return read_real(out, Run_Room != nullptr ? Run_RoomIndex : -1); }
bool set_room(CInstance*, int32_t, RValue* value) {
  Room_Goto(BuiltinVar_Int(value));  // transition kind 0: none
  return true;
}
bool get_room_width(CInstance*, int32_t, RValue* out) { return read_real(out, Run_Room != nullptr ? Run_Room->width : -1); }
bool set_room_width(CInstance*, int32_t, RValue* value) {
  if (Run_Room != nullptr) Run_Room->width = BuiltinVar_Int(value);
  return true;
}
bool get_room_height(CInstance*, int32_t, RValue* out) {
  return read_real(out, Run_Room != nullptr ? Run_Room->height : -1);
}
bool set_room_height(CInstance*, int32_t, RValue* value) {
  if (Run_Room != nullptr) Run_Room->height = BuiltinVar_Int(value);
  return true;
}
bool get_room_persistent(CInstance*, int32_t, RValue* out) {
  return Run_Room != nullptr ? read_bool(out, Run_Room->persistent) : read_real(out, -1.0);
}
bool set_room_persistent(CInstance*, int32_t, RValue* value) {
  if (Run_Room != nullptr) Run_Room->persistent = std::round(BuiltinVar_Real(value)) > 0.5;
  return true;
}
bool get_room_caption(CInstance*, int32_t, RValue* out) {
  RV_SetString(out, Run_Room != nullptr ? Run_Room->caption.c_str() : "");
  return true;
}
bool set_room_caption(CInstance*, int32_t, RValue* value) {
  if (Run_Room != nullptr) Run_Room->caption = text_of(value);
  return true;
}
bool get_room_speed(CInstance*, int32_t, RValue* out) {
  if (Run_UseGameTimer) return read_real(out, GameTimer_GetSpeed(Run_GameTimer, 0));
  return read_real(out, Run_Room != nullptr ? Run_Room->speed : -1);
}
bool set_room_speed(CInstance*, int32_t, RValue* value) {
  const int32_t speed = BuiltinVar_Int(value);
  if (speed <= 0) {
    KVError("Trying to set the room speed to a value <= 0.");
    return false;
  }
  if (Run_UseGameTimer) {
    GameTimer_Reset(&Run_GameTimer, speed, Timing_Time());
  } else if (Run_Room != nullptr) {
    Run_Room->speed = speed;
  }
  return true;
}

// ---- Views: the room's views and their cameras (room_draw.h). ------------------------------------
template <ViewField F>
bool get_view(CInstance*, int32_t index, RValue* out) {
  const double value = View_GetField(F, index);
  const bool flag = (F == kViewEnabled || F == kViewVisible) && value >= 0.0;
  return flag ? read_bool(out, value != 0.0) : read_real(out, value);
}
template <ViewField F>
bool set_view(CInstance*, int32_t index, RValue* value) {
  View_SetField(F, index, BuiltinVar_Real(value));
  return true;
}

// ---- Input: the keyboard and mouse subject backs these; with no device state they read nothing
// pressed. ------------------------------------------------------------------------------------------
bool get_zero(CInstance*, int32_t, RValue* out) { return read_real(out, 0.0); }
bool get_minus_one(CInstance*, int32_t, RValue* out) { return read_real(out, -1.0); }
bool get_empty_text(CInstance*, int32_t, RValue* out) {
  RV_SetString(out, "");
  return true;
}

struct Row {
  const char* name;
  Get get;
  Set set;
};

}  // namespace

void BuiltinVar_AddGlobalRows() {
  Variable_BuiltIn_Add("argument_relative", get_zero, nullptr);
  Variable_BuiltIn_Add(
      "argument",
      +[](CInstance*, int32_t index, RValue* out) {
        if (illegal_argument_access(index)) return false;
        *out = RV_Undefined();
        return true;
      },
      +[](CInstance*, int32_t index, RValue*) { return !illegal_argument_access(index); });
  static const char* const kArgumentNames[kArgumentRows] = {
      "argument0", "argument1", "argument2",  "argument3",  "argument4",  "argument5",  "argument6",  "argument7",
      "argument8", "argument9", "argument10", "argument11", "argument12", "argument13", "argument14", "argument15"};
  for (const char* name : kArgumentNames) {
    Variable_BuiltIn_Add(
        name,
        +[](CInstance*, int32_t, RValue* out) {
          *out = RV_Undefined();
          return true;
        },
        ignore_write);
  }

  const Row rows[] = {
      {"argument_count", get_zero, nullptr},
      {"debug_mode", +[](CInstance*, int32_t, RValue* out) { return read_real(out, GameData_Header().debug_off != 0 ? 0.0 : 1.0); }, nullptr},
      {"pointer_invalid", +[](CInstance*, int32_t, RValue* out) { *out = RV_Ptr(reinterpret_cast<void*>(intptr_t{-1})); return true; }, nullptr},
      {"pointer_null", +[](CInstance*, int32_t, RValue* out) { *out = RV_Ptr(nullptr); return true; }, nullptr},
      {"undefined", +[](CInstance*, int32_t, RValue* out) { *out = RV_Undefined(); return true; }, nullptr},
      {"NaN", +[](CInstance*, int32_t, RValue* out) { *out = RV_Real(0.0); out->v64 = 0x7FF8000000000000LL; return true; }, nullptr},
      {"infinity", +[](CInstance*, int32_t, RValue* out) { *out = RV_Real(0.0); out->v64 = 0x7FF0000000000000LL; return true; }, nullptr},
      {"room", get_room, set_room},
      {"room_first", +[](CInstance*, int32_t, RValue* out) { return read_real(out, Room_First()); }, nullptr},
      {"room_last", +[](CInstance*, int32_t, RValue* out) { return read_real(out, Room_Last()); }, nullptr},
      {"transition_kind", get_zero, ignore_write},
      {"transition_steps", get_zero, ignore_write},
      {"score", +[](CInstance*, int32_t, RValue* out) { return read_real(out, g_RunVariables.score); },
       +[](CInstance*, int32_t, RValue* value) { g_RunVariables.score = BuiltinVar_Int(value); return true; }},
      {"lives", +[](CInstance*, int32_t, RValue* out) { return read_real(out, g_RunVariables.lives); },
       +[](CInstance*, int32_t, RValue* value) { g_RunVariables.lives = BuiltinVar_Int(value); return true; }},
      {"health", +[](CInstance*, int32_t, RValue* out) { return read_real(out, g_RunVariables.health); },
       +[](CInstance*, int32_t, RValue* value) { g_RunVariables.health = BuiltinVar_Real(value); return true; }},
      {"game_id", +[](CInstance*, int32_t, RValue* out) { return read_real(out, GameData_Header().game_id); }, nullptr},
      {"game_display_name", +[](CInstance*, int32_t, RValue* out) { RV_SetString(out, GameData_Header().display_name); return true; }, nullptr},
      {"game_project_name", +[](CInstance*, int32_t, RValue* out) { RV_SetString(out, GameData_Header().project_name); return true; }, nullptr},
      {"game_save_id", +[](CInstance*, int32_t, RValue* out) { set_text(out, g_GameDirectories.save); return true; }, nullptr},
      {"working_directory", +[](CInstance*, int32_t, RValue* out) { set_text(out, g_GameDirectories.working); return true; }, nullptr},
      {"temp_directory", +[](CInstance*, int32_t, RValue* out) { set_text(out, g_GameDirectories.temp); return true; }, nullptr},
      {"program_directory", +[](CInstance*, int32_t, RValue* out) { set_text(out, g_GameDirectories.program); return true; }, nullptr},
      {"instance_count", +[](CInstance*, int32_t, RValue* out) { return read_real(out, Instance_Count()); }, nullptr},
      {"instance_id", +[](CInstance*, int32_t index, RValue* out) { return read_real(out, Instance_IdAt(index)); }, nullptr},
      {"room_width", get_room_width, set_room_width},
      {"room_height", get_room_height, set_room_height},
      {"room_caption", get_room_caption, set_room_caption},
      {"room_speed", get_room_speed, set_room_speed},
      {"room_persistent", get_room_persistent, set_room_persistent},
      {"background_color", get_minus_one, ignore_write},
      {"background_showcolor", get_minus_one, ignore_write},
      {"background_colour", get_minus_one, ignore_write},
      {"background_showcolour", get_minus_one, ignore_write},
      {"background_visible", get_minus_one, ignore_write},
      {"background_foreground", get_minus_one, ignore_write},
      {"background_index", get_minus_one, ignore_write},
      {"background_x", get_minus_one, ignore_write},
      {"background_y", get_minus_one, ignore_write},
      {"background_width", get_minus_one, nullptr},
      {"background_height", get_minus_one, nullptr},
      {"background_htiled", get_minus_one, ignore_write},
      {"background_vtiled", get_minus_one, ignore_write},
      {"background_xscale", get_minus_one, ignore_write},
      {"background_yscale", get_minus_one, ignore_write},
      {"background_hspeed", get_minus_one, ignore_write},
      {"background_vspeed", get_minus_one, ignore_write},
      {"background_blend", get_minus_one, ignore_write},
      {"background_alpha", get_minus_one, ignore_write},
      {"view_enabled", get_view<kViewEnabled>, set_view<kViewEnabled>},
      {"view_current", +[](CInstance*, int32_t, RValue* out) { return read_real(out, ViewCurrent); }, nullptr},
      {"view_visible", get_view<kViewVisible>, set_view<kViewVisible>},
      {"view_xview", get_view<kViewXView>, set_view<kViewXView>},
      {"view_yview", get_view<kViewYView>, set_view<kViewYView>},
      {"view_wview", get_view<kViewWView>, set_view<kViewWView>},
      {"view_hview", get_view<kViewHView>, set_view<kViewHView>},
      {"view_xport", get_view<kViewXPort>, set_view<kViewXPort>},
      {"view_yport", get_view<kViewYPort>, set_view<kViewYPort>},
      {"view_wport", get_view<kViewWPort>, set_view<kViewWPort>},
      {"view_hport", get_view<kViewHPort>, set_view<kViewHPort>},
      {"view_angle", get_view<kViewAngle>, set_view<kViewAngle>},
      {"view_hborder", get_view<kViewHBorder>, set_view<kViewHBorder>},
      {"view_vborder", get_view<kViewVBorder>, set_view<kViewVBorder>},
      {"view_hspeed", get_view<kViewHSpeed>, set_view<kViewHSpeed>},
      {"view_vspeed", get_view<kViewVSpeed>, set_view<kViewVSpeed>},
      {"view_object", get_view<kViewObject>, set_view<kViewObject>},
      {"view_surface_id", get_view<kViewSurfaceId>, set_view<kViewSurfaceId>},
      {"view_camera", get_view<kViewCamera>, set_view<kViewCamera>},
      {"mouse_x", get_zero, nullptr},
      {"mouse_y", get_zero, nullptr},
      {"mouse_button", get_zero, ignore_write},
      {"mouse_lastbutton", get_zero, ignore_write},
      {"keyboard_key", get_zero, ignore_write},
      {"keyboard_lastkey", get_zero, ignore_write},
      {"keyboard_lastchar", get_empty_text, ignore_write},
      {"keyboard_string", get_empty_text, ignore_write},
      {"cursor_sprite", +[](CInstance*, int32_t, RValue* out) { return read_real(out, g_RunVariables.cursorSprite); },
       +[](CInstance*, int32_t, RValue* value) { g_RunVariables.cursorSprite = BuiltinVar_Int(value); return true; }},
      {"show_score", +[](CInstance*, int32_t, RValue* out) { return read_bool(out, g_RunVariables.showScore); },
       +[](CInstance*, int32_t, RValue* value) { g_RunVariables.showScore = BuiltinVar_Bool(value); return true; }},
      {"show_lives", +[](CInstance*, int32_t, RValue* out) { return read_bool(out, g_RunVariables.showLives); },
       +[](CInstance*, int32_t, RValue* value) { g_RunVariables.showLives = BuiltinVar_Bool(value); return true; }},
      {"show_health", +[](CInstance*, int32_t, RValue* out) { return read_bool(out, g_RunVariables.showHealth); },
       +[](CInstance*, int32_t, RValue* value) { g_RunVariables.showHealth = BuiltinVar_Bool(value); return true; }},
      {"caption_score", +[](CInstance*, int32_t, RValue* out) { set_text(out, g_RunVariables.captionScore); return true; },
       +[](CInstance*, int32_t, RValue* value) { g_RunVariables.captionScore = text_of(value); return true; }},
      {"caption_lives", +[](CInstance*, int32_t, RValue* out) { set_text(out, g_RunVariables.captionLives); return true; },
       +[](CInstance*, int32_t, RValue* value) { g_RunVariables.captionLives = text_of(value); return true; }},
      {"caption_health", +[](CInstance*, int32_t, RValue* out) { set_text(out, g_RunVariables.captionHealth); return true; },
       +[](CInstance*, int32_t, RValue* value) { g_RunVariables.captionHealth = text_of(value); return true; }},
      {"fps", +[](CInstance*, int32_t, RValue* out) { return read_real(out, Run_Fps); }, nullptr},
      {"fps_real", +[](CInstance*, int32_t, RValue* out) {
         return read_real(out, Run_DeltaTime > 0 ? static_cast<float>(1000000.0 / static_cast<double>(Run_DeltaTime)) : 0.0);
       }, nullptr},
      {"current_time", +[](CInstance*, int32_t, RValue* out) { return read_real(out, static_cast<double>(Timing_Time() / 1000)); }, nullptr},
      {"current_year", +[](CInstance*, int32_t, RValue* out) { return read_local_time(out, 0); }, nullptr},
      {"current_month", +[](CInstance*, int32_t, RValue* out) { return read_local_time(out, 1); }, nullptr},
      {"current_day", +[](CInstance*, int32_t, RValue* out) { return read_local_time(out, 2); }, nullptr},
      {"current_weekday", +[](CInstance*, int32_t, RValue* out) { return read_local_time(out, 3); }, nullptr},
      {"current_hour", +[](CInstance*, int32_t, RValue* out) { return read_local_time(out, 4); }, nullptr},
      {"current_minute", +[](CInstance*, int32_t, RValue* out) { return read_local_time(out, 5); }, nullptr},
      {"current_second", +[](CInstance*, int32_t, RValue* out) { return read_local_time(out, 6); }, nullptr},
      // The current-event values of the dispatcher, which room creation code and timelines set too.
      {"event_type", +[](CInstance*, int32_t, RValue* out) { return read_real(out, CurrentEventType); }, nullptr},
      {"event_number", +[](CInstance*, int32_t, RValue* out) { return read_real(out, CurrentEventNumber); }, nullptr},
      {"event_object", +[](CInstance*, int32_t, RValue* out) { return read_real(out, CurrentEventObject); }, nullptr},
      {"event_action", +[](CInstance*, int32_t, RValue* out) { return read_real(out, g_EventContext.actionNumber); }, nullptr},
      {"error_occurred", +[](CInstance*, int32_t, RValue* out) { return read_bool(out, Error_Occurred()); },
       +[](CInstance*, int32_t, RValue* value) { Error_SetOccurred(BuiltinVar_Real(value) >= 0.5); return true; }},
      {"error_last", +[](CInstance*, int32_t, RValue* out) { set_text(out, Error_Last()); return true; },
       +[](CInstance*, int32_t, RValue* value) { Error_SetLast(text_of(value)); return true; }},
      {"application_surface", +[](CInstance*, int32_t, RValue* out) { return read_real(out, AppSurface().id); }, nullptr},
      {"font_texture_page_size", +[](CInstance*, int32_t, RValue* out) { return read_real(out, Font_TexturePageSize()); },
       +[](CInstance*, int32_t, RValue* value) { Font_SetTexturePageSize(BuiltinVar_Int(value)); return true; }},
      {"os_type", get_zero, nullptr},
      {"os_device", get_zero, nullptr},  // a desktop display
      {"os_version", +[](CInstance*, int32_t, RValue* out) { return read_real(out, os_version()); }, nullptr},
      {"os_browser", get_minus_one, nullptr},
      // The display subject knows the desktop's size; without a display it is 0 by 0.
      {"browser_width", get_zero, nullptr},
      {"browser_height", get_zero, nullptr},
      // No rollback session exists on this platform.
      {"rollback_current_frame", get_zero, nullptr},
      {"rollback_confirmed_frame", get_zero, nullptr},
      {"rollback_event_id", get_minus_one, nullptr},
      {"rollback_event_param", get_minus_one, nullptr},
      {"rollback_game_running", +[](CInstance*, int32_t, RValue* out) { return read_bool(out, false); }, nullptr},
      {"rollback_api_server", get_minus_one, nullptr},
  };
  for (const Row& row : rows) Variable_BuiltIn_Add(row.name, row.get, row.set);
}
