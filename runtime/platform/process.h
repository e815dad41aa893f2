#pragma once
// Process-level signals: SIGINT and SIGTERM are turned into a quit request that the message pump
// takes, so an interrupted game shuts down through the same path as a closed window.

// Installs the handlers and unblocks both signals, so that one sent before (while a parent kept
// them blocked) is taken as well.
void Platform_InstallQuitSignals();
// True once after a quit signal arrived.
bool Platform_TakeQuitSignal();
// Raises the quit request as a signal would (tests and the window layer's close button).
void Platform_PostQuit();
