#include "input/gamepad_mapping.h"

#include <cstdlib>
#include <cstring>

#include "core/console.h"

const char* const kMapEntryNames[kMapEntryCount] = {
    "a",     "b",        "x",         "y",          "leftshoulder", "rightshoulder", "lefttrigger",
    "righttrigger", "guide", "start", "leftstick", "rightstick",   "dpup",          "dpdown",
    "dpleft", "dpright", "leftx",     "lefty",      "rightx",       "righty",        "back"};

namespace {

struct PlatformName {
  const char* name;
  int32_t platform;
};
constexpr PlatformName kPlatforms[] = {
    {"windows", kPadWindows}, {"mac os x", kPadMacOs}, {"linux", kPadLinux}, {"android", kPadAndroid}};

// A whole decimal number at *p; false when there is none.
bool read_number(const char** p, int32_t* out) {
  const char* start = *p;
  char* end = nullptr;
  const long value = std::strtol(start, &end, 10);
  if (end == start || *start == '-' || *start == '+' || value > 0x7FFFFFFF) return false;
  *out = static_cast<int32_t>(value);
  *p = end;
  return true;
}

bool parse_value(const std::string& text, GamePadMappingEntry* entry) {
  GamePadMappingEntry e;
  const char* p = text.c_str();
  if (*p == '+') {
    e.flags |= kMapFlagPositive;
    ++p;
  } else if (*p == '-') {
    e.flags |= kMapFlagNegative;
    ++p;
  }
  const char letter = *p++;
  if (!read_number(&p, &e.index)) return false;
  switch (letter) {
    case 'a':
      e.kind = kMapAxis;
      if (*p == '~') {
        e.flags |= kMapFlagInvert;
        ++p;
      }
      break;
    case 'b':
      e.kind = kMapButton;
      break;
    case 'h':
      e.kind = kMapHat;
      if (*p++ != '.' || !read_number(&p, &e.hatMask)) return false;
      break;
    default:
      return false;
  }
  if (*p != '\0') return false;
  *entry = e;
  return true;
}

std::string value_text(const GamePadMappingEntry& e) {
  std::string text;
  if ((e.flags & kMapFlagPositive) != 0) text += '+';
  if ((e.flags & kMapFlagNegative) != 0) text += '-';
  switch (e.kind) {
    case kMapAxis:
      text += 'a' + std::to_string(e.index);
      if ((e.flags & kMapFlagInvert) != 0) text += '~';
      break;
    case kMapButton:
      text += 'b' + std::to_string(e.index);
      break;
    case kMapHat:
      text += 'h' + std::to_string(e.index) + '.' + std::to_string(e.hatMask);
      break;
    default:
      return "";
  }
  return text;
}

std::vector<std::string> split_lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t i = 0; i <= text.size(); ++i) {
    if (i < text.size() && text[i] != '\r' && text[i] != '\n') continue;
    if (i > start) lines.push_back(text.substr(start, i - start));
    start = i + 1;
  }
  return lines;
}

}  // namespace

bool GamePadMapping_Parse(const std::string& line, GamePadMapping* out) {
  const size_t first = line.find(',');
  const size_t second = first == std::string::npos ? first : line.find(',', first + 1);
  if (second == std::string::npos) {
    g_ReleaseConsole->Output("Unable to parse mapping string - %s\n", line.c_str());
    return false;
  }
  GamePadMapping m;
  m.guid = line.substr(0, first);
  m.name = line.substr(first + 1, second - first - 1);
  m.line = line;
  size_t at = second + 1;
  while (at < line.size()) {
    size_t end = line.find(',', at);
    if (end == std::string::npos) end = line.size();
    const std::string pair = line.substr(at, end - at);
    at = end + 1;
    const size_t colon = pair.find(':');
    if (colon == std::string::npos) continue;
    const std::string key = pair.substr(0, colon);
    const std::string value = pair.substr(colon + 1);
    if (key == "platform") {
      for (const PlatformName& platform : kPlatforms) {
        if (value == platform.name) m.platform = platform.platform;
      }
      continue;
    }
    for (int32_t i = 0; i < kMapEntryCount; ++i) {
      if (key != kMapEntryNames[i]) continue;
      if (!parse_value(value, &m.entries[i])) {
        g_ReleaseConsole->Output("Unable to parse gamepad mapping value - %s\n", value.c_str());
      }
      break;
    }
  }
  *out = std::move(m);
  return true;
}

