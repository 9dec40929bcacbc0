// The launcher's frame on this machine's OpenGL: a new 960 by 580 picture of the page uploaded into
// the surface texture and drawn as the blended quad of the top viewport, through the renderer,
// against the same upload and draw written in plain GL (one texture, one program, one quad).
// Both draw into an sRGB target of the window's size and wait for the GPU each frame.
#include <epoxy/gl.h>

#include <cstdio>
#include <vector>

#include "bench_renderer.h"
#include "bench_util.h"
#include "launcher_surface.h"
#include "support/egl_context.h"
#include "support/raw_gl_program.h"

namespace {

constexpr int kWidth = 960, kHeight = 580, kFrames = 30;

// Two pictures, so that every frame uploads something new.
std::vector<std::vector<unsigned char>> pictures() {
  std::vector<std::vector<unsigned char>> out(2, std::vector<unsigned char>(size_t(kWidth) * kHeight * 4));
  for (size_t i = 0; i < out[0].size(); ++i) {
    out[0][i] = (unsigned char)(i * 7);
    out[1][i] = (unsigned char)(i * 13 + 5);
  }
  return out;
}

double oursPerFrame(std::vector<std::vector<unsigned char>> const& pics) {
  BenchRenderer bench(kWidth, kHeight, {"/shaders/misc.json"});
  vorn::RasRen& ren = *bench.ren;
  ka::Ref<vorn::Texture> texture = launcher::createSurfaceTexture(ren, kWidth, kHeight);
  auto viewport = ren.createSceneViewport({0, 0, kWidth, kHeight}, nullptr);
  viewport->setProjectionMatrix(launcher::surfaceProjection(ren, kWidth, kHeight));
  viewport->setScene(launcher::makeSurfaceScene(ren, bench.library.get(), texture.get(), kWidth, kHeight).get());
  ren.addViewport(viewport.get());
  int frame = 0;
  auto run = [&] {
    for (int i = 0; i < kFrames; ++i, ++frame) {
      texture->setBits(0, pics[size_t(frame % 2)].data(), 0, vorn::CUBE_PositiveX);
      bench.present(1);
    }
  };
  run();  // warm up: shaders compiled, buffers made
  return timeBest(3, run) / kFrames;
}

double plainPerFrame(std::vector<std::vector<unsigned char>> const& pics) {
  GLuint program = linkRawProgram(
      "#version 330\nin vec2 p;\nout vec2 uv;\nvoid main() { uv = vec2(p.x, 1.0 - p.y); gl_Position = vec4(p * 2.0 - "
      "1.0, 0, 1); }\n",
      "#version 330\nuniform sampler2D t;\nin vec2 uv;\nout vec4 c;\nvoid main() { c = texture(t, uv).bgra; }\n");
  GLuint vao, vbo, texture;
  float const quad[] = {0, 0, 1, 0, 0, 1, 1, 1};
  bindRawVertices(program, "p", quad, 8, 2, vao, vbo);
  glGenTextures(1, &texture);
  glBindTexture(GL_TEXTURE_2D, texture);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_SRGB8_ALPHA8, kWidth, kHeight, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  RawSrgbTarget target(kWidth, kHeight, GL_SRGB8);
  glEnable(GL_BLEND);
  glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
  glDisable(GL_DEPTH_TEST);
  glBindTexture(GL_TEXTURE_2D, texture);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  int frame = 0;
  auto run = [&] {
    for (int i = 0; i < kFrames; ++i, ++frame) {
      glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE, pics[size_t(frame % 2)].data());
      glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
      glFinish();
    }
  };
  run();
  double seconds = timeBest(3, run) / kFrames;
  glDeleteTextures(1, &texture);
  glDeleteBuffers(1, &vbo);
  glDeleteVertexArrays(1, &vao);
  glDeleteProgram(program);
  return seconds;
}

}  // namespace

int main() {
  EglContext context;
  auto pics = pictures();
  double ours = oursPerFrame(pics);
  double plain = plainPerFrame(pics);
  std::printf("frame_ms = %.2f\n", ours * 1000);
  std::printf("plain_gl_frame_ms = %.2f\n", plain * 1000);
  std::printf("ratio = %.2f\n", plain / ours);
  return 0;
}
