// The build number of this launcher, compared with the service's to decide on a self-update.
#include "launcher_version.h"

char const* launcherVersion = "110299";
