#pragma once
// JSON text <-> script values, through json-c's tokener and object tree with the runtime's own
// printer. Json_Parse and Json_Stringify work on arrays and structs; Json_Decode and Json_Encode
// on ds maps and lists, using the nesting marks of their cells.
//
// Printing (not json-c's): null "null"; booleans "true"/"false"; ints "%d"; doubles "%.32g" with
// ".0" added when the text has no '.' (1e20 prints 100000000000000000000.0), infinities and NaN as
// the quoted words "infinity", "-infinity", "nan"; arrays "[ a, b ]" (empty "[ ]"); objects
// "{ \"k\": v, \"k2\": v2 }" (empty "{ }"). Strings escape \b \t \n \r \" \\ \/ and other bytes
// below 32 as \u00xx; bytes from 128 pass unchanged. Numbers print the same in every locale.
//
// Values to JSON: marked map and list ids become objects and arrays of the structures they name
// (null for a dead id); int32 and ref become ints; int64 an int within +-2147483647, else a double
// when a double holds it exactly, else the string "@i64@<hex>$i64$"; bools, reals, strings,
// arrays, structs as themselves (struct members in slot-map order, methods and unset slots left
// out); pointers "%p" text (null for 0); anything else null. A container met again inside itself,
// or nested deeper than kJsonMaxDepth, becomes null, so no input hangs or overflows the stack.
//
// JSON to values: null is a pointer of value 0 (undefined inside a decoded list), booleans and
// numbers reals, "@i64@<hex>$i64$" strings int64, arrays arrays (decode: marked lists), objects
// structs of class "___struct___" (decode: marked maps). The tokener is json-c's default one,
// lenient as json-c 0.16 is (comments, single quotes, trailing commas, NaN and Infinity words,
// text after the first complete value ignored), with nesting up to kJsonMaxDepth. A failure
// prints "json_tokener_parse_ex: error %s at offset %d\n" on the release console.
//
// Json_Decode, Json_Encode and marked cells hold DsMutex during their walk.
#include <cstdint>
#include <string>

#include "core/rvalue.h"

struct json_object;

constexpr int kJsonMaxDepth = 512;

// The value of text. False for text that doesn't parse, or that is the bare literal null; out is
// then undefined. out must hold nothing to free.
bool Json_Parse(const char* text, RValue* out);
// The JSON text of a value.
std::string Json_Stringify(const RValue& value);
// json_decode of text: the id of a new map, or -1 when neither the text nor its wrapped form parses.
int32_t Json_Decode(const char* text);
// json_decode of a value that isn't a string: a map whose "default" holds its number as "%.2f".
int32_t Json_DecodeNumber(double value);
// json_encode: the JSON text of map id, "" for an id that names no map.
std::string Json_Encode(int64_t map_id);

// ---- Tree level, shared by the files of this module ---------------------------------------------
// Prints a tree (null prints "null") by the rules above, appending to out.
void Json_PrintTree(const json_object* tree, std::string* out);
// Appends the text of a double as the printer writes it.
void Json_PrintDouble(double value, std::string* out);
// Parses text with the tokener; null on failure (the console line printed) and for a bare null,
// with *failed telling the two apart. The caller owns the tree (json_object_put).
json_object* Json_ParseTree(const char* text, bool* failed);
// The tree of a value; null stands for JSON null. Caller owns it.
json_object* Json_ValueToTree(const RValue& value);
// The tree of a map (an object); null when no map has that id.
json_object* Json_MapToTree(int64_t map_id);
// The value of a tree (json_parse's rules) into out, which holds nothing to free.
void Json_TreeToValue(const json_object* tree, RValue* out);
// A new map (json_decode's rules) from an object tree; its id, or -1 for a tree that isn't one.
int32_t Json_TreeToMap(const json_object* tree);
