#pragma once
// The JSON builtins: json_parse, json_stringify, json_decode and json_encode, registered in that
// order by Json_RegisterBuiltins. Argument checks and errors:
//   json_parse      a non-string raises "json_parse : expects a string argument"; a string record
//                   with no text gives undefined; text that doesn't parse, or the bare literal null,
//                   raises "JSON parse error"
//   json_stringify  no argument raises "json_stringify expects a parameter"
//   json_decode     a null string record gives -1; a value that isn't a string is read as a number
//   json_encode     an id that names no map gives ""
void Json_RegisterBuiltins();
