#pragma once
// The chunks that list code and features: GLOB (initialisation code indices), GMEN (game-end code
// indices), FEAT (feature names) and CODE (a pointer list of bytecode records). Code indices are
// rows of the program's compiled function table; the writer takes them as given.
#include <cstdint>
#include <string>
#include <vector>

#include "datawin/writer/writer.h"

namespace datawin {

Blob& add_glob(Writer& writer, const std::vector<int32_t>& code_indices);
Blob& add_gmen(Writer& writer, const std::vector<int32_t>& code_indices);
Blob& add_feat(Writer& writer, const std::vector<std::string>& features);

struct CodeRecord {
  std::string name;
  std::vector<uint8_t> bytecode;
  uint16_t locals = 0;     // version 15 on
  uint16_t arguments = 0;  // version 15 on; flags in the top 3 bits
  uint32_t shared = 0;     // version 15 on
};

// CODE in the form of `version`. Returns, per record, a label at the first byte of its bytecode,
// so VARI and FUNC reference chains can point into it.
std::vector<Label> add_code(Writer& writer, int version, const std::vector<CodeRecord>& records);

}  // namespace datawin
