#pragma once
// A window host for tests and for runs without a display. It keeps the window's state in plain
// fields that tests set and read, queues the messages a test pushes, and obeys size, position and
// full-screen calls at once (a test can make the system refuse full screen). Open fails only when
// a test asks it to; the runner's headless fallback opens it as a window nobody sees.
#include <atomic>
#include <deque>
#include <string>
#include <vector>

#include "platform/window_host.h"

class FakeWindowHost final : public IWindowHost {
 public:
  void SetDisplayLostHandler(DisplayLostFn handler) override { display_lost = handler; }
  bool DisplayBounds(DisplayRect* bounds) override;
  int32_t DisplayRefreshRate() override { return refresh_rate; }
  int32_t DisplayIndex() override { return display_index; }
  int32_t DisplayCount() override { return static_cast<int32_t>(displays.size()); }
  bool DisplayBoundsAt(int32_t index, DisplayRect* bounds) override;

  bool Open(const WindowOpenDesc& desc) override;
  void Close() override;
  bool IsOpen() override { return open; }
  void Show() override;
  void ClientSize(int32_t* width, int32_t* height) override;
  void ClientPosition(int32_t* x, int32_t* y) override;
  void FrameSize(int32_t* extra_width, int32_t* extra_height) override;
  void SetClientSize(int32_t width, int32_t height) override;
  void SetClientPosition(int32_t x, int32_t y) override;
  bool SetFullscreen(bool on) override;
  void SetBorderless(bool on) override { borderless = on; }
  void SetResizable(bool on) override { resizable = on; }
  void SetSizeLimits(int32_t min_w, int32_t min_h, int32_t max_w, int32_t max_h) override;
  void SetCaption(const std::string& utf8) override { caption = utf8; }
  void SetCursor(WindowCursor c) override { cursor = c; }
  uint64_t CreateImageCursor(const uint8_t* rgba, int32_t width, int32_t height, int32_t hot_x,
                             int32_t hot_y) override;
  void SetImageCursor(uint64_t handle) override;
  void DestroyImageCursor(uint64_t handle) override;
  void Focus() override { focus_calls++; }
  bool HasInputFocus() override { return input_focus; }
  bool PollMessage(WindowMessage* message) override;
  void PostQuit() override { Push(WindowMessageKind::kQuit); }
  void MousePosition(int32_t* x, int32_t* y) override;
  void SetMousePosition(int32_t x, int32_t y) override;
  void GlobalMousePosition(int32_t* x, int32_t* y) override;
  int32_t ShowMessageBox(const std::string& title, const std::string& text, const char* const* buttons,
                         int32_t button_count, bool is_error) override;
  std::string ClipboardText() override { return clipboard; }
  void SetClipboardText(const std::string& utf8) override { clipboard = utf8; }
  void DrawableSize(int32_t* width, int32_t* height) override { ClientSize(width, height); }
  bool SwapBuffers(int32_t sync_interval) override;
  // There is no context; the calls are counted.
  bool MakeContextCurrent(bool current) override {
    ++(current ? context_takes : context_releases);
    return context_can_move;
  }
  bool KeyHeld(int32_t virtual_key) override;
  bool NumLock() override { return num_lock; }
  void SetNumLock(bool on) override { num_lock = on; }
  void PostKey(int32_t virtual_key, bool down) override;
  bool PadsSupported() override { return pads_supported; }
  void PadList(std::vector<PadInfo>* out) override;
  bool PadRead(int32_t id, PadReading* reading) override;
  bool PadRumble(int32_t id, float low, float high) override;
  int32_t PadAddMappings(const std::string& text) override;

  // A pad of the fake system: attached while it is in `pads`; tests change its reading between
  // frames and read back what its motors were told.
  struct FakePad {
    PadInfo info;
    PadReading reading;
    float rumble_low = 0.0f, rumble_high = 0.0f;
    int32_t rumble_calls = 0;
  };
  FakePad* Pad(int32_t id);

  // An image cursor as the fake system keeps it.
  struct ImageCursor {
    uint64_t handle = 0;
    int32_t width = 0, height = 0, hot_x = 0, hot_y = 0;
    std::vector<uint8_t> pixels;
    bool destroyed = false;
  };
  const ImageCursor* FindImageCursor(uint64_t handle) const;

  void Push(const WindowMessage& message) { queue.push_back(message); }
  void Push(WindowMessageKind kind, int32_t a = 0, int32_t b = 0);

  // The fake system's state: tests read and set these directly.
  std::vector<DisplayRect> displays{DisplayRect{0, 0, 1920, 1080}};
  int32_t display_index = 0;
  int32_t refresh_rate = 0;
  int32_t frame_extra_width = 8;
  int32_t frame_extra_height = 31;
  bool fail_open = false;
  bool refuse_fullscreen = false;
  bool open = false;
  bool visible = false;
  bool fullscreen = false;
  bool borderless = false;
  bool resizable = false;
  bool input_focus = true;
  int32_t x = 0, y = 0, width = 0, height = 0;
  int32_t windowed_width = 0, windowed_height = 0;  // the size before full screen
  int32_t min_w = 0, min_h = 0, max_w = 0, max_h = 0;
  int32_t mouse_x = 0, mouse_y = 0;
  std::string caption;
  std::string clipboard;
  WindowCursor cursor = WindowCursor::kArrow;
  bool refuse_image_cursors = false;
  std::vector<ImageCursor> image_cursors;  // every one made, in order; handles count from 1
  uint64_t image_cursor = 0;               // the one on show, 0 for SetCursor's
  std::vector<uint64_t> image_cursor_sets;  // every SetImageCursor, in order
  int32_t shows = 0;
  int32_t swaps = 0;
  int32_t last_sync_interval = -1;
  std::atomic<int32_t> context_takes{0}, context_releases{0};  // MakeContextCurrent, from any thread
  bool context_can_move = true;
  int32_t focus_calls = 0;
  int32_t set_size_calls = 0;
  int32_t message_box_answer = 0;
  std::vector<std::string> message_boxes;  // title + "\n" + text of each box shown
  std::deque<WindowMessage> queue;
  DisplayLostFn display_lost = nullptr;  // as the window layer set it; the fake display never goes away
  std::vector<int32_t> held_keys;  // virtual keys the system reports held (KeyHeld)
  bool num_lock = false;
  bool pads_supported = true;
  std::vector<FakePad> pads;
  std::vector<std::string> pad_mappings;  // lines handed to PadAddMappings
};
