// EXTN: a pointer list of packages; each package points at a list of files (each with its
// functions) and a list of options, all written behind the package records in the same chunk.
#include "datawin/writer/chunk_options.h"

namespace datawin {

namespace {

void put_function(Blob& blob, const ExtnFunction& function) {
  blob.string(function.name);
  blob.i32(function.id);
  blob.i32(function.kind);
  blob.i32(function.return_type);
  blob.string_or_none(function.external_name);
  blob.i32(static_cast<int32_t>(function.argument_types.size()));
  for (int32_t type : function.argument_types) blob.i32(type);
}

void put_file(Writer& writer, Blob& blob, const ExtnFile& file) {
  blob.string(file.file_name);
  blob.string_or_none(file.init);
  blob.string_or_none(file.final);
  blob.i32(file.kind);
  blob.i32(static_cast<int32_t>(file.functions.size()));
  std::vector<Label> labels;
  for (size_t i = 0; i < file.functions.size(); ++i) {
    labels.push_back(writer.new_label());
    blob.offset(labels.back());
  }
  for (size_t i = 0; i < file.functions.size(); ++i) {
    blob.bind(labels[i]);
    put_function(blob, file.functions[i]);
  }
}

}  // namespace

Blob& add_extn(Writer& writer, const std::vector<std::optional<ExtnPackage>>& packages) {
  Blob& blob = writer.add_chunk(kChunkEXTN);
  PointerList list = blob.pointer_list(static_cast<uint32_t>(packages.size()));
  for (uint32_t i = 0; i < packages.size(); ++i) {
    if (!packages[i]) continue;
    const ExtnPackage& package = *packages[i];
    const Label files = writer.new_label();
    const Label options = writer.new_label();
    list.set(i, blob.here());
    blob.string(package.name);
    blob.string_or_none(package.setter1);
    blob.string_or_none(package.setter2);
    blob.offset(files);
    blob.offset(options);

    blob.bind(files);
    PointerList file_list = blob.pointer_list(static_cast<uint32_t>(package.files.size()));
    for (uint32_t f = 0; f < package.files.size(); ++f) {
      file_list.set(f, blob.here());
      put_file(writer, blob, package.files[f]);
    }
    blob.bind(options);
    PointerList option_list = blob.pointer_list(static_cast<uint32_t>(package.options.size()));
    for (uint32_t o = 0; o < package.options.size(); ++o) {
      option_list.set(o, blob.here());
      blob.string(package.options[o].name);
      blob.string(package.options[o].value);
      blob.i32(package.options[o].kind);
    }
  }
  return blob;
}

}  // namespace datawin
