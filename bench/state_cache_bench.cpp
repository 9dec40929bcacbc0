// The draw path with its caches, measured on this machine's OpenGL:
// (a) 20,000 small draws that switch 2 programs, 3 blend states and 4 textures, each through a
//     frozen material, its bound parameters, the program's blocks and the state cache, against the
//     same draws issued in plain GL with every call made each time;
// (b) frames a second drawing 1000 small meshes from one vertex pool buffer, against one buffer each.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "bench_states.h"
#include "bench_util.h"
#include "support/egl_context.h"
#include "support/temp_dir.h"
#include "vorn/filesystem.h"
#include "vorn/gl_rasterizer_private/gl_program.h"
#include "vorn/gl_rasterizer_private/gl_rasterizer.h"
#include "vorn/gl_rasterizer_private/gl_states.h"
#include "vorn/gl_rasterizer_private/gl_vertex_layout.h"
#include "vorn/material.h"
#include "vorn/profiler.h"
#include "vorn/vertex_pool.h"

namespace {

using namespace vorn;
using namespace vorn::ras;

int const kDraws = 20000;

struct Scene {
  std::vector<ka::Ref<HalShaderProgram>> programs;
  std::vector<ka::Ref<HalBlendState>> blends;
  std::vector<ka::Ref<Texture>> textures;
  std::vector<Material> materials;  // program * 4 + texture
  ka::Ref<VertexBuffer> triangle;
  ka::Ref<RasMeshVertexBuffer> stream;
};

Scene makeScene(GLRasterizer& ras, Filesystem& fs, MaterialLibrary* library) {
  Scene scene;
  for (char const* fragment : {"a.fs", "b.fs"}) {
    scene.programs.push_back(
        ras.createShaderProgram(ras.createVertexShader(&fs, "flat.vs"), ras.createPixelShader(&fs, fragment)));
  }
  scene.blends = benchBlendStates(ras);
  scene.textures = benchTextures(ras);
  for (int p = 0; p < 2; ++p) {
    for (int t = 0; t < 4; ++t) {
      Material material(library, p ? "b" : "a");
      material.setVec("Tint", {1, 0.5f, 0.25f * float(t), 1});
      material.setTexture("Diffuse", scene.textures[size_t(t)].get());
      material.freeze();
      scene.materials.push_back(material);
    }
  }
  // A pixel or two: the cost is the draw call and its state, not the shading.
  float const corners[] = {-1, -1, 0, -0.9f, -1, 0, -1, -0.9f, 0};
  scene.triangle = ras.createVertexBuffer(sizeof corners, BU_Static, 0);
  scene.triangle->setBits(corners, sizeof corners);
  scene.stream = new RasMeshVertexBuffer(
      VF_Position3,
      RasMeshVertexBuffer::Elements{{"a_Position", 0, HalVertexLayout::FMT_Float, 3, -1, 0, 0,
                                     HalVertexLayout::USAGE_Position}},
      12, scene.triangle);
  return scene;
}

double drawsThroughMaterials(GLRasterizer& ras, Scene const& scene) {
  MaterialBindingTable* table = ras.getBindingTable();
  return kDraws / timeBest(3, [&] {
           ras.setStreamSource(scene.stream.get());
           for (int i = 0; i < kDraws; ++i) {
             size_t program = size_t(i / 7 % 2), texture = size_t(i / 3 % 4);
             HalShaderProgram* p = scene.programs[program].get();
             ka::Ref<BoundParameterBlock> bound =
                 scene.materials[program * 4 + texture].getBoundParameterBlock(table);
             for (auto const& v : bound->vectors()) {
               p->parameterBlock()->setVector(int(v.slot), {v.value[0], v.value[1], v.value[2], v.value[3]});
             }
             for (auto const& t : bound->textures()) p->textureBlock()->setTexture(int(t.slot), t.texture);
             ras.setShaderProgram(p);
             ras.setBlendState(scene.blends[size_t(i / 5 % 3)]);
             ras.drawPrimitive(PRIM_Triangles, 0, 1);
           }
           glFinish();
         });
}

double drawsInPlainGL(Scene const& scene) {
  std::vector<GLuint> programs;
  std::vector<GLint> tints;
  for (auto const& p : scene.programs) {
    programs.push_back(static_cast<GlHalShaderProgram*>(p.get())->name());
    tints.push_back(glGetUniformLocation(programs.back(), "u_Tint"));
  }
  std::vector<GLuint> textures;
  for (auto const& t : scene.textures) textures.push_back(static_cast<GLTexture*>(t.get())->name());
  GLenum const sources[] = {GL_ONE, GL_ONE, GL_SRC_ALPHA}, destinations[] = {GL_ZERO, GL_ONE, GL_ONE_MINUS_SRC_ALPHA};
  GLuint buffer = static_cast<GLVertexBuffer*>(scene.triangle.get())->store.name();
  return kDraws / timeBest(3, [&] {
           for (int i = 0; i < kDraws; ++i) {
             size_t program = size_t(i / 7 % 2), texture = size_t(i / 3 % 4), blend = size_t(i / 5 % 3);
             glUseProgram(programs[program]);
             glUniform4f(tints[program], 1, 0.5f, 0.25f * float(texture), 1);
             glActiveTexture(GL_TEXTURE0);
             glBindTexture(GL_TEXTURE_2D, textures[texture]);
             if (blend) {
               glEnable(GL_BLEND);
             } else {
               glDisable(GL_BLEND);
             }
             glBlendFunc(sources[blend], destinations[blend]);
             glBindBuffer(GL_ARRAY_BUFFER, buffer);
             glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 12, nullptr);
             glEnableVertexAttribArray(0);
             glDrawArrays(GL_TRIANGLES, 0, 3);
           }
           glFinish();
         });
}

