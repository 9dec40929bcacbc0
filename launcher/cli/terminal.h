// What the terminal front end needs to know of the terminal it writes to.
#pragma once

namespace cli {

// The width of the terminal on `fd` in columns; else $COLUMNS; else 80.
int terminalColumns(int fd);

}  // namespace cli
