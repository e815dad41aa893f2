// kova-manifest-gen <manifest> <registrars|variable-ids|script-table> <out>: writes one generated
// source from the orders of the assets manifest. The output is rewritten only when its text
// changes, so an edit elsewhere in the manifest rebuilds nothing. Exits 1 with one line on
// standard error for a bad manifest, mode or output.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "manifest/manifest_orders.h"

namespace {

bool read_file(const std::string& path, std::string* text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  *text = buffer.str();
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: kova-manifest-gen <manifest> <registrars|variable-ids|script-table> <out>\n");
    return 1;
  }
  std::string text;
  if (!read_file(argv[1], &text)) {
    std::fprintf(stderr, "kova-manifest-gen: cannot read %s\n", argv[1]);
    return 1;
  }
  manifest::Orders orders;
  std::string error;
  if (!manifest::parse_orders(text, argv[1], &orders, &error)) {
    std::fprintf(stderr, "kova-manifest-gen: %s\n", error.c_str());
    return 1;
  }
  std::string generated;
  if (std::strcmp(argv[2], "registrars") == 0) {
    generated = manifest::emit_registrars(orders);
  } else if (std::strcmp(argv[2], "variable-ids") == 0) {
    generated = manifest::emit_variable_ids(orders);
  } else if (std::strcmp(argv[2], "script-table") == 0) {
    generated = manifest::emit_script_table(orders);
  } else {
    std::fprintf(stderr, "kova-manifest-gen: unknown mode %s\n", argv[2]);
    return 1;
  }
  std::string previous;
  if (read_file(argv[3], &previous) && previous == generated) return 0;
  std::ofstream out(argv[3], std::ios::binary | std::ios::trunc);
  out << generated;
  if (!out.flush()) {
    std::fprintf(stderr, "kova-manifest-gen: cannot write %s\n", argv[3]);
    return 1;
  }
  return 0;
}
