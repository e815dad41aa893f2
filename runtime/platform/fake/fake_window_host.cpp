#include "platform/fake/fake_window_host.h"

#include <algorithm>
#include <sstream>

bool FakeWindowHost::DisplayBounds(DisplayRect* bounds) { return DisplayBoundsAt(display_index, bounds); }

bool FakeWindowHost::DisplayBoundsAt(int32_t index, DisplayRect* bounds) {
  if (index < 0 || index >= static_cast<int32_t>(displays.size())) {
    *bounds = DisplayRect{};
    return false;
  }
  *bounds = displays[static_cast<size_t>(index)];
  return true;
}

bool FakeWindowHost::Open(const WindowOpenDesc& desc) {
  if (fail_open) return false;
  open = true;
  visible = false;
  x = desc.x;
  y = desc.y;
  width = desc.width;
  height = desc.height;
  borderless = desc.borderless;
  resizable = desc.resizable;
  caption = desc.caption;
  fullscreen = false;
  if (desc.fullscreen) SetFullscreen(true);
  return true;
}

void FakeWindowHost::Close() {
  open = false;
  visible = false;
}

void FakeWindowHost::Show() {
  if (!open) return;
  visible = true;
  ++shows;
}

void FakeWindowHost::ClientSize(int32_t* w, int32_t* h) {
  *w = open ? width : 0;
  *h = open ? height : 0;
}

void FakeWindowHost::ClientPosition(int32_t* px, int32_t* py) {
  *px = open ? x : 0;
  *py = open ? y : 0;
}

void FakeWindowHost::FrameSize(int32_t* extra_width, int32_t* extra_height) {
  const bool framed = open && !borderless && !fullscreen;
  *extra_width = framed ? frame_extra_width : 0;
  *extra_height = framed ? frame_extra_height : 0;
}

void FakeWindowHost::SetClientSize(int32_t w, int32_t h) {
  if (!open || w <= 0 || h <= 0) return;
  ++set_size_calls;
  width = w;
  height = h;
}

void FakeWindowHost::SetClientPosition(int32_t px, int32_t py) {
  if (!open) return;
  x = px;
  y = py;
}

bool FakeWindowHost::SetFullscreen(bool on) {
  if (!open) return false;
  if (on && refuse_fullscreen) return false;
  if (on == fullscreen) return true;
  if (on) {
    windowed_width = width;
    windowed_height = height;
    DisplayRect d;
    DisplayBounds(&d);
    width = d.w;
    height = d.h;
  } else {
    width = windowed_width;
    height = windowed_height;
  }
  fullscreen = on;
  return true;
}

void FakeWindowHost::SetSizeLimits(int32_t a, int32_t b, int32_t c, int32_t d) {
  min_w = a;
  min_h = b;
  max_w = c;
  max_h = d;
}

bool FakeWindowHost::PollMessage(WindowMessage* message) {
  if (queue.empty()) return false;
  *message = queue.front();
  queue.pop_front();
  return true;
}

void FakeWindowHost::Push(WindowMessageKind kind, int32_t a, int32_t b) {
  WindowMessage m;
  m.kind = kind;
  m.a = a;
  m.b = b;
  queue.push_back(m);
}

void FakeWindowHost::MousePosition(int32_t* px, int32_t* py) {
  *px = mouse_x;
  *py = mouse_y;
}

void FakeWindowHost::SetMousePosition(int32_t px, int32_t py) {
  mouse_x = px;
  mouse_y = py;
}

void FakeWindowHost::GlobalMousePosition(int32_t* px, int32_t* py) {
  *px = x + mouse_x;
  *py = y + mouse_y;
}

int32_t FakeWindowHost::ShowMessageBox(const std::string& title, const std::string& text, const char* const*,
                                       int32_t button_count, bool) {
  if (button_count <= 0) return -1;
  message_boxes.push_back(title + "\n" + text);
  return message_box_answer;
}

bool FakeWindowHost::SwapBuffers(int32_t sync_interval) {
  if (!open) return false;
  ++swaps;
  last_sync_interval = sync_interval;
  return true;
}

bool FakeWindowHost::KeyHeld(int32_t virtual_key) {
  const auto held = [this](int32_t key) { return std::find(held_keys.begin(), held_keys.end(), key) != held_keys.end(); };
  // The pair keys (shift, control, alt) are held when either side is.
  if (virtual_key >= 16 && virtual_key <= 18) {
    const int32_t left = 160 + 2 * (virtual_key - 16);
    return held(virtual_key) || held(left) || held(left + 1);
  }
  return held(virtual_key);
}

void FakeWindowHost::PostKey(int32_t virtual_key, bool down) {
  WindowMessage m;
  m.kind = down ? WindowMessageKind::kKeyDown : WindowMessageKind::kKeyUp;
  m.a = virtual_key;
  queue.push_back(m);
}

FakeWindowHost::FakePad* FakeWindowHost::Pad(int32_t id) {
  for (FakePad& pad : pads) {
    if (pad.info.id == id) return &pad;
  }
  return nullptr;
}

void FakeWindowHost::PadList(std::vector<PadInfo>* out) {
  out->clear();
  if (!pads_supported) return;
  for (const FakePad& pad : pads) out->push_back(pad.info);
}

bool FakeWindowHost::PadRead(int32_t id, PadReading* reading) {
  const FakePad* pad = Pad(id);
  if (pad == nullptr) return false;
  *reading = pad->reading;
  return true;
}

bool FakeWindowHost::PadRumble(int32_t id, float low, float high) {
  FakePad* pad = Pad(id);
  if (pad == nullptr || !pad->info.rumble) return false;
  pad->rumble_low = low;
  pad->rumble_high = high;
  ++pad->rumble_calls;
  return true;
}

int32_t FakeWindowHost::PadAddMappings(const std::string& text) {
  std::istringstream in(text);
  std::string line;
  int32_t added = 0;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    pad_mappings.push_back(line);
    ++added;
  }
  return added;
}

uint64_t FakeWindowHost::CreateImageCursor(const uint8_t* rgba, int32_t w, int32_t h, int32_t hot_x, int32_t hot_y) {
  if (refuse_image_cursors || rgba == nullptr || w <= 0 || h <= 0) return 0;
  ImageCursor made;
  made.handle = image_cursors.size() + 1;
  made.width = w;
  made.height = h;
  made.hot_x = hot_x;
  made.hot_y = hot_y;
  made.pixels.assign(rgba, rgba + static_cast<size_t>(w) * static_cast<size_t>(h) * 4);
  image_cursors.push_back(std::move(made));
  return image_cursors.back().handle;
}

void FakeWindowHost::SetImageCursor(uint64_t handle) {
  const ImageCursor* found = FindImageCursor(handle);
  if (handle != 0 && (found == nullptr || found->destroyed)) return;
  image_cursor = handle;
  image_cursor_sets.push_back(handle);
}

void FakeWindowHost::DestroyImageCursor(uint64_t handle) {
  if (handle == 0 || handle > image_cursors.size()) return;
  if (image_cursor == handle) image_cursor = 0;
  image_cursors[handle - 1].destroyed = true;
  image_cursors[handle - 1].pixels.clear();
}

const FakeWindowHost::ImageCursor* FakeWindowHost::FindImageCursor(uint64_t handle) const {
  return handle == 0 || handle > image_cursors.size() ? nullptr : &image_cursors[handle - 1];
}
