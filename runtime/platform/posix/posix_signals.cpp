#include <signal.h>

#include <csignal>

#include "platform/process.h"

namespace {

volatile std::sig_atomic_t g_quit_requested = 0;

void on_quit_signal(int) { g_quit_requested = 1; }

}  // namespace

void Platform_InstallQuitSignals() {
  struct sigaction action {};
  action.sa_handler = on_quit_signal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // A parent may start us with these blocked; one already sent waits pending and arrives now.
  sigset_t quit_signals;
  sigemptyset(&quit_signals);
  sigaddset(&quit_signals, SIGINT);
  sigaddset(&quit_signals, SIGTERM);
  pthread_sigmask(SIG_UNBLOCK, &quit_signals, nullptr);
}

bool Platform_TakeQuitSignal() {
  if (g_quit_requested == 0) return false;
  g_quit_requested = 0;
  return true;
}

void Platform_PostQuit() { g_quit_requested = 1; }
