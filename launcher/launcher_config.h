// The launcher's configuration record, read from config.json in the UI directory.
#pragma once

#include <cstdint>
#include <string>

#include "ka/json.h"

struct LauncherConfig {
  std::string company;      // first element of the per-user directories
  std::string product;      // second element of the per-stream directories; names the game to the player
  std::string executable;   // the game, relative to a stream's game directory
  std::string productCode;  // kept, unused
  int32_t titleId = 0;      // sent to the account service
};

// Missing keys read as "null" (0 for titleId). A value that can't be read is logged,
// and the record comes back as far as it was filled.
LauncherConfig parseConfig(ka::Json& root);
