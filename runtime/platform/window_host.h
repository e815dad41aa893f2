#pragma once
// The window host: the one top-level window, the display it sits on, its message queue and the
// graphics context behind it. The window logic in graphics/ keeps all bookkeeping (requested sizes,
// full-screen state, the reset countdown); a host only carries out single operations and reports
// what the system did, as WindowMessage records in arrival order.
//
// Sizes are client sizes in pixels. Positions are client origins in desktop coordinates. Open
// fails (false) when there is no display; nothing else needs a display to be called, and every
// call on a host without a window does nothing and reports zeros. Everything runs on the main
// thread, but for the graphics context's own calls (DrawableSize, SwapBuffers), which come from
// whichever thread holds the context (see MakeContextCurrent).
#include <cstdint>
#include <string>
#include <vector>

enum class WindowMessageKind : int32_t {
  kQuit = 0,         // the application was asked to end (the close button after kClose)
  kClose,            // the window's close button
  kResized,          // client size now a x b, changed by the user or the system (never for SetClientSize)
  kMinimized,
  kMaximized,        // client size a x b
  kRestored,         // client size a x b
  kFocusGained,
  kFocusLost,
  kActivated,        // the application became active (a = 1) or inactive (a = 0)
  kMoved,            // client origin now a, b
  kDisplayChanged,   // the window moved to another display
  kKeyDown,          // a: virtual key (16 shift, 17 control, 18 alt, letters upper case ...), b: 1 right-hand modifier
  kKeyUp,
  kText,             // text: UTF-8
  kMouseMove,        // a, b: client position
  kMouseDown,        // a: button 1 left, 2 right, 3 middle, 4, 5 extended
  kMouseUp,
  kMouseWheel,       // a: horizontal steps, b: vertical steps (up positive)
  kDevicesChanged,   // a game controller or joystick came or went
  kCount,
};
inline constexpr const char* kWindowMessageKindNames[] = {
    "quit",     "close",       "resized",  "minimized",      "maximized",  "restored",   "focus_gained",
    "focus_lost", "activated", "moved", "display_changed", "key_down",
    "key_up",   "text",        "mouse_move", "mouse_down",   "mouse_up",   "mouse_wheel", "devices_changed"};
static_assert(sizeof(kWindowMessageKindNames) / sizeof(kWindowMessageKindNames[0]) ==
              static_cast<size_t>(WindowMessageKind::kCount));

struct WindowMessage {
  WindowMessageKind kind = WindowMessageKind::kQuit;
  int32_t a = 0;
  int32_t b = 0;
  bool repeat = false;   // key messages: auto-repeat
  bool alt = false;      // key messages: an Alt key is held
  std::string text;
};

struct DisplayRect {
  int32_t x = 0, y = 0, w = 0, h = 0;
};

enum class WindowCursor : int32_t {
  kNone = 0,
  kArrow,
  kCross,
  kIBeam,
  kSizeNESW,
  kSizeNS,
  kSizeNWSE,
  kSizeWE,
  kUpArrow,
  kWait,
  kHand,
  kNo,
  kAppStarting,
  kSizeAll,
  kCount,
};
inline constexpr const char* kWindowCursorNames[] = {"none", "arrow", "cross", "ibeam", "size_nesw",
                                                     "size_ns", "size_nwse", "size_we", "up_arrow", "wait",
                                                     "hand", "no", "app_starting", "size_all"};
static_assert(sizeof(kWindowCursorNames) / sizeof(kWindowCursorNames[0]) == static_cast<size_t>(WindowCursor::kCount));

// Game controllers and joysticks. A controller is a pad the system knows the layout of: it reports
// named buttons and axes below (sticks as the device gives them, y growing downward, -32768 to
// 32767; triggers 0 to 32767). Every pad also reports its raw buttons, axes and hats in the
// system's own numbering, which the mapping lines of the controller database refer to; hats are
// bit sets: 1 up, 2 right, 4 down, 8 left.
enum class PadButton : int32_t {
  kA = 0,
  kB,
  kX,
  kY,
  kBack,
  kGuide,
  kStart,
  kLeftStick,
  kRightStick,
  kLeftShoulder,
  kRightShoulder,
  kDpadUp,
  kDpadDown,
  kDpadLeft,
  kDpadRight,
  kCount,
};
enum class PadAxis : int32_t { kLeftX = 0, kLeftY, kRightX, kRightY, kLeftTrigger, kRightTrigger, kCount };

constexpr int32_t kPadRawButtons = 128;
constexpr int32_t kPadRawAxes = 40;
constexpr int32_t kPadRawHats = 8;

struct PadInfo {
  int32_t id = -1;          // stays the same while the pad is attached
  bool controller = false;  // named buttons and axes are known
  bool rumble = false;      // has motors
  std::string name;
  std::string guid;         // 32 hex digits
  int32_t buttons = 0, axes = 0, hats = 0;  // raw counts, at most the kPadRaw* limits
};

struct PadReading {
  uint8_t button[static_cast<int>(PadButton::kCount)] = {};
  int16_t axis[static_cast<int>(PadAxis::kCount)] = {};
  uint8_t raw_button[kPadRawButtons] = {};
  int16_t raw_axis[kPadRawAxes] = {};
  uint8_t raw_hat[kPadRawHats] = {};
};

struct WindowOpenDesc {
  int32_t x = 0, y = 0;           // client origin
  int32_t width = 0, height = 0;  // client size
  bool borderless = false;
  bool resizable = false;
  bool fullscreen = false;
  std::string caption;
};

