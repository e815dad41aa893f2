// The buffer builtins: argument reading and messages around the typed operations of buffer.h.
#include "storage/fn_buffer.h"

#include <string>
#include <vector>

#include "core/console.h"
#include "core/error.h"
#include "storage/buffer.h"
#include "storage/buffer_async.h"
#include "storage/fn_ds_internal.h"

namespace {

using fn_ds::set_result;
using fn_ds::with_args;

// The buffer an argument names; raises "Illegal Buffer Index %d" when there is none.
IBuffer* buffer_arg(const RValue* argv, int n) {
  const int32_t id = KVGetInt32(argv, n);
  IBuffer* buffer = Buffer_Get(id);
  if (buffer == nullptr) KVError("Illegal Buffer Index %d", id);
  return buffer;
}

void set_new_buffer(RValue* result, uint8_t* block, int32_t size) {
  set_result(result, RV_Real(block != nullptr ? Buffer_Register(Buffer_Adopt(block, size, kBufferGrow)) : -1));
}

FN_DS(F_BufferCreate) {
  const int32_t size = KVGetInt32(argv, 0);
  const int32_t type = KVGetInt32(argv, 1);
  const int32_t alignment = KVGetInt32(argv, 2);
  if (size < 0) {
    KVError("buffer_create: Illegal size %d", size);
    return;
  }
  if (alignment < 1 || alignment > 1024) {
    KVError("buffer_create: Illegal alignment size %d", alignment);
    return;
  }
  if (type < 0 || type >= kBufferTypeCount) {
    KVError("Unknown buffer type, should be one of buffer_fixed, buffer_grow, buffer_wrap, buffer_fast, buffer_vbuffer");
    return;
  }
  set_result(result, RV_Real(Buffer_Create(size, static_cast<BufferType>(type), alignment)));
}

FN_DS(F_BufferDelete) { Buffer_Delete(KVGetInt32(argv, 0)); }

FN_DS(F_BufferExists) {
  // Anything that isn't a number (undefined, a struct) names no buffer.
  switch (RV_Kind(argv[0])) {
    case kRVReal:
    case kRVInt32:
    case kRVInt64:
    case kRVBool:
    case kRVRef: set_result(result, RV_Bool(Buffer_Get(KVGetInt64(argv, 0)) != nullptr)); break;
    default: set_result(result, RV_Bool(false)); break;
  }
}

FN_DS(F_BufferWrite) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) {
    set_result(result, RV_Real(buffer->Write(KVGetInt32(argv, 1), &argv[2])));
  }
}

FN_DS(F_BufferRead) {
  IBuffer* buffer = buffer_arg(argv, 0);
  if (buffer == nullptr) return;
  RValue value = RV_Undefined();
  const int status = buffer->Read(KVGetInt32(argv, 1), &value);
  if (status != kBufferOk && RV_Kind(value) == kRVReal && value.val == kBufferReadPastEndValue) {
    g_ReleaseConsole->Output("Attempting to read from outside the buffer, returning 0\n");
  }
  set_result(result, value);
}

FN_DS(F_BufferPeek) {
  IBuffer* buffer = buffer_arg(argv, 0);
  if (buffer == nullptr) return;
  RValue value = RV_Undefined();
  buffer->Peek(KVGetInt32(argv, 1), KVGetInt32(argv, 2), &value);
  set_result(result, value);
}

FN_DS(F_BufferPoke) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) buffer->Poke(KVGetInt32(argv, 1), KVGetInt32(argv, 2), &argv[3]);
}

FN_DS(F_BufferSeek) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) buffer->Seek(KVGetInt32(argv, 1), KVGetInt32(argv, 2));
}

FN_DS(F_BufferTell) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) set_result(result, RV_Real(buffer->position));
}

FN_DS(F_BufferGetSize) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) set_result(result, RV_Real(buffer->size));
}

