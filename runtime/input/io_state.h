#pragma once
// The keyboard, mouse and pointer state of the input layer, free of any platform and of the rest of
// the runtime, so that the runner and the input-script tool share one copy of the rules.
//
// Two sets: the raw state, which window messages write at any moment (IoState::KeyDown and the
// other message operations), and the frame state, which TakeRaw makes from it once per frame so
// that a whole frame reads one picture. Pressed and released are edges: set by a message, kept in
// the raw set until the frame takes them, and cleared at the start of the next frame. A key
// pressed and released between two frames is pressed and released, and not down, in the frame
// that takes it.
//
// A frame's state travels in records of kRecordSize bytes (input recording): fields in a fixed
// order, numbers in the machine's order. ReadRecord checks what the layout fixes (flag bytes are 0
// or 1, the string is terminated and holds code points) and refuses a damaged record whole.
//
// Costs: everything is fixed-size arrays; no operation allocates. Main thread only.
#include <cstddef>
#include <cstdint>
#include <string>

constexpr int32_t kIoKeyCount = 256;
constexpr int32_t kIoDeviceCount = 10;       // pointer devices; device 0 is the mouse
constexpr int32_t kIoButtonCount = 5;        // mouse buttons 1 to 5
constexpr int32_t kIoStringCapacity = 1025;  // code points with the terminating 0
constexpr int32_t kIoStringCut = 1023;       // a string this long is cut to its last character
constexpr int32_t kIoPointerCount = 128;

// Pointer record states; any negative state is an active pointer.
constexpr int32_t kPointerNew = static_cast<int32_t>(0x80000003u);
constexpr int32_t kPointerMoved = static_cast<int32_t>(0x80000002u);
constexpr int32_t kPointerFree = 0;

constexpr int32_t kVkBackspace = 8;
constexpr int32_t kVkShift = 16;
constexpr int32_t kVkLeftShift = 160;
constexpr int32_t kVkRightShift = 161;

struct PointerRecord {
  int32_t state = kPointerFree;
  int32_t x = 0, y = 0;
  int32_t reserved = 0;
  int32_t id = 0;
};

struct IoRawState {
  uint8_t keyDown[kIoKeyCount];
  uint8_t keyReleased[kIoKeyCount];
  uint8_t keyPressed[kIoKeyCount];
  int32_t lastKey;
  int32_t currentKey;
  int32_t previousKey;
  int32_t lastChar;
  uint32_t keyboardString[kIoStringCapacity];
  int32_t keyboardStringLength;
  int32_t mouseLastButton;
  int32_t mouseButton;
  uint8_t mouseDown[kIoButtonCount];
  uint8_t mouseReleased[kIoButtonCount];
  uint8_t mousePressed[kIoButtonCount];
  bool wheelUp;
  bool wheelDown;
  int32_t mouseX, mouseY;
};

struct IoFrameState {
  uint8_t keyDown[kIoKeyCount];
  uint8_t keyReleased[kIoKeyCount];
  uint8_t keyPressed[kIoKeyCount];
  int32_t lastKey;  // keyboard_lastkey
  int32_t key;      // keyboard_key
  int32_t lastChar;
  uint32_t keyboardString[kIoStringCapacity];
  int32_t mouseLastButton[kIoDeviceCount];
  int32_t mouseButton[kIoDeviceCount];
  // Indexed device * 5 + button - 1.
  uint8_t mouseDown[kIoDeviceCount * kIoButtonCount];
  uint8_t mouseReleased[kIoDeviceCount * kIoButtonCount];
  uint8_t mousePressed[kIoDeviceCount * kIoButtonCount];
  uint8_t wheelUp[kIoDeviceCount];
  uint8_t wheelDown[kIoDeviceCount];
  int32_t pointerX[kIoDeviceCount], pointerY[kIoDeviceCount];  // client coordinates
  int32_t pointerDown[kIoDeviceCount];      // bit 0 touching (button 1), bit 1 button 2
  int32_t pointerPrevious[kIoDeviceCount];  // pointerDown of the last frame
  int32_t cursorX, cursorY;                 // the pointer on the screen
};

struct IoState {
  static constexpr size_t kRecordSize = 5146;

  IoState() { Reset(); }
  // Zeroes everything and makes the key map the identity.
  void Reset();

  // ---- What the window reports --------------------------------------------------------------
  // Keys are virtual-key numbers, mapped through keyMap on the way in; 256 and above are dropped.
  void KeyDown(int32_t key, bool repeat);
  void KeyUp(int32_t key);
  // A character typed: keyboard_lastchar, and keyboard_string grows (32 and above), loses its last
  // character (backspace) or, at 1023 characters, is cut to its last one first.
  void Char(uint32_t code);
  void MouseMove(int32_t x, int32_t y);
  // Buttons 1 to 5; others are dropped. Button 1 also moves pointer record 0.
  void MouseDown(int32_t button, int32_t x, int32_t y);
  void MouseUp(int32_t button, int32_t x, int32_t y);
  void WheelUp() { raw.wheelUp = true; }
  void WheelDown() { raw.wheelDown = true; }
  // Touch pointers by id: the first free record takes a new touch; false when none is free or the
  // id is unknown. Records 0 to 9 feed the pointer devices.
  bool PointerDown(int32_t id, int32_t x, int32_t y);
  bool PointerMove(int32_t id, int32_t x, int32_t y);
  bool PointerUp(int32_t id, int32_t x, int32_t y);
  // Focus lost: the keyboard state of both sets, so that held keys don't stick.
  void ClearKeyboard();

  // ---- The frame ----------------------------------------------------------------------------
  // Counts the frame and clears the frame's edges (pressed, released, wheel) on every device.
  void BeginFrame();
  // Takes the raw state over: positions, the two shift keys from the system's left and right
  // shift state, keys, mouse device 0, pointer devices 1 to 9; then the raw edges are cleared.
  void TakeRaw(bool left_shift_down, bool right_shift_down, int32_t screen_x, int32_t screen_y);

  // ---- Clearing, as scripts ask for it --------------------------------------------------------
  // One key in all six arrays.
  void ClearKey(int32_t key);
  // One mouse button of device 0 in both sets; -1 all five.
  void ClearMouseButton(int32_t button);
  // All keyboard state with both strings, and device 0.
  void ClearAll();
  // One pointer device's buttons and wheel in the frame set (device 0 in the raw set too).
  void ClearDevice(int32_t device);
  // keyboard_string = the code points (at most 1024 kept), in both sets.
  void SetKeyboardString(const uint32_t* codes, int32_t count);
  int32_t KeyboardStringLength() const;

  // ---- Records --------------------------------------------------------------------------------
  void WriteRecord(uint8_t* out) const;
  // Replaces the frame state's recorded fields; false (nothing changed) when the record is
  // damaged, with what is wrong in *problem.
  bool ReadRecord(const uint8_t* in, std::string* problem);

  int32_t keyMap[kIoKeyCount];
  IoRawState raw;
  IoFrameState frame;
  PointerRecord pointers[kIoPointerCount];
  int64_t frameCounter = 0;

 private:
  bool pointer_change(int32_t id, int32_t x, int32_t y, int32_t state);
};
