#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fnmatch.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/files.h"

namespace {

constexpr size_t kMoveNameBuffer = 2048;

// Closes a descriptor when the scope ends.
class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) ::close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }
  // Closes now and reports whether the close succeeded (a late write error shows up here).
  bool close() {
    const int fd = fd_;
    fd_ = -1;
    return fd < 0 || ::close(fd) == 0;
  }

 private:
  int fd_;
};

std::string current_directory() {
  std::unique_ptr<char, decltype(&::free)> cwd(::getcwd(nullptr, 0), &::free);
  return cwd != nullptr ? std::string(cwd.get()) : std::string("/");
}

std::string real_path(const std::string& path) {
  std::unique_ptr<char, decltype(&::free)> resolved(::realpath(path.c_str(), nullptr), &::free);
  return resolved != nullptr ? std::string(resolved.get()) : std::string();
}

// Absolute form of path with ".", ".." and repeated separators folded, without touching the disk.
std::string lexical_absolute(const std::string& path) {
  const std::string full = path[0] == '/' ? path : current_directory() + "/" + path;
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= full.size()) {
    size_t end = full.find('/', start);
    if (end == std::string::npos) end = full.size();
    const std::string part = full.substr(start, end - start);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    start = end + 1;
  }
  std::string out;
  for (const std::string& part : parts) out += "/" + part;
  return out.empty() ? std::string("/") : out;
}

// Canonical form of a path that may not exist: its deepest existing ancestor is resolved through
// realpath and the rest is appended as written.
std::string full_path_of_missing(const std::string& path) {
  const std::string absolute = lexical_absolute(path);
  size_t cut = absolute.size();
  while (cut > 0) {
    cut = absolute.rfind('/', cut - 1);
    if (cut == std::string::npos) break;
    const std::string head = cut == 0 ? std::string("/") : absolute.substr(0, cut);
    const std::string resolved = real_path(head);
    if (!resolved.empty()) {
      const std::string tail = absolute.substr(cut + 1);
      return resolved == "/" ? "/" + tail : resolved + "/" + tail;
    }
    if (cut == 0) break;
  }
  return absolute;
}

bool is_directory(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool exists_at(int dir_fd, const char* name) {
  struct stat info {};
  return ::fstatat(dir_fd, name, &info, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

std::string Platform_CurrentDirectory() { return current_directory(); }

std::string Platform_ExecutablePath() {
  std::vector<char> buffer(PATH_MAX);
  for (;;) {
    const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (length < 0) return std::string();
    if (static_cast<size_t>(length) < buffer.size()) return std::string(buffer.data(), static_cast<size_t>(length));
    buffer.resize(buffer.size() * 2);
  }
}

std::string Platform_DirectoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

std::string Platform_FullPath(const std::string& path) {
  if (path.empty()) return std::string();
  std::string resolved = real_path(path);
  if (!resolved.empty()) return resolved;
  if (path.find('\\') == std::string::npos) return full_path_of_missing(path);
  std::string slashed = path;
  for (char& c : slashed) {
    if (c == '\\') c = '/';
  }
  resolved = real_path(slashed);
  return !resolved.empty() ? resolved : full_path_of_missing(slashed);
}

bool Platform_FileReadable(const std::string& path) {
  if (path.empty()) return false;
  Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) return false;
  struct stat info {};
  return ::fstat(fd.get(), &info) == 0 && !S_ISDIR(info.st_mode);
}

bool Platform_ReadWholeFile(const std::string& path, std::vector<uint8_t>* out) {
  out->clear();
  if (path.empty()) return false;
  Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) return false;
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0 || S_ISDIR(info.st_mode)) return false;
  // The size is only a hint: files under /proc report 0 and files may grow while read.
  size_t capacity = info.st_size > 0 ? static_cast<size_t>(info.st_size) + 1 : 4096;
  out->resize(capacity);
  size_t used = 0;
  for (;;) {
    if (used == out->size()) out->resize(out->size() * 2);
    const ssize_t got = ::read(fd.get(), out->data() + used, out->size() - used);
    if (got < 0) {
      if (errno == EINTR) continue;
      out->clear();
      return false;
    }
    if (got == 0) break;
    used += static_cast<size_t>(got);
  }
  out->resize(used);
  return true;
}

bool Platform_WriteWholeFile(const std::string& path, const void* data, size_t size) {
  if (path.empty()) return false;
  const std::string parent = Platform_DirectoryOf(path);
  if (!parent.empty() && !Platform_MakeDirectories(parent)) return false;
  Fd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (fd.get() < 0) return false;
  const auto* bytes = static_cast<const uint8_t*>(data);
  size_t done = 0;
  while (done < size) {
    const ssize_t put = ::write(fd.get(), bytes + done, size - done);
    if (put < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<size_t>(put);
  }
  return fd.close();
}

bool Platform_MakeDirectories(const std::string& path) {
  if (path.empty()) return false;
  // Each prefix ending before a '/' is made in turn; failures on the way (it exists, no right to
  // look) are settled by the final check.
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    ::mkdir(path.substr(0, slash).c_str(), 0777);
  }
  ::mkdir(path.c_str(), 0777);
  return is_directory(path);
}

