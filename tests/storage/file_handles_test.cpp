#include <gtest/gtest.h>
#include <zip.h>

#include "core/console.h"
#include "storage/file_test_fixture.h"

namespace file_test {
namespace {

TEST_F(FilesTest, TextWriteReachesTheDiskOnlyAtClose) {
  Start();
  const double id = Real("file_text_open_write", {S("logs/out.txt")});
  ASSERT_GE(id, 1.0);
  Call("file_text_write_string", {R(id), S("one\ntwo")});
  Call("file_text_writeln", {R(id)});
  Call("file_text_write_real", {R(id), R(2.5)});
  Call("file_text_write_real", {R(id), R(3)});
  Call("file_text_write_string", {R(id), S("x\r\ny")});
  EXPECT_EQ(Real("file_exists", {S("logs/out.txt")}), 0.0);
  Call("file_text_close", {R(id)});
  EXPECT_EQ(Real("file_exists", {S("logs/out.txt")}), 1.0);
  EXPECT_EQ(Get(save() / "logs" / "out.txt"), "one\r\ntwo\r\n2.5 3 x\r\ny");
}

TEST_F(FilesTest, TextReadsLinesStringsAndNumbers) {
  Start();
  Put(bundle() / "in.txt", "\xEF\xBB\xBFhello world\r\n\r\n  42.5 rest\nlast");
  const double id = Real("file_text_open_read", {S("in.txt")});
  ASSERT_GE(id, 1.0);
  struct Step {
    const char* builtin;
    std::string want;
  };
  const Step steps[] = {
      {"file_text_eoln", "0"},
      {"file_text_read_string", "hello world"},  // the mark is skipped
      {"file_text_eoln", "1"},
      {"file_text_read_string", ""},  // stays on the line end
      {"file_text_readln", "\r\n"},
      {"file_text_read_string", ""},  // an empty line
      {"file_text_eoln", "1"},
      {"file_text_readln", "\r\n"},
      {"file_text_read_real", "42.50"},
      {"file_text_read_string", " rest"},
      {"file_text_readln", "\n"},
      {"file_text_eof", "0"},
      {"file_text_readln", "last"},
      {"file_text_eof", "1"},
      {"file_text_eoln", "1"},
      {"file_text_read_string", ""},
      {"file_text_read_real", "0"},
  };
  for (const Step& step : steps) EXPECT_EQ(Text(step.builtin, {R(id)}), step.want) << step.builtin;
  Call("file_text_close", {R(id)});
}

TEST_F(FilesTest, TextAppendCopiesABundleFileFirst) {
  Start();
  Put(bundle() / "notes.txt", "from bundle\r\n");
  const double id = Real("file_text_open_append", {S("notes.txt")});
  ASSERT_GE(id, 1.0);
  Call("file_text_write_string", {R(id), S("added")});
  Call("file_text_close", {R(id)});
  EXPECT_EQ(Get(save() / "notes.txt"), "from bundle\r\nadded");
  EXPECT_EQ(Get(bundle() / "notes.txt"), "from bundle\r\n");
}

TEST_F(FilesTest, TextFromStringAndFailures) {
  Start();
  const double id = Real("file_text_open_from_string", {S("7 8\nnext")});
  ASSERT_GE(id, 1.0);
  EXPECT_EQ(Real("file_text_read_real", {R(id)}), 7.0);
  EXPECT_EQ(Real("file_text_read_real", {R(id)}), 8.0);
  EXPECT_EQ(Raised("file_text_write_string", {R(id), S("x")}), "File not opened for writing.");
  Call("file_text_close", {R(id)});
  EXPECT_EQ(Raised("file_text_readln", {R(id)}), "File is not opened for reading.");
  EXPECT_EQ(Raised("file_text_close", {R(0)}), "Trying to close text file that has not been opened.");
  EXPECT_EQ(Raised("file_text_close", {R(32)}), "Trying to close text file that has not been opened.");
  ConsoleCapture capture;
  EXPECT_EQ(Real("file_text_open_from_string", {R(5)}), -1.0);
  EXPECT_EQ(Real("file_text_open_read", {S("missing.txt")}), -1.0);
  EXPECT_NE(capture.text().find("ERROR!!! :: wrong type for filename\n"), std::string::npos);
  EXPECT_NE(capture.text().find("ERROR!!! :: Failed to open file: missing.txt\n"), std::string::npos);
}

TEST_F(FilesTest, ThirtyOneFilesAtMost) {
  Start();
  std::vector<double> ids;
  for (int i = 0; i < 31; ++i) ids.push_back(Real("file_text_open_from_string", {S("x")}));
  EXPECT_EQ(ids.front(), 1.0);
  EXPECT_EQ(ids.back(), 31.0);
  EXPECT_EQ(Raised("file_text_open_from_string", {S("x")}), "Cannot open another file (maximum exceeded).");
  Call("file_text_close", {R(5)});
  EXPECT_EQ(Real("file_text_open_from_string", {S("x")}), 5.0);  // the lowest free id
}

TEST_F(FilesTest, BinaryFilesReadWriteSeekAndRewrite) {
  Start();
  Put(bundle() / "data.bin", "\xEF\xBB\xBF" "AB");
  const double in = Real("file_bin_open", {S("data.bin"), R(0)});
  ASSERT_GE(in, 1.0);
  EXPECT_EQ(Real("file_bin_size", {R(in)}), 5.0);
  EXPECT_EQ(Real("file_bin_read_byte", {R(in)}), 0xEF);  // binary reads see the mark
  Call("file_bin_seek", {R(in), R(3)});
  EXPECT_EQ(Real("file_bin_read_byte", {R(in)}), 'A');
  EXPECT_EQ(Real("file_bin_position", {R(in)}), 4.0);
  Call("file_bin_write_byte", {R(in), R('Z')});  // mode 0 writes nothing
  EXPECT_EQ(Real("file_bin_read_byte", {R(in)}), 'B');
  EXPECT_EQ(Raised("file_bin_read_byte", {R(in)}), "Error reading byte.");
  Call("file_bin_close", {R(in)});

  // Read and write (mode 2) on a bundle file writes to the save area at close.
  const double rw = Real("file_bin_open", {S("data.bin"), R(2)});
  Call("file_bin_seek", {R(rw), R(3)});
  Call("file_bin_write_byte", {R(rw), R(0x161)});  // the low byte
  Call("file_bin_seek", {R(rw), R(5)});
  Call("file_bin_write_byte", {R(rw), R('C')});
  Call("file_bin_close", {R(rw)});
  EXPECT_EQ(Get(save() / "data.bin"), "\xEF\xBB\xBF" "aBC");
  EXPECT_EQ(Get(bundle() / "data.bin"), "\xEF\xBB\xBF" "AB");

  // Rewrite empties the file and leaves it write-only.
  const double w = Real("file_bin_open", {S("data.bin"), R(2)});
  Call("file_bin_rewrite", {R(w)});
  EXPECT_EQ(Real("file_bin_size", {R(w)}), 0.0);
  Call("file_bin_write_byte", {R(w), R('Q')});
  EXPECT_EQ(Raised("file_bin_read_byte", {R(w)}), "Error reading byte.");
  Call("file_bin_close", {R(w)});
  EXPECT_EQ(Get(save() / "data.bin"), "Q");
}

TEST_F(FilesTest, BinaryFailures) {
  Start();
  {
    ConsoleCapture capture;
    EXPECT_EQ(Real("file_bin_open", {S("missing.bin"), R(0)}), -1.0);
    EXPECT_NE(capture.text().find("Error opening binary file missing.bin\n"), std::string::npos);
  }
  const struct {
    const char* builtin;
    const char* message;
  } cases[] = {
      {"file_bin_close", "Trying to close unopened file."},   {"file_bin_rewrite", "Trying to rewrite unopened file."},
      {"file_bin_position", "File is not opened."},           {"file_bin_size", "File is not opened."},
      {"file_bin_seek", "File is not opened."},               {"file_bin_read_byte", "File is not opened."},
      {"file_bin_write_byte", "File is not opened."},
  };
  for (const auto& c : cases) {
    for (double id : {0.0, 3.0, 40.0}) {
      EXPECT_EQ(Raised(c.builtin, {R(id), R(0)}), c.message) << c.builtin << " " << id;
    }
  }
  // A new file in write mode is made with its folders at close.
  const double id = Real("file_bin_open", {S("new/dir/f.bin"), R(1)});
  ASSERT_GE(id, 1.0);
  Call("file_bin_write_byte", {R(id), R(7)});
  Call("file_bin_close", {R(id)});
  EXPECT_EQ(Get(save() / "new" / "dir" / "f.bin"), std::string(1, '\x07'));
}

TEST_F(FilesTest, BuffersLoadAndSaveThroughTheSameRoots) {
  Start();
  Put(bundle() / "blob.bin", "bundle");
  const double buffer = Real("buffer_load", {S("blob.bin")});
  ASSERT_GE(buffer, 0.0);
  EXPECT_EQ(Real("buffer_get_size", {R(buffer)}), 6.0);
  Call("buffer_save", {R(buffer), S("out/blob.bin")});
  EXPECT_EQ(Get(save() / "out" / "blob.bin"), "bundle");
  Call("buffer_delete", {R(buffer)});
  // A save-area file of the same name now shadows the bundle's.
  Put(save() / "blob.bin", "saved!!");
  const double again = Real("buffer_load", {S("blob.bin")});
  EXPECT_EQ(Real("buffer_get_size", {R(again)}), 7.0);
  Call("buffer_delete", {R(again)});
}

}  // namespace
}  // namespace file_test