FN_DS(F_BufferSizeof) { set_result(result, RV_Real(Buffer_SizeOf(KVGetInt32(argv, 0)))); }

FN_DS(F_BufferGetType) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) set_result(result, RV_Real(buffer->type));
}

FN_DS(F_BufferGetAlignment) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) set_result(result, RV_Real(buffer->alignment));
}

FN_DS(F_BufferResize) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) buffer->Resize(KVGetInt32(argv, 1));
}

FN_DS(F_BufferFill) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) {
    buffer->Fill(KVGetInt32(argv, 1), KVGetInt32(argv, 4), KVGetInt32(argv, 2), &argv[3]);
  }
}

FN_DS(F_BufferCopy) {
  const int32_t src_id = KVGetInt32(argv, 0);
  const int32_t dest_id = KVGetInt32(argv, 3);
  if (src_id == dest_id) {
    KVError("Source and Destination buffers can't be the same");
    return;
  }
  IBuffer* src = Buffer_Get(src_id);
  if (src == nullptr) {
    KVError("Illegal Source Buffer Index %d", src_id);
    return;
  }
  IBuffer* dest = Buffer_Get(dest_id);
  if (dest == nullptr) {
    KVError("Illegal Destination Buffer Index %d", dest_id);
    return;
  }
  src->Copy(KVGetInt32(argv, 1), KVGetInt32(argv, 2), dest, KVGetInt32(argv, 4));
}

void save(IBuffer* buffer, const char* name, int32_t offset, int32_t size) {
  if (!buffer->Save(name, offset, size)) g_ReleaseConsole->Output("buffer_save: could not write %s\n", name);
}

FN_DS(F_BufferSave) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) save(buffer, KVGetString(argv, 1), 0, buffer->used);
}

FN_DS(F_BufferSaveExt) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) save(buffer, KVGetString(argv, 1), KVGetInt32(argv, 2), KVGetInt32(argv, 3));
}

void print_load_failure(const char* name, const char* builtin) {
  g_ReleaseConsole->Output("ERROR!!! :: Failed to open file: %s for %s()\n", name, builtin);
}

FN_DS(F_BufferLoad) {
  const std::string name = KVGetString(argv, 0);
  std::vector<uint8_t> file;
  if (!Buffer_ReadFile(name.c_str(), &file) || file.size() > static_cast<size_t>(kBufferMaxSize)) {
    print_load_failure(name.c_str(), "buffer_load");
    set_result(result, RV_Real(-1));
    return;
  }
  const int32_t size = static_cast<int32_t>(file.size());
  set_result(result, RV_Real(Buffer_CreateFromBytes(file.data(), size, kBufferGrow, 1)));
}

FN_DS(F_BufferLoadExt) {
  IBuffer* buffer = buffer_arg(argv, 0);
  if (buffer == nullptr) return;
  const std::string name = KVGetString(argv, 1);
  if (!buffer->Load(name.c_str(), 0, -1, KVGetInt32(argv, 2))) print_load_failure(name.c_str(), "buffer_load_ext");
}

FN_DS(F_BufferLoadPartial) {
  IBuffer* buffer = buffer_arg(argv, 0);
  if (buffer == nullptr) return;
  const std::string name = KVGetString(argv, 1);
  if (!buffer->Load(name.c_str(), KVGetInt32(argv, 3), KVGetInt32(argv, 4), KVGetInt32(argv, 2))) {
    print_load_failure(name.c_str(), "buffer_load_partial");
  }
}

template <void (IBuffer::*Digest)(RValue*, int32_t, int32_t)>
FN_DS(F_BufferDigest) {
  IBuffer* buffer = buffer_arg(argv, 0);
  if (buffer == nullptr) return;
  RValue value = RV_Undefined();
  (buffer->*Digest)(&value, KVGetInt32(argv, 1), KVGetInt32(argv, 2));
  set_result(result, value);
}

