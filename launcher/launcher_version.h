// The launcher's own build number.
#pragma once

// Filled at build time; null in a build that has no number.
extern char const* launcherVersion;

// The build number as text, or "UNKNOWN".
char const* getLauncherVersion();
