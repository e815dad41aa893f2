#pragma once
// The one view scripts have of the file system: two roots, the bundle (the read-only directory
// that holds the game's data file) and the save area (a writable directory of the game under the
// user's data folder), and the two resolvers that map a script's file name to a real path.
//
// Resolving for reading maps a relative name, or one under the game's working directory, into the
// bundle; resolving for writing maps it into the save area, and keeps a name already inside the
// save area. A name outside every root resolves to "" (a read or write of "" fails the ordinary
// way) unless the data file turned the sandbox off or the name is on an allow list; the write
// resolver says so on the release console. Without a save area (no user data folder to be found)
// every write is refused. `\` in a name is read as '/'.
//
// Reads of script-named files look in the save area first and the bundle second, so a file the
// game wrote shadows a bundle file of the same name. Writes only ever reach the save area.
//
// The roots are set once by the runner's start-up (Files_SetRoots) before any script runs; before
// that (no game started) names are used as they stand. All of
// this is used from the main thread, except the whole-file reader and writer, which the background
// buffer jobs call too; they touch only the roots, which don't change while a game runs.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The roots, each an absolute directory ending in '/'. parent is the working directory of the
// game that started this one through -exit, "" in an ordinary start. The directories are taken in
// their canonical form (links resolved), as the resolvers compare canonical paths.
void Files_SetRoots(const std::string& bundle, const std::string& working, const std::string& save,
                    const std::string& parent);
// File names outside both roots are used as they stand (the data file's option).
void Files_SetNoSandbox(bool no_sandbox);
// Forgets the roots, the option and both allow lists (shutdown).
void Files_Reset();

const std::string& Files_BundleDirectory();
const std::string& Files_SaveDirectory();
const std::string& Files_WorkingDirectory();

// Allow lists: further names the read and write resolvers accept. An exact entry matches a whole
// name, compared by code point without regard to case; a wildcard entry matches every name it is
// a prefix of, compared exactly. Adding a name the list already matches does nothing.
void Files_AllowRead(const char* name, bool wildcard);
void Files_AllowWrite(const char* name, bool wildcard);
bool Files_ReadAllowed(const char* name);
bool Files_WriteAllowed(const char* name);

// The real path a name stands for, or "" when it is refused (null or empty names included).
std::string ResolveBundlePath(const char* name);
std::string ResolveSavePath(const char* name);

// Whether the name resolves to an existing file (not a directory) in that root.
bool File_ExistsInBundle(const char* name);
bool File_ExistsInSave(const char* name);
// The file a read of name opens: the save area's when it is there, else the bundle's; "" when the
// file is in neither.
std::string File_FindForRead(const char* name);

// Reads a whole file named by the script or already resolved: through the bundle resolver first,
// then the save resolver, so either root is reached. False when it can't be read.
bool File_ReadWhole(const char* name, std::vector<uint8_t>* out);
// Writes a whole block to the name's place in the save area, making its parent directories.
bool File_WriteWhole(const char* name, const void* bytes, size_t size);
// Makes a directory and every missing parent: an empty name fails, a trailing separator is
// dropped, a name under 3 characters or an existing directory succeeds at once.
bool File_MakeDirectories(const std::string& path);

// Path parts of a name, '/' and '\' both separators.
// Behind the last separator, or the whole name.
std::string Filename_Name(const std::string& name);
// From the last '.' of the name part on, dot included; "" without one.
std::string Filename_Ext(const std::string& name);
// Up to and including the last separator; "" without one.
std::string Filename_Path(const std::string& name);
// Filename_Path without its trailing separator; a name without a directory part takes the
// directory of the file it resolves to (save area, else bundle), "" when it is in neither.
std::string Filename_Dir(const std::string& name);
// There are no drive letters here: always "".
std::string Filename_Drive(const std::string& name);
// The name cut before its last '.' (of the name part) with ext added as it stands; a name without
// a dot is joined with '.' unless ext is empty or brings its own dot.
std::string Filename_ChangeExt(const std::string& name, const std::string& ext);

// Installs the resolvers under the buffers' whole-file reads and writes.
void Files_InstallBufferAccess();
