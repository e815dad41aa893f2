// kova-datawin: the game's data file tool.
//   kova-datawin build <assets-dir> -o <out.win> [-I <dir>]...
//   kova-datawin info <file.win>
//   kova-datawin sheet <file.win> <out.png> [--font <font file>]
// `build` writes to a temporary file beside the output and renames it into place, so a failed
// build never leaves a half-written file. Errors are one line on standard error naming the file
// and the problem; the exit status is then 1 (2 for a bad command line).
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "datawin/builder/asset_manifest.h"
#include "datawin/builder/contact_sheet.h"
#include "datawin/builder/game_build.h"
#include "datawin/builder/inspect.h"
#include "datawin/builder/manifest.h"

namespace {

constexpr const char* kDefaultLabelFont = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf";

const char kUsage[] =
    "usage: kova-datawin <command> ...\n"
    "  build <assets-dir> -o <out.win> [-I <dir>]...   make the data file from <assets-dir>/manifest.txt\n"
    "  info <file.win>                                  list and check every chunk and asset\n"
    "  sheet <file.win> <out.png> [--font <file>]       draw every sprite frame with its index and name\n"
    "Run `kova-datawin <command> --help` for one command.\n";

const char kBuildHelp[] =
    "usage: kova-datawin build <assets-dir> -o <out.win> [-I <dir>]...\n"
    "Reads <assets-dir>/manifest.txt and the files it names and writes the game's data file.\n"
    "Files are looked up in <assets-dir> first, then in each -I folder in order (generated sprites\n"
    "and sounds). The output is written to a temporary file and renamed into place.\n";

const char kInfoHelp[] =
    "usage: kova-datawin info <file.win>\n"
    "Lists every chunk with its offset and size and every asset with its index and name, and checks\n"
    "the file: offsets inside it, indexes in range, names unique. Exits 1 when a check fails.\n";

const char kSheetHelp[] =
    "usage: kova-datawin sheet <file.win> <out.png> [--font <font file>]\n"
    "Draws every frame of every sprite at 1:1 with its index and name into a PNG contact sheet.\n"
    "Labels use --font (default " "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf).\n";

bool wants_help(int argc, char** argv) {
  for (int i = 2; i < argc; ++i) {
    if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) return true;
  }
  return false;
}

bool read_file(const std::string& path, std::vector<uint8_t>* bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

int fail(const std::string& message) {
  std::fprintf(stderr, "kova-datawin: %s\n", message.c_str());
  return 1;
}

int run_build(int argc, char** argv) {
  if (wants_help(argc, argv)) {
    std::fputs(kBuildHelp, stdout);
    return 0;
  }
  std::string assets_dir, out_path;
  datawin::BuildOptions options;
  for (int i = 2; i < argc; ++i) {
    const std::string arg = argv[i];
    if ((arg == "-o" || arg == "-I") && i + 1 < argc) {
      (arg == "-o" ? out_path = argv[++i] : options.search_dirs.emplace_back(argv[++i]));
    } else if (!arg.empty() && arg[0] != '-' && assets_dir.empty()) {
      assets_dir = arg;
    } else {
      std::fprintf(stderr, "kova-datawin build: unexpected argument \"%s\"\n%s", arg.c_str(), kBuildHelp);
      return 2;
    }
  }
  if (assets_dir.empty() || out_path.empty()) {
    std::fputs(kBuildHelp, stderr);
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  options.manifest_path = (std::filesystem::path(assets_dir) / "manifest.txt").string();
  options.progress = [start](const std::string& step) {
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("kova-datawin: [%5.2fs] %s\n", seconds, step.c_str());
    std::fflush(stdout);
  };
  std::vector<uint8_t> text_bytes;
  if (!read_file(options.manifest_path, &text_bytes)) return fail(options.manifest_path + ": cannot read the file");
  const std::string text(text_bytes.begin(), text_bytes.end());
  datawin::Manifest manifest;
  datawin::AssetManifest assets;
  std::string error;
  if (!datawin::parse_manifest(text, options.manifest_path, &manifest, &error) ||
      !datawin::parse_asset_sections(text, options.manifest_path, &assets, &error)) {
    return fail(error);
  }
  std::vector<uint8_t> bytes;
  try {
    bytes = datawin::build_game(manifest, assets, options).build();
  } catch (const std::exception& failure) {
    return fail(failure.what());
  }
  // Write beside the output, then rename: the output is either the old file or the whole new one.
  const std::string temporary = out_path + ".tmp" + std::to_string(getpid());
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out.flush()) {
      std::remove(temporary.c_str());
      return fail(out_path + ": cannot write the file");
    }
  }
  if (std::rename(temporary.c_str(), out_path.c_str()) != 0) {
    std::remove(temporary.c_str());
    return fail(out_path + ": cannot move the finished file into place");
  }
  options.progress("wrote " + out_path + " (" + std::to_string(bytes.size() / 1024) + " KiB)");
  return 0;
}

