// The rasterizer's two reasons for existing, measured on this machine's OpenGL:
// (a) the state cache: 20,000 small draws that alternate 2 programs, 3 states and 4 textures, with
//     the cache against every state re-issued before each draw;
// (b) buffer recycling: frames a second with 500 dynamic 4 KiB vertex buffers made and released
//     each frame, against stream buffers, which are never taken from the pool.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "bench_states.h"
#include "bench_util.h"
#include "support/egl_context.h"
#include "support/raw_gl_program.h"
#include "vorn/gl_rasterizer_private/gl_rasterizer.h"
#include "vorn/gl_rasterizer_private/gl_states.h"
#include "vorn/profiler.h"

namespace {

using namespace vorn;
using namespace vorn::ras;

// A program made directly in GL, standing in for a material's.
class RawProgram : public HalShaderProgram {
 public:
  explicit RawProgram(float red) {
    std::string fragment = "#version 330\nuniform sampler2D t;\nout vec4 c;\nvoid main() { c = texture(t, vec2(0.5)) * " +
                           std::to_string(red) + "; }\n";
    name_ = linkRawProgram(
        "#version 330\nlayout(location = 0) in vec2 p;\nvoid main() { gl_Position = vec4(p, 0, 1); }\n",
        fragment.c_str());
    glUseProgram(name_);
    glUniform1i(glGetUniformLocation(name_, "t"), 1);
  }
  void apply() override { glUseProgram(name_); }
  HalVertexLayout* vertexLayout() const override { return nullptr; }
  HalParameterBlock* parameterBlock() const override { return nullptr; }
  HalTextureBlock* textureBlock() const override { return nullptr; }

 private:
  GLuint name_;
};

struct Scene {
  std::vector<ka::Ref<HalShaderProgram>> programs;
  std::vector<ka::Ref<HalBlendState>> blends;
  std::vector<ka::Ref<Texture>> textures;
};

Scene makeScene(GLRasterizer& ras) {
  Scene scene;
  scene.programs = {new RawProgram(1.0f), new RawProgram(0.5f)};
  scene.blends = benchBlendStates(ras);
  scene.textures = benchTextures(ras);
  return scene;
}

// Draws one small triangle per call, changing program, state and texture in a fixed rhythm.
double drawsPerSecond(GLRasterizer& ras, Scene const& scene, bool cached) {
  int const draws = 20000;
  double seconds = timeBest(3, [&] {
    for (int i = 0; i < draws; ++i) {
      if (!cached) {
        // Everything again, GL's own state included, as a renderer without the cache would.
        for (StateType type : {ST_Depth, ST_Rasterizer, ST_Blend, ST_ShaderProgram, ST_VertexStreams}) {
          ras.dirtyState(type);
        }
        resetGlStateCaches();
        ras.setTexture(1, nullptr, false);
      }
      ras.setShaderProgram(scene.programs[size_t(i / 7 % 2)]);
      ras.setBlendState(scene.blends[size_t(i / 5 % 3)]);
      ras.setTexture(1, scene.textures[size_t(i / 3 % 4)], false);
      ras.drawPrimitive(PRIM_Triangles, 0, 1);
    }
    glFinish();
  });
  return draws / seconds;
}

double framesPerSecond(GLRasterizer& ras, BufferUse use) {
  int const frames = 60, buffers = 500;
  std::vector<unsigned char> vertices(4096, 1);
  double seconds = timeBest(3, [&] {
    for (int frame = 0; frame < frames; ++frame) {
      ras.beginScene();
      for (int i = 0; i < buffers; ++i) {
        ka::Ref<VertexBuffer> buffer = ras.createVertexBuffer(vertices.size(), use, 0);
        buffer->setBits(vertices.data(), vertices.size());
        static_cast<GLVertexBuffer*>(buffer.get())->bindBuffer();
      }
      ras.endScene();
    }
    glFinish();
  });
  return frames / seconds;
}

}  // namespace

int main() {
  EglContext context;
  Profiler profiler;
  GLRasterizer ras(profiler, nullptr);
  ras.init();
  ras.resize(64, 64);
  ras.beginScene();

  // A pixel or two: the cost is the draw call and its state, not the shading.
  float const triangle[] = {-1, -1, -0.9f, -1, -1, -0.9f};
  ka::Ref<VertexBuffer> vertices = ras.createVertexBuffer(sizeof triangle, BU_Static, 0);
  vertices->setBits(triangle, sizeof triangle);
  static_cast<GLVertexBuffer*>(vertices.get())->bindBuffer();
  glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 8, nullptr);
  glEnableVertexAttribArray(0);
  Scene scene = makeScene(ras);
  // Interleaved, best of each, so that the driver's warm-up and the machine's noise fall on both.
  double cached = 0, uncached = 0;
  for (int round = 0; round < 5; ++round) {
    uncached = std::max(uncached, drawsPerSecond(ras, scene, false));
    cached = std::max(cached, drawsPerSecond(ras, scene, true));
  }
  ras.endScene();

  double recycled = 0, fresh = 0;
  for (int round = 0; round < 3; ++round) {
    fresh = std::max(fresh, framesPerSecond(ras, BU_Stream));
    recycled = std::max(recycled, framesPerSecond(ras, BU_Dynamic));
  }

  std::printf("draws_per_second_cached = %.0f\n", cached);
  std::printf("draws_per_second_all_state = %.0f\n", uncached);
  std::printf("frames_per_second_recycled = %.1f\n", recycled);
  std::printf("frames_per_second_new_buffers = %.1f\n", fresh);
  std::printf("recycling_ratio = %.2f\n", recycled / fresh);
  std::printf("ratio = %.2f\n", cached / uncached);
  return 0;
}
