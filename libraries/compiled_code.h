#pragma once
// The program's compiled code as the loader sees it: the script table that the manifest's
// [functions] section orders (generated; a row whose code the program doesn't carry yet holds a null
// entry) and the reference entries of every unit of compiled code (the script libraries, later the
// game's scripts), gathered into one null-terminated list of each kind. The runner installs these
// tables before it loads the data file; tests that run compiled code through a written data file do
// the same.
#include "core/code_tables.h"

// The tables, built on first use; the same object on every call.
KVCodeTables* Compiled_CodeTables();
