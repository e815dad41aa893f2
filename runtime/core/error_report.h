#pragma once
// What happens to an error nobody caught. Exception_Unhandled first gives the value to the
// exception_unhandled_handler when one is set (the process then exits with its result as status);
// otherwise the text is composed (the standard exception object's long message and frames between
// lines of 92 '#', or the thrown value's text), shown by ShowError, and the process exits with 1.
// ShowError shows an error once per abort: the dialog (unless -headless, -noerrors or the display
// errors option says no), the console line "ERROR!!! :: <text>", error_last and error_occurred,
// and for an aborting error the stop request (New_Room = -400) and the quit message.
#include <string>

class KVTSLException;

// The text of an uncaught exception.
std::string Exception_Text(const KVTSLException& exception);
void Exception_Unhandled(const KVTSLException& exception);
void ShowError(const std::string& text, bool abort);
// The box of show_message and show_question: the index of the button pressed, or -1 when no box
// could be shown (no display, -headless). Input held when the box opened is let go.
int32_t ShowMessageBox(const std::string& text, const char* const* buttons, int32_t count);
// The dialog's text: a first line of 43 underscores, every CR, LF or pair of them as CR LF, and a
// tab as seven blanks.
std::string ErrorReport_DialogText(const std::string& text);

// The data file's "display errors" option; on unless the game turns it off.
void ErrorReport_SetDisplayErrors(bool on);

// The process exit used by the unhandled path; tests replace it to observe the status (a
// replacement that returns makes Exception_Unhandled return).
void ErrorReport_SetExit(void (*exit_fn)(int status));
// Clears the abort latch for a new round of the process loop.
void ErrorReport_Reset();
