#include "run/run_options_ini.h"

#include <cstdlib>
#include <cstring>

#include "core/console.h"
#include "core/memory.h"
#include "core/timing.h"
#include "platform/files.h"
#include "storage/ini_file.h"

namespace {

constexpr const char* kWindows = "Windows";
constexpr const char* kDefault = "DEFAULT";

IniFile* g_options_ini = nullptr;

// Optional sign, digits with at most one '.', at least one digit, nothing else.
bool is_decimal(const char* text) {
  const char* p = text;
  if (*p == '+' || *p == '-') ++p;
  bool digit = false;
  bool point = false;
  for (; *p != '\0'; ++p) {
    if (*p >= '0' && *p <= '9') {
      digit = true;
    } else if (*p == '.' && !point) {
      point = true;
    } else {
      return false;
    }
  }
  return digit;
}

// atoi's reading (leading number, 0 for none) without its overflow: out-of-range numbers clamp.
int32_t leading_int(const char* text) {
  const long long value = std::strtoll(text, nullptr, 10);
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(value);
}

void read_switch(const IniFile& ini, const char* section, const char* key, std::optional<bool>* out) {
  const char* value = ini.GetValue(section, key);
  if (value == nullptr) return;
  const int parsed = OptionsIni_ParseSwitch(value);
  if (parsed < 0) {
    g_ReleaseConsole->Output("options.ini: [%s] %s = \"%s\" is not True, False or a number; ignored\n", section, key,
                             value);
    return;
  }
  *out = parsed != 0;
}

// The first section, in list order, that holds the key.
const char* find_in_any_section(const IniFile& ini, const char* key) {
  for (const IniSection* section = ini.sections; section != nullptr; section = section->next) {
    for (const IniKey* entry = section->keys; entry != nullptr; entry = entry->next) {
      if (entry->key == key) return entry->value.c_str();
    }
  }
  return nullptr;
}

}  // namespace

int OptionsIni_ParseSwitch(const char* text) {
  if (text == nullptr) return -1;
  if (std::strcmp(text, "True") == 0) return 1;
  if (std::strcmp(text, "False") == 0) return 0;
  if (!is_decimal(text)) return -1;
  return std::atof(text) != 0.0 ? 1 : 0;
}

OptionsIniSettings OptionsIni_Apply(const IniFile& ini, const RunOptions& options) {
  OptionsIniSettings settings;

  if (const char* file = find_in_any_section(ini, "PreGraphicsInitFile")) {
    settings.pre_graphics_init_file = file;
    g_ReleaseConsole->Output("options.ini: PreGraphicsInitFile %s: extension libraries can't be loaded on this "
                             "platform; going on without it\n",
                             file);
  }
  if (const char* arg = find_in_any_section(ini, "PreGraphicsInitArg")) settings.pre_graphics_init_arg = arg;

  if (!options.vertex_buffer_method_fixed) {
    if (const char* value = ini.GetValue(kWindows, "VertexBufferMethod")) {
      const int32_t method = leading_int(value);
      if (method >= 0 && method <= 2) settings.vertex_buffer_method = method;
    }
  }
  if (!options.manual_vsync) read_switch(ini, kWindows, "AlternateSyncMethod", &settings.alternate_sync);
  if (!options.sleep_margin_fixed) {
    if (const char* value = ini.GetValue(kWindows, "SleepMargin")) {
      const int32_t margin = leading_int(value);
      settings.sleep_margin = margin < 0 ? 0 : margin;
      SleepMargin = *settings.sleep_margin;
    }
  }

  read_switch(ini, kDefault, "OrientLandscape", &settings.orient_landscape);
  read_switch(ini, kDefault, "OrientLandscapeFlipped", &settings.orient_landscape_flipped);
  read_switch(ini, kDefault, "OrientPortrait", &settings.orient_portrait);
  read_switch(ini, kDefault, "OrientPortraitFlipped", &settings.orient_portrait_flipped);
  read_switch(ini, kDefault, "Debug", &settings.debug);
  read_switch(ini, kDefault, "Trace", &settings.trace);
  return settings;
}

bool Options_ApplyIni(const std::string& path, const RunOptions& options, OptionsIniSettings* settings) {
  Options_ReleaseIni();
  *settings = OptionsIniSettings{};
  g_DebugConsole->Output("Checking if INIFile exists at %s\n", path.c_str());
  if (!Platform_FileReadable(path)) return false;
  g_DebugConsole->Output("INIFile %s Exists, loading....\n", path.c_str());
  g_options_ini = KV_NEW(IniFile, path.c_str(), true);
  *settings = OptionsIni_Apply(*g_options_ini, options);
  settings->exists = true;
  return true;
}

const IniFile* Options_Ini() { return g_options_ini; }

void Options_ReleaseIni() {
  KV_Delete(g_options_ini);
  g_options_ini = nullptr;
}
