// What the platform's threading costs: frames a second of the display-thread loop with pacing off
// (the context lock handed between threads, one main-thread task per frame) against one thread
// doing the same clear and swap with GLFW alone; and the CPU a paced, idle window takes.
#include <epoxy/gl.h>
#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>

#include "game/linux_platform.h"
#include "support/temp_dir.h"
#include "support/xvfb.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr double kSeconds = 3.0;

double cpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

void clearFrame() {
  glClearColor(0.2f, 0.3f, 0.4f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}

// Clears each frame, hands the main thread one task per frame, and ends after kSeconds.
class ClearingGame : public vorn::Game {
 public:
  explicit ClearingGame(vorn::Platform* platform) : vorn::Game(platform) {}
  void update(float) override {
    platform()->getUIThreadTaskQueue()->enqueue([this] { ++tasks; });
    if (Clock::now() - start >= std::chrono::duration<double>(kSeconds)) requestExit();
  }
  void present() override {
    clearFrame();
    ++frames;
  }
  Clock::time_point start = Clock::now();
  long frames = 0;
  long tasks = 0;
};

class ClearingFactory : public vorn::GameFactory {
 public:
  std::string name() const override { return "Bench"; }
  vorn::Game* create(vorn::Platform* platform) override { return game = new ClearingGame(platform); }
  ClearingGame* game = nullptr;
};

struct Run {
  double framesPerSecond;
  double cpuShare;
};

Run platformLoop(bool pacing) {
  TempDir resources;
  ClearingFactory factory;
  vorn::LinuxPlatform platform(&factory, resources.path());
  platform.setFramePacing(pacing);
  double cpu = cpuSeconds();
  auto start = Clock::now();
  platform.run();
  double wall = std::chrono::duration<double>(Clock::now() - start).count();
  return {double(factory.game->frames) / wall, (cpuSeconds() - cpu) / wall};
}

double singleThreadLoop() {
  glfwInit();
  glfwWindowHint(GLFW_CONTEXT_VERSION_MAJOR, 3);
  glfwWindowHint(GLFW_CONTEXT_VERSION_MINOR, 3);
  glfwWindowHint(GLFW_OPENGL_PROFILE, GLFW_OPENGL_COMPAT_PROFILE);
  GLFWwindow* window = glfwCreateWindow(960, 580, "Bench", nullptr, nullptr);
  glfwMakeContextCurrent(window);
  glfwSwapInterval(1);
  long frames = 0;
  auto start = Clock::now();
  double wall = 0;
  while (wall < kSeconds) {
    glfwPollEvents();
    clearFrame();
    glfwSwapBuffers(window);
    ++frames;
    wall = std::chrono::duration<double>(Clock::now() - start).count();
  }
  glfwDestroyWindow(window);
  glfwTerminate();
  return double(frames) / wall;
}

}  // namespace

int main() {
  XvfbDisplay display;
  double single = singleThreadLoop();
  Run threaded = platformLoop(false);
  Run paced = platformLoop(true);
  std::printf("single_thread_fps = %.0f\n", single);
  std::printf("display_thread_fps = %.0f\n", threaded.framesPerSecond);
  std::printf("paced_fps = %.1f\n", paced.framesPerSecond);
  std::printf("paced_cpu_share = %.3f\n", paced.cpuShare);
  std::printf("ratio = %.2f\n", threaded.framesPerSecond / single);
  return 0;
}
