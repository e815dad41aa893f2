#pragma once
// TStringList: the list of lines that text drawing cuts a string into. The list owns one array of
// decoded code points (n codes and a terminating 0); each line is a node pointing into that array,
// and a line is ended by writing 0 into it, so splitting copies no text. Lines are kept in the
// order they were added (a singly linked list with a tail pointer). Width limits follow one rule:
// a negative limit stands for kNoWrapWidth, which means no wrapping.
// Storage comes from the memory manager; setting new text or clearing drops the lines.
#include <cstdint>

class TStringList {
 public:
  static constexpr int32_t kNoWrapWidth = 10000000;

  struct Node {
    Node* next;
    uint32_t* text;  // zero-terminated, inside the list's code array
  };

  TStringList() = default;
  ~TStringList();
  TStringList(const TStringList&) = delete;
  TStringList& operator=(const TStringList&) = delete;

  // The effective width limit, and whether it wraps at all.
  static int32_t WidthLimit(int32_t width) { return width < 0 ? kNoWrapWidth : width; }
  static bool Wraps(int32_t width) { return WidthLimit(width) != kNoWrapWidth; }

  // Drops the lines and decodes utf8 into the code array. A character is read by its lead byte:
  // below 0x80 one byte, 0xF0 to 0xF7 four, with bit 5 set three, otherwise two; continuation
  // bytes aren't checked, but a sequence cut short by the terminator ends the text. Returns n, the
  // number of codes (a null string gives 0), or -1 when memory ran out.
  int32_t SetText(const char* utf8);
  // Drops the lines and takes a copy of count code points (a 0 is added behind them).
  int32_t SetCodes(const uint32_t* codes, int32_t count);

  uint32_t* Codes() { return codes_; }
  int32_t CodeCount() const { return code_count_; }

  // Appends a line that starts at code index start (0 to n); false for an index outside the text
  // or when memory ran out.
  bool AddLine(int32_t start);

  const Node* First() const { return first_; }
  int32_t Count() const { return count_; }
  // The code index where a line starts.
  int32_t StartOf(const Node* line) const { return static_cast<int32_t>(line->text - codes_); }
  // The line's codes up to its terminator.
  static int32_t LineLength(const Node* line);
  // The line as NUL-terminated UTF-8, in a block of the memory manager that the caller frees.
  static char* LineToUtf8(const Node* line);

  // Drops the lines, keeping the text.
  void ClearLines();
  // Drops lines and text.
  void Clear();

 private:
  uint32_t* codes_ = nullptr;
  int32_t code_count_ = 0;
  Node* first_ = nullptr;
  Node* last_ = nullptr;
  int32_t count_ = 0;
};

// Writes code point c as UTF-8 into out (room for 4 bytes); returns the byte count. Codes above
// 0x10FFFF are written as U+FFFD.
int32_t Utf8_Encode(uint32_t c, char* out);