FN_DS(F_BufferBase64Decode) {
  std::vector<uint8_t> bytes;
  if (!Buffer_DecodeBase64(KVGetString(argv, 0), &bytes) || bytes.size() > static_cast<size_t>(kBufferMaxSize)) {
    set_result(result, RV_Real(-1));
    return;
  }
  const int32_t size = static_cast<int32_t>(bytes.size());
  set_result(result, RV_Real(Buffer_CreateFromBytes(bytes.data(), size, kBufferGrow, 1)));
}

FN_DS(F_BufferBase64DecodeExt) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) buffer->Base64Decode(KVGetString(argv, 1), KVGetInt32(argv, 2), -1);
}

FN_DS(F_BufferCompress) {
  const int32_t id = KVGetInt32(argv, 0);
  IBuffer* buffer = Buffer_Get(id);
  if (buffer == nullptr) {
    KVError("Error in buffer_compress(): Illegal Buffer Index %d", id);
    return;
  }
  int32_t size = 0;
  uint8_t* block = buffer->Compress(KVGetInt32(argv, 1), KVGetInt32(argv, 2), &size);
  set_new_buffer(result, block, size);
}

FN_DS(F_BufferDecompress) {
  IBuffer* buffer = buffer_arg(argv, 0);
  if (buffer == nullptr) return;
  int32_t size = 0;
  uint8_t* block = buffer->Decompress(&size);
  set_new_buffer(result, block, size);
}

FN_DS(F_BufferGetAddress) {
  if (IBuffer* buffer = buffer_arg(argv, 0)) set_result(result, RV_Ptr(buffer->data));
}

FN_DS(F_BufferSetUsedSize) {
  IBuffer* buffer = buffer_arg(argv, 0);
  if (buffer == nullptr) return;
  const int32_t used = KVGetInt32(argv, 1);
  if (used < 0 || used > buffer->size) {
    KVError("Illegal size passed to buffer_set_used_size %d", used);
    return;
  }
  buffer->used = used;
}

template <bool Get>
FN_DS(F_BufferSurface) {
  IBuffer* buffer = buffer_arg(argv, 0);
  if (buffer == nullptr) return;
  const int32_t surface = KVGetInt32(argv, 1);
  size_t bytes = 0;
  if (!Buffer_SurfaceBytes(surface, &bytes)) {
    KVError("surface does not exist %d", surface);
    return;
  }
  if (Get) {
    buffer->GetSurface(surface, KVGetInt32(argv, 2));
  } else {
    buffer->SetSurface(surface, KVGetInt32(argv, 2));
  }
}

FN_DS(F_BufferAsyncGroupBegin) {
  const bool named = argc > 0 && RV_Kind(argv[0]) != kRVUndefined;
  BufferAsync_GroupBegin(named ? KVGetString(argv, 0) : "");
}

FN_DS(F_BufferAsyncGroupEnd) { set_result(result, RV_Real(BufferAsync_GroupEnd())); }

FN_DS(F_BufferAsyncGroupOption) {
  const std::string option = KVGetString(argv, 0);
  BufferAsync_GroupOption(option.c_str(), KVGetString(argv, 1));
}

template <bool Save>
FN_DS(F_BufferTransferAsync) {
  IBuffer* buffer = buffer_arg(argv, 0);
  if (buffer == nullptr) return;
  const std::string name = KVGetString(argv, 1);
  const int32_t offset = argc > 2 ? KVGetInt32(argv, 2) : 0;
  const int32_t size = argc > 3 ? KVGetInt32(argv, 3) : -1;
  const char* builtin = Save ? "buffer_save_async" : "buffer_load_async";
  set_result(result, RV_Real(BufferAsync_Add(builtin, Save, KVGetInt32(argv, 0), name.c_str(), offset, size)));
}

}  // namespace

