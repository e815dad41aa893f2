// kova-datawin <assets-dir> <out.win>: reads <assets-dir>/manifest.txt and writes the data file.
// Exits 1 with one line on standard error when the manifest or the output can't be handled.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "datawin/builder/game_build.h"
#include "datawin/builder/manifest.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: kova-datawin <assets-dir> <out.win>\n");
    return 1;
  }
  const std::string manifest_path = std::string(argv[1]) + "/manifest.txt";
  std::ifstream in(manifest_path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "kova-datawin: cannot read %s\n", manifest_path.c_str());
    return 1;
  }
  std::ostringstream text;
  text << in.rdbuf();
  datawin::Manifest manifest;
  std::string error;
  if (!datawin::parse_manifest(text.str(), manifest_path, &manifest, &error)) {
    std::fprintf(stderr, "kova-datawin: %s\n", error.c_str());
    return 1;
  }
  try {
    datawin::build_game(manifest).write_file(argv[2]);
  } catch (const datawin::WriteError& failure) {
    std::fprintf(stderr, "kova-datawin: %s\n", failure.what());
    return 1;
  }
  return 0;
}
