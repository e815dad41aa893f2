#include "platform/sdl/sdl_window_host.h"

#include <SDL.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <vector>

#include "platform/sdl/x11_connection.h"

namespace {

constexpr int kVkShift = 16;
// How long a named display may stay out of reach at start-up: 20 tries 50 ms apart.
constexpr int kDisplayAttempts = 20;
constexpr Uint32 kDisplayRetryMs = 50;
constexpr int kVkControl = 17;
constexpr int kVkAlt = 18;

struct KeyPair {
  SDL_Keycode sdl;
  int vk;
};

constexpr KeyPair kKeyTable[] = {
    {SDLK_BACKSPACE, 8},     {SDLK_TAB, 9},          {SDLK_RETURN, 13},       {SDLK_KP_ENTER, 13},
    {SDLK_LSHIFT, kVkShift}, {SDLK_RSHIFT, kVkShift}, {SDLK_LCTRL, kVkControl}, {SDLK_RCTRL, kVkControl},
    {SDLK_LALT, kVkAlt},     {SDLK_RALT, kVkAlt},    {SDLK_PAUSE, 19},        {SDLK_CAPSLOCK, 20},
    {SDLK_ESCAPE, 27},       {SDLK_SPACE, 32},       {SDLK_PAGEUP, 33},       {SDLK_PAGEDOWN, 34},
    {SDLK_END, 35},          {SDLK_HOME, 36},        {SDLK_LEFT, 37},         {SDLK_UP, 38},
    {SDLK_RIGHT, 39},        {SDLK_DOWN, 40},        {SDLK_PRINTSCREEN, 44},  {SDLK_INSERT, 45},
    {SDLK_DELETE, 46},       {SDLK_LGUI, 91},        {SDLK_RGUI, 92},         {SDLK_APPLICATION, 93},
    {SDLK_KP_0, 96},         {SDLK_KP_1, 97},        {SDLK_KP_2, 98},         {SDLK_KP_3, 99},
    {SDLK_KP_4, 100},        {SDLK_KP_5, 101},       {SDLK_KP_6, 102},        {SDLK_KP_7, 103},
    {SDLK_KP_8, 104},        {SDLK_KP_9, 105},       {SDLK_KP_MULTIPLY, 106}, {SDLK_KP_PLUS, 107},
    {SDLK_KP_MINUS, 109},    {SDLK_KP_PERIOD, 110},  {SDLK_KP_DIVIDE, 111},   {SDLK_NUMLOCKCLEAR, 144},
    {SDLK_SCROLLLOCK, 145},  {SDLK_SEMICOLON, 186},  {SDLK_EQUALS, 187},      {SDLK_COMMA, 188},
    {SDLK_MINUS, 189},       {SDLK_PERIOD, 190},     {SDLK_SLASH, 191},       {SDLK_BACKQUOTE, 192},
    {SDLK_LEFTBRACKET, 219}, {SDLK_BACKSLASH, 220},  {SDLK_RIGHTBRACKET, 221}, {SDLK_QUOTE, 222},
};

SDL_SystemCursor system_cursor(WindowCursor cursor) {
  switch (cursor) {
    case WindowCursor::kCross: return SDL_SYSTEM_CURSOR_CROSSHAIR;
    case WindowCursor::kIBeam: return SDL_SYSTEM_CURSOR_IBEAM;
    case WindowCursor::kSizeNESW: return SDL_SYSTEM_CURSOR_SIZENESW;
    case WindowCursor::kSizeNS: return SDL_SYSTEM_CURSOR_SIZENS;
    case WindowCursor::kSizeNWSE: return SDL_SYSTEM_CURSOR_SIZENWSE;
    case WindowCursor::kSizeWE: return SDL_SYSTEM_CURSOR_SIZEWE;
    case WindowCursor::kUpArrow: return SDL_SYSTEM_CURSOR_ARROW;
    case WindowCursor::kWait: return SDL_SYSTEM_CURSOR_WAIT;
    case WindowCursor::kHand: return SDL_SYSTEM_CURSOR_HAND;
    case WindowCursor::kNo: return SDL_SYSTEM_CURSOR_NO;
    case WindowCursor::kAppStarting: return SDL_SYSTEM_CURSOR_WAITARROW;
    case WindowCursor::kSizeAll: return SDL_SYSTEM_CURSOR_SIZEALL;
    default: return SDL_SYSTEM_CURSOR_ARROW;
  }
}

// The runtime's names of the controller buttons and axes, in SDL's numbering.
constexpr SDL_GameControllerButton kPadButtons[] = {
    SDL_CONTROLLER_BUTTON_A,          SDL_CONTROLLER_BUTTON_B,          SDL_CONTROLLER_BUTTON_X,
    SDL_CONTROLLER_BUTTON_Y,          SDL_CONTROLLER_BUTTON_BACK,       SDL_CONTROLLER_BUTTON_GUIDE,
    SDL_CONTROLLER_BUTTON_START,      SDL_CONTROLLER_BUTTON_LEFTSTICK,  SDL_CONTROLLER_BUTTON_RIGHTSTICK,
    SDL_CONTROLLER_BUTTON_LEFTSHOULDER, SDL_CONTROLLER_BUTTON_RIGHTSHOULDER, SDL_CONTROLLER_BUTTON_DPAD_UP,
    SDL_CONTROLLER_BUTTON_DPAD_DOWN,  SDL_CONTROLLER_BUTTON_DPAD_LEFT,  SDL_CONTROLLER_BUTTON_DPAD_RIGHT,
};
static_assert(std::size(kPadButtons) == static_cast<size_t>(PadButton::kCount));
constexpr SDL_GameControllerAxis kPadAxes[] = {
    SDL_CONTROLLER_AXIS_LEFTX,       SDL_CONTROLLER_AXIS_LEFTY,        SDL_CONTROLLER_AXIS_RIGHTX,
    SDL_CONTROLLER_AXIS_RIGHTY,      SDL_CONTROLLER_AXIS_TRIGGERLEFT,  SDL_CONTROLLER_AXIS_TRIGGERRIGHT,
};
static_assert(std::size(kPadAxes) == static_cast<size_t>(PadAxis::kCount));

// Keys whose two sides the system tells apart: the virtual key of each side and of the pair.
struct SidedKey {
  int vk;
  int left_vk;  // the right side's is one more
  SDL_Scancode left;
  SDL_Scancode right;
};
constexpr SidedKey kSidedKeys[] = {
    {kVkShift, 160, SDL_SCANCODE_LSHIFT, SDL_SCANCODE_RSHIFT},
    {kVkControl, 162, SDL_SCANCODE_LCTRL, SDL_SCANCODE_RCTRL},
    {kVkAlt, 164, SDL_SCANCODE_LALT, SDL_SCANCODE_RALT},
};

struct OpenPad {
  SDL_JoystickID id = -1;
  SDL_Joystick* joystick = nullptr;
  SDL_GameController* controller = nullptr;
};

int mouse_button(uint8_t sdl_button) {
  switch (sdl_button) {
    case SDL_BUTTON_LEFT: return 1;
    case SDL_BUTTON_RIGHT: return 2;
    case SDL_BUTTON_MIDDLE: return 3;
    case SDL_BUTTON_X1: return 4;
    case SDL_BUTTON_X2: return 5;
    default: return 0;
  }
}

class SdlWindowHost final : public IWindowHost {
 public:
  ~SdlWindowHost() override {
    for (OpenPad& pad : pads_) close_pad(pad);
    if (pads_started_) SDL_QuitSubSystem(SDL_INIT_GAMECONTROLLER);
    Close();
    for (SDL_Cursor* cursor : cursors_) {
      if (cursor != nullptr) SDL_FreeCursor(cursor);
    }
    for (ImageCursor& image : image_cursors_) {
      if (image.cursor != nullptr) SDL_FreeCursor(image.cursor);
    }
    if (video_) SDL_QuitSubSystem(SDL_INIT_VIDEO);
  }

