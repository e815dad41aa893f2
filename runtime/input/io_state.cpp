#include "input/io_state.h"

#include <cstring>

namespace {

constexpr uint32_t kLastCodePoint = 0x10FFFF;

bool valid_button(int32_t button) { return button >= 1 && button <= kIoButtonCount; }

// The record's fields in order, each a run of bytes of the frame state.
template <class Visit>
void each_field(IoFrameState& f, Visit&& visit) {
  visit(&f.lastChar, sizeof f.lastChar);
  visit(f.keyboardString, sizeof f.keyboardString);
  visit(&f.lastKey, sizeof f.lastKey);
  visit(&f.key, sizeof f.key);
  visit(f.keyDown, sizeof f.keyDown);
  visit(f.keyReleased, sizeof f.keyReleased);
  visit(f.keyPressed, sizeof f.keyPressed);
  visit(f.mouseLastButton, sizeof f.mouseLastButton);
  visit(f.mouseButton, sizeof f.mouseButton);
  visit(f.mouseDown, sizeof f.mouseDown);
  visit(f.mouseReleased, sizeof f.mouseReleased);
  visit(f.mousePressed, sizeof f.mousePressed);
  visit(f.wheelUp, sizeof f.wheelUp);
  visit(f.wheelDown, sizeof f.wheelDown);
  visit(&f.cursorX, sizeof f.cursorX);
  visit(&f.cursorY, sizeof f.cursorY);
  visit(&f.pointerX[0], sizeof f.pointerX[0]);
  visit(&f.pointerY[0], sizeof f.pointerY[0]);
}

bool flags_only(const uint8_t* bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (bytes[i] > 1) return false;
  }
  return true;
}

void merge(uint8_t* into, const uint8_t* from, size_t count) {
  for (size_t i = 0; i < count; ++i) into[i] |= from[i];
}

}  // namespace

void IoState::Reset() {
  std::memset(&raw, 0, sizeof raw);
  std::memset(&frame, 0, sizeof frame);
  for (PointerRecord& p : pointers) p = PointerRecord{};
  for (int32_t i = 0; i < kIoKeyCount; ++i) keyMap[i] = i;
  frameCounter = 0;
}

void IoState::KeyDown(int32_t key, bool repeat) {
  if (key < 0 || key >= kIoKeyCount) return;
  key = keyMap[key];
  if (key < 0 || key >= kIoKeyCount) return;
  if (raw.currentKey != key) raw.previousKey = raw.currentKey;
  raw.currentKey = raw.lastKey = key;
  if (raw.keyDown[key] == 0 && !repeat) raw.keyPressed[key] = 1;
  raw.keyDown[key] = 1;
}

void IoState::KeyUp(int32_t key) {
  if (key < 0 || key >= kIoKeyCount) return;
  key = keyMap[key];
  if (key < 0 || key >= kIoKeyCount) return;
  if (raw.currentKey == key) {
    const int32_t previous = raw.previousKey;
    const bool still_down = previous > 0 && previous < kIoKeyCount && raw.keyDown[previous] != 0;
    raw.currentKey = still_down && previous != key ? previous : 0;
  }
  raw.keyDown[key] = 0;
  raw.keyReleased[key] = 1;
}

void IoState::Char(uint32_t code) {
  raw.lastChar = static_cast<int32_t>(code);
  int32_t& length = raw.keyboardStringLength;
  if (length >= kIoStringCut) {
    raw.keyboardString[0] = raw.keyboardString[length - 1];
    length = 1;
  }
  if (code == kVkBackspace && length > 0) {
    --length;
  } else if (code >= 32) {
    raw.keyboardString[length++] = code;
  }
  raw.keyboardString[length] = 0;
}

void IoState::MouseMove(int32_t x, int32_t y) {
  raw.mouseX = x;
  raw.mouseY = y;
}

void IoState::MouseDown(int32_t button, int32_t x, int32_t y) {
  if (!valid_button(button)) return;
  raw.mouseLastButton = raw.mouseButton = button;
  if (raw.mouseDown[button - 1] == 0) raw.mousePressed[button - 1] = 1;
  raw.mouseDown[button - 1] = 1;
  if (button == 1) pointers[0] = PointerRecord{kPointerNew, x, y, 0, 0};
}

void IoState::MouseUp(int32_t button, int32_t x, int32_t y) {
  if (!valid_button(button)) return;
  raw.mouseButton = 0;
  raw.mouseDown[button - 1] = 0;
  raw.mouseReleased[button - 1] = 1;
  if (button == 1) pointers[0] = PointerRecord{kPointerFree, x, y, 0, 0};
}

bool IoState::PointerDown(int32_t id, int32_t x, int32_t y) {
  for (int32_t i = 0; i < kIoPointerCount; ++i) {
    if (pointers[i].state < 0) continue;
    pointers[i] = PointerRecord{kPointerNew, x, y, 0, id & 0xFFFF};
    if (i < kIoDeviceCount) {
      frame.pointerX[i] = x;
      frame.pointerY[i] = y;
      frame.pointerDown[i] = 1;
    }
    return true;
  }
  return false;
}

