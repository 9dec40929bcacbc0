// What differs by platform for the update engine: its name, permissions, starting programs.
#pragma once

#include <string>
#include <vector>

#include "ka/string_range.h"

namespace update {

// "Linux": the platform's name in service URLs.
std::string getPlatformFriendlyName();
// Adds the owner's write bit; true if the change worked.
bool makeWriteable(ka::StringRange path);
// Starts a program and doesn't wait; true if it was started. A name ending in ".app" is opened
// through the desktop instead.
bool runProcess(ka::StringRange path, std::vector<std::string> const& args);
// Runs `command path --args args...` through the shell, arguments quoted; true on status 0.
// The command "open" means the desktop's opener, xdg-open.
bool shellOpen(ka::StringRange path, std::vector<std::string> const& args, std::string const& command);
// True if a running program's executable lies inside `path`, so that its files must not be replaced.
bool anyProcessesRunningInPath(ka::StringRange path);
bool is64BitWindows();

// The launcher carries its own embedded resources; these end the process if anything calls them.
[[noreturn]] void loadEmbeddedResources(ka::StringRange name);
[[noreturn]] std::vector<char> const& getEmbeddedResource(ka::StringRange name);
[[noreturn]] std::vector<std::string> getEmbeddedResourceNames();

// Appends `argument` to a command line, in double quotes where it needs them, with backslashes
// before quotes doubled as a Windows command line reads them.
void argvAppend(std::string& line, std::string const& argument, bool force);

}  // namespace update
