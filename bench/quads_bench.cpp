// A user interface's frame: 2,000 icons from 300 small pictures and 1,000 glyphs of text, through
// the renderer (quads sorted, pictures atlased at draw time, batches of 85), against plain GL
// written here with one texture bind and one draw a quad. Also the atlas's use of its area against
// stb_rect_pack on the same rectangles.
#include <epoxy/gl.h>
#include <stb_rect_pack.h>

#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include "bench_renderer.h"
#include "bench_util.h"
#include "support/egl_context.h"
#include "support/raw_gl_program.h"
#include "vorn/font.h"
#include "vorn/mesh_builder.h"
#include "vorn/rasren_private/texture.h"
#include "vorn/rasren_private/texture_atlas_builder.h"

namespace {

constexpr int kWidth = 960, kHeight = 580, kFrames = 20, kPictures = 300, kIcons = 2000, kLines = 25;
constexpr float kFontSize = 14;

struct Picture {
  int width, height;
  std::vector<unsigned char> texels;  // premultiplied, four bytes a texel
};
struct Icon {
  int picture;
  float x, y, size;
};
struct Scene {
  std::vector<Picture> pictures;
  std::vector<Icon> icons;
  std::vector<std::string> lines;  // 40 characters each: 1,000 glyphs in all
};

Scene makeScene() {
  Scene scene;
  std::mt19937 random(11);
  for (int i = 0; i < kPictures; ++i) {
    Picture p{16 + int(random() % 33), 16 + int(random() % 33), {}};
    p.texels.resize(size_t(p.width * p.height * 4));
    for (size_t t = 0; t < p.texels.size(); ++t) p.texels[t] = (t % 4 == 3) ? 255 : (unsigned char)(random() % 256);
    scene.pictures.push_back(std::move(p));
  }
  for (int i = 0; i < kIcons; ++i)
    scene.icons.push_back({int(random() % kPictures), float(random() % (kWidth - 32)),
                           float(random() % (kHeight - 32)), float(16 + random() % 17)});
  for (int i = 0; i < kLines; ++i) {
    std::string line = "Line " + std::to_string(i) + ": the quick brown fox jumps over it";
    line.resize(40, '.');
    scene.lines.push_back(line);
  }
  return scene;
}

struct Frame {
  double seconds;
  long long draws;
};

Frame ours(Scene const& s, vorn::FontEngine& engine) {
  BenchRenderer bench(kWidth, kHeight, {"/shaders/misc.json"});
  vorn::RasRen& ren = *bench.ren;
  vorn::FontCache fonts(&engine);
  ka::Ref<vorn::Font> font = fonts.get({"sansserif", kFontSize});
  std::vector<ka::Ref<vorn::Texture>> textures;
  for (Picture const& p : s.pictures) {
    textures.push_back(ren.createTexture(vorn::TF_A8R8G8B8, p.width, p.height, 1, vorn::TF_AllLinear, true, 0));
    textures.back()->setBits(0, p.texels.data(), 0, vorn::CUBE_PositiveX);
  }
  ka::Ref<vorn::ren::Scene> scene = ren.createScene();
  std::vector<ka::Ref<vorn::ren::SceneInstance>> held;
  for (Icon const& icon : s.icons) {
    float x1 = icon.x + icon.size, y1 = icon.y + icon.size;
    vorn::VertexP3C4bT2 corners[4] = {{{icon.x, icon.y, 0}, ~0u, {0, 0}}, {{x1, icon.y, 0}, ~0u, {1, 0}},
                                      {{x1, y1, 0}, ~0u, {1, 1}}, {{icon.x, y1, 0}, ~0u, {0, 1}}};
    held.push_back(scene->addUIQuad(corners, textures[size_t(icon.picture)], ka::Mat4x4f::identity(), vorn::ren::TK_World));
  }
  for (size_t i = 0; i < s.lines.size(); ++i)
    held.push_back(scene->addText({10, float(kHeight - 20 - 20 * int(i)), 0}, {1, 0, 0}, {0, 1, 0}, font, s.lines[i],
                                  {1, 1, 1, 1}, ka::Mat4x4f::identity()));
  auto viewport = ren.createSceneViewport({0, 0, kWidth, kHeight}, scene);
  viewport->setProjectionMatrix(ka::Mat4x4f::orthographicOpenGL(0, kWidth, 0, kHeight, -1, 1));
  ren.addViewport(viewport);
  bench.present(kFrames);  // warm up: the atlas baked, shaders compiled
  bench.presentProfiled();
  Frame frame{};
  frame.draws = bench.events("draw indexed prim");
  frame.seconds = timeBest(3, [&] { bench.present(kFrames); }) / kFrames;
  return frame;
}

// The glyphs as plain textures, as one would make them by hand: coverage in all four channels.
Picture glyphPicture(vorn::Font const& font, int codepoint) {
  vorn::BitmapBox box = font.getBitmapBox(codepoint);
  Picture p{std::max(box.width, 1), std::max(box.height, 1), {}};
  std::vector<unsigned char> coverage(size_t(p.width * p.height), 0);
  if (box.width > 0 && box.height > 0) font.rasterizeBitmap(codepoint, coverage.data(), box.width, box.height, p.width);
  for (unsigned char c : coverage) p.texels.insert(p.texels.end(), 4, c);
  return p;
}

Frame plain(Scene const& s, vorn::Font const& font) {
  GLuint program = linkRawProgram(
      "#version 330\nin vec4 p;\nout vec2 uv;\nvoid main() { uv = p.zw; gl_Position = vec4(p.x / 480.0 - 1.0, p.y / "
      "290.0 - 1.0, 0, 1); }\n",
      "#version 330\nuniform sampler2D t;\nin vec2 uv;\nout vec4 c;\nvoid main() { c = texture(t, uv); }\n");
  auto upload = [](Picture const& p, bool srgb) {
    GLuint name;
    glGenTextures(1, &name);
    glBindTexture(GL_TEXTURE_2D, name);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexImage2D(GL_TEXTURE_2D, 0, srgb ? GL_SRGB8_ALPHA8 : GL_RGBA8, p.width, p.height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 p.texels.data());
    return name;
  };
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  std::vector<GLuint> textures;
  for (Picture const& p : s.pictures) textures.push_back(upload(p, true));
  // Each quad: its texture and four corners (x, y, u, v) as a triangle strip.
  std::vector<GLuint> quadTextures;
  std::vector<float> vertices;
  auto addQuad = [&](GLuint texture, float x0, float y0, float x1, float y1) {
    quadTextures.push_back(texture);
    float const corners[] = {x0, y0, 0, 1, x1, y0, 1, 1, x0, y1, 0, 0, x1, y1, 1, 0};
    vertices.insert(vertices.end(), corners, corners + 16);
  };
  for (Icon const& icon : s.icons)
    addQuad(textures[size_t(icon.picture)], icon.x, icon.y, icon.x + icon.size, icon.y + icon.size);
  std::map<char, GLuint> glyphs;
  for (size_t i = 0; i < s.lines.size(); ++i) {
    float pen = 10, baseline = float(kHeight - 20 - 20 * int(i));
    for (char c : s.lines[i]) {
      GLuint& texture = glyphs[c];
      if (!texture) texture = upload(glyphPicture(font, c), false);
      vorn::BitmapBox box = font.getBitmapBox(c);
      float x0 = pen + float(box.x), y1 = baseline - float(box.y);
      addQuad(texture, x0, y1 - float(box.height), x0 + float(box.width), y1);
      pen += font.getAdvance(c);
    }
  }
  GLuint vao, vbo, colour, fbo;
  bindRawVertices(program, "p", vertices.data(), vertices.size(), 4, vao, vbo);
  glGenTextures(1, &colour);
  glBindTexture(GL_TEXTURE_2D, colour);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_SRGB8, kWidth, kHeight, 0, GL_RGB, GL_UNSIGNED_BYTE, nullptr);
  glGenFramebuffers(1, &fbo);
  glBindFramebuffer(GL_FRAMEBUFFER, fbo);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, colour, 0);
  glViewport(0, 0, kWidth, kHeight);
  glEnable(GL_FRAMEBUFFER_SRGB);
  glEnable(GL_BLEND);
  glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
  auto run = [&] {
    for (int f = 0; f < kFrames; ++f) {
      for (size_t q = 0; q < quadTextures.size(); ++q) {
        glBindTexture(GL_TEXTURE_2D, quadTextures[q]);
        glDrawArrays(GL_TRIANGLE_STRIP, GLint(q * 4), 4);
      }
      glFinish();
    }
  };
  run();
  Frame frame{timeBest(3, run) / kFrames, (long long)quadTextures.size()};
  glDeleteFramebuffers(1, &fbo);
  glDeleteTextures(1, &colour);
  glDeleteTextures(GLsizei(textures.size()), textures.data());
  for (auto const& [c, texture] : glyphs) glDeleteTextures(1, &texture);
  glDeleteBuffers(1, &vbo);
  glDeleteVertexArrays(1, &vao);
  glDeleteProgram(program);
  return frame;
}

