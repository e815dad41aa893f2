// The string builtins, called by name: positions by character from 1 over UTF-8 text, edits,
// replacement, case mapping, number formatting and the messages.
#include <clocale>
#include <cwctype>
#include <iterator>
#include <string>

#include <locale.h>

#include "core/fn_string.h"
#include "value_test_support.h"

namespace value_test {
namespace {

// h € x 😀: one, three, one and four bytes.
const char* const kMixed = "h\xE2\x82\xACx\xF0\x9F\x98\x80";

class FnStringTest : public ValueBuiltinsTest {
 protected:
  void SetUp() override {
    ValueBuiltinsTest::SetUp();
    first_ = Function_Count();
    String_RegisterBuiltins();
  }
  double Number(const char* name, std::vector<Val> args) {
    Val result = Call(name, args);
    EXPECT_EQ(result.kind(), kRVReal) << name;
    return result->val;
  }

  int32_t first_ = 0;
};

// Arguments written as strings or numbers; a row gives either a text or a number back.
struct Arg {
  Arg(const char* text) : value(Val::Str(text)) {}  // NOLINT: rows read as literals
  Arg(int number) : value(Val::Real(number)) {}  // NOLINT
  Arg(double number) : value(Val::Real(number)) {}  // NOLINT
  Val value;
};

struct TextCase {
  const char* name;
  std::vector<Arg> args;
  std::string expected;
};

struct NumberCase {
  const char* name;
  std::vector<Arg> args;
  double expected;
};

std::vector<Val> Values(const std::vector<Arg>& args) {
  std::vector<Val> values;
  for (const Arg& a : args) values.push_back(a.value);
  return values;
}

TEST_F(FnStringTest, RegisteredInListOrder) {
  const char* names[] = {
      "string_format", "chr", "ansi_char", "ord", "string_length", "string_pos", "string_pos_ext",
      "string_last_pos", "string_last_pos_ext", "string_copy", "string_char_at", "string_ord_at",
      "string_byte_length", "string_byte_at", "string_set_byte_at", "string_delete", "string_insert",
      "string_lower", "string_upper", "string_repeat", "string_letters", "string_digits", "string_lettersdigits",
      "string_replace", "string_replace_all", "string_count", "string_hash_to_newline",
  };
  ASSERT_EQ(Function_Count() - first_, static_cast<int32_t>(std::size(names)));
  for (int32_t i = 0; i < static_cast<int32_t>(std::size(names)); ++i) {
    EXPECT_STREQ(Function_Row(first_ + i)->name, names[i]);
  }
}

TEST_F(FnStringTest, PositionsCountCharactersFromOne) {
  const NumberCase cases[] = {
      {"string_length", {kMixed}, 4},
      {"string_length", {""}, 0},
      {"string_length", {1.5}, 4},  // read as its text "1.50"
      {"string_byte_length", {kMixed}, 9},
      {"string_pos", {"", "abc"}, 0},
      {"string_pos", {"a", ""}, 0},
      {"string_pos", {"b", "abc"}, 2},
      {"string_pos", {"z", "abc"}, 0},
      {"string_pos", {"B", "abc"}, 0},
      {"string_pos", {"x\xF0\x9F\x98\x80", kMixed}, 3},
      {"string_pos", {"abcd", "abc"}, 0},
      {"string_pos_ext", {"a", "banana", 0}, 2},
      {"string_pos_ext", {"a", "banana", 2}, 4},
      {"string_pos_ext", {"a", "banana", -3}, 2},
      {"string_pos_ext", {"a", "banana", 6}, 0},
      {"string_pos_ext", {"x", kMixed, 1}, 3},
      {"string_last_pos", {"a", "banana"}, 6},
      {"string_last_pos", {"an", "banana"}, 4},
      {"string_last_pos", {"x", "banana"}, 0},
      {"string_last_pos", {"", "banana"}, 0},
      {"string_last_pos_ext", {"a", "banana", 4}, 4},
      {"string_last_pos_ext", {"a", "banana", 3}, 4},
      {"string_last_pos_ext", {"a", "banana", 2}, 2},
      {"string_last_pos_ext", {"a", "banana", 0}, 0},
      {"string_last_pos_ext", {"a", "banana", 99}, 6},
      {"string_last_pos_ext", {"a", "banana", -1}, 0},
      {"string_ord_at", {kMixed, 2}, 0x20AC},
      {"string_ord_at", {kMixed, 4}, 0x1F600},
      {"string_ord_at", {"abc", 0}, 'a'},
      {"string_ord_at", {"abc", 4}, -1},
      {"string_ord_at", {"", 1}, -1},
      {"string_byte_at", {"abc", 0}, 'a'},
      {"string_byte_at", {"abc", 3}, 'c'},
      {"string_byte_at", {"abc", 10}, 'c'},
      {"string_byte_at", {kMixed, 2}, 0xE2},
      {"string_byte_at", {"", 1}, 0},
      {"string_count", {"aa", "aaaa"}, 3},
      {"string_count", {"a", "banana"}, 3},
      {"string_count", {"\xE2\x82\xAC", "\xE2\x82\xAC\xE2\x82\xAC"}, 2},
      {"string_count", {"abcde", "abc"}, 0},
      {"string_count", {"", "abc"}, 0},
      {"ord", {"\xE2\x82\xACuro"}, 0x20AC},
      {"ord", {""}, 0},
  };
  for (const NumberCase& c : cases) EXPECT_EQ(Number(c.name, Values(c.args)), c.expected) << c.name;
}

TEST_F(FnStringTest, CopiesAndEdits) {
  const TextCase cases[] = {
      {"string_copy", {"abc", 0, 2}, "ab"},
      {"string_copy", {"abc", 2, 10}, "bc"},
      {"string_copy", {"abc", 4, 1}, ""},
      {"string_copy", {"abc", 1, -1}, ""},
      {"string_copy", {kMixed, 2, 2}, "\xE2\x82\xACx"},
      {"string_char_at", {"abc", 0}, "a"},
      {"string_char_at", {"abc", 4}, ""},
      {"string_char_at", {kMixed, 4}, "\xF0\x9F\x98\x80"},
      {"string_delete", {"abcdef", 2, 2}, "adef"},
      {"string_delete", {"abcdef", 5, 10}, "abcd"},
      {"string_delete", {"abcdef", 0, 2}, "abcdef"},
      {"string_delete", {"abcdef", 7, 1}, "abcdef"},
      {"string_delete", {"abcdef", 2, 0}, "abcdef"},
      {"string_delete", {kMixed, 2, 1}, "hx\xF0\x9F\x98\x80"},
      {"string_insert", {"XY", "abc", 2}, "aXYbc"},
      {"string_insert", {"XY", "abc", -4}, "XYabc"},
      {"string_insert", {"XY", "abc", 4}, "abcXY"},
      {"string_insert", {"XY", "abc", 40}, "abcXY"},
      {"string_insert", {"-", kMixed, 3}, "h\xE2\x82\xAC-x\xF0\x9F\x98\x80"},
      {"string_set_byte_at", {"abc", 2, 65}, "aAc"},
      {"string_set_byte_at", {"abc", 1, 0x141}, "Abc"},
      {"string_set_byte_at", {"abc", 2, 0}, "a"},
      {"string_repeat", {"ab", 3}, "ababab"},
      {"string_repeat", {"ab", 0}, ""},
      {"string_repeat", {"ab", -2}, ""},
      {"string_letters", {"a1b2-C3\xC3\xA9"}, "abC"},
      {"string_digits", {"a1b2-C3\xC3\xA9"}, "123"},
      {"string_lettersdigits", {"a1b2-C3\xC3\xA9"}, "a1b2C3"},
      {"string_replace", {"a-b-c", "-", "+"}, "a+b-c"},
      {"string_replace", {"abc", "z", "+"}, "abc"},
      {"string_replace", {"abc", "", "+"}, "abc"},
      {"string_replace_all", {"a-b-c", "-", "+"}, "a+b+c"},
      {"string_replace_all", {"aaa", "a", "aa"}, "aaaaaa"},
      {"string_replace_all", {"abc", "", "+"}, "abc"},
      {"string_replace_all", {"abab", "ab", ""}, ""},
      {"string_hash_to_newline", {"a#b\\#c#"}, "a\r\nb\\#c\r\n"},
      {"string_hash_to_newline", {2.5}, "2.50"},
      {"string_lower", {"HeLLo 1!"}, "hello 1!"},
      {"string_upper", {"HeLLo 1!"}, "HELLO 1!"},
      {"string_upper", {"\xF0\x9F\x98\x80z"}, "\xF0\x9F\x98\x80Z"},
  };
  for (const TextCase& c : cases) EXPECT_EQ(Text(c.name, Values(c.args)), c.expected) << c.name;

  EXPECT_EQ(Text("string_hash_to_newline", {Val::Undefined()}), "undefined");
  EXPECT_EQ(Number("string_length", {Val::NullString()}), 0.0);
}

TEST_F(FnStringTest, CharactersFromNumbers) {
  const TextCase cases[] = {
      {"chr", {65}, "A"},
      {"chr", {0xE9}, "\xC3\xA9"},
      {"chr", {0x20AC}, "\xE2\x82\xAC"},
      {"chr", {0x1F600}, "\xF0\x9F\x98\x80"},
      {"chr", {0}, ""},
      {"chr", {-191}, "A"},  // up to 127 is one byte with bit 7 cleared
      {"ansi_char", {65}, "A"},
      {"ansi_char", {0x1E9}, "\xE9"},
      {"ansi_char", {256}, ""},
  };
  for (const TextCase& c : cases) EXPECT_EQ(Text(c.name, Values(c.args)), c.expected) << c.name;
}

TEST_F(FnStringTest, FormatRightAlignsNumbers) {
  const TextCase cases[] = {
      {"string_format", {3.14159, 5, 2}, "    3.14"},
      {"string_format", {3.14159, 0, 2}, "3.14"},
      {"string_format", {42, 5, 0}, "   42"},
      {"string_format", {42, -5, -2}, "42"},
      {"string_format", {-1.5, 1, 1}, "-1.5"},
      {"string_format", {2.5, 0, 0}, "2"},
      {"string_format", {1234.5678, 2, 3}, "1234.568"},
      {"string_format", {"abc", 10, 2}, "abc"},
  };
  for (const TextCase& c : cases) EXPECT_EQ(Text(c.name, Values(c.args)), c.expected) << c.name;
  // A string comes back as the same record.
  Val text = Val::Str("same");
  Val formatted = Call("string_format", {text, Val::Real(9), Val::Real(9)});
  EXPECT_EQ(formatted->pRefString, text->pRefString);
}

TEST_F(FnStringTest, Messages) {
  EXPECT_EQ(Raised("string_set_byte_at", {Val::Str("abc"), Val::Real(4), Val::Real(65)}),
            "string_set_byte_at : index beyond end of string");
  EXPECT_EQ(Raised("string_set_byte_at", {Val::Str(""), Val::Real(1), Val::Real(65)}),
            "string_set_byte_at : index beyond end of string");
  EXPECT_EQ(Raised("string_copy", {Val::Str("abc")}),
            "string_copy argument 2 incorrect type (undefined) expecting a Number (KVGI32)");
  EXPECT_EQ(Raised("string_length", {Val::Undefined()}),
            "string_length argument 1 incorrect type (undefined) expecting a String (KVGS)");
  EXPECT_EQ(Raised("string_repeat", {Val::Str("abcdefgh"), Val::Real(1e9)}),
            "string_repeat : resulting string is too long");
}

TEST_F(FnStringTest, CaseMappingFollowsTheUserLocale) {
  const locale_t user = newlocale(LC_CTYPE_MASK, "", static_cast<locale_t>(nullptr));
  const bool maps_latin = user != static_cast<locale_t>(nullptr) && towupper_l(0xE9, user) == 0xC9;
  if (user != static_cast<locale_t>(nullptr)) freelocale(user);
  if (!maps_latin) GTEST_SKIP() << "the user's locale has no mapping beyond ASCII";
  EXPECT_EQ(Text("string_upper", {Val::Str("\xC3\xA9t\xC3\xA9")}), "\xC3\x89T\xC3\x89");
  EXPECT_EQ(Text("string_lower", {Val::Str("\xCE\x91\xC3\x89")}), "\xCE\xB1\xC3\xA9");
}

}  // namespace
}  // namespace value_test
