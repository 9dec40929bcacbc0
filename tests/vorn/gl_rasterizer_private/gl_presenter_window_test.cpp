// The presenter in a real window on a private X server.
#include <gtest/gtest.h>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>
#define GLFW_EXPOSE_NATIVE_X11
#include <GLFW/glfw3native.h>
#include <epoxy/gl.h>

#include <vector>

#include "ka/leak_check.h"
#include "support/picture_file.h"
#include "support/x11_window.h"
#include "support/xvfb.h"
#include "vorn/gl_rasterizer.h"
#include "vorn/profiler.h"

namespace {

using namespace vorn;
using namespace vorn::ras;

TEST(GLPresenterWindow, TheWindowShowsExactlyTheDefaultTarget) {
  XvfbDisplay display;
  ASSERT_TRUE(glfwInit());
  glfwWindowHint(GLFW_CONTEXT_VERSION_MAJOR, 3);
  glfwWindowHint(GLFW_CONTEXT_VERSION_MINOR, 3);
  glfwWindowHint(GLFW_OPENGL_PROFILE, GLFW_OPENGL_COMPAT_PROFILE);
  glfwWindowHint(GLFW_SRGB_CAPABLE, GLFW_TRUE);
  int const width = 64, height = 48;
  GLFWwindow* window = glfwCreateWindow(width, height, "presenter", nullptr, nullptr);
  ASSERT_NE(window, nullptr);
  glfwMakeContextCurrent(window);
  std::vector<unsigned char> target(size_t(width * height * 4)), shown(target.size());
  {
    Profiler profiler;
    std::unique_ptr<Rasterizer> ras = createGLRasterizer(profiler, nullptr);
    ras->resize(width, height);
    ras->beginScene();
    ras->clear(CLEAR_Color, {0.05f, 0.1f, 0.4f, 1}, 1, 0);
    // Off centre, so that a flip or a shift shows.
    ka::Ref<RenderTarget> back = ras->getDefaultRenderTarget();
    back->setViewport({8, 4, 40, 20});
    ras->clear(CLEAR_Color, {1.0f, 0.5f, 0.0f, 1}, 1, 0);
    ras->endScene();
    ras->getPresenter()->present();
    ASSERT_TRUE(back->downloadTextureData(0, target.data()));
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
    glReadBuffer(GL_BACK);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, shown.data());
    EXPECT_TRUE(target == shown) << "the window's buffer differs from the default target";
    EXPECT_TRUE(writeGLPicturePng("gl-presented-window", width, height, 4, shown));

    glfwSwapBuffers(window);
    glFinish();
    // What the X server shows, top-down, R in the high byte: the orange block 8 pixels in, 4 down.
    auto expected = [&](int x, int yFromTop) {
      unsigned char const* p = &target[(size_t(height - 1 - yFromTop) * width + size_t(x)) * 4];
      return int64_t(p[0]) << 16 | int64_t(p[1]) << 8 | p[2];
    };
    unsigned long native = glfwGetX11Window(window);
    for (auto [x, y] : {std::pair{8, 4}, std::pair{39, 19}, std::pair{7, 4}, std::pair{40, 20}, std::pair{63, 47}}) {
      EXPECT_EQ(windowPixel(native, x, y), expected(x, y)) << x << "," << y;
    }
    // Orange, sRGB-encoded: 0.5 is 187 or 188 as the driver rounds.
    EXPECT_NEAR(double(expected(8, 4)), double(0xffbb80), 128.0);
    ras.reset();
  }
  glfwMakeContextCurrent(nullptr);
  glfwDestroyWindow(window);
  // While the driver that alone references its threads' data is loaded.
  ka::checkLeaksNow();
  glfwTerminate();
}

}  // namespace
