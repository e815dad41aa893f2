#pragma once
// What happens to an error nobody caught: the text is composed, shown (console, and a dialog once
// a display exists), the game is told to stop (New_Room = -400) and the process exits with 1.
// An exception_unhandled_handler, once the call layer can run one, takes over before any of that.
#include <string>

class KVTSLException;

// The text of an uncaught exception: the standard error object's framed long message and stack,
// or the thrown value's text.
std::string Exception_Text(const KVTSLException& exception);
void Exception_Unhandled(const KVTSLException& exception);
// Shows an error; with abort, latches, requests the stop and posts the quit message.
void ShowError(const std::string& text, bool abort);

// The process exit used by the unhandled path; tests replace it to observe the status.
void ErrorReport_SetExit(void (*exit_fn)(int status));
void ErrorReport_Reset();
