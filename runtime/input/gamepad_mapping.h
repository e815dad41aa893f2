#pragma once
// Gamepad mappings: lines of the public controller database format ("guid,name,key:value,..."),
// parsed into 21 entries in a fixed order, the database they are kept in (newest first), and the
// mapping of a pad's raw buttons, axes and hats onto the standard layout.
//
// Line rules: lines split at carriage return or line feed; a line starting with "#" is skipped; a
// line without two commas is refused with "Unable to parse mapping string - %s". "platform" takes
// "windows", "mac os x", "linux" or "android" exactly (other spellings leave the running
// platform, Linux); other keys not in the entry list are ignored. A value is an optional "+" or
// "-", then "a<n>" (an axis, "~" after it inverts), "b<n>" (a button) or "h<n>.<mask>" (a hat);
// anything else prints "Unable to parse gamepad mapping value - %s" and leaves the entry empty.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

enum GamePadMappingKind : int32_t { kMapNone = 0, kMapAxis = 1, kMapButton = 2, kMapHat = 3 };
constexpr int32_t kMapFlagPositive = 1;  // "+": the positive half of an axis
constexpr int32_t kMapFlagNegative = 2;  // "-"
constexpr int32_t kMapFlagInvert = 4;    // "~"

enum GamePadPlatform : int32_t { kPadWindows = 0, kPadMacOs = 1, kPadLinux = 4, kPadAndroid = 6 };
constexpr int32_t kPadRunningPlatform = kPadLinux;

// "a", "b", ... "back": the entries of a mapping, in this order.
constexpr int32_t kMapEntryCount = 21;
constexpr int32_t kMapEntryFirstAxis = 16;  // "leftx"
constexpr int32_t kMapEntryBack = 20;
extern const char* const kMapEntryNames[kMapEntryCount];

struct GamePadMappingEntry {
  int32_t kind = kMapNone;
  int32_t index = -1;
  int32_t hatMask = 0;
  int32_t flags = 0;
};

struct GamePadMapping {
  std::string guid;
  std::string name;
  int32_t platform = kPadRunningPlatform;
  bool stored = false;  // belongs to the database
  GamePadMappingEntry entries[kMapEntryCount];
  std::string line;  // the text it was read from
};

// Parses one line; false (with the console line) when it has no two commas.
bool GamePadMapping_Parse(const std::string& line, GamePadMapping* out);
// The mapping as one line: guid, name, the entries that are set, the platform.
std::string GamePadMapping_Text(const GamePadMapping& mapping);

// The raw state of a pad and its mapped result: 17 mapped buttons then the unmapped raw buttons,
// 4 mapped axes then the unmapped raw axes.
struct GamePadRaw {
  const float* buttons = nullptr;
  int32_t buttonCount = 0;
  const float* axes = nullptr;
  int32_t axisCount = 0;
  const int32_t* hats = nullptr;
  int32_t hatCount = 0;
};
constexpr int32_t kMappedButtons = 17;
constexpr int32_t kMappedAxes = 4;
void GamePadMapping_Apply(const GamePadMapping& mapping, const GamePadRaw& raw, std::vector<float>* buttons,
                          std::vector<float>* axes);

// The database of mappings, newest first.
class GamePadDatabase {
 public:
  // Adds every line of a text; returns the count added. Bad lines print their line and are left out.
  int32_t AddText(const std::string& text);
  // Adds one line; false when it can't be parsed.
  bool AddLine(const std::string& line);
  // The newest record of this guid for the running platform, or null.
  const GamePadMapping* Find(const std::string& guid) const;
  // Every line, each followed by a line end, newest first.
  std::string AllLines() const;
  void Clear() { records_.clear(); }
  size_t size() const { return records_.size(); }

 private:
  std::vector<std::unique_ptr<GamePadMapping>> records_;  // oldest first
};
