#include "support/fixture.h"

#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "core/builtin_families.h"
#include "core/code_tables.h"
#include "core/function_table.h"
#include "core/gc.h"
#include "core/variable_names.h"
#include "data/debug_file.h"
#include "data/game_data.h"

namespace {

std::string make_temp_dir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "kova-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a temp directory");
  return pattern;
}

const TempDir& fixture_dir() {
  static TempDir dir;
  return dir;
}

}  // namespace

TempDir::TempDir() : path_(make_temp_dir()) {}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::file(const std::string& name) const { return path_ + "/" + name; }

void WriteFixtureTo(const datawin::Writer& writer, const std::string& path) { writer.write_file(path); }

std::string WriteFixture(const datawin::Writer& writer, const std::string& suffix) {
  static int counter = 0;
  const std::string path = fixture_dir().file("fixture" + std::to_string(++counter) + suffix);
  writer.write_file(path);
  return path;
}

std::vector<uint8_t> BuildImage(const datawin::Writer& writer) { return writer.build(); }

datawin::Gen8Record MinimalHeader(int version, uint32_t generation, float speed) {
  datawin::Gen8Record header;
  header.version = static_cast<uint8_t>(version);
  header.generation = generation;
  header.game_speed = speed;
  header.file_name = "fixture";
  header.display_name = "Fixture Game";
  header.project_name = "fixture_project";
  header.window_width = 640;
  header.window_height = 360;
  header.room_order = {0};
  return header;
}

datawin::Writer MakeMinimalGame(int version, uint32_t generation, float speed) {
  datawin::Writer writer;
  datawin::add_gen8(writer, MinimalHeader(version, generation, speed));
  return writer;
}

void ResetLoaderState() {
  GC_Reset();
  GameData_Reset();
  GameData_SetInAWindow(false);
  GameData_SetFatalHandler(nullptr);
  Chunk_ClearReaders();
  GameData_ClearHooks();
  DebugFile_Reset();
  Variable_ResetNames();
  Function_Clear();
  Builtins_ClearRegistrars();
  g_CodeTables = nullptr;
}

std::string ReadTextFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteTextFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

void WriteTextFile(const std::string& path, const std::vector<uint8_t>& bytes) {
  WriteTextFile(path, std::string(bytes.begin(), bytes.end()));
}

std::string BuildDirectory() {
  char self[PATH_MAX] = {};
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  const std::string path(self, length > 0 ? static_cast<size_t>(length) : 0);
  const std::string folder = path.substr(0, path.find_last_of('/'));
  return folder.substr(0, folder.find_last_of('/'));
}

int RunCommand(const std::string& command) {
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