// Called when the connection to the display is lost for good (the X server went away): nothing
// can be drawn or pumped any more, and the process can't even close its window. The handler
// reports it; the host then ends the process at once with status 1, without the exit-time
// destructors, which would talk to the dead display.
using DisplayLostFn = void (*)();

class IWindowHost {
 public:
  virtual ~IWindowHost() = default;

  // The handler for a lost display (null: a line on standard error). Hosts whose display can't
  // go away never call it.
  virtual void SetDisplayLostHandler(DisplayLostFn handler) = 0;

  // Display queries work before Open. The display is the one the window is on (the first before
  // the window exists). Refresh 0 means unknown.
  virtual bool DisplayBounds(DisplayRect* bounds) = 0;
  virtual int32_t DisplayRefreshRate() = 0;
  virtual int32_t DisplayIndex() = 0;
  // Every display, in enumeration order.
  virtual int32_t DisplayCount() = 0;
  virtual bool DisplayBoundsAt(int32_t index, DisplayRect* bounds) = 0;

  // Creates the window hidden with a graphics context (OpenGL 3.3 core where real). False: no
  // display or no context; the host then stays without a window.
  virtual bool Open(const WindowOpenDesc& desc) = 0;
  virtual void Close() = 0;
  virtual bool IsOpen() = 0;

  virtual void Show() = 0;
  virtual void ClientSize(int32_t* width, int32_t* height) = 0;
  virtual void ClientPosition(int32_t* x, int32_t* y) = 0;
  // The frame's extra size: whole window minus client area on each axis; 0 before the window exists
  // and where the system doesn't tell.
  virtual void FrameSize(int32_t* extra_width, int32_t* extra_height) = 0;
  virtual void SetClientSize(int32_t width, int32_t height) = 0;
  virtual void SetClientPosition(int32_t x, int32_t y) = 0;
  // Desktop full screen covering the display. False when the system refused.
  virtual bool SetFullscreen(bool on) = 0;
  virtual void SetBorderless(bool on) = 0;
  virtual void SetResizable(bool on) = 0;
  // Limits of the client size; 0 means none.
  virtual void SetSizeLimits(int32_t min_w, int32_t min_h, int32_t max_w, int32_t max_h) = 0;
  virtual void SetCaption(const std::string& utf8) = 0;
  virtual void SetCursor(WindowCursor cursor) = 0;
  // Cursors of the game's own pictures: width x height RGBA pixels (red in the first byte, rows
  // from the top) with the hot spot inside. Create returns a handle, 0 when the system refused;
  // SetImageCursor shows one (0 goes back to the cursor SetCursor chose). Destroying the cursor
  // on show puts SetCursor's back first.
  virtual uint64_t CreateImageCursor(const uint8_t* rgba, int32_t width, int32_t height, int32_t hot_x,
                                     int32_t hot_y) = 0;
  virtual void SetImageCursor(uint64_t cursor) = 0;
  virtual void DestroyImageCursor(uint64_t cursor) = 0;
  virtual void Focus() = 0;
  virtual bool HasInputFocus() = 0;

  // Takes the next message; false when the queue is empty.
  virtual bool PollMessage(WindowMessage* message) = 0;
  // Queues kQuit as the system would (a test's stand-in for the close button).
  virtual void PostQuit() = 0;

  // Pointer in client coordinates; SetMousePosition moves the system pointer there.
  virtual void MousePosition(int32_t* x, int32_t* y) = 0;
  virtual void SetMousePosition(int32_t x, int32_t y) = 0;
  virtual void GlobalMousePosition(int32_t* x, int32_t* y) = 0;

  // A modal box with up to three buttons, the first the default; returns the index pressed, -1
  // when no box could be shown.
  virtual int32_t ShowMessageBox(const std::string& title, const std::string& text, const char* const* buttons,
                                 int32_t button_count, bool is_error) = 0;

  virtual std::string ClipboardText() = 0;
  virtual void SetClipboardText(const std::string& utf8) = 0;

  // The graphics context made by Open: the drawable's size, and the swap of its buffers.
  virtual void DrawableSize(int32_t* width, int32_t* height) = 0;
  virtual bool SwapBuffers(int32_t sync_interval) = 0;
  // Makes the context current on the calling thread (current) or lets the calling thread's hold
  // on it go, so that another thread can take it; false when that fails. Open makes it current
  // on the thread that opened the window.
  virtual bool MakeContextCurrent(bool current) = 0;

  // ---- Keyboard ------------------------------------------------------------------------------
  // Whether a virtual key is held now, by the system's own key state (not the message queue).
  // 160/161 and 162/163 and 164/165 are the left and right shift, control and alt keys; 16, 17
  // and 18 either of each pair.
  virtual bool KeyHeld(int32_t virtual_key) = 0;
  virtual bool NumLock() = 0;
  virtual void SetNumLock(bool on) = 0;
  // Queues a key message as if the key were typed; it arrives through PollMessage like any other.
  virtual void PostKey(int32_t virtual_key, bool down) = 0;

  // ---- Game controllers and joysticks -------------------------------------------------------
  // False when the system offers no pad support at all.
  virtual bool PadsSupported() = 0;
  // The pads attached now, newly attached ones opened on the way.
  virtual void PadList(std::vector<PadInfo>* pads) = 0;
  // The state of a pad now; false when it is gone.
  virtual bool PadRead(int32_t id, PadReading* reading) = 0;
  // Motor strengths 0 to 1; false when the pad can't rumble.
  virtual bool PadRumble(int32_t id, float low, float high) = 0;
  // Adds controller database lines (the SDL text format) to the system's own database, so that
  // pads they describe report as controllers; the count of lines taken.
  virtual int32_t PadAddMappings(const std::string& text) = 0;
};
