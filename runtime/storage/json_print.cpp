// The JSON printer: json-c trees to text by the runtime's own rules, not json-c's.
#include <json-c/json.h>

#include <charconv>
#include <cmath>
#include <cstring>

#include "storage/json.h"

namespace {

constexpr char kLowerHex[] = "0123456789abcdef";

void print_string(const char* text, size_t length, std::string* out) {
  out->push_back('"');
  for (size_t i = 0; i < length; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    switch (c) {
      case '\b': out->append("\\b"); break;
      case '\t': out->append("\\t"); break;
      case '\n': out->append("\\n"); break;
      case '\r': out->append("\\r"); break;
      case '"': out->append("\\\""); break;
      case '\\': out->append("\\\\"); break;
      case '/': out->append("\\/"); break;
      default:
        if (c < 32) {
          out->append("\\u00");
          out->push_back(kLowerHex[c >> 4]);
          out->push_back(kLowerHex[c & 15]);
        } else {
          out->push_back(static_cast<char>(c));
        }
        break;
    }
  }
  out->push_back('"');
}

void print_node(const json_object* node, std::string* out);

void print_array(const json_object* node, std::string* out) {
  const size_t count = json_object_array_length(node);
  out->push_back('[');
  for (size_t i = 0; i < count; ++i) {
    out->append(i == 0 ? " " : ", ");
    print_node(json_object_array_get_idx(node, i), out);
  }
  out->append(" ]");
}

void print_object(const json_object* node, std::string* out) {
  out->push_back('{');
  bool first = true;
  // json-c's object iteration follows insertion order.
  json_object_object_foreach(const_cast<json_object*>(node), key, child) {
    if (!first) out->push_back(',');
    first = false;
    out->push_back(' ');
    print_string(key, std::strlen(key), out);
    out->append(": ");
    print_node(child, out);
  }
  out->append(" }");
}

void print_node(const json_object* node, std::string* out) {
  switch (json_object_get_type(node)) {
    case json_type_null: out->append("null"); return;
    case json_type_boolean: out->append(json_object_get_boolean(node) ? "true" : "false"); return;
    case json_type_int: {
      char buffer[24];
      const auto end = std::to_chars(buffer, buffer + sizeof buffer, json_object_get_int64(node)).ptr;
      out->append(buffer, static_cast<size_t>(end - buffer));
      return;
    }
    case json_type_double: Json_PrintDouble(json_object_get_double(node), out); return;
    case json_type_string:
      print_string(json_object_get_string(const_cast<json_object*>(node)),
                   static_cast<size_t>(json_object_get_string_len(node)), out);
      return;
    case json_type_array: print_array(node, out); return;
    case json_type_object: print_object(node, out); return;
  }
  out->append("null");
}

}  // namespace

void Json_PrintDouble(double value, std::string* out) {
  if (std::isnan(value)) {
    out->append("\"nan\"");
    return;
  }
  if (std::isinf(value)) {
    out->append(value > 0 ? "\"infinity\"" : "\"-infinity\"");
    return;
  }
  // "%.32g" in the "C" locale, whatever the process locale is.
  char buffer[64];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 32).ptr;
  out->append(buffer, static_cast<size_t>(end - buffer));
  if (std::memchr(buffer, '.', static_cast<size_t>(end - buffer)) == nullptr) out->append(".0");
}

void Json_PrintTree(const json_object* tree, std::string* out) { print_node(tree, out); }
