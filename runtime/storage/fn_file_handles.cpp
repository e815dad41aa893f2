// Text and binary file handles: two tables of 31 slots (id 0 is never used), each slot a
// FileStream over the whole file. Text reads and writes work on bytes; every written LF that has
// no CR before it becomes CR LF.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "core/function_table.h"
#include "platform/files.h"
#include "storage/buffer.h"
#include "storage/file_paths.h"
#include "storage/file_stream.h"
#include "storage/fn_file_internal.h"

namespace {

using fn_file::name_arg;
using fn_file::set_text;
using fn_value::set_result;
using fn_value::with_args;

constexpr int32_t kSlots = 32;  // ids 1 to 31

enum TextState : int32_t { kTextFree = 0, kTextReading = 1, kTextWriting = 2 };
enum BinaryMode : int32_t { kBinaryRead = 0, kBinaryWrite = 1, kBinaryReadWrite = 2 };

struct TextSlot {
  std::string path;
  FileStream* stream = nullptr;
  int32_t state = kTextFree;
};

struct BinarySlot {
  std::string path;
  int32_t mode = kBinaryRead;
  FileStream* stream = nullptr;
  bool open = false;
};

TextSlot g_text[kSlots];
BinarySlot g_binary[kSlots];

bool in_range(int64_t id) { return id >= 1 && id < kSlots; }

// The first free id; raises when every slot is taken.
template <class Slot, class IsFree>
int32_t take_slot(Slot (&slots)[kSlots], IsFree is_free) {
  for (int32_t id = 1; id < kSlots; ++id) {
    if (is_free(slots[id])) return id;
  }
  KVError("Cannot open another file (maximum exceeded).");
  return -1;
}

int32_t free_text_slot() {
  return take_slot(g_text, [](const TextSlot& slot) { return slot.state == kTextFree; });
}

void report_open_failure(const char* name) {
  g_ReleaseConsole->Output("ERROR!!! :: Failed to open file: %s\n", name != nullptr ? name : "");
}

// Fills a text slot; -1 (with the console line) when the stream couldn't be made.
int32_t fill_text_slot(int32_t id, const std::string& path, FileStream* stream, int32_t state, const char* name) {
  if (stream == nullptr) {
    report_open_failure(name);
    return -1;
  }
  g_text[id].path = path;
  g_text[id].stream = stream;
  g_text[id].state = state;
  return id;
}

FileStream* reading_stream(const RValue* argv) {
  const int64_t id = KVGetInt64(argv, 0);
  if (!in_range(id) || g_text[id].state != kTextReading || g_text[id].stream == nullptr) {
    KVError("File is not opened for reading.");
    return nullptr;
  }
  return g_text[id].stream;
}

FileStream* writing_stream(const RValue* argv) {
  const int64_t id = KVGetInt64(argv, 0);
  if (!in_range(id) || g_text[id].state != kTextWriting || g_text[id].stream == nullptr) {
    KVError("File not opened for writing.");
    return nullptr;
  }
  return g_text[id].stream;
}

// Writes text with every LF that has no CR before it turned into CR LF.
void write_text(FileStream* stream, const char* text, size_t length) {
  const IBuffer* buffer = stream->buffer;
  char previous = buffer->position > 0 && buffer->position <= buffer->used
                      ? static_cast<char>(buffer->data[buffer->position - 1])
                      : '\0';
  std::string out;
  out.reserve(length + 8);
  for (size_t i = 0; i < length; ++i) {
    if (text[i] == '\n' && previous != '\r') out.push_back('\r');
    out.push_back(text[i]);
    previous = text[i];
  }
  stream->Write(out.data(), static_cast<int32_t>(out.size()));
}

void F_TextOpenRead(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  const int32_t id = free_text_slot();
  const std::string path = name != nullptr ? File_FindForRead(name) : std::string();
  FileStream* stream = path.empty() ? nullptr : FileStream_Open(path, "rt");
  set_result(result, RV_Real(fill_text_slot(id, path, stream, kTextReading, name)));
}

// The save-area path of a file about to be written, with its parent directories made.
std::string prepare_save_path(const char* name) {
  const std::string path = name != nullptr ? ResolveSavePath(name) : std::string();
  if (!path.empty()) File_MakeDirectories(Filename_Path(path));
  return path;
}

void F_TextOpenWrite(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  const int32_t id = free_text_slot();
  const std::string path = prepare_save_path(name);
  FileStream* stream = path.empty() ? nullptr : FileStream_Open(path, "w");
  set_result(result, RV_Real(fill_text_slot(id, path, stream, kTextWriting, name)));
}

void F_TextOpenAppend(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  const int32_t id = free_text_slot();
  const std::string path = prepare_save_path(name);
  FileStream* stream = nullptr;
  if (!path.empty()) {
    // A file only the bundle has is first copied whole to its place in the save area.
    if (!Platform_IsFile(path)) {
      std::vector<uint8_t> bytes;
      const std::string bundle = ResolveBundlePath(name);
      if (Platform_IsFile(bundle) && Platform_ReadWholeFile(bundle, &bytes)) {
        Platform_WriteWholeFile(path, bytes.data(), bytes.size());
      }
    }
    stream = FileStream_Open(path, "a+");
  }
  set_result(result, RV_Real(fill_text_slot(id, path, stream, kTextWriting, name)));
}

void F_TextOpenFromString(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (RV_Kind(argv[0]) != kRVString) {
    g_ReleaseConsole->Output("ERROR!!! :: wrong type for filename\n");
    set_result(result, RV_Real(-1.0));
    return;
  }
  const int32_t id = free_text_slot();
  const char* text = RV_StringText(argv[0]);
  FileStream* stream = FileStream_FromBytes(text, static_cast<int32_t>(std::strlen(text)), true);
  set_result(result, RV_Real(fill_text_slot(id, "FileFromString", stream, kTextReading, "FileFromString")));
}

void F_TextClose(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  const int64_t id = KVGetInt64(argv, 0);
  if (!in_range(id)) {
    KVError("Trying to close text file that has not been opened.");
    return;
  }
  TextSlot& slot = g_text[id];
  FileStream* stream = slot.stream;
  slot.stream = nullptr;
  slot.state = kTextFree;
  if (stream != nullptr && !FileStream_Close(stream)) {
    g_ReleaseConsole->Output("ERROR!!! :: Failed to write file: %s\n", slot.path.c_str());
  }
}

void F_TextReadString(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  FileStream* stream = reading_stream(argv);
  if (stream == nullptr) return;
  std::string text;
  while (!stream->AtEnd()) {
    const uint8_t c = stream->ReadByte();
    if (c == '\r' || c == '\n') {
      --stream->buffer->position;
      break;
    }
    if (c != 255) text.push_back(static_cast<char>(c));
  }
  set_text(result, text);
}

void F_TextReadLn(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  FileStream* stream = reading_stream(argv);
  if (stream == nullptr) return;
  std::string text;
  while (!stream->AtEnd()) {
    const uint8_t c = stream->ReadByte();
    text.push_back(static_cast<char>(c));
    if (c == '\n') break;
  }
  set_text(result, text);
}

void F_TextReadReal(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  FileStream* stream = reading_stream(argv);
  if (stream == nullptr) return;
  IBuffer* buffer = stream->buffer;
  while (stream->Peek() >= 0 && std::isspace(stream->Peek())) ++buffer->position;
  // strtod wants a terminated text: a number is never longer than this window.
  constexpr int32_t kWindow = 512;
  const int32_t start = buffer->position;
  const int32_t available = start < buffer->used ? std::min(buffer->used - start, kWindow) : 0;
  const std::string window(reinterpret_cast<const char*>(buffer->data) + (available > 0 ? start : 0),
                           static_cast<size_t>(available));
  char* end = nullptr;
  const double value = std::strtod(window.c_str(), &end);
  buffer->position = start + static_cast<int32_t>(end - window.c_str());
  set_result(result, RV_Real(value));
}

void F_TextEof(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  FileStream* stream = reading_stream(argv);
  if (stream != nullptr) set_result(result, RV_Real(stream->AtEnd() ? 1.0 : 0.0));
}

void F_TextEoln(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  FileStream* stream = reading_stream(argv);
  if (stream == nullptr) return;
  const int next = stream->Peek();
  set_result(result, RV_Real(next < 0 || next == '\r' || next == '\n' ? 1.0 : 0.0));
}

void F_TextWriteString(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  FileStream* stream = writing_stream(argv);
  if (stream == nullptr) return;
  const char* text = name_arg(argv, 1);
  if (text != nullptr) write_text(stream, text, std::strlen(text));
}

void F_TextWriteReal(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  FileStream* stream = writing_stream(argv);
  if (stream == nullptr) return;
  char text[64];
  const int length = std::snprintf(text, sizeof(text), "%g ", KVGetReal(argv, 1));
  write_text(stream, text, static_cast<size_t>(length));
}

void F_TextWriteLn(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  FileStream* stream = writing_stream(argv);
  if (stream != nullptr) write_text(stream, "\n", 1);
}

// ---- Binary files -----------------------------------------------------------------------------

BinarySlot* open_binary(const RValue* argv, const char* message) {
  const int64_t id = KVGetInt64(argv, 0);
  if (!in_range(id) || !g_binary[id].open || g_binary[id].stream == nullptr) {
    KVError("%s", message);
    return nullptr;
  }
  return &g_binary[id];
}

void F_BinOpen(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  const char* name = name_arg(argv, 0);
  const int32_t mode = KVGetInt32(argv, 1);
  const int32_t id = take_slot(g_binary, [](const BinarySlot& slot) { return !slot.open; });
  const char* letters = mode == kBinaryRead ? "rb" : mode == kBinaryWrite ? "wb" : "rw";
  std::string path = name != nullptr ? File_FindForRead(name) : std::string();
  if (path.empty() && name != nullptr) path = ResolveSavePath(name);
  if (!path.empty() && mode != kBinaryRead) File_MakeDirectories(Filename_Path(ResolveSavePath(path.c_str())));
  FileStream* stream = path.empty() ? nullptr : FileStream_Open(path, letters);
  if (stream == nullptr) {
    g_ReleaseConsole->Output("Error opening binary file %s\n", name != nullptr ? name : "");
    set_result(result, RV_Real(-1.0));
    return;
  }
  BinarySlot& slot = g_binary[id];
  slot.path = path;
  slot.mode = mode == kBinaryRead || mode == kBinaryWrite ? mode : kBinaryReadWrite;
  slot.stream = stream;
  slot.open = true;
  set_result(result, RV_Real(id));
}

void close_binary(BinarySlot* slot) {
  FileStream* stream = slot->stream;
  slot->stream = nullptr;
  slot->open = false;
  if (!FileStream_Close(stream)) g_ReleaseConsole->Output("Error writing binary file %s\n", slot->path.c_str());
}

void F_BinClose(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  if (BinarySlot* slot = open_binary(argv, "Trying to close unopened file.")) close_binary(slot);
}

void F_BinRewrite(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  BinarySlot* slot = open_binary(argv, "Trying to rewrite unopened file.");
  if (slot == nullptr) return;
  const std::string path = slot->path;
  close_binary(slot);
  FileStream* stream = FileStream_Open(path, "wb+");
  if (stream == nullptr) {
    g_ReleaseConsole->Output("Error opening binary file %s\n", path.c_str());
    return;
  }
  slot->path = path;
  slot->mode = kBinaryWrite;
  slot->stream = stream;
  slot->open = true;
}

void F_BinPosition(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (BinarySlot* slot = open_binary(argv, "File is not opened.")) {
    set_result(result, RV_Real(slot->stream->buffer->position));
  }
}

void F_BinSize(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  if (BinarySlot* slot = open_binary(argv, "File is not opened.")) set_result(result, RV_Real(slot->stream->buffer->used));
}

void F_BinSeek(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  BinarySlot* slot = open_binary(argv, "File is not opened.");
  if (slot == nullptr) return;
  const int32_t position = KVGetInt32(argv, 1);
  IBuffer* buffer = slot->stream->buffer;
  buffer->position = std::max(position, 0);
  // Seeking past the end of a writable file makes it that long, as a system file would be.
  if (slot->mode != kBinaryRead && buffer->position > buffer->used && buffer->GrowTo(buffer->position)) {
    buffer->used = buffer->position;
  }
}

void F_BinReadByte(RValue* result, CInstance*, CInstance*, int, RValue* argv) {
  BinarySlot* slot = open_binary(argv, "File is not opened.");
  if (slot == nullptr) return;
  if (slot->mode == kBinaryWrite || slot->stream->AtEnd()) {
    set_result(result, RV_Real(0.0));
    KVError("Error reading byte.");
    return;
  }
  set_result(result, RV_Real(slot->stream->ReadByte()));
}

void F_BinWriteByte(RValue*, CInstance*, CInstance*, int, RValue* argv) {
  BinarySlot* slot = open_binary(argv, "File is not opened.");
  if (slot == nullptr || slot->mode == kBinaryRead) return;
  const auto byte = static_cast<uint8_t>(KVGetInt32(argv, 1) & 0xFF);
  slot->stream->Write(&byte, 1);
}

}  // namespace

