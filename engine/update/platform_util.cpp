#include "platform_util.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "ka/die.h"
#include "ka/pathutil.h"

namespace update {

std::string getPlatformFriendlyName() { return "Linux"; }

bool makeWriteable(ka::StringRange path) {
  std::string p = path.str();
  struct stat info {};
  ::stat(p.c_str(), &info);
  return ::chmod(p.c_str(), (info.st_mode & 07777) | 0200) == 0;
}

bool runProcess(ka::StringRange path, std::vector<std::string> const& args) {
  std::string_view name = path.view();
  if (name.size() >= 4 && strncasecmp(name.data() + name.size() - 4, ".app", 4) == 0) {
    return shellOpen(path, args, "open");
  }
  // Built before the fork: the child only calls execv.
  std::string program = path.str();
  std::vector<char*> argv;
  argv.push_back(program.data());
  for (std::string const& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  // The child reports a failed exec through a pipe that a successful exec closes, so that a
  // program that can't start is a failure here and not a silent child dying.
  int report[2];
  if (::pipe2(report, O_CLOEXEC) != 0) return false;
  pid_t child = ::fork();
  if (child < 0) {
    int error = errno;
    ::close(report[0]);
    ::close(report[1]);
    errno = error;
    return false;
  }
  if (child == 0) {
    ::close(report[0]);
    ::execv(program.c_str(), argv.data());
    int error = errno;
    ssize_t ignored = ::write(report[1], &error, sizeof error);
    (void)ignored;
    ::_exit(127);
  }
  ::close(report[1]);
  int error = 0;
  ssize_t got;
  do {
    got = ::read(report[0], &error, sizeof error);
  } while (got < 0 && errno == EINTR);
  ::close(report[0]);
  if (got == ssize_t(sizeof error)) {
    ::waitpid(child, nullptr, 0);
    errno = error;
    return false;
  }
  return true;
}

void argvAppend(std::string& line, std::string const& argument, bool force) {
  if (!force && !argument.empty() && argument.find_first_of(" \t\n\v\"") == std::string::npos) {
    line += argument;
    return;
  }
  line += '"';
  size_t backslashes = 0;
  for (char c : argument) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    if (c == '"') {
      line.append(backslashes * 2 + 1, '\\');
    } else {
      line.append(backslashes, '\\');
    }
    line += c;
    backslashes = 0;
  }
  line.append(backslashes * 2, '\\');
  line += '"';
}

bool shellOpen(ka::StringRange path, std::vector<std::string> const& args, std::string const& command) {
  std::string line = (command == "open" ? std::string("xdg-open") : command) + " ";
  argvAppend(line, path.str(), false);
  if (!args.empty()) {
    line += " --args";
    for (std::string const& a : args) {
      line += ' ';
      argvAppend(line, a, false);
    }
  }
  return std::system(line.c_str()) == 0;
}

bool anyProcessesRunningInPath(ka::StringRange path) {
  // The kernel names a program's executable by its resolved path: a game directory reached
  // through a symlink must be compared resolved too, or its running game goes unseen.
  std::string dir = ka::path::makeAbsolute(path);
  if (char* resolved = ::realpath(dir.c_str(), nullptr)) {
    dir = resolved;
    std::free(resolved);
  }
  while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
  dir += '/';
  DIR* proc = ::opendir("/proc");
  if (!proc) return false;
  bool found = false;
  while (dirent* entry = ::readdir(proc)) {
    if (!std::isdigit(static_cast<unsigned char>(entry->d_name[0]))) continue;
    char exe[4096];
    std::string link = std::string("/proc/") + entry->d_name + "/exe";
    ssize_t n = ::readlink(link.c_str(), exe, sizeof exe - 1);
    if (n <= 0) continue;  // gone, a kernel thread, or not ours to see
    if (std::string_view(exe, size_t(n)).substr(0, dir.size()) == dir) {
      found = true;
      break;
    }
  }
  ::closedir(proc);
  return found;
}

bool is64BitWindows() { return false; }

void loadEmbeddedResources(ka::StringRange) { ka::die("Not implemented (loadEmbeddedResources)"); }

std::vector<char> const& getEmbeddedResource(ka::StringRange) { ka::die("Not implemented (getEmbeddedResource)"); }

std::vector<std::string> getEmbeddedResourceNames() { ka::die("Not implemented (getEmbeddedResourceNames)"); }

}  // namespace update