bool IoState::PointerMove(int32_t id, int32_t x, int32_t y) { return pointer_change(id, x, y, kPointerMoved); }
bool IoState::PointerUp(int32_t id, int32_t x, int32_t y) { return pointer_change(id, x, y, kPointerFree); }

// A touch already down moves (state kPointerMoved) or lifts (kPointerFree, which frees its id).
bool IoState::pointer_change(int32_t id, int32_t x, int32_t y, int32_t state) {
  for (int32_t i = 0; i < kIoPointerCount; ++i) {
    if (pointers[i].state >= 0 || pointers[i].id != (id & 0xFFFF)) continue;
    pointers[i] = PointerRecord{state, x, y, 0, state == kPointerFree ? 0 : pointers[i].id};
    if (i < kIoDeviceCount) {
      frame.pointerX[i] = x;
      frame.pointerY[i] = y;
      frame.pointerDown[i] = state == kPointerFree ? 0 : 1;
    }
    return true;
  }
  return false;
}

void IoState::ClearKeyboard() {
  std::memset(raw.keyDown, 0, sizeof raw.keyDown);
  std::memset(raw.keyPressed, 0, sizeof raw.keyPressed);
  std::memset(raw.keyReleased, 0, sizeof raw.keyReleased);
  std::memset(frame.keyDown, 0, sizeof frame.keyDown);
  std::memset(frame.keyPressed, 0, sizeof frame.keyPressed);
  std::memset(frame.keyReleased, 0, sizeof frame.keyReleased);
  raw.currentKey = raw.previousKey = 0;
  frame.key = 0;
}

void IoState::BeginFrame() {
  ++frameCounter;
  std::memset(frame.keyPressed, 0, sizeof frame.keyPressed);
  std::memset(frame.keyReleased, 0, sizeof frame.keyReleased);
  std::memset(frame.mousePressed, 0, sizeof frame.mousePressed);
  std::memset(frame.mouseReleased, 0, sizeof frame.mouseReleased);
  std::memset(frame.wheelUp, 0, sizeof frame.wheelUp);
  std::memset(frame.wheelDown, 0, sizeof frame.wheelDown);
}

void IoState::TakeRaw(bool left_shift_down, bool right_shift_down, int32_t screen_x, int32_t screen_y) {
  frame.cursorX = screen_x;
  frame.cursorY = screen_y;
  frame.pointerX[0] = raw.mouseX;
  frame.pointerY[0] = raw.mouseY;
  pointers[0].x = raw.mouseX;
  pointers[0].y = raw.mouseY;

  // The window reports only the shift key; the two sides come from the system's key state.
  const bool shift = raw.keyDown[kVkShift] != 0;
  const int32_t sides[2] = {kVkLeftShift, kVkRightShift};
  const bool side_down[2] = {left_shift_down && shift, right_shift_down && shift};
  for (int i = 0; i < 2; ++i) {
    const int32_t key = sides[i];
    if (side_down[i] != (frame.keyDown[key] != 0)) {
      if (side_down[i]) {
        raw.keyPressed[key] = 1;
      } else {
        raw.keyReleased[key] = 1;
      }
    }
    raw.keyDown[key] = side_down[i] ? 1 : 0;
  }

  frame.lastChar = raw.lastChar;
  std::memcpy(frame.keyboardString, raw.keyboardString, sizeof frame.keyboardString);
  frame.lastKey = raw.lastKey;
  frame.key = raw.currentKey;
  std::memcpy(frame.keyDown, raw.keyDown, sizeof frame.keyDown);
  merge(frame.keyPressed, raw.keyPressed, kIoKeyCount);
  merge(frame.keyReleased, raw.keyReleased, kIoKeyCount);

  frame.mouseLastButton[0] = raw.mouseLastButton;
  frame.mouseButton[0] = raw.mouseButton;
  std::memcpy(frame.mouseDown, raw.mouseDown, kIoButtonCount);
  merge(frame.mousePressed, raw.mousePressed, kIoButtonCount);
  merge(frame.mouseReleased, raw.mouseReleased, kIoButtonCount);
  frame.wheelUp[0] = raw.wheelUp ? 1 : 0;
  frame.wheelDown[0] = raw.wheelDown ? 1 : 0;

  for (int32_t d = 1; d < kIoDeviceCount; ++d) {
    const int32_t now = frame.pointerDown[d];
    const int32_t before = frame.pointerPrevious[d];
    for (int32_t bit = 0; bit < 2; ++bit) {
      const int32_t slot = d * kIoButtonCount + bit;
      const bool down = (now >> bit & 1) != 0;
      frame.mouseDown[slot] = down ? 1 : 0;
      if (down == ((before >> bit & 1) != 0)) continue;
      if (down) {
        frame.mousePressed[slot] = 1;
      } else {
        frame.mouseReleased[slot] = 1;
      }
    }
    frame.pointerPrevious[d] = now;
  }

  std::memset(raw.keyPressed, 0, sizeof raw.keyPressed);
  std::memset(raw.keyReleased, 0, sizeof raw.keyReleased);
  std::memset(raw.mousePressed, 0, sizeof raw.mousePressed);
  std::memset(raw.mouseReleased, 0, sizeof raw.mouseReleased);
  raw.wheelUp = raw.wheelDown = false;
}

