#pragma once
// Builtins of scripts and errors: script_execute, script_execute_ext, script_exists,
// script_get_name (the scripts family), show_error, the message boxes show_message and
// show_question, exception_unhandled_handler, @@throw@@ and the
// try/catch builtins that stay in the table for completeness (compiled code uses native try blocks).
void Script_RegisterBuiltins();
void Error_RegisterBuiltins();
