#pragma once
// The file builtins of scripts: names and path parts, whole files and directories, the search
// list, text and binary file handles, ini files and the comma-separated loader. Every name goes
// through the resolvers of file_paths.h, so scripts reach only the bundle and the save area.
void File_RegisterBuiltins();

// Closes every open text and binary file without writing them back, forgets the search list and
// drops an open ini file unwritten (the end of a run).
void File_CloseAll();
