// OPTN: the new form (flag word) or the old form (one word per flag and value).
#include "datawin/writer/chunk_options.h"

namespace datawin {

namespace {

void put_constants(Blob& blob, const std::vector<OptnConstant>& constants) {
  for (const OptnConstant& constant : constants) {
    blob.string(constant.name);
    blob.string(constant.value);
  }
}

void put_new_form(Blob& blob, const OptnRecord& record) {
  using namespace optn;
  blob.i32(-1);
  blob.u32(record.form_version);
  blob.u32(record.flags);
  blob.u32(0);  // high half of the flag quad, unread
  blob.i32(record.value16);
  blob.u32(record.window_colour);
  blob.zeros(kValue36 - kWindowColour - 4);
  blob.i32(record.value36);
  blob.i32(record.value40);
  blob.zeros(kString52 - kValue40 - 4);
  blob.string_or_none(record.string52);
  blob.u32(record.byte56 ? 1 : 0);
  blob.u32(static_cast<uint32_t>(record.constants.size()));
  put_constants(blob, record.constants);
}

void put_old_form(Blob& blob, const OptnRecord& record) {
  using namespace optn;
  uint32_t words[kOldConstantCount + 1] = {};
  for (const OldFlagWord& flag : kOldFlagWords) words[flag.word] = (record.flags >> flag.bit) & 1u;
  words[kOldValue16] = static_cast<uint32_t>(record.value16);
  words[kOldWindowColour] = record.window_colour;
  words[kOldValue36] = static_cast<uint32_t>(record.value36);
  words[kOldValue40] = static_cast<uint32_t>(record.value40);
  words[kOldByte56] = record.byte56 ? 1 : 0;
  words[kOldConstantCount] = static_cast<uint32_t>(record.constants.size());
  for (uint32_t word = 0; word <= kOldConstantCount; ++word) {
    if (word == kOldString52) {
      blob.string_or_none(record.string52);
    } else {
      blob.u32(words[word]);
    }
  }
  put_constants(blob, record.constants);
}

}  // namespace

Blob& add_optn(Writer& writer, const OptnRecord& record) {
  Blob& blob = writer.add_chunk(kChunkOPTN);
  if (record.old_form) {
    put_old_form(blob, record);
  } else {
    put_new_form(blob, record);
  }
  return blob;
}

}  // namespace datawin
