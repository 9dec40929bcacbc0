// Any bytes given to the Json reader end in a value or a std::runtime_error, never a crash or hang.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <stdexcept>

#include "ka/json.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  char const* text = reinterpret_cast<char const*>(data);
  ka::StringRangeStream stream(ka::StringRange(text, text + size));
  try {
    ka::Json value = ka::Json::readFrom(stream);
    // Whatever was read must also write, in both forms; keys are unchecked, so the
    // writer may refuse malformed UTF-8 in them, but only with its own error.
    std::ostringstream out;
    value.writeTo(out, -1, 0);
    value.writeTo(out, 2, 0);
    value.asString("null");
  } catch (std::runtime_error const&) {
  }
  return 0;
}
