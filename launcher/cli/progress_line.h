// One line of text for a job's progress on a terminal, from the page's progress document.
#pragma once

#include <string>

#include "ka/json.h"

namespace cli {

// "Downloading update 2 [#######.............]  35%  1.2 MB/s  ETA 0:12  3.5 MB / 10.0 MB";
// without a download, the phase and, where the job counts its steps, their percentage. Within
// `maxWidth` characters the bar narrows first, then the byte counts, the time left, the speed
// and the bar go, and last the phase's name is cut.
std::string progressLine(ka::Json const& progress, int barWidth = 24, size_t maxWidth = std::string::npos);

// The "Message" of a failed job's result text, unwrapped where the service's own error
// document came through as text; the result text itself when it is no Json object.
std::string failureMessage(std::string const& resultText);

}  // namespace cli