// 1000 meshes of one small triangle each, drawn every frame.
double meshFramesPerSecond(GLRasterizer& ras, RasMeshFactory& meshes, bool pooled) {
  int const count = 1000;
  float const corners[] = {-1, -1, 0, -0.9f, -1, 0, -1, -0.9f, 0};
  RasVertexPool pool(meshes, VF_Position3, count * 3);
  std::vector<ka::Ref<RasMeshVertexBuffer>> own;
  if (pooled) {
    int actual = 0;
    auto* vertices = static_cast<float*>(pool.mapRange(count * 3, actual, count * 3));
    for (int m = 0; m < count; ++m) std::copy(std::begin(corners), std::end(corners), vertices + m * 9);
    pool.unmap();
  } else {
    for (int m = 0; m < count; ++m) {
      own.push_back(meshes.createVertexBuffer(VF_Position3, 3, BU_Static, 0));
      own.back()->setBits(corners, sizeof corners);
    }
  }
  int const frames = 20;
  return frames / timeBest(3, [&] {
           for (int f = 0; f < frames; ++f) {
             if (pooled) ras.setStreamSource(pool.buffer());
             for (int m = 0; m < count; ++m) {
               if (pooled) {
                 ras.drawPrimitive(PRIM_Triangles, m * 3, 1);
               } else {
                 ras.setStreamSource(own[size_t(m)].get());
                 ras.drawPrimitive(PRIM_Triangles, 0, 1);
               }
             }
             glFinish();
           }
         });
}

}  // namespace

int main() {
  EglContext context;
  Profiler profiler;
  TempDir dir;
  std::filesystem::create_directories(dir.path() + "/shaders");
  std::ofstream(dir.path() + "/shaders/flat.vs")
      << "#version 330\nin vec3 a_Position;\nvoid main() { gl_Position = vec4(a_Position, 1); }\n";
  for (char const* name : {"a.fs", "b.fs"}) {
    std::ofstream(dir.path() + "/shaders/" + name)
        << "#version 330\nuniform vec4 u_Tint;\nuniform sampler2D u_Diffuse;\nout vec4 c;\n"
        << "void main() { c = u_Tint * texture(u_Diffuse, vec2(0.5))" << (name[0] == 'b' ? " * 0.5" : "") << "; }\n";
  }
  ka::Ref<Filesystem> fs = createStdioFilesystem();
  fs->mount(dir.path(), "/", true);
  MaterialLibrary* library = createMaterialLibrary();
  double ours = 0, plain = 0, pooled = 0, separate = 0;
  {
    GLRasterizer ras(profiler, nullptr);
    ras.init();
    ras.resize(64, 64);
    ras.beginScene();
    Scene scene = makeScene(ras, *fs, library);
    RasMeshFactory meshes(ras);
    // Interleaved, best of each, so that the driver's warm-up and the machine's noise fall on both.
    for (int round = 0; round < 3; ++round) {
      plain = std::max(plain, drawsInPlainGL(scene));
      // Plain GL moved on behind the cache: start it from what GL now holds.
      ras.dirtyState(ST_ShaderProgram);
      ras.dirtyState(ST_VertexStreams);
      resetGlStateCaches();
      glDisable(GL_BLEND);
      GlHalVertexLayout::sEnabledIndices = 1;
      ours = std::max(ours, drawsThroughMaterials(ras, scene));
      separate = std::max(separate, meshFramesPerSecond(ras, meshes, false));
      pooled = std::max(pooled, meshFramesPerSecond(ras, meshes, true));
    }
    ras.endScene();
  }
  releaseMaterialLibrary(library);
  std::printf("draws_per_second_through_materials = %.0f\n", ours);
  std::printf("draws_per_second_plain_gl = %.0f\n", plain);
  std::printf("mesh_frames_per_second_pooled = %.1f\n", pooled);
  std::printf("mesh_frames_per_second_buffer_each = %.1f\n", separate);
  std::printf("pool_ratio = %.2f\n", pooled / separate);
  std::printf("ratio = %.2f\n", ours / plain);
  return 0;
}
