// The names of events, keys and mouse and other subtypes as error messages show them.
#include <cstdio>

#include "world/event.h"
#include "world/object_type.h"

namespace {

std::string format(const char* pattern, int32_t value) {
  char text[64];
  std::snprintf(text, sizeof(text), pattern, value);
  return text;
}

const char* const kJoystickDirections[4] = {"Left", "Right", "Up", "Down"};

}  // namespace

const char* Event_KeyName(int32_t key) {
  static char text[16];
  switch (key) {
    case 0: return "<no key>";
    case 1: return "<any key>";
    case 8: return "<Backspace>";
    case 9: return "<Tab>";
    case 13: return "<Enter>";
    case 16: return "<Shift>";
    case 17: return "<Ctrl>";
    case 18: return "<Alt>";
    case 27: return "<Escape>";
    case 32: return "<Space>";
    case 33: return "<Page Up>";
    case 34: return "<Page Down>";
    case 35: return "<End>";
    case 36: return "<Home>";
    case 37: return "<Left>";
    case 38: return "<Up>";
    case 39: return "<Right>";
    case 40: return "<Down>";
    case 45: return "<Insert>";
    case 46: return "<Delete>";
    case 106: return "Keypad *";
    case 107: return "Keypad +";
    case 109: return "Keypad -";
    case 110: return "Keypad .";
    case 111: return "Keypad /";
    default: break;
  }
  if ((key >= 48 && key <= 57) || (key >= 65 && key <= 90)) {
    std::snprintf(text, sizeof(text), "%c-key", static_cast<char>(key));
    return text;
  }
  if (key >= 96 && key <= 105) {
    std::snprintf(text, sizeof(text), "Keypad-%d", key - 96);
    return text;
  }
  if (key >= 112 && key <= 123) {
    std::snprintf(text, sizeof(text), "F%d", key - 111);
    return text;
  }
  return "<unknown>";
}

const char* Event_MouseName(int32_t subtype) {
  static const char* const kNames[] = {
      "Left Button",   "Right Button",   "Middle Button",   "No Button",     "Left Pressed",
      "Right Pressed", "Middle Pressed", "Left Released",   "Right Released", "Middle Released",
      "Mouse Enter",   "Mouse Leave"};
  static const char* const kGlob[] = {"Glob Left Button",   "Glob Right Button",   "Glob Middle Button",
                                      "Glob Left Pressed",  "Glob Right Pressed",  "Glob Middle Pressed",
                                      "Glob Left Released", "Glob Right Released", "Glob Middle Released"};
  static char text[32];
  if (subtype >= 0 && subtype <= 11) return kNames[subtype];
  if (subtype >= 50 && subtype <= 58) return kGlob[subtype - 50];
  if (subtype == 60) return "Mouse Wheel Up";
  if (subtype == 61) return "Mouse Wheel Down";
  for (int32_t stick = 1; stick <= 2; ++stick) {
    const int32_t directions = stick == 1 ? 16 : 31;
    const int32_t buttons = stick == 1 ? 21 : 36;
    if (subtype >= directions && subtype < directions + 4) {
      std::snprintf(text, sizeof(text), "Joystick %d %s", stick, kJoystickDirections[subtype - directions]);
      return text;
    }
    if (subtype >= buttons && subtype < buttons + 8) {
      std::snprintf(text, sizeof(text), "Joystick %d Button %d", stick, subtype - buttons + 1);
      return text;
    }
  }
  return "<unknown>";
}

const char* Event_OtherName(int32_t subtype) {
  static const char* const kFirst[] = {"Outside Room", "Intersect Boundary", "Game Start",    "Game End",
                                       "Room Start",   "Room End",           "No More Lives", "Animation End",
                                       "End Of Path",  "No More Health"};
  static const char* const kAsync[] = {"Image Loaded", "Sound Loaded", "HTTP", "Dialog"};
  static const char* const kAsyncLater[] = {"IAP",       "Cloud",           "Networking",     "Steam",
                                            "Social",    "Push",            "Save-Load",      "Audio Recording",
                                            "Audio Playback", "System Event"};
  static char text[32];
  if (subtype >= 0 && subtype <= 9) return kFirst[subtype];
  if (subtype >= 10 && subtype <= 25) {
    std::snprintf(text, sizeof(text), "User Defined %d", subtype - 10);
    return text;
  }
  if (subtype == 30) return "Close Button";
  if (subtype >= 40 && subtype <= 47) {
    std::snprintf(text, sizeof(text), "Outside View %d", subtype - 40);
    return text;
  }
  if (subtype >= 50 && subtype <= 57) {
    std::snprintf(text, sizeof(text), "Boundary View %d", subtype - 50);
    return text;
  }
  if (subtype == 58) return "Animation Update";
  if (subtype >= 60 && subtype <= 63) return kAsync[subtype - 60];
  if (subtype >= 66 && subtype <= 75) return kAsyncLater[subtype - 66];
  return "";
}

std::string Event_Name(int32_t type, int32_t subtype) {
  switch (type) {
    case kEventCreate: return "Create Event";
    case kEventDestroy: return "Destroy Event";
    case kEventAlarm: return format("Alarm Event for alarm %d", subtype);
    case kEventStep: {
      const char* prefix = subtype == kStepBegin ? "Begin" : subtype == kStepEnd ? "End" : "";
      return std::string(prefix) + format(" Step Event%d", subtype);
    }
    case kEventCollision: {
      char text[320];
      std::snprintf(text, sizeof(text), " Step Event%s", Object_GetName(subtype));
      return text;
    }
    case kEventKeyboard: return std::string("Keyboard Event for ") + Event_KeyName(subtype) + " Key";
    case kEventMouse: return std::string("Mouse Event for ") + Event_MouseName(subtype);
    case kEventOther:
      if (subtype >= 60) {
        char text[96];
        std::snprintf(text, sizeof(text), "Async Event: %s", Event_OtherName(subtype));
        return text;
      }
      return std::string("Other Event: ") + Event_OtherName(subtype);
    case kEventDraw: return "Draw Event";
    case kEventKeyPress: return std::string("Key Press Event for ") + Event_KeyName(subtype) + " Key";
    case kEventKeyRelease: return std::string("Key Release Event for ") + Event_KeyName(subtype) + " Key";
    case kEventPreCreate: return "PreCreate Event";
    default: return "<Unknown Event>";
  }
}