  void SetDisplayLostHandler(DisplayLostFn handler) override { X11Connection_SetLostHandler(handler); }

  bool DisplayBounds(DisplayRect* bounds) override { return DisplayBoundsAt(DisplayIndex(), bounds); }

  int32_t DisplayRefreshRate() override {
    if (!ensure_video()) return 0;
    SDL_DisplayMode mode{};
    if (window_ != nullptr && SDL_GetWindowDisplayMode(window_, &mode) == 0 && mode.refresh_rate > 0) {
      return mode.refresh_rate;
    }
    if (SDL_GetCurrentDisplayMode(DisplayIndex(), &mode) == 0) return mode.refresh_rate;
    return 0;
  }

  int32_t DisplayIndex() override {
    if (window_ == nullptr) return 0;
    const int index = SDL_GetWindowDisplayIndex(window_);
    return index < 0 ? 0 : index;
  }

  int32_t DisplayCount() override {
    if (!ensure_video()) return 0;
    const int count = SDL_GetNumVideoDisplays();
    return count < 0 ? 0 : count;
  }

  bool DisplayBoundsAt(int32_t index, DisplayRect* bounds) override {
    *bounds = DisplayRect{};
    if (!ensure_video()) return false;
    SDL_Rect rect{};
    if (SDL_GetDisplayBounds(index, &rect) != 0) return false;
    *bounds = DisplayRect{rect.x, rect.y, rect.w, rect.h};
    return true;
  }