int run_info(int argc, char** argv) {
  if (wants_help(argc, argv)) {
    std::fputs(kInfoHelp, stdout);
    return 0;
  }
  if (argc != 3) {
    std::fputs(kInfoHelp, stderr);
    return 2;
  }
  std::vector<uint8_t> file;
  if (!read_file(argv[2], &file)) return fail(std::string(argv[2]) + ": cannot read the file");
  const datawin::Inspection inspection = datawin::inspect_data_file(file);
  std::printf("%s: %zu bytes, %zu chunks\n", argv[2], file.size(), inspection.chunks.size());
  for (const auto& chunk : inspection.chunks) std::printf("chunk %s at %u, %u bytes\n", chunk.tag.c_str(), chunk.offset, chunk.size);
  for (const auto& [kind, list] : inspection.assets) {
    std::printf("[%s] %zu\n", kind.c_str(), list.size());
    for (const auto& asset : list) {
      std::printf("%s %d %s%s%s\n", kind.c_str(), asset.index, asset.name.c_str(), asset.detail.empty() ? "" : " : ",
                  asset.detail.c_str());
    }
  }
  for (const std::string& error : inspection.errors) std::fprintf(stderr, "kova-datawin: %s: %s\n", argv[2], error.c_str());
  if (!inspection.errors.empty()) {
    std::fprintf(stderr, "kova-datawin: %s: %zu problems found\n", argv[2], inspection.errors.size());
    return 1;
  }
  std::printf("ok\n");
  return 0;
}

int run_sheet(int argc, char** argv) {
  if (wants_help(argc, argv)) {
    std::fputs(kSheetHelp, stdout);
    return 0;
  }
  std::string font = kDefaultLabelFont;
  std::vector<std::string> paths;
  for (int i = 2; i < argc; ++i) {
    if (std::strcmp(argv[i], "--font") == 0 && i + 1 < argc) {
      font = argv[++i];
    } else {
      paths.emplace_back(argv[i]);
    }
  }
  if (paths.size() != 2) {
    std::fputs(kSheetHelp, stderr);
    return 2;
  }
  std::vector<uint8_t> file;
  if (!read_file(paths[0], &file)) return fail(paths[0] + ": cannot read the file");
  const datawin::Inspection inspection = datawin::inspect_data_file(file);
  if (!inspection.errors.empty()) return fail(paths[0] + ": " + inspection.errors.front() + " (run `kova-datawin info` for all)");
  try {
    std::string error;
    if (!kimage::write_png(paths[1], datawin::contact_sheet(inspection, font), &error)) return fail(error);
  } catch (const std::exception& failure) {
    return fail(failure.what());
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
    std::fputs(kUsage, argc < 2 ? stderr : stdout);
    return argc < 2 ? 2 : 0;
  }
  const std::string command = argv[1];
  if (command == "build") return run_build(argc, argv);
  if (command == "info") return run_info(argc, argv);
  if (command == "sheet") return run_sheet(argc, argv);
  std::fprintf(stderr, "kova-datawin: unknown command \"%s\"\n%s", command.c_str(), kUsage);
  return 2;
}
