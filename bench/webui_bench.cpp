// The page host's pictures: time to the first picture of a 1024x640 page, and pictures a second
// of an animated page through our host (engine -> shared memory surface -> OnDraw), against the
// same engine handing its frames straight back at the same target of 30 a second (the baseline:
// no host, no copy). Below 1, the host misses pictures the engine could have shown.
#include <wayland-server.h>
#include <wpe/fdo.h>
#include <wpe/unstable/fdo-shm.h>
#include <wpe/webkit.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "game/headless_platform.h"
#include "webui/shared_memory.h"
#include "webui/wpe_web_ui.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kWidth = 1024;
constexpr int kHeight = 640;
constexpr double kSeconds = 5.0;

std::string const kPage = R"HTML(<!DOCTYPE html><html><body style="margin:0;background:#123">
<div id="box" style="position:absolute;width:200px;height:200px;background:#e83"></div>
<script>
  let x = 0;
  function step() {
    x = (x + 7) % 800;
    document.getElementById('box').style.transform = 'translate(' + x + 'px, 200px)';
    requestAnimationFrame(step);
  }
  requestAnimationFrame(step);
</script></body></html>)HTML";

class Host : public webui::EventListener, public webui::ViewListener {
 public:
  void SystemReady() override { ui->loadLocalView("index.html", kWidth, kHeight, this, false, ""); }
  void CreateSurface(bool, unsigned w, unsigned h, webui::SurfaceResponse* response) override {
    surface = webui::initSharedMemory(w * h * 4, response);
  }
  void DestroySurface(webui::SurfaceHandle handle, bool) override { webui::destroySharedMemory(handle); }
  void OnDraw(webui::SurfaceHandle, bool, int, int) override {
    if (frames++ == 0) firstFrame = Clock::now();
  }
  std::unique_ptr<webui::WpeWebUI> ui;
  webui::SurfaceHandle surface;
  int frames = 0;
  Clock::time_point firstFrame;
};

// Pictures a second of our host, and milliseconds to its first picture.
std::pair<double, double> measureHost(std::string const& folder) {
  vorn::GameClassFactorySingleton<vorn::Game> factory("WebUIBench");
  vorn::HeadlessPlatform platform(&factory, folder);
  Host host;
  auto start = Clock::now();
  webui::WebUISettings settings{folder + "/host", folder + "/store"};
  host.ui = std::make_unique<webui::WpeWebUI>(settings, &host,
                                              std::make_shared<webui::ExternalFileHandler>(folder + "/ui"), &platform);
  while (host.frames == 0 && Clock::now() - start < std::chrono::seconds(30)) host.ui->update(0);
  double firstMs = std::chrono::duration<double, std::milli>(host.firstFrame - start).count();
  int before = host.frames;
  auto measured = Clock::now();
  while (std::chrono::duration<double>(Clock::now() - measured).count() < kSeconds) host.ui->update(0);
  return {(host.frames - before) / kSeconds, firstMs};
}

// The engine alone: frames released as they come, let through at most 30 times a second.
struct Raw {
  wpe_view_backend_exportable_fdo* exportable = nullptr;
  int frames = 0;
};

double measureRaw(std::string const& folder) {
  Raw raw;
  static wpe_view_backend_exportable_fdo_client const client = {
      nullptr, nullptr,
      [](void* data, wpe_fdo_shm_exported_buffer* buffer) {
        auto* r = static_cast<Raw*>(data);
        ++r->frames;
        wpe_view_backend_exportable_fdo_dispatch_release_shm_exported_buffer(r->exportable, buffer);
      },
      nullptr, nullptr};
  raw.exportable = wpe_view_backend_exportable_fdo_create(&client, &raw, kWidth, kHeight);
  wpe_view_backend* backend = wpe_view_backend_exportable_fdo_get_view_backend(raw.exportable);
  WebKitWebViewBackend* viewBackend = webkit_web_view_backend_new(
      backend, reinterpret_cast<GDestroyNotify>(wpe_view_backend_exportable_fdo_destroy), raw.exportable);
  WebKitWebView* view = WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "backend", viewBackend, nullptr));
  wpe_view_backend_add_activity_state(backend, wpe_view_activity_state_visible | wpe_view_activity_state_focused |
                                                   wpe_view_activity_state_in_window);
  std::ifstream in(folder + "/ui/index.html");
  std::string page((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  webkit_web_view_load_html(view, page.c_str(), "about:blank");
  auto released = Clock::now();
  auto pump = [&] {
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    if (Clock::now() - released < std::chrono::microseconds(33333)) return;
    released = Clock::now();
    wpe_view_backend_exportable_fdo_dispatch_frame_complete(raw.exportable);
  };
  auto start = Clock::now();
  while (raw.frames == 0 && Clock::now() - start < std::chrono::seconds(30)) pump();
  int before = raw.frames;
  auto measured = Clock::now();
  while (std::chrono::duration<double>(Clock::now() - measured).count() < kSeconds) pump();
  g_object_unref(view);
  return (raw.frames - before) / kSeconds;
}

}  // namespace

int main() {
  std::string folder = std::filesystem::temp_directory_path() / "zandor-webui-bench";
  std::filesystem::create_directories(folder + "/ui");
  std::ofstream(folder + "/ui/index.html") << kPage;
  auto [hostFps, firstMs] = measureHost(folder);
  double rawFps = measureRaw(folder);
  std::filesystem::remove_all(folder);
  std::printf("first_frame_ms = %.0f\n", firstMs);
  std::printf("host_fps = %.1f\n", hostFps);
  std::printf("engine_fps = %.1f\n", rawFps);
  std::printf("ratio = %.2f\n", hostFps / rawFps);
  return 0;
}