  bool Open(const WindowOpenDesc& desc) override {
    if (window_ != nullptr) return true;
    if (!ensure_video()) return false;
    SDL_GL_ResetAttributes();
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, 3);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, 3);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_PROFILE_MASK, SDL_GL_CONTEXT_PROFILE_CORE);
    SDL_GL_SetAttribute(SDL_GL_DOUBLEBUFFER, 1);
    SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, 24);
    SDL_GL_SetAttribute(SDL_GL_STENCIL_SIZE, 8);
    uint32_t flags = SDL_WINDOW_OPENGL | SDL_WINDOW_HIDDEN | SDL_WINDOW_ALLOW_HIGHDPI;
    if (desc.borderless) flags |= SDL_WINDOW_BORDERLESS;
    if (desc.resizable) flags |= SDL_WINDOW_RESIZABLE;
    if (desc.fullscreen) flags |= SDL_WINDOW_FULLSCREEN_DESKTOP;
    window_ = SDL_CreateWindow(desc.caption.c_str(), desc.x, desc.y, desc.width > 0 ? desc.width : 1,
                               desc.height > 0 ? desc.height : 1, flags);
    if (window_ == nullptr) return false;
    context_ = SDL_GL_CreateContext(window_);
    if (context_ == nullptr) {
      SDL_DestroyWindow(window_);
      window_ = nullptr;
      return false;
    }
    SDL_GL_MakeCurrent(window_, context_);
    swap_interval_ = -2;
    return true;
  }

  void Close() override {
    if (context_ != nullptr) SDL_GL_DeleteContext(context_);
    if (window_ != nullptr) SDL_DestroyWindow(window_);
    context_ = nullptr;
    window_ = nullptr;
  }

  bool IsOpen() override { return window_ != nullptr; }

  void Show() override {
    if (window_ == nullptr) return;
    SDL_ShowWindow(window_);
    SDL_RaiseWindow(window_);
  }

  void ClientSize(int32_t* width, int32_t* height) override {
    *width = *height = 0;
    if (window_ != nullptr) SDL_GetWindowSize(window_, width, height);
  }

  void ClientPosition(int32_t* x, int32_t* y) override {
    *x = *y = 0;
    if (window_ != nullptr) SDL_GetWindowPosition(window_, x, y);
  }

  void FrameSize(int32_t* extra_width, int32_t* extra_height) override {
    *extra_width = *extra_height = 0;
    if (window_ == nullptr) return;
    int top = 0, left = 0, bottom = 0, right = 0;
    if (SDL_GetWindowBordersSize(window_, &top, &left, &bottom, &right) != 0) return;
    *extra_width = left + right;
    *extra_height = top + bottom;
  }

  void SetClientSize(int32_t width, int32_t height) override {
    if (window_ != nullptr && width > 0 && height > 0) SDL_SetWindowSize(window_, width, height);
  }

  void SetClientPosition(int32_t x, int32_t y) override {
    if (window_ != nullptr) SDL_SetWindowPosition(window_, x, y);
  }

  bool SetFullscreen(bool on) override {
    if (window_ == nullptr) return false;
    return SDL_SetWindowFullscreen(window_, on ? SDL_WINDOW_FULLSCREEN_DESKTOP : 0) == 0;
  }

  void SetBorderless(bool on) override {
    if (window_ != nullptr) SDL_SetWindowBordered(window_, on ? SDL_FALSE : SDL_TRUE);
  }

  void SetResizable(bool on) override {
    if (window_ != nullptr) SDL_SetWindowResizable(window_, on ? SDL_TRUE : SDL_FALSE);
  }

  void SetSizeLimits(int32_t min_w, int32_t min_h, int32_t max_w, int32_t max_h) override {
    if (window_ == nullptr) return;
    SDL_SetWindowMinimumSize(window_, min_w > 0 ? min_w : 1, min_h > 0 ? min_h : 1);
    // SDL has no "no limit" value for the maximum; a very large one stands in.
    SDL_SetWindowMaximumSize(window_, max_w > 0 ? max_w : 16384, max_h > 0 ? max_h : 16384);
  }

  void SetCaption(const std::string& utf8) override {
    if (window_ != nullptr) SDL_SetWindowTitle(window_, utf8.c_str());
  }

  void SetCursor(WindowCursor cursor) override {
    if (!ensure_video()) return;
    system_cursor_ = cursor;
    if (image_cursor_ != 0) return;  // an image cursor stays on show until it is put away
    apply_system_cursor();
  }

  uint64_t CreateImageCursor(const uint8_t* rgba, int32_t width, int32_t height, int32_t hot_x,
                             int32_t hot_y) override {
    if (!ensure_video() || rgba == nullptr || width <= 0 || height <= 0) return 0;
    SDL_Surface* surface = SDL_CreateRGBSurfaceWithFormatFrom(const_cast<uint8_t*>(rgba), width, height, 32,
                                                              width * 4, SDL_PIXELFORMAT_RGBA32);
    if (surface == nullptr) return 0;
    SDL_Cursor* cursor = SDL_CreateColorCursor(surface, std::clamp(hot_x, 0, width - 1), std::clamp(hot_y, 0, height - 1));
    SDL_FreeSurface(surface);
    if (cursor == nullptr) return 0;
    image_cursors_.push_back(ImageCursor{++last_image_cursor_, cursor});
    return last_image_cursor_;
  }

  void SetImageCursor(uint64_t handle) override {
    if (!ensure_video()) return;
    if (handle == 0) {
      image_cursor_ = 0;
      apply_system_cursor();
      return;
    }
    for (const ImageCursor& image : image_cursors_) {
      if (image.handle != handle) continue;
      image_cursor_ = handle;
      SDL_SetCursor(image.cursor);
      SDL_ShowCursor(SDL_ENABLE);
      return;
    }
  }

  void DestroyImageCursor(uint64_t handle) override {
    for (size_t i = 0; i < image_cursors_.size(); ++i) {
      if (image_cursors_[i].handle != handle) continue;
      if (image_cursor_ == handle) SetImageCursor(0);
      SDL_FreeCursor(image_cursors_[i].cursor);
      image_cursors_.erase(image_cursors_.begin() + static_cast<std::ptrdiff_t>(i));
      return;
    }
  }

  void apply_system_cursor() {
    const WindowCursor cursor = system_cursor_;
    if (cursor == WindowCursor::kNone) {
      SDL_ShowCursor(SDL_DISABLE);
      return;
    }
    const SDL_SystemCursor id = system_cursor(cursor);
    if (cursors_.empty()) cursors_.assign(SDL_NUM_SYSTEM_CURSORS, nullptr);
    if (cursors_[id] == nullptr) cursors_[id] = SDL_CreateSystemCursor(id);
    if (cursors_[id] != nullptr) SDL_SetCursor(cursors_[id]);
    SDL_ShowCursor(SDL_ENABLE);
  }

  void Focus() override {
    if (window_ != nullptr) SDL_SetWindowInputFocus(window_);
  }

  bool HasInputFocus() override {
    return window_ != nullptr && (SDL_GetWindowFlags(window_) & SDL_WINDOW_INPUT_FOCUS) != 0;
  }

  bool PollMessage(WindowMessage* message) override {
    if (!video_ && !pads_started_) return false;
    SDL_Event event;
    while (SDL_PollEvent(&event) != 0) {
      if (translate(event, message)) return true;
    }
    if (posted_.empty()) return false;
    *message = posted_.front();
    posted_.pop_front();
    return true;
  }

  void PostQuit() override {
    if (!ensure_video()) return;
    SDL_Event event{};
    event.type = SDL_QUIT;
    SDL_PushEvent(&event);
  }

  void MousePosition(int32_t* x, int32_t* y) override {
    *x = *y = 0;
    if (video_) SDL_GetMouseState(x, y);
  }

  void SetMousePosition(int32_t x, int32_t y) override {
    if (window_ != nullptr) SDL_WarpMouseInWindow(window_, x, y);
  }

  void GlobalMousePosition(int32_t* x, int32_t* y) override {
    *x = *y = 0;
    if (video_) SDL_GetGlobalMouseState(x, y);
  }

  int32_t ShowMessageBox(const std::string& title, const std::string& text, const char* const* buttons,
                         int32_t button_count, bool is_error) override {
    if (!ensure_video() || button_count <= 0) return -1;
    std::vector<SDL_MessageBoxButtonData> data;
    for (int32_t i = 0; i < button_count && i < 3; ++i) {
      SDL_MessageBoxButtonData button{};
      button.flags = i == 0 ? SDL_MESSAGEBOX_BUTTON_RETURNKEY_DEFAULT : 0;
      if (i == button_count - 1) button.flags |= SDL_MESSAGEBOX_BUTTON_ESCAPEKEY_DEFAULT;
      button.buttonid = i;
      button.text = buttons[i];
      data.push_back(button);
    }
    SDL_MessageBoxData box{};
    box.flags = is_error ? SDL_MESSAGEBOX_ERROR : SDL_MESSAGEBOX_INFORMATION;
    box.window = window_;
    box.title = title.c_str();
    box.message = text.c_str();
    box.numbuttons = static_cast<int>(data.size());
    box.buttons = data.data();
    int pressed = -1;
    if (SDL_ShowMessageBox(&box, &pressed) != 0) return -1;
    return pressed;
  }

  std::string ClipboardText() override {
    if (!ensure_video()) return "";
    char* text = SDL_GetClipboardText();
    std::string copy = text != nullptr ? text : "";
    SDL_free(text);
    return copy;
  }

  void SetClipboardText(const std::string& utf8) override {
    if (ensure_video()) SDL_SetClipboardText(utf8.c_str());
  }

  void DrawableSize(int32_t* width, int32_t* height) override {
    *width = *height = 0;
    if (window_ != nullptr) SDL_GL_GetDrawableSize(window_, width, height);
  }

  bool SwapBuffers(int32_t sync_interval) override {
    if (window_ == nullptr) return false;
    if (sync_interval != swap_interval_) {
      SDL_GL_SetSwapInterval(sync_interval > 0 ? 1 : 0);
      swap_interval_ = sync_interval;
    }
    SDL_GL_SwapWindow(window_);
    return true;
  }

  bool MakeContextCurrent(bool current) override {
    if (window_ == nullptr || context_ == nullptr) return false;
    return SDL_GL_MakeCurrent(window_, current ? context_ : nullptr) == 0;
  }

  bool KeyHeld(int32_t virtual_key) override {
    if (!video_) return false;
    int count = 0;
    const Uint8* state = SDL_GetKeyboardState(&count);
    if (state == nullptr) return false;
    auto held = [&](SDL_Scancode code) { return code < count && state[code] != 0; };
    for (const SidedKey& sided : kSidedKeys) {
      if (virtual_key == sided.vk) return held(sided.left) || held(sided.right);
      if (virtual_key == sided.left_vk) return held(sided.left);
      if (virtual_key == sided.left_vk + 1) return held(sided.right);
    }
    for (int code = 0; code < count; ++code) {
      if (state[code] != 0 && SdlWindowHost_VirtualKey(SDL_GetKeyFromScancode(static_cast<SDL_Scancode>(code))) == virtual_key) {
        return true;
      }
    }
    return false;
  }

  bool NumLock() override { return video_ && (SDL_GetModState() & KMOD_NUM) != 0; }

  void SetNumLock(bool on) override {
    if (!ensure_video()) return;
    const SDL_Keymod mod = SDL_GetModState();
    SDL_SetModState(static_cast<SDL_Keymod>(on ? (mod | KMOD_NUM) : (mod & ~KMOD_NUM)));
  }

  void PostKey(int32_t virtual_key, bool down) override {
    WindowMessage m;
    m.kind = down ? WindowMessageKind::kKeyDown : WindowMessageKind::kKeyUp;
    m.a = virtual_key;
    m.alt = video_ && (SDL_GetModState() & KMOD_ALT) != 0;
    posted_.push_back(m);
  }

  bool PadsSupported() override { return ensure_pads(); }

  void PadList(std::vector<PadInfo>* out) override {
    out->clear();
    if (!ensure_pads()) return;
    SDL_JoystickUpdate();
    // Pads that went away are closed; their ids are not handed out again by SDL.
    for (OpenPad& pad : pads_) {
      if (pad.joystick != nullptr && !SDL_JoystickGetAttached(pad.joystick)) close_pad(pad);
    }
    pads_.erase(std::remove_if(pads_.begin(), pads_.end(), [](const OpenPad& p) { return p.joystick == nullptr; }),
                pads_.end());
    const int count = SDL_NumJoysticks();
    for (int index = 0; index < count; ++index) {
      const SDL_JoystickID id = SDL_JoystickGetDeviceInstanceID(index);
      if (id < 0) continue;
      OpenPad* pad = find_pad(id);
      if (pad == nullptr) pad = open_pad(index, id);
      if (pad == nullptr) continue;
      PadInfo info;
      info.id = id;
      info.controller = pad->controller != nullptr;
      const char* name = pad->controller != nullptr ? SDL_GameControllerName(pad->controller)
                                                    : SDL_JoystickName(pad->joystick);
      info.name = name != nullptr ? name : "";
      char guid[33] = {};
      SDL_JoystickGetGUIDString(SDL_JoystickGetGUID(pad->joystick), guid, sizeof guid);
      info.guid = guid;
      info.buttons = std::clamp(SDL_JoystickNumButtons(pad->joystick), 0, kPadRawButtons);
      info.axes = std::clamp(SDL_JoystickNumAxes(pad->joystick), 0, kPadRawAxes);
      info.hats = std::clamp(SDL_JoystickNumHats(pad->joystick), 0, kPadRawHats);
#if SDL_VERSION_ATLEAST(2, 0, 18)
      info.rumble = SDL_JoystickHasRumble(pad->joystick) == SDL_TRUE;
#else
      info.rumble = true;
#endif
      out->push_back(info);
    }
  }

  bool PadRead(int32_t id, PadReading* r) override {
    OpenPad* pad = find_pad(id);
    if (pad == nullptr || !SDL_JoystickGetAttached(pad->joystick)) return false;
    *r = PadReading{};
    if (pad->controller != nullptr) {
      for (size_t i = 0; i < std::size(kPadButtons); ++i) r->button[i] = SDL_GameControllerGetButton(pad->controller, kPadButtons[i]);
      for (size_t i = 0; i < std::size(kPadAxes); ++i) r->axis[i] = SDL_GameControllerGetAxis(pad->controller, kPadAxes[i]);
    }
    const int buttons = std::min(SDL_JoystickNumButtons(pad->joystick), kPadRawButtons);
    for (int i = 0; i < buttons; ++i) r->raw_button[i] = SDL_JoystickGetButton(pad->joystick, i);
    const int axes = std::min(SDL_JoystickNumAxes(pad->joystick), kPadRawAxes);
    for (int i = 0; i < axes; ++i) r->raw_axis[i] = SDL_JoystickGetAxis(pad->joystick, i);
    const int hats = std::min(SDL_JoystickNumHats(pad->joystick), kPadRawHats);
    for (int i = 0; i < hats; ++i) r->raw_hat[i] = SDL_JoystickGetHat(pad->joystick, i);
    return true;
  }

  bool PadRumble(int32_t id, float low, float high) override {
    OpenPad* pad = find_pad(id);
    if (pad == nullptr) return false;
    auto strength = [](float v) { return static_cast<Uint16>(std::clamp(v, 0.0f, 1.0f) * 65535.0f); };
    // The longest duration SDL keeps a rumble going; the caller renews it while it lasts.
    constexpr Uint32 kRumbleMs = 0xFFFF;
    return SDL_JoystickRumble(pad->joystick, strength(low), strength(high), kRumbleMs) == 0;
  }

  int32_t PadAddMappings(const std::string& text) override {
    if (!ensure_pads() || text.empty()) return 0;
    SDL_RWops* rw = SDL_RWFromConstMem(text.data(), static_cast<int>(text.size()));
    if (rw == nullptr) return 0;
    const int added = SDL_GameControllerAddMappingsFromRW(rw, 1);
    return added < 0 ? 0 : added;
  }

 private:
  bool ensure_pads() {
    if (pads_started_) return true;
    if (pads_failed_) return false;
    keep_signals();
    if (SDL_InitSubSystem(SDL_INIT_GAMECONTROLLER) != 0) {
      pads_failed_ = true;
      return false;
    }
    pads_started_ = true;
    return true;
  }

  OpenPad* find_pad(SDL_JoystickID id) {
    for (OpenPad& pad : pads_) {
      if (pad.id == id && pad.joystick != nullptr) return &pad;
    }
    return nullptr;
  }

  OpenPad* open_pad(int index, SDL_JoystickID id) {
    OpenPad pad;
    pad.id = id;
    if (SDL_IsGameController(index)) {
      pad.controller = SDL_GameControllerOpen(index);
      if (pad.controller != nullptr) pad.joystick = SDL_GameControllerGetJoystick(pad.controller);
    }
    if (pad.joystick == nullptr) pad.joystick = SDL_JoystickOpen(index);
    if (pad.joystick == nullptr) return nullptr;
    pads_.push_back(pad);
    return &pads_.back();
  }

  static void close_pad(OpenPad& pad) {
    if (pad.controller != nullptr) {
      SDL_GameControllerClose(pad.controller);
    } else if (pad.joystick != nullptr) {
      SDL_JoystickClose(pad.joystick);
    }
    pad.controller = nullptr;
    pad.joystick = nullptr;
  }

  // The runtime handles interrupts itself; SDL would turn them into quit events that only a
  // pumped window sees, and keep them from a run without one.
  static void keep_signals() { SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1"); }

  // Video on the display the environment names: DISPLAY an X server, else WAYLAND_DISPLAY a
  // compositor. Left to itself, SDL falls back to an offscreen driver when there is none or it
  // can't be reached, and the game then runs unseen, with no connection whose loss would end it.
  // So the named display's driver is asked for by name and retried for a moment (a server with
  // no client left resets, and refuses connections while it does); with no display named, or
  // one that stays out of reach, there is no video and the window layer runs without a window
  // and says so. A driver chosen through SDL_VIDEODRIVER stands as it is.
  static bool init_video() {
    const auto named = [](const char* variable) {
      const char* value = std::getenv(variable);
      return value != nullptr && *value != '\0';
    };
    if (named("SDL_VIDEODRIVER")) return SDL_InitSubSystem(SDL_INIT_VIDEO) == 0;
    const char* driver = named("DISPLAY") ? "x11" : named("WAYLAND_DISPLAY") ? "wayland" : nullptr;
    if (driver == nullptr) return false;
    SDL_SetHint(SDL_HINT_VIDEODRIVER, driver);
    for (int attempt = 1;; ++attempt) {
      if (SDL_InitSubSystem(SDL_INIT_VIDEO) == 0) return true;
      if (attempt == kDisplayAttempts) return false;
      SDL_Delay(kDisplayRetryMs);
    }
  }

  bool ensure_video() {
    if (video_) return true;
    if (no_video_) return false;  // asked once: a display out of reach isn't waited for again
    keep_signals();
    if (!init_video()) {
      no_video_ = true;
      return false;
    }
    video_ = true;
    const char* driver = SDL_GetCurrentVideoDriver();
    if (driver != nullptr && std::strcmp(driver, "x11") == 0) X11Connection_Watch();
    return true;
  }

  bool translate(const SDL_Event& event, WindowMessage* m) {
    *m = WindowMessage{};
    switch (event.type) {
      case SDL_QUIT:
        m->kind = WindowMessageKind::kQuit;
        return true;
      case SDL_WINDOWEVENT:
        return translate_window(event.window, m);
      case SDL_KEYDOWN:
      case SDL_KEYUP: {
        const int vk = SdlWindowHost_VirtualKey(event.key.keysym.sym);
        if (vk == 0) return false;
        m->kind = event.type == SDL_KEYDOWN ? WindowMessageKind::kKeyDown : WindowMessageKind::kKeyUp;
        m->a = vk;
        const SDL_Keycode sym = event.key.keysym.sym;
        m->b = (sym == SDLK_RSHIFT || sym == SDLK_RCTRL || sym == SDLK_RALT) ? 1 : 0;
        m->repeat = event.key.repeat != 0;
        m->alt = (event.key.keysym.mod & KMOD_ALT) != 0;
        return true;
      }
      case SDL_TEXTINPUT:
        m->kind = WindowMessageKind::kText;
        m->text = event.text.text;
        return true;
      case SDL_MOUSEMOTION:
        m->kind = WindowMessageKind::kMouseMove;
        m->a = event.motion.x;
        m->b = event.motion.y;
        return true;
      case SDL_MOUSEBUTTONDOWN:
      case SDL_MOUSEBUTTONUP:
        m->kind = event.type == SDL_MOUSEBUTTONDOWN ? WindowMessageKind::kMouseDown : WindowMessageKind::kMouseUp;
        m->a = mouse_button(event.button.button);
        return m->a != 0;
      case SDL_MOUSEWHEEL: {
        const int sign = event.wheel.direction == SDL_MOUSEWHEEL_FLIPPED ? -1 : 1;
        m->kind = WindowMessageKind::kMouseWheel;
        m->a = event.wheel.x * sign;
        m->b = event.wheel.y * sign;
        return true;
      }
      case SDL_CONTROLLERDEVICEADDED:
      case SDL_CONTROLLERDEVICEREMOVED:
      case SDL_JOYDEVICEADDED:
      case SDL_JOYDEVICEREMOVED:
        m->kind = WindowMessageKind::kDevicesChanged;
        return true;
      default:
        return false;
    }
  }

  bool translate_window(const SDL_WindowEvent& event, WindowMessage* m) {
    if (window_ == nullptr || event.windowID != SDL_GetWindowID(window_)) return false;
    switch (event.event) {
      case SDL_WINDOWEVENT_CLOSE:
        m->kind = WindowMessageKind::kClose;
        return true;
      // SIZE_CHANGED also follows the program's own SDL_SetWindowSize; RESIZED comes only when the
      // user or the system changed the size.
      case SDL_WINDOWEVENT_RESIZED:
        m->kind = WindowMessageKind::kResized;
        m->a = event.data1;
        m->b = event.data2;
        return true;
      case SDL_WINDOWEVENT_MINIMIZED:
        m->kind = WindowMessageKind::kMinimized;
        return true;
      case SDL_WINDOWEVENT_MAXIMIZED:
      case SDL_WINDOWEVENT_RESTORED:
        m->kind = event.event == SDL_WINDOWEVENT_MAXIMIZED ? WindowMessageKind::kMaximized
                                                           : WindowMessageKind::kRestored;
        SDL_GetWindowSize(window_, &m->a, &m->b);
        return true;
      case SDL_WINDOWEVENT_FOCUS_GAINED:
        m->kind = WindowMessageKind::kFocusGained;
        return true;
      case SDL_WINDOWEVENT_FOCUS_LOST:
        m->kind = WindowMessageKind::kFocusLost;
        return true;
      case SDL_WINDOWEVENT_MOVED:
        m->kind = WindowMessageKind::kMoved;
        m->a = event.data1;
        m->b = event.data2;
        return true;
      case SDL_WINDOWEVENT_DISPLAY_CHANGED:
        m->kind = WindowMessageKind::kDisplayChanged;
        m->a = event.data1;
        return true;
      default:
        return false;
    }
  }

  SDL_Window* window_ = nullptr;
  SDL_GLContext context_ = nullptr;
  bool video_ = false;
  bool no_video_ = false;
  int32_t swap_interval_ = -2;
  std::vector<SDL_Cursor*> cursors_;
  struct ImageCursor {
    uint64_t handle;
    SDL_Cursor* cursor;
  };
  std::vector<ImageCursor> image_cursors_;
  uint64_t last_image_cursor_ = 0;
  uint64_t image_cursor_ = 0;
  WindowCursor system_cursor_ = WindowCursor::kArrow;
  std::deque<WindowMessage> posted_;
  std::vector<OpenPad> pads_;
  bool pads_started_ = false;
  bool pads_failed_ = false;
};

}  // namespace

int SdlWindowHost_VirtualKey(int sdl_keycode) {
  if (sdl_keycode >= SDLK_a && sdl_keycode <= SDLK_z) return 'A' + (sdl_keycode - SDLK_a);
  if (sdl_keycode >= SDLK_0 && sdl_keycode <= SDLK_9) return '0' + (sdl_keycode - SDLK_0);
  if (sdl_keycode >= SDLK_F1 && sdl_keycode <= SDLK_F12) return 112 + (sdl_keycode - SDLK_F1);
  if (sdl_keycode >= SDLK_F13 && sdl_keycode <= SDLK_F24) return 124 + (sdl_keycode - SDLK_F13);
  for (const KeyPair& pair : kKeyTable) {
    if (pair.sdl == sdl_keycode) return pair.vk;
  }
  return 0;
}

std::unique_ptr<IWindowHost> SdlWindowHost_Create() { return std::make_unique<SdlWindowHost>(); }