namespace file_test {
namespace {

// A zip archive of the given entries (names ending in '/' are folders), written with minizip.
void write_zip(const fs::path& path, const std::vector<std::pair<std::string, std::string>>& entries) {
  fs::create_directories(path.parent_path());
  zipFile zip = zipOpen64(path.c_str(), APPEND_STATUS_CREATE);
  ASSERT_NE(zip, nullptr);
  for (const auto& [name, bytes] : entries) {
    ASSERT_EQ(zipOpenNewFileInZip(zip, name.c_str(), nullptr, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED,
                                  Z_DEFAULT_COMPRESSION),
              ZIP_OK);
    zipWriteInFileInZip(zip, bytes.data(), static_cast<unsigned>(bytes.size()));
    zipCloseFileInZip(zip);
  }
  zipClose(zip, nullptr);
}

TEST_F(FilesTest, UnzipWritesEveryEntryIntoTheSaveArea) {
  Start();
  write_zip(bundle() / "pack.zip", {{"levels/", ""}, {"levels/one.txt", "first"}, {"readme.txt", std::string(5000, 'r')}});
  EXPECT_EQ(Real("zip_unzip", {S("pack.zip"), S("unpacked")}), 3.0);
  EXPECT_EQ(Get(save() / "unpacked" / "levels" / "one.txt"), "first");
  EXPECT_EQ(Get(save() / "unpacked" / "readme.txt"), std::string(5000, 'r'));
  EXPECT_EQ(Real("zip_unzip", {S("missing.zip"), S("x")}), -1.0);
  Put(bundle() / "broken.zip", "PK not really");
  EXPECT_LT(Real("zip_unzip", {S("broken.zip"), S("x")}), 0.0);
}

TEST_F(FilesTest, DialogsAnswerAsCancelled) {
  Start();
  EXPECT_EQ(Text("get_open_filename", {S("*.txt"), S("a.txt")}), "");
  EXPECT_EQ(Text("get_save_filename_ext", {S("*.txt"), S("a.txt"), S(""), S("Save")}), "");
}

}  // namespace
}  // namespace file_test
