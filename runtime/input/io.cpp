// The input subject's frame: messages in, IO_Update, recording and playback, virtual keys.
#include "input/io.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "core/console.h"
#include "core/utf8.h"
#include "graphics/batcher.h"
#include "graphics/device_state.h"
#include "graphics/window.h"
#include "input/io_coords.h"
#include "input/io_hooks.h"

namespace {

constexpr int32_t kVkTab = 9;
constexpr int32_t kVkReturn = 13;
constexpr int32_t kVkEscape = 27;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

struct Subject {
  IoState state;
  PointerRecord framePointers[kIoPointerCount];
  VirtualKey keys[kVirtualKeyCount];
  uint64_t keyMask[kVirtualKeyCount / 64] = {};
  File record;
  File playback;
  std::string recordPath, playbackPath;
  bool playing = false;
  bool playbackEnded = false;
  int64_t playedFrames = 0;
};
Subject g_io;

IWindowHost* host() { return Window_Host(); }

void end_playback(const char* format, const char* problem) {
  g_io.playbackEnded = true;
  g_io.playback.reset();
  g_ReleaseConsole->Output(format, g_io.playbackPath.c_str(), static_cast<long long>(g_io.playedFrames), problem);
}

void read_playback_record() {
  if (g_io.playbackEnded || g_io.playback == nullptr) return;
  uint8_t record[IoState::kRecordSize];
  const size_t got = std::fread(record, 1, sizeof record, g_io.playback.get());
  if (got == 0 && std::feof(g_io.playback.get())) {
    g_io.playbackEnded = true;
    g_io.playback.reset();
    g_DebugConsole->Output("Playback of %s ended after %lld frames\n", g_io.playbackPath.c_str(),
                           static_cast<long long>(g_io.playedFrames));
    return;
  }
  if (got != sizeof record) {
    end_playback("Playback file %s is cut short in frame %lld%s; playback ends\n", "");
    return;
  }
  std::string problem;
  if (!g_io.state.ReadRecord(record, &problem)) {
    problem = " (" + problem + ")";
    end_playback("Playback file %s is damaged in frame %lld%s; playback ends\n", problem.c_str());
    return;
  }
  ++g_io.playedFrames;
}

void write_record() {
  if (g_io.record == nullptr) return;
  uint8_t record[IoState::kRecordSize];
  g_io.state.WriteRecord(record);
  if (std::fwrite(record, 1, sizeof record, g_io.record.get()) != sizeof record) {
    g_ReleaseConsole->Output("Unable to write the input recording %s; recording stops\n", g_io.recordPath.c_str());
    g_io.record.reset();
  }
}

bool mask_bit(int32_t i) { return (g_io.keyMask[i / 64] >> (i % 64) & 1) != 0; }

void char_of_key(int32_t key) {
  // Keys that type a control character: the window system reports them as characters too.
  if (key == kVkBackspace || key == kVkTab || key == kVkReturn || key == kVkEscape) IO_Char(static_cast<uint32_t>(key));
}

void take_text(const std::string& text) {
  size_t at = 0;
  while (at < text.size()) {
    size_t size = 1;
    const uint32_t code = utf8_decode(text, at, &size);
    IO_Char(code);
    at += size == 0 ? 1 : size;
  }
}

}  // namespace

void IO_Init(const IoSettings& settings) {
  g_io.record.reset();
  g_io.playback.reset();
  g_io.state.Reset();
  for (VirtualKey& key : g_io.keys) key = VirtualKey{};
  std::memset(g_io.keyMask, 0, sizeof g_io.keyMask);
  for (PointerRecord& p : g_io.framePointers) p = PointerRecord{};
  g_io.recordPath = settings.recordPath;
  g_io.playbackPath = settings.playbackPath;
  g_io.playing = false;
  g_io.playbackEnded = false;
  g_io.playedFrames = 0;
  if (!settings.playbackPath.empty()) {
    g_io.playback.reset(std::fopen(settings.playbackPath.c_str(), "rb"));
    if (g_io.playback == nullptr) {
      g_ReleaseConsole->Output("Unable to open the playback file %s\n", settings.playbackPath.c_str());
    } else {
      g_io.playing = true;
    }
  } else if (!settings.recordPath.empty()) {
    g_io.record.reset(std::fopen(settings.recordPath.c_str(), "w+b"));
    if (g_io.record == nullptr) g_ReleaseConsole->Output("Unable to open the recording file %s\n", settings.recordPath.c_str());
  }
  IO_InstallHooks();
  GamePads_Init(host(), settings.pads);
}

