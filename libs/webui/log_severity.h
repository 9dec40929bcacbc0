// Severity words of the HTML engine's log, as the command line names them.
#pragma once

#include "ka/string_range.h"

namespace webui {

// "TRACE", "DEBUG", "INFO", "WARNING", "ASSERTFAILURE", "ERROR", by severity number.
extern char const* const SeverityStrings[6];

// The severity number of a word, in any case; throws "Unknown coherent log severity level".
int parseCoherentLogSeverity(ka::StringRange text);

}  // namespace webui
