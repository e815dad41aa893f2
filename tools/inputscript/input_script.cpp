#include "inputscript/input_script.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>

#include "core/utf8.h"
#include "input/io_state.h"

namespace {

struct NamedKey {
  const char* name;
  int32_t key;
};
constexpr NamedKey kKeyNames[] = {
    {"backspace", 8}, {"tab", 9},       {"enter", 13},    {"return", 13},  {"shift", 16},  {"control", 17},
    {"ctrl", 17},     {"alt", 18},      {"pause", 19},    {"escape", 27},  {"esc", 27},    {"space", 32},
    {"pageup", 33},   {"pagedown", 34}, {"end", 35},      {"home", 36},    {"left", 37},   {"up", 38},
    {"right", 39},    {"down", 40},     {"insert", 45},   {"delete", 46},  {"lshift", 160}, {"rshift", 161},
    {"lcontrol", 162}, {"rcontrol", 163}, {"lalt", 164},  {"ralt", 165},
};

constexpr NamedKey kButtonNames[] = {{"left", 1}, {"right", 2}, {"middle", 3}};

std::string lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::string trim(const std::string& s) {
  const size_t first = s.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return s.substr(first, s.find_last_not_of(" \t\r") - first + 1);
}

bool whole_number(const std::string& text, int64_t* out) {
  if (text.empty() || !std::isdigit(static_cast<unsigned char>(text[0]))) return false;
  char* end = nullptr;
  const long long value = std::strtoll(text.c_str(), &end, 10);
  if (*end != '\0' || value > 0x7FFFFFFF) return false;
  *out = value;
  return true;
}

bool point(const std::string& text, int32_t* x, int32_t* y) {
  const size_t comma = text.find(',');
  if (comma == std::string::npos) return false;
  char* end = nullptr;
  const std::string xs = trim(text.substr(0, comma)), ys = trim(text.substr(comma + 1));
  const long xv = std::strtol(xs.c_str(), &end, 10);
  if (xs.empty() || *end != '\0') return false;
  const long yv = std::strtol(ys.c_str(), &end, 10);
  if (ys.empty() || *end != '\0') return false;
  *x = static_cast<int32_t>(xv);
  *y = static_cast<int32_t>(yv);
  return true;
}

int32_t button_of(const std::string& name) {
  for (const NamedKey& b : kButtonNames) {
    if (name == b.name) return b.key;
  }
  int64_t n = 0;
  return whole_number(name, &n) && n >= 1 && n <= kIoButtonCount ? static_cast<int32_t>(n) : -1;
}

// One action of a frame into *out (two for click and tap); false with the problem in *error.
bool parse_action(int64_t frame, const std::string& text, std::vector<InputAction>* out, std::string* error) {
  std::istringstream words(text);
  std::string verb;
  words >> verb;
  verb = lower(verb);
  std::string rest;
  std::getline(words, rest);
  rest = trim(rest);
  const std::string rest_lower = lower(rest);
  InputAction a;
  a.frame = frame;

  auto at_point = [&](const std::string& phrase, const std::string& lead) {
    if (phrase.rfind(lead, 0) != 0) return false;
    a.moves = point(phrase.substr(lead.size()), &a.x, &a.y);
    return a.moves;
  };

  if (verb == "move") {
    a.kind = InputAction::kMove;
    if (!at_point(rest_lower, "to ")) return *error = "move wants \"to X,Y\"", false;
    out->push_back(a);
    return true;
  }
  if (verb == "click") {
    if (!at_point(rest_lower, "at ")) return *error = "click wants \"at X,Y\"", false;
    a.kind = InputAction::kButtonDown;
    a.value = 1;
    out->push_back(a);
    a.kind = InputAction::kButtonUp;
    a.frame = frame + 1;
    out->push_back(a);
    return true;
  }
  if (verb == "press" || verb == "release") {
    const size_t space = rest_lower.find(' ');
    a.value = button_of(rest_lower.substr(0, space));
    if (a.value < 0) return *error = "unknown mouse button \"" + rest + "\"", false;
    if (space != std::string::npos && !at_point(trim(rest_lower.substr(space)), "at ")) {
      return *error = "a button wants \"at X,Y\" after it", false;
    }
    a.kind = verb == "press" ? InputAction::kButtonDown : InputAction::kButtonUp;
    out->push_back(a);
    return true;
  }
  if (verb == "wheel") {
    if (rest_lower != "up" && rest_lower != "down") return *error = "wheel wants up or down", false;
    a.kind = rest_lower == "up" ? InputAction::kWheelUp : InputAction::kWheelDown;
    out->push_back(a);
    return true;
  }
  if (verb == "key" || verb == "tap") {
    std::string name = rest;
    if (verb == "key") {
      const size_t space = rest_lower.find(' ');
      const std::string way = rest_lower.substr(0, space);
      if ((way != "down" && way != "up") || space == std::string::npos) return *error = "key wants down or up and a key", false;
      a.kind = way == "down" ? InputAction::kKeyDown : InputAction::kKeyUp;
      name = trim(rest.substr(space));
    } else {
      a.kind = InputAction::kKeyDown;
    }
    a.value = InputScript_KeyOfName(name);
    if (a.value < 0) return *error = "unknown key \"" + name + "\"", false;
    out->push_back(a);
    if (verb == "tap") {
      a.kind = InputAction::kKeyUp;
      a.frame = frame + 1;
      out->push_back(a);
    }
    return true;
  }
  if (verb == "type") {
    if (rest.size() < 2 || rest.front() != '"' || rest.back() != '"') return *error = "type wants a quoted text", false;
    a.kind = InputAction::kType;
    a.text = rest.substr(1, rest.size() - 2);
    out->push_back(a);
    return true;
  }
  *error = "unknown action \"" + verb + "\"";
  return false;
}

void apply(IoState& io, const InputAction& a) {
  if (a.moves) io.MouseMove(a.x, a.y);
  switch (a.kind) {
    case InputAction::kMove:
      break;
    case InputAction::kButtonDown:
      io.MouseDown(a.value, io.raw.mouseX, io.raw.mouseY);
      break;
    case InputAction::kButtonUp:
      io.MouseUp(a.value, io.raw.mouseX, io.raw.mouseY);
      break;
    case InputAction::kWheelUp:
      io.WheelUp();
      break;
    case InputAction::kWheelDown:
      io.WheelDown();
      break;
    case InputAction::kKeyDown:
      io.KeyDown(a.value, false);
      // Keys that type a control character arrive as characters too, as the window reports them.
      if (a.value == 8 || a.value == 9 || a.value == 13 || a.value == 27) io.Char(static_cast<uint32_t>(a.value));
      break;
    case InputAction::kKeyUp:
      io.KeyUp(a.value);
      break;
    case InputAction::kType:
      for (size_t at = 0; at < a.text.size();) {
        size_t size = 1;
        io.Char(utf8_decode(a.text, at, &size));
        at += size == 0 ? 1 : size;
      }
      break;
  }
}

}  // namespace

