// Input gamepad databases read at start-up: the controller database text (one pad's GUID,
// description and mapping entries a row), the table of pad types by vendor and product, and the
// blacklist of pads the library leaves alone. All three share one cell reader.
#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "input/input_internal.h"

namespace input {

namespace {

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Cells split at ",", lines at carriage returns and line feeds, text in double quotes one cell;
// a line whose first cell holds "#" is a comment and is left out, as are empty lines.
std::vector<std::vector<std::string>> rows_of(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::vector<std::string> row;
  std::string cell;
  bool quoted = false;
  auto end_cell = [&] {
    row.push_back(cell);
    cell.clear();
  };
  auto end_line = [&] {
    if (!cell.empty() || !row.empty()) end_cell();
    if (!row.empty() && row[0].find('#') == std::string::npos) rows.push_back(row);
    row.clear();
  };
  for (const char c : text) {
    if (quoted) {
      if (c == '"') quoted = false;
      else cell.push_back(c);
    } else if (c == '"') {
      quoted = true;
    } else if (c == ',') {
      end_cell();
    } else if (c == '\r' || c == '\n') {
      end_line();
    } else {
      cell.push_back(c);
    }
  }
  end_line();
  return rows;
}

bool is_hex(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); });
}

// A vendor or product id as a GUID writes it: four hex digits, low byte first. "0x045e" (the id as
// a number) becomes "5e04"; four hex digits are taken as they stand.
std::string guid_order_id(const std::string& cell) {
  const std::string text = lower(trimmed(cell));
  if (text.rfind("0x", 0) == 0 && is_hex(text.substr(2)) && text.size() <= 6) {
    const unsigned long id = std::strtoul(text.c_str() + 2, nullptr, 16);
    static const char kDigits[] = "0123456789abcdef";
    std::string out(4, '0');
    out[0] = kDigits[(id >> 4) & 0xF];
    out[1] = kDigits[id & 0xF];
    out[2] = kDigits[(id >> 12) & 0xF];
    out[3] = kDigits[(id >> 8) & 0xF];
    return out;
  }
  return text.size() == 4 && is_hex(text) ? text : "";
}

bool contains(const std::string& haystack, const std::string& needle) {
  return lower(haystack).find(lower(needle)) != std::string::npos;
}

}  // namespace

// A row is kept when its platform entry names the one the program runs on, or, with extended
// entries allowed, when it has none.
void sdl2_load_string(const std::string& text) {
  Sdl2Database& db = sys().sdl2;
  for (std::vector<std::string>& line : rows_of(text)) {
    if (line.size() < 2) continue;
    while (!line.empty() && line.back().empty()) line.pop_back();
    std::optional<std::string> platform;
    for (size_t i = 2; i < line.size(); ++i) {
      if (line[i].rfind("platform:", 0) == 0) platform = line[i].substr(9);
    }
    if (platform ? *platform != kSdl2Platform : !INPUT_SDL2_ALLOW_EXTENDED) continue;
    const size_t at = db.rows.size();
    db.rows.push_back(line);
    db.by_guid[line[0]].push_back(at);
    db.by_description[line[1]].push_back(at);
    const GuidParts parts = guid_parse(line[0], false, true);
    if (parts.valid) db.by_vendor_product[parts.vendor + parts.product].push_back(at);
  }
}

// A row names a vendor, a product and the raw type; further cells (a note on the model) are
// passed over, and so is a row whose ids aren't ids (a heading).
void type_csv_load_string(const std::string& text) {
  for (const std::vector<std::string>& row : rows_of(text)) {
    if (row.size() < 3) continue;
    const std::string vendor = guid_order_id(row[0]);
    const std::string product = guid_order_id(row[1]);
    const std::string type = trimmed(row[2]);
    if (vendor.empty() || product.empty() || type.empty()) continue;
    sys().raw_type_dictionary[vendor + product] = type;
  }
}

// A row names an operating system ("windows", "mac os x", "linux", "android", "ios", or "all"), a
// rule and its value. Rules: "vid+pid" (the two ids, as for the type table, in one cell as
// "vendor+product" or in two cells), "vid" (every product of a vendor), "guid" (the whole GUID),
// "description" (the whole description, case-blind) and "description contains".
void blacklist_csv_load_string(const std::string& text) {
  for (const std::vector<std::string>& row : rows_of(text)) {
    if (row.size() < 3) continue;
    const std::string os = lower(trimmed(row[0]));
    const std::string rule = lower(trimmed(row[1]));
    std::string value = trimmed(row[2]);
    if (rule == "vid+pid") {
      const size_t plus = value.find('+');
      const std::string vendor = guid_order_id(plus != std::string::npos ? value.substr(0, plus) : value);
      const std::string product =
          guid_order_id(plus != std::string::npos ? value.substr(plus + 1) : (row.size() > 3 ? row[3] : ""));
      if (vendor.empty() || product.empty()) continue;
      value = vendor + product;
    } else if (rule == "vid") {
      value = guid_order_id(value);
      if (value.empty()) continue;
    } else if (rule == "guid" || rule == "description" || rule == "description contains") {
      value = lower(value);
    } else {
      trace("Warning! Blacklist rule \"" + row[1] + "\" not recognised");
      continue;
    }
    sys().blacklist[os][rule].push_back(value);
  }
}

std::string blacklist_reason(const Gamepad& pad) {
  const System& s = sys();
  for (const std::string& os : {lower(kSdl2Platform), std::string("all")}) {
    const auto rules = s.blacklist.find(os);
    if (rules == s.blacklist.end()) continue;
    for (const auto& [rule, values] : rules->second) {
      for (const std::string& value : values) {
        const bool hit = (rule == "vid+pid" && !pad.vendor.empty() && value == pad.vendor + pad.product) ||
                         (rule == "vid" && !pad.vendor.empty() && value == pad.vendor) ||
                         (rule == "guid" && value == lower(pad.guid)) ||
                         (rule == "description" && value == lower(pad.description)) ||
                         (rule == "description contains" && contains(pad.description, value));
        if (hit) return rule + " " + value;
      }
    }
  }
  return "";
}

}  // namespace input
