#include "cli/progress_line.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <stdexcept>

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

std::string progressLine(ka::Json const& progress, int barWidth) {
  std::string line = progress.get("message").asString("");
  ka::Json download = progress.get("download");
  if (download.type() == ka::Json::TYPE_Object) {
    double expected = download.get("totalExpectedBytes").asNumber(0);
    double received = download.get("totalBytesReceived").asNumber(0);
    double fraction = expected > 0 ? std::min(1.0, received / expected) : 0.0;
    std::string speed = download.get("bytesPerSecond").asString("");
    line += " " + bar(fraction, barWidth) + " " + percent(fraction) + "  " + speed;
    // The estimate means nothing until the speed does ("Calculating ...").
    if (speed.find("/s") != std::string::npos)
      line += "  ETA " + minutesAndSeconds(download.get("etaSeconds").asNumber(0));
    line += "  " + download.get("bytesProgress").asString("");
    return line;
  }
  double total = progress.get("total").asNumber(0);
  if (total > 0) {
    double fraction = std::min(1.0, progress.get("index").asNumber(0) / total);
    line += " " + bar(fraction, barWidth) + " " + percent(fraction);
  }
  return line;
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
