// The gamepad table: slots, finding pads, polling them, the connect events, and the reading rules.
#include "input/gamepad.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "core/console.h"
#include "data/game_data.h"
#include "platform/window_host.h"
#include "storage/ds_core.h"
#include "storage/ds_map.h"
#include "world/event_async.h"

namespace {

constexpr int32_t kSystemEventSubtype = 75;
constexpr uint64_t kGamepadFunctionsUsed = 1u << 2;  // FunctionClasses bit 2
constexpr int32_t kRumbleRenewPolls = 1800;           // SDL keeps a rumble going about a minute

// Standard constants and the flags of raw indices.
constexpr int32_t kFirstConstant = 32769;
constexpr int32_t kLastButtonConstant = 32784;
constexpr int32_t kLastAxisConstant = 32788;
constexpr int32_t kOtherKind = 0x1000;     // a button index reads an axis, an axis index a button
constexpr int32_t kNegativeSide = 0x2000;  // the axis's negative half, as a button
constexpr int32_t kIgnoredBit = 0x4000;
constexpr int32_t kNegate = 0x8000;
// The fixed layout's button for each button constant from 32769 (A) to 32784 (cross right).
constexpr int32_t kFixedButtonOf[16] = {12, 13, 14, 15, 8, 9, 10, 11, 5, 4, 6, 7, 0, 1, 2, 3};

// The fixed layout's button for each named controller button.
constexpr int32_t kFixedButtonOfPad[] = {12, 13, 14, 15, 5, -1, 4, 6, 7, 8, 9, 0, 1, 2, 3};
static_assert(std::size(kFixedButtonOfPad) == static_cast<size_t>(PadButton::kCount));

constexpr float kStickScale = 3.0517578e-5f;  // a stick's int16 to -1..1
constexpr float kTriggerScale = 0.00390625f;  // a trigger's byte to 0..1

// The text built into the program ahead of any file.
constexpr const char* kBuiltInMappings = "# Gamepad mappings: guid,name,entry:value,... one pad a line\n";

struct Table {
  IWindowHost* host = nullptr;
  GamePadSettings settings;
  std::vector<GamePad> slots;
  GamePadDatabase database;
};
Table g_table;

void size_arrays(GamePad& pad, int32_t buttons, int32_t axes, int32_t hats) {
  pad.buttonCount = buttons;
  pad.axisCount = axes;
  pad.hatCount = hats;
  pad.buttonNow.assign(static_cast<size_t>(buttons), 0.0f);
  pad.buttonPrev.assign(static_cast<size_t>(buttons), 0.0f);
  pad.axisNow.assign(static_cast<size_t>(axes), 0.0f);
  pad.axisPrev.assign(static_cast<size_t>(axes), 0.0f);
  pad.hatNow.assign(static_cast<size_t>(hats), 0);
  pad.hatPrev.assign(static_cast<size_t>(hats), 0);
}

void zero_values(GamePad& pad) {
  for (auto* values : {&pad.buttonNow, &pad.buttonPrev, &pad.axisNow, &pad.axisPrev}) {
    std::fill(values->begin(), values->end(), 0.0f);
  }
  std::fill(pad.hatNow.begin(), pad.hatNow.end(), 0);
  std::fill(pad.hatPrev.begin(), pad.hatPrev.end(), 0);
  for (GamePadOption& option : pad.options) {
    RV_FreeToUndefined(&option.value);
    option.changed = false;
  }
}

bool fixed_slot(int32_t slot) { return slot < kFixedPadSlots; }

void queue_event(int32_t slot, bool discovered) {
  DsLock lock(DsMutex());
  const int32_t id = DS_New<CDS_Map>();
  CDS_Map* map = DS_Find<CDS_Map>(id);
  if (map == nullptr) return;
  RValue key = RV_Undefined(), value = RV_Undefined();
  RV_SetString(&key, "event_type");
  RV_SetString(&value, discovered ? "gamepad discovered" : "gamepad lost");
  map->set(key, value);
  RV_FreeToUndefined(&key);
  RV_FreeToUndefined(&value);
  RV_SetString(&key, "pad_index");
  map->set(key, RV_Real(slot));
  RV_FreeToUndefined(&key);
  Event_QueueAsync(id, kSystemEventSubtype);
}

void release_slot(GamePad& pad) {
  pad.device = -1;
  pad.connected = false;
  pad.description.clear();
  pad.guid.clear();
  if (pad.mapping != pad.ownMapping.get()) pad.mapping = nullptr;
}

void take_fixed_slot(GamePad& pad, const PadInfo& info) {
  pad.device = info.id;
  pad.connected = true;
  pad.description = info.name;
  pad.guid = info.guid;
  pad.sentLeft = pad.sentRight = -1.0f;
  size_arrays(pad, kFixedPadButtons, kFixedPadAxes, 0);
}

void take_pool_slot(GamePad& pad, const PadInfo& info) {
  pad.device = info.id;
  pad.guid = info.guid;
  pad.sentLeft = pad.sentRight = -1.0f;
  if (pad.ownMapping == nullptr) pad.mapping = g_table.database.Find(info.guid);
  pad.description = pad.mapping != nullptr ? pad.mapping->name : info.name;
  size_arrays(pad, info.buttons, info.axes, info.hats);
}

void rumble(GamePad& pad) {
  const bool changed = pad.vibrationLeft != pad.sentLeft || pad.vibrationRight != pad.sentRight;
  const bool moving = pad.vibrationLeft > 0.0f || pad.vibrationRight > 0.0f;
  if (!changed && !(moving && ++pad.rumbleAge >= kRumbleRenewPolls)) return;
  g_table.host->PadRumble(pad.device, pad.vibrationLeft, pad.vibrationRight);
  pad.sentLeft = pad.vibrationLeft;
  pad.sentRight = pad.vibrationRight;
  pad.rumbleAge = 0;
}

void poll_fixed(GamePad& pad) {
  PadReading r;
  if (!g_table.host->PadRead(pad.device, &r)) {
    release_slot(pad);
    return;
  }
  pad.buttonPrev = pad.buttonNow;
  pad.axisPrev = pad.axisNow;
  std::fill(pad.buttonNow.begin(), pad.buttonNow.end(), 0.0f);
  for (size_t i = 0; i < std::size(kFixedButtonOfPad); ++i) {
    if (kFixedButtonOfPad[i] >= 0) pad.buttonNow[static_cast<size_t>(kFixedButtonOfPad[i])] = r.button[i] != 0 ? 1.0f : 0.0f;
  }
  // Triggers as a byte, the way the fixed layout has always counted them.
  auto trigger = [](int16_t v) { return static_cast<float>(std::clamp<int32_t>(v, 0, 32767) * 255 / 32767) * kTriggerScale; };
  pad.buttonNow[10] = trigger(r.axis[static_cast<int>(PadAxis::kLeftTrigger)]);
  pad.buttonNow[11] = trigger(r.axis[static_cast<int>(PadAxis::kRightTrigger)]);
  // The layout's y axes grow upward; the system's grow downward.
  auto up = [](int16_t v) { return static_cast<float>(-static_cast<int32_t>(v)) * kStickScale; };
  pad.axisNow[0] = static_cast<float>(r.axis[static_cast<int>(PadAxis::kLeftX)]) * kStickScale;
  pad.axisNow[1] = up(r.axis[static_cast<int>(PadAxis::kLeftY)]);
  pad.axisNow[2] = static_cast<float>(r.axis[static_cast<int>(PadAxis::kRightX)]) * kStickScale;
  pad.axisNow[3] = up(r.axis[static_cast<int>(PadAxis::kRightY)]);
  rumble(pad);
}

void poll_pool(GamePad& pad, const PadInfo& info) {
  PadReading r;
  if (!g_table.host->PadRead(pad.device, &r)) {
    zero_values(pad);
    pad.connected = false;
    return;
  }
  float buttons[kPadRawButtons];
  float axes[kPadRawAxes];
  int32_t hats[kPadRawHats];
  for (int32_t i = 0; i < info.buttons; ++i) buttons[i] = r.raw_button[i] != 0 ? 1.0f : 0.0f;
  for (int32_t i = 0; i < info.axes; ++i) axes[i] = std::clamp(static_cast<float>(r.raw_axis[i]) / 32767.0f, -1.0f, 1.0f);
  for (int32_t i = 0; i < info.hats; ++i) hats[i] = r.raw_hat[i];
  pad.buttonPrev = pad.buttonNow;
  pad.axisPrev = pad.axisNow;
  pad.hatPrev = pad.hatNow;
  if (pad.mapping != nullptr) {
    GamePadMapping_Apply(*pad.mapping, GamePadRaw{buttons, info.buttons, axes, info.axes, hats, info.hats},
                         &pad.buttonNow, &pad.axisNow);
    pad.buttonCount = static_cast<int32_t>(pad.buttonNow.size());
    pad.axisCount = static_cast<int32_t>(pad.axisNow.size());
    pad.hatCount = 0;
    pad.hatNow.clear();
  } else {
    pad.buttonNow.assign(buttons, buttons + info.buttons);
    pad.axisNow.assign(axes, axes + info.axes);
    pad.hatNow.assign(hats, hats + info.hats);
    pad.buttonCount = info.buttons;
    pad.axisCount = info.axes;
    pad.hatCount = info.hats;
  }
  pad.buttonPrev.resize(pad.buttonNow.size(), 0.0f);
  pad.axisPrev.resize(pad.axisNow.size(), 0.0f);
  pad.hatPrev.resize(pad.hatNow.size(), 0);
  pad.connected = true;
  rumble(pad);
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return "";
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// ---- Reading rules -------------------------------------------------------------------------------

float deadzoned(float v, float dz) {
  if (dz == 0.0f) return v;
  const float size = std::fabs(v);
  if (size < dz) return 0.0f;
  const float sign = v < 0.0f ? -1.0f : 1.0f;
  if (dz >= 1.0f) return sign;
  return (size - dz) / (1.0f - dz) * sign;
}

float at(const std::vector<float>& values, int32_t i) {
  return i >= 0 && i < static_cast<int32_t>(values.size()) ? values[static_cast<size_t>(i)] : 0.0f;
}

bool is_constant(int32_t index) { return index >= 32768; }

// A button function's index: raw, or a constant through the slot kind's table; -1 reads 0.
int32_t button_index(int32_t slot, int32_t index) {
  if (!is_constant(index)) return index;
  const bool button = index >= kFirstConstant && index <= kLastButtonConstant;
  const bool axis = index > kLastButtonConstant && index <= kLastAxisConstant;
  if (!fixed_slot(slot)) {
    if (button) return index - kFirstConstant;
    if (axis) return kOtherKind | (index - kLastButtonConstant - 1);
    return index;
  }
  if (button) return kFixedButtonOf[index - kFirstConstant];
  if (!axis) return -1;
  const int32_t a = index - kLastButtonConstant - 1;
  // The layout's y axes read negated through their constants: their positive side is the axis's
  // negative half.
  return kOtherKind | a | (a % 2 == 1 ? kNegativeSide : 0);
}

int32_t axis_index(int32_t slot, int32_t index) {
  if (!is_constant(index)) return index;
  const bool button = index >= kFirstConstant && index <= kLastButtonConstant;
  const bool axis = index > kLastButtonConstant && index <= kLastAxisConstant;
  if (!fixed_slot(slot)) {
    if (button) return kOtherKind | (index - kFirstConstant);
    if (axis) return index - kLastButtonConstant - 1;
    return index;
  }
  if (button) return kOtherKind | kFixedButtonOf[index - kFirstConstant];
  if (!axis) return -1;
  const int32_t a = index - kLastButtonConstant - 1;
  return a | (a % 2 == 1 ? kNegate : 0);
}

float button_value(const GamePad& pad, int32_t index, bool previous) {
  if (index < 0) return 0.0f;
  if ((index & kOtherKind) == 0) return at(previous ? pad.buttonPrev : pad.buttonNow, index);
  const int32_t a = index & ~(kOtherKind | kNegativeSide | kIgnoredBit);
  const float v = at(previous ? pad.axisPrev : pad.axisNow, a);
  const float dz = pad.axisDeadzone;
  if ((index & kNegativeSide) != 0) return v < -dz ? std::fabs(v) : 0.0f;
  return v > -dz ? v : 0.0f;
}

}  // namespace

void GamePads_Init(IWindowHost* host, const GamePadSettings& settings) {
  g_table = Table{};
  g_table.host = host;
  g_table.settings = settings;
  g_table.slots.resize(static_cast<size_t>(kFixedPadSlots + (settings.pool ? kPoolPadSlots : 0)));
  for (size_t i = 0; i < g_table.slots.size(); ++i) {
    if (fixed_slot(static_cast<int32_t>(i))) size_arrays(g_table.slots[i], kFixedPadButtons, kFixedPadAxes, 0);
  }
  g_table.database.AddText(kBuiltInMappings);
  const char* kFile = "gamecontrollerdb.txt";
  std::string file = read_file(settings.bundleDirectory + kFile);
  if (file.empty() && !settings.saveDirectory.empty()) file = read_file(settings.saveDirectory + kFile);
  if (!file.empty()) {
    g_table.database.AddText(file);
    GamePads_AddHostMappings(file);
  }
  if (const char* env = std::getenv("SDL_GAMECONTROLLERCONFIG"); env != nullptr && env[0] != '\0') {
    g_table.database.AddText(env);
  }
  GamePads_Refresh();
}

void GamePads_End() {
  for (GamePad& pad : g_table.slots) {
    if (pad.device >= 0 && g_table.host != nullptr && (pad.sentLeft > 0.0f || pad.sentRight > 0.0f)) {
      g_table.host->PadRumble(pad.device, 0.0f, 0.0f);
    }
    zero_values(pad);
  }
  g_table = Table{};
}

void GamePads_AddHostMappings(const std::string& text) {
  if (g_table.host != nullptr) g_table.host->PadAddMappings(text);
}

void GamePads_Refresh() {
  IWindowHost* host = g_table.host;
  if (host == nullptr) return;
  std::vector<PadInfo> pads;
  host->PadList(&pads);
  auto attached = [&pads](int32_t id) {
    return std::any_of(pads.begin(), pads.end(), [id](const PadInfo& p) { return p.id == id; });
  };
  for (GamePad& pad : g_table.slots) {
    if (pad.device >= 0 && !attached(pad.device)) release_slot(pad);
  }
  for (const PadInfo& info : pads) {
    const bool placed = std::any_of(g_table.slots.begin(), g_table.slots.end(),
                                     [&info](const GamePad& pad) { return pad.device == info.id; });
    if (placed) continue;
    GamePad* free_slot = nullptr;
    const size_t first = info.controller ? 0 : kFixedPadSlots;
    for (size_t i = first; i < g_table.slots.size() && free_slot == nullptr; ++i) {
      if (g_table.slots[i].device < 0) free_slot = &g_table.slots[i];
    }
    if (free_slot == nullptr) continue;
    if (fixed_slot(static_cast<int32_t>(free_slot - g_table.slots.data()))) {
      take_fixed_slot(*free_slot, info);
    } else {
      take_pool_slot(*free_slot, info);
    }
  }
}

void GamePads_Poll() {
  IWindowHost* host = g_table.host;
  if (host == nullptr) return;
  if (host->HasInputFocus()) {
    const bool fixed_allowed = host->PadsSupported() && (FunctionClasses & kGamepadFunctionsUsed) != 0;
    std::vector<PadInfo> pads;
    bool listed = false;
    for (size_t i = 0; i < g_table.slots.size(); ++i) {
      GamePad& pad = g_table.slots[i];
      if (pad.device < 0) continue;
      if (fixed_slot(static_cast<int32_t>(i))) {
        if (fixed_allowed) poll_fixed(pad);
        continue;
      }
      if (!listed) {
        host->PadList(&pads);
        listed = true;
      }
      const auto info = std::find_if(pads.begin(), pads.end(), [&pad](const PadInfo& p) { return p.id == pad.device; });
      if (info == pads.end()) {
        release_slot(pad);
      } else {
        poll_pool(pad, *info);
      }
    }
  }
  for (size_t i = 0; i < g_table.slots.size(); ++i) {
    GamePad& pad = g_table.slots[i];
    if (pad.connected == pad.reportedConnected) continue;
    pad.reportedConnected = pad.connected;
    if (!pad.connected) zero_values(pad);
    queue_event(static_cast<int32_t>(i), pad.connected);
  }
}

void GamePads_Reannounce() {
  GamePads_Refresh();
  for (size_t i = 0; i < g_table.slots.size(); ++i) {
    if (g_table.slots[i].connected) queue_event(static_cast<int32_t>(i), true);
  }
}

int32_t GamePads_Count() { return static_cast<int32_t>(g_table.slots.size()); }

GamePad* GamePads_Slot(int32_t slot) {
  if (slot < 0 || slot >= GamePads_Count()) return nullptr;
  return &g_table.slots[static_cast<size_t>(slot)];
}

bool GamePads_Supported() { return g_table.host != nullptr && g_table.host->PadsSupported(); }
GamePadDatabase& GamePads_Database() { return g_table.database; }

float GamePad_ButtonValue(const GamePad& pad, int32_t slot, int32_t index) {
  return button_value(pad, button_index(slot, index), false);
}

bool GamePad_ButtonCheck(const GamePad& pad, int32_t slot, int32_t index) {
  return GamePad_ButtonValue(pad, slot, index) >= pad.buttonThreshold;
}

bool GamePad_ButtonPressed(const GamePad& pad, int32_t slot, int32_t index) {
  const int32_t i = button_index(slot, index);
  return button_value(pad, i, false) >= pad.buttonThreshold && button_value(pad, i, true) < pad.buttonThreshold;
}

bool GamePad_ButtonReleased(const GamePad& pad, int32_t slot, int32_t index) {
  const int32_t i = button_index(slot, index);
  return button_value(pad, i, false) < pad.buttonThreshold && button_value(pad, i, true) >= pad.buttonThreshold;
}

float GamePad_AxisValue(const GamePad& pad, int32_t slot, int32_t index) {
  const int32_t i = axis_index(slot, index);
  if (i < 0) return 0.0f;
  float v = 0.0f;
  if ((i & kOtherKind) != 0) {
    v = at(pad.buttonNow, i & ~(kOtherKind | kNegate));
  } else {
    v = deadzoned(at(pad.axisNow, i & ~kNegate), pad.axisDeadzone);
  }
  return (i & kNegate) != 0 ? -v : v;
}