std::string GamePadMapping_Text(const GamePadMapping& mapping) {
  std::string text = mapping.guid + "," + mapping.name + ",";
  for (int32_t i = 0; i < kMapEntryCount; ++i) {
    const std::string value = value_text(mapping.entries[i]);
    if (!value.empty()) text += std::string(kMapEntryNames[i]) + ":" + value + ",";
  }
  for (const PlatformName& platform : kPlatforms) {
    if (platform.platform == mapping.platform) text += std::string("platform:") + platform.name + ",";
  }
  return text;
}

void GamePadMapping_Apply(const GamePadMapping& mapping, const GamePadRaw& raw, std::vector<float>* buttons,
                          std::vector<float>* axes) {
  std::vector<bool> button_used(static_cast<size_t>(raw.buttonCount), false);
  std::vector<bool> axis_used(static_cast<size_t>(raw.axisCount), false);
  auto raw_button = [&](int32_t i) {
    if (i < 0 || i >= raw.buttonCount) return 0.0f;
    button_used[static_cast<size_t>(i)] = true;
    return raw.buttons[i];
  };
  auto raw_axis = [&](int32_t i) {
    if (i < 0 || i >= raw.axisCount) return 0.0f;
    axis_used[static_cast<size_t>(i)] = true;
    return raw.axes[i];
  };
  auto raw_hat = [&](const GamePadMappingEntry& e) {
    if (e.index < 0 || e.index >= raw.hatCount) return 0.0f;
    return (raw.hats[e.index] & e.hatMask) != 0 ? 1.0f : 0.0f;
  };

  buttons->assign(kMappedButtons, 0.0f);
  for (int32_t i = 0; i < kMappedButtons; ++i) {
    const GamePadMappingEntry& e = mapping.entries[i < 16 ? i : kMapEntryBack];
    float& out = (*buttons)[static_cast<size_t>(i)];
    switch (e.kind) {
      case kMapButton: out = raw_button(e.index); break;
      case kMapAxis: out = (raw_axis(e.index) + 1.0f) * 0.5f; break;
      case kMapHat: out = raw_hat(e); break;
      default: break;
    }
  }
  axes->assign(kMappedAxes, 0.0f);
  for (int32_t i = 0; i < kMappedAxes; ++i) {
    const GamePadMappingEntry& e = mapping.entries[kMapEntryFirstAxis + i];
    float& out = (*axes)[static_cast<size_t>(i)];
    switch (e.kind) {
      case kMapAxis: out = raw_axis(e.index); break;
      case kMapButton: out = raw_button(e.index); break;
      case kMapHat: out = raw_hat(e); break;
      default: break;
    }
  }
  for (int32_t i = 0; i < raw.buttonCount; ++i) {
    if (!button_used[static_cast<size_t>(i)]) buttons->push_back(raw.buttons[i]);
  }
  for (int32_t i = 0; i < raw.axisCount; ++i) {
    if (!axis_used[static_cast<size_t>(i)]) axes->push_back(raw.axes[i]);
  }
}

int32_t GamePadDatabase::AddText(const std::string& text) {
  int32_t added = 0;
  for (const std::string& line : split_lines(text)) {
    if (line[0] == '#') continue;
    if (AddLine(line)) ++added;
  }
  return added;
}

bool GamePadDatabase::AddLine(const std::string& line) {
  auto record = std::make_unique<GamePadMapping>();
  if (!GamePadMapping_Parse(line, record.get())) return false;
  record->stored = true;
  records_.push_back(std::move(record));
  return true;
}

const GamePadMapping* GamePadDatabase::Find(const std::string& guid) const {
  for (auto it = records_.rbegin(); it != records_.rend(); ++it) {
    if ((*it)->platform == kPadRunningPlatform && (*it)->guid == guid) return it->get();
  }
  return nullptr;
}

std::string GamePadDatabase::AllLines() const {
  std::string text;
  for (auto it = records_.rbegin(); it != records_.rend(); ++it) text += (*it)->line + "\n";
  return text;
}