int Platform_MoveAtNamedFiles(const std::string& directory) {
  DIR* dir = ::opendir(directory.empty() ? "." : directory.c_str());
  if (dir == nullptr) return 0;
  std::vector<std::string> names;
  while (const dirent* entry = ::readdir(dir)) {
    const char* name = entry->d_name;
    if (name[0] == '.' || std::strchr(name, '@') == nullptr) continue;
    if (std::strlen(name) >= kMoveNameBuffer) continue;
    names.emplace_back(name);
  }
  // Moves happen after the listing, so directories made on the way never disturb the walk.
  const int dir_fd = ::dirfd(dir);
  int moved = 0;
  for (const std::string& name : names) {
    struct stat info {};
    if (::fstatat(dir_fd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(info.st_mode)) continue;
    if (::faccessat(dir_fd, name.c_str(), W_OK, AT_EACCESS) != 0) continue;
    std::string target = name;
    for (size_t i = 0; i < target.size(); ++i) {
      if (target[i] != '@') continue;
      target[i] = '/';
      if (i > 0) ::mkdirat(dir_fd, target.substr(0, i).c_str(), 0777);
    }
    // A leading '@' names the directory itself, never the root of the file system.
    const size_t first = target.find_first_not_of('/');
    if (first == std::string::npos) continue;
    const std::string relative = target.substr(first);
    if (exists_at(dir_fd, relative.c_str())) continue;
    if (::renameat(dir_fd, name.c_str(), dir_fd, relative.c_str()) == 0) ++moved;
  }
  ::closedir(dir);
  return moved;
}

std::string Platform_SaveAreaDirectory(const std::string& display_name) {
  if (display_name.empty()) return "";
  std::string name = display_name;
  for (char& c : name) {
    if (c == '/') c = '_';
  }
  // Relative XDG paths are to be ignored, as the base-directory convention says.
  const char* data_home = ::getenv("XDG_DATA_HOME");
  std::string root;
  if (data_home != nullptr && data_home[0] == '/') {
    root = data_home;
  } else {
    const char* home = ::getenv("HOME");
    if (home == nullptr || home[0] == '\0') return "";
    root = std::string(home) + "/.local/share";
  }
  if (root.back() != '/') root += '/';
  return root + name + "/";
}

bool Platform_IsDirectory(const std::string& path) { return !path.empty() && is_directory(path); }

bool Platform_IsFile(const std::string& path) {
  struct stat info {};
  return !path.empty() && ::stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

bool Platform_DeleteFile(const std::string& path) {
  struct stat info {};
  if (path.empty() || ::lstat(path.c_str(), &info) != 0 || S_ISDIR(info.st_mode)) return false;
  return ::unlink(path.c_str()) == 0;
}

bool Platform_Rename(const std::string& from, const std::string& to) {
  return !from.empty() && !to.empty() && ::rename(from.c_str(), to.c_str()) == 0;
}

bool Platform_RemoveTree(const std::string& path) {
  if (path.empty() || !is_directory(path)) return false;
  DIR* dir = ::opendir(path.c_str());
  if (dir == nullptr) return false;
  std::vector<std::string> names;
  while (const dirent* entry = ::readdir(dir)) {
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) names.emplace_back(entry->d_name);
  }
  ::closedir(dir);
  const std::string base = path.back() == '/' ? path : path + "/";
  for (const std::string& name : names) {
    const std::string child = base + name;
    struct stat info {};
    if (::lstat(child.c_str(), &info) != 0) continue;
    if (S_ISDIR(info.st_mode)) {
      Platform_RemoveTree(child);
    } else {
      ::unlink(child.c_str());
    }
  }
  return ::rmdir(path.c_str()) == 0;
}

uint32_t Platform_FileAttributes(const std::string& path) {
  struct stat info {};
  if (path.empty() || ::stat(path.c_str(), &info) != 0) return 0;
  uint32_t bits = S_ISDIR(info.st_mode) ? 16u : 32u;
  if (::access(path.c_str(), W_OK) != 0) bits |= 1u;
  const size_t slash = path.find_last_not_of('/');
  const size_t start = slash == std::string::npos ? 0 : path.rfind('/', slash);
  const size_t name = start == std::string::npos ? 0 : start + 1;
  if (name < path.size() && path[name] == '.') bits |= 2u;
  return bits;
}

std::vector<PlatformDirEntry> Platform_ListDirectory(const std::string& directory, const std::string& pattern) {
  std::vector<PlatformDirEntry> entries;
  DIR* dir = ::opendir(directory.empty() ? "." : directory.c_str());
  if (dir == nullptr) return entries;
  const std::string base = directory.empty() || directory.back() == '/' ? directory : directory + "/";
  // "*.*" names every entry, dotted or not, as such masks mean on the systems that wrote them.
  const bool match_all = pattern == "*" || pattern == "*.*";
  while (const dirent* entry = ::readdir(dir)) {
    const char* name = entry->d_name;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
    if (!match_all && ::fnmatch(pattern.c_str(), name, FNM_CASEFOLD) != 0) continue;
    entries.push_back(PlatformDirEntry{name, Platform_FileAttributes(base + name)});
  }
  ::closedir(dir);
  return entries;
}
