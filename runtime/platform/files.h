#pragma once
// The small file layer under the runner's start-up and the ini reader: whole-file reads and
// writes, directory creation, path queries and the start-up move of files named with `@`.
// Paths are UTF-8 with `/` separators. Nothing here keeps a file open past its call. Failures
// come back as false, "" or a count; nothing throws or prints. Whole-file calls cost one read or
// one write of the file; MoveAtNamedFiles lists its directory once.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The process's current directory, without a trailing '/' (except for the root itself).
std::string Platform_CurrentDirectory();

// The running program's own path, "" when it can't be read.
std::string Platform_ExecutablePath();

// The text up to and including the last '/'; "" when the path has none (the current directory).
std::string Platform_DirectoryOf(const std::string& path);

// The absolute, canonical form of an existing path (links resolved). A path that doesn't exist
// yet is made absolute against the current directory, with "." and ".." folded and repeated
// separators merged. When the text as given does not exist, `\` is read as a separator, as names
// written for other platforms use it. "" for an empty path.
std::string Platform_FullPath(const std::string& path);

// The save area of a game: "$XDG_DATA_HOME/<name>/" when XDG_DATA_HOME holds an absolute path,
// else "$HOME/.local/share/<name>/"; "" when neither variable helps or the name is empty. A '/' in
// the name becomes '_' so the area is one directory. Nothing is created here.
std::string Platform_SaveAreaDirectory(const std::string& display_name);

// True when the path names something other than a directory that this process can open for
// reading.
bool Platform_FileReadable(const std::string& path);

// Replaces *out with the file's bytes. False (and *out empty) when it can't be read whole.
bool Platform_ReadWholeFile(const std::string& path, std::vector<uint8_t>* out);

// Creates or truncates the file and writes size bytes, making its parent directories first.
bool Platform_WriteWholeFile(const std::string& path, const void* data, size_t size);

// Makes the directory and every missing parent. True when it exists as a directory afterwards;
// false for an empty path or when something on the way is not a directory.
bool Platform_MakeDirectories(const std::string& path);

// Moves every plain file of the directory whose name holds '@' to the path where each '@' is a
// '/', making the directories on the way: "a@b@c.txt" becomes "a/b/c.txt". Plain means a regular
// file (not a link), not hidden (name not starting with '.') and writable by this process. A name
// of 2048 bytes or more is skipped, and so is a file whose target already exists. Returns the
// number of files moved.
int Platform_MoveAtNamedFiles(const std::string& directory);

// Whether the path names an existing directory, or an existing entry that is not a directory.
bool Platform_IsDirectory(const std::string& path);
bool Platform_IsFile(const std::string& path);

// Removes a file (never a directory). False when it is not there or can't be removed.
bool Platform_DeleteFile(const std::string& path);
// Moves a file or directory; an existing target file is replaced, as rename(2) does.
bool Platform_Rename(const std::string& from, const std::string& to);
// Removes the directory with everything in it, links removed rather than followed. False when the
// path is no directory or something in it stays.
bool Platform_RemoveTree(const std::string& path);

// One entry of a directory listing. Attribute bits: read-only 1 (no write permission for this
// process), hidden 2 (name starts with '.'), directory 16, archive 32 (any other entry).
struct PlatformDirEntry {
  std::string name;
  uint32_t attributes = 0;
};
// The entries of directory whose names match the pattern, "." and ".." left out, in the order the
// system gives them. The pattern is a file-name pattern of '*' and '?' matched whole without regard to
// case; "*" and "*.*" take every entry. An unreadable
// or missing directory gives none.
std::vector<PlatformDirEntry> Platform_ListDirectory(const std::string& directory, const std::string& pattern);

// The attribute bits of one path as the listing reports them; 0 when it does not exist.
uint32_t Platform_FileAttributes(const std::string& path);