void IoState::ClearKey(int32_t key) {
  if (key < 0 || key >= kIoKeyCount) return;
  raw.keyDown[key] = raw.keyPressed[key] = raw.keyReleased[key] = 0;
  frame.keyDown[key] = frame.keyPressed[key] = frame.keyReleased[key] = 0;
}

void IoState::ClearMouseButton(int32_t button) {
  const int32_t first = button == -1 ? 1 : button;
  const int32_t last = button == -1 ? kIoButtonCount : button;
  for (int32_t b = first; b <= last; ++b) {
    if (!valid_button(b)) continue;
    raw.mouseDown[b - 1] = raw.mousePressed[b - 1] = raw.mouseReleased[b - 1] = 0;
    frame.mouseDown[b - 1] = frame.mousePressed[b - 1] = frame.mouseReleased[b - 1] = 0;
  }
}

void IoState::ClearAll() {
  ClearKeyboard();
  raw.lastKey = raw.lastChar = 0;
  frame.lastKey = frame.lastChar = 0;
  raw.keyboardStringLength = 0;
  std::memset(raw.keyboardString, 0, sizeof raw.keyboardString);
  std::memset(frame.keyboardString, 0, sizeof frame.keyboardString);
  raw.mouseLastButton = raw.mouseButton = 0;
  raw.wheelUp = raw.wheelDown = false;
  ClearMouseButton(-1);
  ClearDevice(0);
}

void IoState::ClearDevice(int32_t device) {
  if (device < 0 || device >= kIoDeviceCount) return;
  frame.mouseLastButton[device] = frame.mouseButton[device] = 0;
  std::memset(frame.mouseDown + device * kIoButtonCount, 0, kIoButtonCount);
  std::memset(frame.mousePressed + device * kIoButtonCount, 0, kIoButtonCount);
  std::memset(frame.mouseReleased + device * kIoButtonCount, 0, kIoButtonCount);
  frame.wheelUp[device] = frame.wheelDown[device] = 0;
  if (device == 0) {
    raw.mouseLastButton = raw.mouseButton = 0;
    std::memset(raw.mouseDown, 0, sizeof raw.mouseDown);
    std::memset(raw.mousePressed, 0, sizeof raw.mousePressed);
    std::memset(raw.mouseReleased, 0, sizeof raw.mouseReleased);
    raw.wheelUp = raw.wheelDown = false;
  }
}

void IoState::SetKeyboardString(const uint32_t* codes, int32_t count) {
  if (count < 0) count = 0;
  if (count > kIoStringCapacity - 1) count = kIoStringCapacity - 1;
  for (int32_t i = 0; i < count; ++i) raw.keyboardString[i] = codes[i];
  raw.keyboardString[count] = 0;
  raw.keyboardStringLength = count;
  std::memcpy(frame.keyboardString, raw.keyboardString, sizeof frame.keyboardString);
}

int32_t IoState::KeyboardStringLength() const {
  int32_t length = 0;
  while (length < kIoStringCapacity - 1 && frame.keyboardString[length] != 0) ++length;
  return length;
}

void IoState::WriteRecord(uint8_t* out) const {
  auto& f = const_cast<IoFrameState&>(frame);
  each_field(f, [&out](const void* field, size_t size) {
    std::memcpy(out, field, size);
    out += size;
  });
}

bool IoState::ReadRecord(const uint8_t* in, std::string* problem) {
  IoFrameState read = frame;
  const uint8_t* at = in;
  each_field(read, [&at](void* field, size_t size) {
    std::memcpy(field, at, size);
    at += size;
  });
  bool terminated = false;
  for (uint32_t code : read.keyboardString) {
    if (code == 0) {
      terminated = true;
      break;
    }
    if (code > kLastCodePoint) {
      *problem = "keyboard_string holds a value that is no character";
      return false;
    }
  }
  if (!terminated) {
    *problem = "keyboard_string has no end";
    return false;
  }
  if (read.lastChar < 0 || static_cast<uint32_t>(read.lastChar) > kLastCodePoint) {
    *problem = "keyboard_lastchar is no character";
    return false;
  }
  const bool flags = flags_only(read.keyDown, sizeof read.keyDown) &&
                     flags_only(read.keyReleased, sizeof read.keyReleased) &&
                     flags_only(read.keyPressed, sizeof read.keyPressed) &&
                     flags_only(read.mouseDown, sizeof read.mouseDown) &&
                     flags_only(read.mouseReleased, sizeof read.mouseReleased) &&
                     flags_only(read.mousePressed, sizeof read.mousePressed) &&
                     flags_only(read.wheelUp, sizeof read.wheelUp) && flags_only(read.wheelDown, sizeof read.wheelDown);
  if (!flags) {
    *problem = "a key or button state is neither 0 nor 1";
    return false;
  }
  frame = read;
  return true;
}