void IO_End() {
  if (g_io.record != nullptr) std::fflush(g_io.record.get());
  g_io.record.reset();
  g_io.playback.reset();
  GamePads_End();
  VirtualKeys_Reset();
  IO_RemoveHooks();
}

void IO_Update() {
  IoState& io = g_io.state;
  io.BeginFrame();
  std::memcpy(g_io.framePointers, io.pointers, sizeof g_io.framePointers);
  if (g_io.playing) {
    read_playback_record();
  } else {
    IWindowHost* h = host();
    int32_t sx = 0, sy = 0;
    bool left_shift = false, right_shift = false;
    if (h != nullptr) {
      h->GlobalMousePosition(&sx, &sy);
      left_shift = h->KeyHeld(kVkLeftShift);
      right_shift = h->KeyHeld(kVkRightShift);
    }
    io.TakeRaw(left_shift, right_shift, sx, sy);
    GamePads_Poll();
    VirtualKeys_Update();
  }
  write_record();
}

void IO_HandleMessage(const WindowMessage& m) {
  switch (m.kind) {
    case WindowMessageKind::kKeyDown:
      IO_Key_Down(m.a, m.repeat);
      char_of_key(m.a);
      break;
    case WindowMessageKind::kKeyUp:
      IO_Key_Up(m.a);
      break;
    case WindowMessageKind::kText:
      take_text(m.text);
      break;
    case WindowMessageKind::kMouseMove:
      g_io.state.MouseMove(static_cast<int16_t>(m.a), static_cast<int16_t>(m.b));
      break;
    case WindowMessageKind::kMouseDown:
      IO_Mouse_Down(m.a, g_io.state.raw.mouseX, g_io.state.raw.mouseY);
      break;
    case WindowMessageKind::kMouseUp:
      IO_Mouse_Up(m.a, g_io.state.raw.mouseX, g_io.state.raw.mouseY);
      break;
    case WindowMessageKind::kMouseWheel:
      if (m.b > 0) IO_Wheel_Up();
      if (m.b < 0) IO_Wheel_Down();
      break;
    case WindowMessageKind::kFocusLost:
    case WindowMessageKind::kActivated:
      IO_Clear_State();
      break;
    case WindowMessageKind::kDevicesChanged:
      GamePads_Refresh();
      break;
    default:
      break;
  }
}

void IO_Key_Down(int32_t key, bool repeat) { g_io.state.KeyDown(key, repeat); }
void IO_Key_Up(int32_t key) { g_io.state.KeyUp(key); }
void IO_Char(uint32_t code) { g_io.state.Char(code); }
void IO_Mouse_Down(int32_t button, int32_t x, int32_t y) { g_io.state.MouseDown(button, x, y); }
void IO_Mouse_Up(int32_t button, int32_t x, int32_t y) { g_io.state.MouseUp(button, x, y); }
void IO_Wheel_Up() { g_io.state.WheelUp(); }
void IO_Wheel_Down() { g_io.state.WheelDown(); }
void IO_Clear_State() { g_io.state.ClearKeyboard(); }
void IO_Clear() { g_io.state.ClearAll(); }
void IO_Clear_Device(int32_t device) { g_io.state.ClearDevice(device); }

IoState& IO_State() { return g_io.state; }
bool IO_PlaybackActive() { return g_io.playing; }
bool IO_PlaybackEnded() { return g_io.playing && g_io.playbackEnded; }
bool IO_RecordingActive() { return g_io.record != nullptr; }

// ---- Virtual keys -------------------------------------------------------------------------------

int32_t VirtualKey_Add(int32_t x, int32_t y, int32_t w, int32_t h, int32_t key) {
  for (int32_t i = 0; i < kVirtualKeyCount; ++i) {
    VirtualKey& k = g_io.keys[i];
    if ((k.flags & kVirtualKeyInUse) != 0) continue;
    k = VirtualKey{};
    k.flags = kVirtualKeyInUse;
    k.index = static_cast<uint16_t>(i);
    k.left = x;
    k.top = y;
    k.right = x + w;
    k.bottom = y + h;
    k.width = w;
    k.height = h;
    k.key = key;
    k.button = key == 0 ? 1 : 0;
    g_io.keyMask[i / 64] &= ~(uint64_t{1} << (i % 64));
    return i + 1;
  }
  return -1;
}

VirtualKey* VirtualKey_Get(int32_t handle) {
  if (handle < 1 || handle > kVirtualKeyCount) return nullptr;
  VirtualKey& key = g_io.keys[handle - 1];
  return (key.flags & kVirtualKeyInUse) != 0 ? &key : nullptr;
}