namespace fn_file {

void RegisterTextFileBuiltins() {
  Function_Add("file_text_open_read", with_args<F_TextOpenRead, 1>, 1, 0);
  Function_Add("file_text_open_write", with_args<F_TextOpenWrite, 1>, 1, 0);
  Function_Add("file_text_open_append", with_args<F_TextOpenAppend, 1>, 1, 0);
  Function_Add("file_text_open_from_string", with_args<F_TextOpenFromString, 1>, 1, 0);
  Function_Add("file_text_close", with_args<F_TextClose, 1>, 1, 0);
  Function_Add("file_text_read_string", with_args<F_TextReadString, 1>, 1, 0);
  Function_Add("file_text_read_real", with_args<F_TextReadReal, 1>, 1, 0);
  Function_Add("file_text_readln", with_args<F_TextReadLn, 1>, 1, 0);
  Function_Add("file_text_eof", with_args<F_TextEof, 1>, 1, 0);
  Function_Add("file_text_eoln", with_args<F_TextEoln, 1>, 1, 0);
  Function_Add("file_text_write_string", with_args<F_TextWriteString, 2>, 2, 0);
  Function_Add("file_text_write_real", with_args<F_TextWriteReal, 2>, 2, 0);
  Function_Add("file_text_writeln", with_args<F_TextWriteLn, 1>, 1, 0);
}

void RegisterBinaryFileBuiltins() {
  Function_Add("file_bin_open", with_args<F_BinOpen, 2>, 2, 0);
  Function_Add("file_bin_rewrite", with_args<F_BinRewrite, 1>, 1, 0);
  Function_Add("file_bin_close", with_args<F_BinClose, 1>, 1, 0);
  Function_Add("file_bin_position", with_args<F_BinPosition, 1>, 1, 0);
  Function_Add("file_bin_size", with_args<F_BinSize, 1>, 1, 0);
  Function_Add("file_bin_seek", with_args<F_BinSeek, 2>, 2, 0);
  Function_Add("file_bin_read_byte", with_args<F_BinReadByte, 1>, 1, 0);
  Function_Add("file_bin_write_byte", with_args<F_BinWriteByte, 2>, 2, 0);
}

void CloseTextAndBinaryFiles() {
  for (TextSlot& slot : g_text) {
    FileStream_Drop(slot.stream);
    slot = TextSlot{};
  }
  for (BinarySlot& slot : g_binary) {
    FileStream_Drop(slot.stream);
    slot = BinarySlot{};
  }
}

}  // namespace fn_file
