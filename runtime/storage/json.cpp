// The tokener call and the four conversions behind json_parse, json_stringify, json_decode and
// json_encode.
#include "storage/json.h"

#include <json-c/json.h>

#include <charconv>
#include <cstring>

#include "core/console.h"
#include "storage/ds_core.h"

namespace {

constexpr char kUtf8Mark[] = "\xEF\xBB\xBF";

class Tree {
 public:
  explicit Tree(json_object* tree) : tree_(tree) {}
  ~Tree() { json_object_put(tree_); }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;
  json_object* get() const { return tree_; }

 private:
  json_object* tree_;
};

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

}  // namespace

json_object* Json_ParseTree(const char* text, bool* failed) {
  *failed = true;
  json_tokener* tokener = json_tokener_new_ex(kJsonMaxDepth);
  if (tokener == nullptr) return nullptr;
  // Length -1: the tokener reads up to the NUL, which also ends a bare number or literal.
  json_object* tree = json_tokener_parse_ex(tokener, text, -1);
  const json_tokener_error error = json_tokener_get_error(tokener);
  if (error != json_tokener_success) {
    g_ReleaseConsole->Output("json_tokener_parse_ex: error %s at offset %d\n", json_tokener_error_desc(error),
                             static_cast<int>(json_tokener_get_parse_end(tokener)));
    json_object_put(tree);
    tree = nullptr;
  } else {
    *failed = false;
  }
  json_tokener_free(tokener);
  return tree;
}

bool Json_Parse(const char* text, RValue* out) {
  *out = RV_Undefined();
  bool failed = false;
  const Tree tree(Json_ParseTree(text, &failed));
  if (failed || tree.get() == nullptr) return false;
  Json_TreeToValue(tree.get(), out);
  return true;
}

std::string Json_Stringify(const RValue& value) {
  const Tree tree(Json_ValueToTree(value));
  std::string text;
  Json_PrintTree(tree.get(), &text);
  return text;
}

int32_t Json_Decode(const char* text) {
  if (text == nullptr) return -1;
  if (std::strncmp(text, kUtf8Mark, 3) == 0) text += 3;
  const size_t length = std::strlen(text);
  size_t first = 0;
  while (first < length && is_blank(text[first])) ++first;
  size_t last = length;
  while (last > first && is_blank(text[last - 1])) --last;
  const char open = first < last ? text[first] : '\0';
  const char close = first < last ? text[last - 1] : '\0';

  std::string wrapped;
  if (last - first >= 2 && open == '{' && close == '}') {
    wrapped = text;
  } else if (last - first >= 2 && open == '[' && close == ']') {
    wrapped = std::string("{ \"default\" : ") + text + " }";
  } else {
    wrapped = std::string("{ \"default\" : \"") + text + "\" }";
  }

  bool failed = false;
  json_object* parsed = Json_ParseTree(wrapped.c_str(), &failed);
  if (failed) {
    const std::string again = "{ \"default\" : \"" + wrapped + "\" }";
    parsed = Json_ParseTree(again.c_str(), &failed);
  }
  const Tree tree(parsed);
  return failed ? -1 : Json_TreeToMap(tree.get());
}

int32_t Json_DecodeNumber(double value) {
  char number[400];
  // "%.2f" in the "C" locale.
  const auto end = std::to_chars(number, number + sizeof number, value, std::chars_format::fixed, 2).ptr;
  const std::string text = "{ \"default\" : \"" + std::string(number, end) + "\" }";
  bool failed = false;
  const Tree tree(Json_ParseTree(text.c_str(), &failed));
  return failed ? -1 : Json_TreeToMap(tree.get());
}

std::string Json_Encode(int64_t map_id) {
  DsLock lock(DsMutex());
  const Tree tree(Json_MapToTree(map_id));
  std::string text;
  if (tree.get() != nullptr) Json_PrintTree(tree.get(), &text);
  return text;
}