// Area of the pictures over the area of the atlases holding them: ours, and stb_rect_pack's in
// the smallest atlas it fits, grown as ours grows (the narrower side doubles).
std::pair<double, double> atlasEfficiency(Scene const& s) {
  BenchRenderer bench(0, 0, {});
  vorn::RasRen& ren = *bench.ren;
  std::vector<ka::Ref<vorn::Texture>> textures;
  double pictureArea = 0;
  for (Picture const& p : s.pictures) {
    textures.push_back(ren.createTexture(vorn::TF_A8R8G8B8, p.width, p.height, 1, vorn::TF_AllLinear, true, 0));
    pictureArea += double(p.width * p.height);
  }
  vorn::RasRenTextureAtlasBuilder builder(&ren);
  for (auto const& t : textures) builder.addTexture(static_cast<vorn::RasRenTexture const*>(t.get()));
  builder.bakeTextures();
  std::set<vorn::Texture*> atlases;
  double atlasArea = 0;
  for (auto const& t : textures) {
    vorn::Texture* atlas = builder.findTexturePlacement(static_cast<vorn::RasRenTexture const*>(t.get()))->texture.get();
    if (atlases.insert(atlas).second) atlasArea += double(atlas->width() * atlas->height());
  }
  int width = 64, height = 64;
  for (;;) {
    std::vector<stbrp_rect> rects(s.pictures.size());
    for (size_t i = 0; i < rects.size(); ++i) rects[i] = {int(i), s.pictures[i].width, s.pictures[i].height, 0, 0, 0};
    std::vector<stbrp_node> nodes(static_cast<size_t>(width));
    stbrp_context context;
    stbrp_init_target(&context, width, height, nodes.data(), int(nodes.size()));
    if (stbrp_pack_rects(&context, rects.data(), int(rects.size()))) break;
    if (height < width) height *= 2;
    else width *= 2;
  }
  return {pictureArea / atlasArea, pictureArea / double(width * height)};
}

}  // namespace

int main() {
  EglContext context;
  ka::Ref<vorn::Filesystem> fs = vorn::createStdioFilesystem();
  fs->mount(ZANDOR_RESOURCES_DIR, "/", true);
  std::unique_ptr<vorn::FontEngine> engine(vorn::createStbttFontEngine(fs));
  ka::Ref<vorn::Font> font = engine->createFont({"sansserif", kFontSize});
  Scene scene = makeScene();
  Frame mine = ours(scene, *engine);
  Frame theirs = plain(scene, *font);
  auto [efficiency, stbEfficiency] = atlasEfficiency(scene);
  std::printf("quads = %d\n", kIcons + kLines * 40);
  std::printf("frame_ms = %.2f\ndraws = %lld\n", mine.seconds * 1000, mine.draws);
  std::printf("plain_gl_frame_ms = %.2f\nplain_gl_draws = %lld\n", theirs.seconds * 1000, theirs.draws);
  std::printf("atlas_area_efficiency = %.2f\nstb_rect_pack_area_efficiency = %.2f\n", efficiency, stbEfficiency);
  std::printf("ratio = %.2f\n", theirs.seconds / mine.seconds);
  return 0;
}