int32_t InputScript_KeyOfName(const std::string& name) {
  if (name.size() == 1 && std::isalnum(static_cast<unsigned char>(name[0]))) {
    return std::toupper(static_cast<unsigned char>(name[0]));
  }
  const std::string n = lower(name);
  for (const NamedKey& k : kKeyNames) {
    if (n == k.name) return k.key;
  }
  int64_t number = 0;
  if (n.size() >= 2 && n[0] == 'f' && whole_number(n.substr(1), &number) && number >= 1 && number <= 24) {
    return static_cast<int32_t>(111 + number);
  }
  if (whole_number(n, &number) && number < kIoKeyCount) return static_cast<int32_t>(number);
  return -1;
}

bool InputScript_Parse(const std::string& text, InputScript* out, std::string* error) {
  *out = InputScript{};
  std::istringstream lines(text);
  std::string line;
  int line_number = 0;
  int64_t asked_frames = 0;
  auto fail = [&](const std::string& what) {
    *error = "line " + std::to_string(line_number) + ": " + what;
    return false;
  };
  while (std::getline(lines, line)) {
    ++line_number;
    line = trim(line);
    if (line.empty() || line[0] == '#') continue;
    const std::string l = lower(line);
    if (l.rfind("frames ", 0) == 0) {
      if (!whole_number(trim(line.substr(7)), &asked_frames)) return fail("frames wants a count");
      continue;
    }
    const size_t colon = line.find(':');
    int64_t frame = 0;
    if (l.rfind("frame ", 0) != 0 || colon == std::string::npos || !whole_number(trim(line.substr(6, colon - 6)), &frame)) {
      return fail("expected \"frame N: action\"");
    }
    std::string actions = line.substr(colon + 1);
    size_t start = 0;
    // Actions are split at ';' outside quotes.
    bool quoted = false;
    for (size_t i = 0; i <= actions.size(); ++i) {
      if (i < actions.size() && actions[i] == '"') quoted = !quoted;
      if (i < actions.size() && (actions[i] != ';' || quoted)) continue;
      const std::string action = trim(actions.substr(start, i - start));
      start = i + 1;
      if (action.empty()) continue;
      std::string problem;
      if (!parse_action(frame, action, &out->actions, &problem)) return fail(problem);
    }
  }
  std::stable_sort(out->actions.begin(), out->actions.end(),
                   [](const InputAction& a, const InputAction& b) { return a.frame < b.frame; });
  const int64_t last = out->actions.empty() ? -1 : out->actions.back().frame;
  out->frames = std::max(asked_frames, last + 2);
  return true;
}

std::vector<uint8_t> InputScript_Records(const InputScript& script) {
  std::vector<uint8_t> bytes(static_cast<size_t>(script.frames) * IoState::kRecordSize);
  IoState io;
  size_t next = 0;
  for (int64_t frame = 0; frame < script.frames; ++frame) {
    for (; next < script.actions.size() && script.actions[next].frame == frame; ++next) apply(io, script.actions[next]);
    io.BeginFrame();
    // The two shift sides follow the shift key: a script holds the left one.
    io.TakeRaw(io.raw.keyDown[kVkShift] != 0, false, io.raw.mouseX, io.raw.mouseY);
    io.WriteRecord(bytes.data() + static_cast<size_t>(frame) * IoState::kRecordSize);
  }
  return bytes;
}
