// The JSON builtins: argument reading around the conversions of json.h.
#include "storage/fn_json.h"

#include <string>

#include "core/error.h"
#include "core/function_table.h"
#include "storage/fn_ds_internal.h"
#include "storage/json.h"

namespace {

using fn_ds::set_result;

void set_text(RValue* result, const std::string& text) {
  RV_SetStringLen(result, text.data(), static_cast<int32_t>(text.size()));
}

FN_DS(F_JsonParse) {
  if (argc < 1 || RV_Kind(argv[0]) != kRVString) {
    KVError("json_parse : expects a string argument");
    return;
  }
  const _RefThing* record = argv[0].pRefString;
  if (record == nullptr || record->text == nullptr) {
    set_result(result, RV_Undefined());
    return;
  }
  RValue value;
  if (!Json_Parse(record->text, &value)) {
    KVError("JSON parse error");
    return;
  }
  set_result(result, value);
}

FN_DS(F_JsonStringify) {
  if (argc < 1) {
    KVError("json_stringify expects a parameter");
    return;
  }
  set_text(result, Json_Stringify(argv[0]));
}

FN_DS(F_JsonDecode) {
  if (RV_Kind(argv[0]) != kRVString) {
    set_result(result, RV_Real(Json_DecodeNumber(KVGetReal(argv, 0))));
    return;
  }
  const _RefThing* record = argv[0].pRefString;
  const int32_t id = record != nullptr && record->text != nullptr ? Json_Decode(record->text) : -1;
  set_result(result, RV_Real(id));
}

FN_DS(F_JsonEncode) { set_text(result, Json_Encode(KVGetInt64(argv, 0))); }

}  // namespace

void Json_RegisterBuiltins() {
  Function_Add("json_parse", F_JsonParse, 1, 0);
  Function_Add("json_stringify", F_JsonStringify, 1, 0);
  Function_Add("json_decode", fn_ds::with_args<F_JsonDecode, 1>, 1, 0);
  Function_Add("json_encode", fn_ds::with_args<F_JsonEncode, 1>, 1, 0);
}
