#include "webui/log_handler.h"

#include <string_view>

#include "ka/log.h"

namespace webui {

void WebUILogHandler::WriteLog(int severity, char const* message, size_t length) {
  if (severity < severity_) return;
  // Whatever the engine's severity, its lines are information to us.
  KA_LOG(Info) << "[COUI] " << std::string_view(message, length > 0 ? length - 1 : 0);
}

}  // namespace webui