void VirtualKey_Delete(int32_t handle) {
  VirtualKey* key = VirtualKey_Get(handle);
  if (key == nullptr) return;
  *key = VirtualKey{};
  g_io.keyMask[(handle - 1) / 64] &= ~(uint64_t{1} << ((handle - 1) % 64));
}

void VirtualKeys_Update() {
  IoFrameState& f = g_io.state.frame;
  uint64_t hits[kVirtualKeyCount / 64] = {};
  for (const PointerRecord& pointer : g_io.framePointers) {
    if (pointer.state >= 0) continue;
    float gx = 0, gy = 0;
    IO_WindowToGui(static_cast<float>(pointer.x), static_cast<float>(pointer.y), &gx, &gy);
    const auto x = static_cast<int32_t>(gx);
    const auto y = static_cast<int32_t>(gy);
    for (int32_t i = 0; i < kVirtualKeyCount; ++i) {
      const VirtualKey& k = g_io.keys[i];
      if ((k.flags & kVirtualKeyInUse) == 0) continue;
      if (k.left <= x && x < k.right && k.top <= y && y < k.bottom) hits[i / 64] |= uint64_t{1} << (i % 64);
    }
  }
  for (int32_t i = 0; i < kVirtualKeyCount; ++i) {
    const VirtualKey& k = g_io.keys[i];
    if ((k.flags & kVirtualKeyInUse) == 0) continue;
    const bool now = (hits[i / 64] >> (i % 64) & 1) != 0;
    const bool before = mask_bit(i);
    const bool key = k.key > 0 && k.key < kIoKeyCount;
    const int32_t button = k.button >= 1 && k.button <= kIoButtonCount ? k.button - 1 : -1;
    uint8_t* target = nullptr;
    if (now && !before) {
      target = key ? &f.keyPressed[k.key] : button >= 0 ? &f.mousePressed[button] : nullptr;
    } else if (now) {
      target = key ? &f.keyDown[k.key] : button >= 0 ? &f.mouseDown[button] : nullptr;
    } else if (before) {
      target = key ? &f.keyReleased[k.key] : button >= 0 ? &f.mouseReleased[button] : nullptr;
    }
    if (target != nullptr) *target = 1;
  }
  std::memcpy(g_io.keyMask, hits, sizeof hits);
}

void VirtualKeys_Reset() {
  for (VirtualKey& key : g_io.keys) key = VirtualKey{};
  std::memset(g_io.keyMask, 0, sizeof g_io.keyMask);
}

void VirtualKeys_Draw() {
  const WindowState& window = Window_State();
  const float w = static_cast<float>(window.display_width);
  const float h = static_cast<float>(window.display_height);
  if (w <= 0.0f || h <= 0.0f || Graphics_Device() == nullptr) return;
  bool any = false;
  for (const VirtualKey& k : g_io.keys) any = any || (k.flags & (kVirtualKeyInUse | kVirtualKeyVisible)) == (kVirtualKeyInUse | kVirtualKeyVisible);
  if (!any) return;
  ClipSpaceScope clip;
  for (const VirtualKey& k : g_io.keys) {
    if ((k.flags & (kVirtualKeyInUse | kVirtualKeyVisible)) != (kVirtualKeyInUse | kVirtualKeyVisible)) continue;
    float corners[2][2];
    IO_GuiToWindow(static_cast<float>(k.left), static_cast<float>(k.top), &corners[0][0], &corners[0][1]);
    IO_GuiToWindow(static_cast<float>(k.right), static_cast<float>(k.bottom), &corners[1][0], &corners[1][1]);
    // Window pixels to clip space, y up.
    const float x0 = corners[0][0] / w * 2.0f - 1.0f, x1 = corners[1][0] / w * 2.0f - 1.0f;
    const float y0 = 1.0f - corners[0][1] / h * 2.0f, y1 = 1.0f - corners[1][1] / h * 2.0f;
    auto* v = static_cast<VertexTextured*>(GR_Alloc_Verts(kPrimTriangleList, nullptr, kFormatTextured, 6));
    const float xy[6][2] = {{x0, y0}, {x1, y0}, {x0, y1}, {x1, y0}, {x1, y1}, {x0, y1}};
    for (int i = 0; i < 6; ++i) v[i] = VertexTextured{0.0f, 0.0f, 0xFFFFFFFFu, xy[i][0], xy[i][1], 0.5f};
  }
}
