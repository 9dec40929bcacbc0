#include "launcher_config.h"

#include <cstdlib>
#include <stdexcept>

#include "ka/log.h"

namespace {

// The key of the game executable for the platform this launcher runs on.
constexpr char kExecutableKey[] = "executable_linux";

std::string readText(ka::Json& root, char const* key) { return root.get(key, ka::Json()).asString("null"); }

}  // namespace

LauncherConfig parseConfig(ka::Json& root) {
  LauncherConfig config;
  try {
    config.company = readText(root, "company");
    config.product = readText(root, "product");
    config.executable = readText(root, kExecutableKey);
    config.productCode = readText(root, "productCode");
    config.titleId = std::atoi(readText(root, "titleId").c_str());
  } catch (std::runtime_error const& error) {
    KA_LOG(Error) << error.what();
  }
  return config;
}
