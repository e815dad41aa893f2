#include "datawin/builder/manifest.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <set>

#include "datawin/format/gen8_layout.h"
#include "manifest/manifest_orders.h"

namespace datawin {

namespace {

using manifest::trim;

std::vector<std::string> split(const std::string& text, const char* separators) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (true) {
    const size_t next = text.find_first_of(separators, start);
    parts.push_back(trim(text.substr(start, next == std::string::npos ? std::string::npos : next - start)));
    if (next == std::string::npos) break;
    start = next + 1;
  }
  return parts;
}

bool parse_integer(const std::string& text, int64_t low, int64_t high, int64_t* out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  const long long value = std::strtoll(text.c_str(), &end, 0);
  if (errno != 0 || *end != '\0' || value < low || value > high) return false;
  *out = value;
  return true;
}

bool parse_flags(const std::string& text, uint32_t* out, std::string* bad) {
  uint32_t flags = 0;
  if (trim(text).empty()) {
    *out = 0;
    return true;
  }
  for (const std::string& part : split(text, ",|")) {
    int64_t number = 0;
    bool known = parse_integer(part, 0, UINT32_MAX, &number);
    if (known) {
      flags |= static_cast<uint32_t>(number);
      continue;
    }
    for (const gen8::InfoFlagName& flag : gen8::kInfoFlagNames) {
      if (part == flag.name) {
        flags |= flag.flag;
        known = true;
      }
    }
    if (!known) {
      *bad = part;
      return false;
    }
  }
  *out = flags;
  return true;
}

}  // namespace

bool parse_manifest(const std::string& text, const std::string& source, Manifest* out, std::string* error) {
  Manifest manifest;
  std::set<std::string> seen;
  int line_number = 0;
  auto fail = [&](const std::string& what) {
    *error = source + ":" + std::to_string(line_number) + ": " + what;
    return false;
  };
  size_t start = 0;
  while (start <= text.size()) {
    const size_t end = text.find('\n', start);
    const std::string line = trim(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
    start = end == std::string::npos ? text.size() + 1 : end + 1;
    ++line_number;
    if (line.empty() || line[0] == '#') continue;
    if (manifest::is_section_line(line)) break;  // the orders part: parsed by parse_orders
    const size_t equals = line.find('=');
    if (equals == std::string::npos) return fail("expected `key = value`, got \"" + line + "\"");
    const std::string key = trim(line.substr(0, equals));
    const std::string value = trim(line.substr(equals + 1));
    if (key.empty()) return fail("missing key before `=`");
    if (!seen.insert(key).second) return fail("key \"" + key + "\" given twice");
    int64_t number = 0;
    auto integer = [&](int64_t low, int64_t high) {
      return parse_integer(value, low, high, &number) ||
             fail("\"" + key + "\" must be a whole number from " + std::to_string(low) + " to " + std::to_string(high) +
                  ", got \"" + value + "\"");
    };
    if (key == "name") {
      if (value.empty()) return fail("\"name\" must not be empty");
      manifest.name = value;
    } else if (key == "display_name") {
      manifest.display_name = value;
    } else if (key == "project") {
      manifest.project = value;
    } else if (key == "window_width" || key == "window_height") {
      if (!integer(1, 16384)) return false;
      (key == "window_width" ? manifest.window_width : manifest.window_height) = static_cast<int32_t>(number);
    } else if (key == "version") {
      if (!integer(1, 255)) return false;
      manifest.version = static_cast<int>(number);
    } else if (key == "generation") {
      if (!integer(0, UINT32_MAX)) return false;
      manifest.generation = static_cast<uint32_t>(number);
    } else if (key == "game_id") {
      if (!integer(INT32_MIN, INT32_MAX)) return false;
      manifest.game_id = static_cast<int32_t>(number);
    } else if (key == "debug_off") {
      if (!integer(0, 1)) return false;
      manifest.debug_off = static_cast<uint8_t>(number);
    } else if (key == "speed") {
      char* end = nullptr;
      const double speed = std::strtod(value.c_str(), &end);
      if (value.empty() || *end != '\0' || !std::isfinite(speed) || speed < 0 || speed > 1e6) {
        return fail("\"speed\" must be a number of frames per second, 0 or above, got \"" + value + "\"");
      }
      manifest.speed = static_cast<float>(speed);
    } else if (key == "flags") {
      std::string bad;
      if (!parse_flags(value, &manifest.info_flags, &bad)) return fail("unknown flag \"" + bad + "\"");
    } else if (key == "room_order") {
      if (!value.empty()) {
        for (const std::string& part : split(value, ",")) {
          if (!parse_integer(part, 0, INT32_MAX, &number)) return fail("bad room number \"" + part + "\" in room_order");
          manifest.room_order.push_back(static_cast<uint32_t>(number));
        }
      }
    } else {
      return fail("unknown key \"" + key + "\"");
    }
  }
  if (manifest.name.empty()) {
    *error = source + ": \"name\" is required";
    return false;
  }
  if (!manifest::parse_orders(text, source, &manifest.orders, error)) return false;
  *out = std::move(manifest);
  return true;
}

}  // namespace datawin
