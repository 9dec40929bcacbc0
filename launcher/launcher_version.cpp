#include "launcher_version.h"

char const* getLauncherVersion() { return launcherVersion ? launcherVersion : "UNKNOWN"; }
