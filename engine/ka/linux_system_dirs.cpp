#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "die.h"
#include "pathutil.h"
#include "system_dirs.h"

namespace ka {

namespace {

char const* nonEmptyEnv(char const* name) {
  char const* value = std::getenv(name);
  return value && *value ? value : nullptr;
}

// $XDG_DATA_HOME when it is absolute, else ~/.local/share.
std::string userDataBase() {
  char const* xdg = nonEmptyEnv("XDG_DATA_HOME");
  if (xdg && path::isAbsolute(xdg)) return xdg;
  char const* home = nonEmptyEnv("HOME");
  if (!home) {
    passwd const* entry = ::getpwuid(::getuid());
    home = entry ? entry->pw_dir : nullptr;
  }
  if (!home || !*home) die("could not get the application support directory");
  return path::join(home, ".local/share");
}

std::string userDir(StringRange company, StringRange product, char const* leaf) {
  return path::join(path::join(path::join(userDataBase(), company), product), leaf);
}

}  // namespace

std::string getExecutableFilename() {
  char buffer[4096];
  ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer);
  if (n < 1 || n >= ssize_t(sizeof buffer)) die("readlink /proc/self/exe failed");
  return std::string(buffer, size_t(n));
}

std::string getTempDir() {
  char const* tmp = nonEmptyEnv("TMPDIR");
  return tmp ? tmp : "/tmp";
}

std::string getUserDataDir(StringRange company, StringRange product) { return userDir(company, product, "data"); }

std::string getUserDocDir(StringRange company, StringRange product) { return userDir(company, product, "user"); }

std::string getResourceDir() {
  std::string dir = path::join(path::parent(getExecutableFilename()), "resources");
  struct stat info;
  if (::stat(dir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) throw std::runtime_error("Could not find main bundle!");
  return dir;
}

}  // namespace ka