void Buffer_RegisterBuiltins() {
  Function_Add("buffer_create", with_args<F_BufferCreate, 3>, 3, 0);
  Function_Add("buffer_delete", with_args<F_BufferDelete, 1>, 1, 0);
  Function_Add("buffer_exists", with_args<F_BufferExists, 1>, 1, 0);
  Function_Add("buffer_write", with_args<F_BufferWrite, 3>, 3, 0);
  Function_Add("buffer_read", with_args<F_BufferRead, 2>, 2, 0);
  Function_Add("buffer_peek", with_args<F_BufferPeek, 3>, 3, 0);
  Function_Add("buffer_poke", with_args<F_BufferPoke, 4>, 4, 0);
  Function_Add("buffer_seek", with_args<F_BufferSeek, 3>, 3, 0);
  Function_Add("buffer_tell", with_args<F_BufferTell, 1>, 1, 0);
  Function_Add("buffer_get_size", with_args<F_BufferGetSize, 1>, 1, 0);
  Function_Add("buffer_sizeof", with_args<F_BufferSizeof, 1>, 1, 0);
  Function_Add("buffer_get_type", with_args<F_BufferGetType, 1>, 1, 0);
  Function_Add("buffer_get_alignment", with_args<F_BufferGetAlignment, 1>, 1, 0);
  Function_Add("buffer_resize", with_args<F_BufferResize, 2>, 2, 0);
  Function_Add("buffer_fill", with_args<F_BufferFill, 5>, 5, 0);
  Function_Add("buffer_copy", with_args<F_BufferCopy, 5>, 5, 0);
  Function_Add("buffer_save", with_args<F_BufferSave, 2>, 2, 0);
  Function_Add("buffer_save_ext", with_args<F_BufferSaveExt, 4>, 4, 0);
  Function_Add("buffer_load", with_args<F_BufferLoad, 1>, 1, 0);
  Function_Add("buffer_load_ext", with_args<F_BufferLoadExt, 3>, 3, 0);
  Function_Add("buffer_load_partial", with_args<F_BufferLoadPartial, 5>, 5, 0);
  Function_Add("buffer_md5", with_args<F_BufferDigest<&IBuffer::Md5>, 3>, 3, 0);
  Function_Add("buffer_sha1", with_args<F_BufferDigest<&IBuffer::Sha1>, 3>, 3, 0);
  Function_Add("buffer_crc32", with_args<F_BufferDigest<&IBuffer::Crc32>, 3>, 3, 0);
  Function_Add("buffer_base64_encode", with_args<F_BufferDigest<&IBuffer::Base64Encode>, 3>, 3, 0);
  Function_Add("buffer_base64_decode", with_args<F_BufferBase64Decode, 1>, 1, 0);
  Function_Add("buffer_base64_decode_ext", with_args<F_BufferBase64DecodeExt, 3>, 3, 0);
  Function_Add("buffer_compress", with_args<F_BufferCompress, 3>, 3, 0);
  Function_Add("buffer_decompress", with_args<F_BufferDecompress, 1>, 1, 0);
  Function_Add("buffer_get_address", with_args<F_BufferGetAddress, 1>, 1, 0);
  Function_Add("buffer_set_used_size", with_args<F_BufferSetUsedSize, 2>, 2, 0);
  Function_Add("buffer_get_surface", with_args<F_BufferSurface<true>, 3>, 3, 0);
  Function_Add("buffer_set_surface", with_args<F_BufferSurface<false>, 3>, 3, 0);
  Function_Add("buffer_async_group_begin", F_BufferAsyncGroupBegin, 1, 0);
  Function_Add("buffer_async_group_end", F_BufferAsyncGroupEnd, 0, 0);
  Function_Add("buffer_async_group_option", with_args<F_BufferAsyncGroupOption, 2>, 2, 0);
  Function_Add("buffer_save_async", with_args<F_BufferTransferAsync<true>, 2>, 4, 0);
  Function_Add("buffer_load_async", with_args<F_BufferTransferAsync<false>, 2>, 4, 0);
}
