#include "cli/progress_line.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace cli {
namespace {

std::string bar(double fraction, int width) {
  int filled = int(std::lround(fraction * width));
  return "[" + std::string(size_t(filled), '#') + std::string(size_t(width - filled), '.') + "]";
}

std::string percent(double fraction) {
  std::ostringstream os;
  os.width(4);
  os << int(std::floor(fraction * 100)) << "%";
  return os.str();
}

// The narrowest bar worth showing; below it the bar goes.
int const kNarrowestBar = 10;

// `text` in at most `width` characters, "..." marking a cut.
std::string cut(std::string const& text, size_t width) {
  if (text.size() <= width) return text;
  if (width < 3) return text.substr(0, width);
  return text.substr(0, width - 3) + "...";
}

std::string minutesAndSeconds(double seconds) {
  long whole = std::lround(std::max(0.0, seconds));
  std::ostringstream os;
  os << whole / 60 << ":" << (whole % 60 < 10 ? "0" : "") << whole % 60;
  return os.str();
}

ka::Json parseObject(std::string const& text) {
  std::istringstream in(text);
  ka::Json value = ka::Json::readFrom(in);
  if (value.type() != ka::Json::TYPE_Object) throw std::runtime_error("not an object");
  return value;
}

}  // namespace

std::string progressLine(ka::Json const& progress, int barWidth, size_t maxWidth) {
  std::string message = progress.get("message").asString("");
  double fraction = 0;
  std::vector<std::string> extras;  // after the percentage, the most telling first
  ka::Json download = progress.get("download");
  double total = progress.get("total").asNumber(0);
  if (download.type() == ka::Json::TYPE_Object) {
    double expected = download.get("totalExpectedBytes").asNumber(0);
    double received = download.get("totalBytesReceived").asNumber(0);
    fraction = expected > 0 ? std::min(1.0, received / expected) : 0.0;
    std::string speed = download.get("bytesPerSecond").asString("");
    extras.push_back(speed);
    // The estimate means nothing until the speed does ("Calculating ...").
    if (speed.find("/s") != std::string::npos)
      extras.push_back("ETA " + minutesAndSeconds(download.get("etaSeconds").asNumber(0)));
    extras.push_back(download.get("bytesProgress").asString(""));
  } else if (total > 0) {
    fraction = std::min(1.0, progress.get("index").asNumber(0) / total);
  } else {
    return cut(message, maxWidth);
  }

  // A line that wraps on a terminal fills the screen with copies of itself: it must fit.
  auto compose = [&](int width, size_t extraCount) {
    std::string line = message;
    if (width > 0) line += " " + bar(fraction, width);
    line += " " + percent(fraction);
    for (size_t i = 0; i < extraCount; ++i) line += "  " + extras[i];
    return line;
  };
  int narrowest = std::min(barWidth, kNarrowestBar);
  for (size_t count = extras.size() + 1; count-- > 0;) {
    size_t length = compose(narrowest, count).size();
    if (length <= maxWidth)
      return compose(narrowest + int(std::min(maxWidth - length, size_t(barWidth - narrowest))), count);
  }
  std::string tail = " " + percent(fraction);
  if (maxWidth <= tail.size()) return cut(message, maxWidth);
  return cut(message, maxWidth - tail.size()) + tail;
}

std::string failureMessage(std::string const& resultText) {
  try {
    std::string message = parseObject(resultText).get("Message").asString("");
    try {
      // A service's refusal arrives as its own document inside the message.
      std::string inner = parseObject(message).get("Message").asString("");
      if (!inner.empty()) return inner;
    } catch (std::runtime_error const&) {
    }
    return message.empty() ? resultText : message;
  } catch (std::runtime_error const&) {
    return resultText;
  }
}

}  // namespace cli
