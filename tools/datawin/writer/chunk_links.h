#pragma once
// VARI and FUNC: the names that bytecode references, each with the chain of its references.
// References are given as positions in the file (usually labels into CODE bytecode plus a byte
// distance); the writer stores each link's distance to the next in the word the loader rewrites
// (datawin/format/link_layout.h), keeping the bits around it that the caller wrote there.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "datawin/writer/writer.h"

namespace datawin {

struct VariHead {  // version 15 on
  uint32_t global_count = 0;
  uint32_t instance_count = 0;
  uint32_t max_locals = 0;
};

struct VariEntry {
  std::string name;
  int32_t instance_kind = 0;  // version 15 on
  int32_t id = 0;             // version 15 on
  std::vector<Ref> references;
};

Blob& add_vari(Writer& writer, int version, const VariHead& head, const std::vector<VariEntry>& entries);

struct FuncEntry {
  std::string name;
  std::vector<Ref> references;
};

// The local-variable table of one code entry (version 15 on): {index, name} pairs.
struct CodeLocals {
  std::string code_name;
  std::vector<std::pair<int32_t, std::string>> locals;
};

Blob& add_func(Writer& writer, int version, const std::vector<FuncEntry>& entries,
               const std::vector<CodeLocals>& locals = {});

}  // namespace datawin
