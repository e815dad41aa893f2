// kova-inputscript SCRIPT OUT: turns a readable input script into a -playback file of the runner.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "inputscript/input_script.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: kova-inputscript <script.txt> <out.rec>\n");
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "kova-inputscript: can't read %s\n", argv[1]);
    return 1;
  }
  std::ostringstream text;
  text << in.rdbuf();
  InputScript script;
  std::string error;
  if (!InputScript_Parse(text.str(), &script, &error)) {
    std::fprintf(stderr, "kova-inputscript: %s: %s\n", argv[1], error.c_str());
    return 1;
  }
  const std::vector<uint8_t> records = InputScript_Records(script);
  std::ofstream out(argv[2], std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(records.data()), static_cast<std::streamsize>(records.size()));
  out.close();
  if (!out) {
    std::fprintf(stderr, "kova-inputscript: can't write %s\n", argv[2]);
    return 1;
  }
  std::printf("%s: %lld frames\n", argv[2], static_cast<long long>(script.frames));
  return 0;
}
