#include "platform/system.h"

#include <fstream>
#include <string>

#include <ifaddrs.h>
#include <net/if.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

// The first line of a small text file, "" when it can't be read.
std::string first_line(const char* path) {
  std::ifstream in(path);
  std::string line;
  if (!in || !std::getline(in, line)) return "";
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
  return line;
}

// A default route in the kernel's IPv4 routing table (destination 00000000) or IPv6 table
// (destination of all zeros with prefix length 0).
bool has_default_route() {
  std::ifstream v4("/proc/net/route");
  std::string line;
  std::getline(v4, line);  // header
  while (std::getline(v4, line)) {
    const size_t tab = line.find('\t');
    if (tab != std::string::npos && line.compare(tab + 1, 8, "00000000") == 0) return true;
  }
  std::ifstream v6("/proc/net/ipv6_route");
  while (std::getline(v6, line)) {
    if (line.compare(0, 35, "00000000000000000000000000000000 00") == 0 && line.find(" lo") == std::string::npos) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::string Platform_MachineId() {
  std::string id = first_line("/etc/machine-id");
  if (id.empty()) id = first_line("/var/lib/dbus/machine-id");
  return id;
}

bool Platform_NetworkConnected(int32_t depth) {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return false;
  bool up = false;
  for (const ifaddrs* entry = list; entry != nullptr && !up; entry = entry->ifa_next) {
    const unsigned flags = entry->ifa_flags;
    if ((flags & IFF_UP) == 0 || (flags & IFF_RUNNING) == 0 || (flags & IFF_LOOPBACK) != 0) continue;
    if (depth >= 1 && entry->ifa_addr == nullptr) continue;
    up = true;
  }
  freeifaddrs(list);
  if (up && depth >= 2) up = has_default_route();
  return up;
}

bool Platform_OpenUrl(const std::string& url) {
  if (url.empty()) return false;
  // A shell puts the opener in the background and ends at once, so waiting for it costs nothing
  // and leaves no child behind; the address travels as an argument, never as shell text.
  char shell[] = "sh";
  char flag[] = "-c";
  char script[] = "xdg-open \"$1\" >/dev/null 2>&1 &";
  char name[] = "sh";
  std::string argument = url;
  char* argv[] = {shell, flag, script, name, argument.data(), nullptr};
  pid_t child = 0;
  if (posix_spawnp(&child, "sh", nullptr, nullptr, argv, environ) != 0) return false;
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
