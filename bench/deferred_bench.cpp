// Deferred lighting against forward lighting: 64 boxes lit by one directional and 32 point lights,
// drawn through the renderer's G-buffer and light volumes, and by a forward renderer written here
// in plain GL that draws every box once per light, adding each light's share. Both shade alike
// (Lambert plus Blinn-Phong), write an sRGB target of the same size and wait for the GPU each frame.
#include <epoxy/gl.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "bench_renderer.h"
#include "bench_util.h"
#include "reference_scene.h"
#include "support/egl_context.h"
#include "support/raw_gl_program.h"

namespace {

constexpr int kFrames = 10, kGrid = 8, kPointLights = 32;
constexpr float kSpacing = 2.5f, kHalf = 0.6f, kLightRadius = 4.0f;

struct Light {
  ka::Vec3<float> position;
  ka::Color4f colour;
};

struct Setup {
  std::vector<ka::Vec3<float>> boxes;
  std::vector<Light> lights;
  ka::Vec3<float> sunDirection = ka::normalize(ka::Vec3<float>{-0.3f, -1, -0.4f});
  ka::Vec3<float> eye{0, 14, 20};
  ka::Mat4x4f view = ka::Mat4x4f::lookAt({0, 0, 0}, eye, {0, 1, 0});
};

Setup makeSetup() {
  Setup setup;
  float offset = (kGrid - 1) * kSpacing / 2;
  for (int z = 0; z < kGrid; ++z)
    for (int x = 0; x < kGrid; ++x) setup.boxes.push_back({x * kSpacing - offset, kHalf, z * kSpacing - offset});
  std::mt19937 random(7);
  std::uniform_real_distribution<float> across(-offset, offset), hue(0.2f, 1.0f);
  for (int i = 0; i < kPointLights; ++i)
    setup.lights.push_back({{across(random), 1.5f, across(random)}, {hue(random), hue(random), hue(random), 1}});
  return setup;
}

ka::Mat4x4f projection(int width, int height) {
  float h = 2 * 0.5f * std::tan(0.45f);
  return ka::Mat4x4f::perspectiveOpenGL(h * float(width) / float(height), h, 0.5f, 100.0f);
}

double deferredPerFrame(Setup const& setup, int width, int height) {
  BenchRenderer bench(width, height, {"/shaders/post.json", "/shaders/scene.json", "/shaders/content.json"});
  vorn::RasRen& ren = *bench.ren;
  vorn::Material material(bench.library.get(), "lit_solid");
  material.setVec("Color", {0.6f, 0.6f, 0.6f, 1});
  material.setVec("Specular", {0.5f, 0, 0, 0});
  ka::Ref<vorn::Mesh> box = vorn::makeLitBox(&ren, material, {kHalf, kHalf, kHalf});
  ka::Ref<vorn::ren::Scene> scene = ren.createScene();
  ka::Ref<vorn::ren::LightingEnvironment> environment = scene->createLightingEnvironment();
  for (auto const& at : setup.boxes) scene->addMesh(box, environment, ka::Mat4x4f::translation(at), vorn::ren::TK_World);
  std::vector<ka::Ref<vorn::ren::LightInstance>> lights;
  lights.push_back(environment->addLight());
  lights.back()->setDirection(setup.sunDirection);
  lights.back()->setSpecularColor({1, 1, 1, 1});
  for (Light const& light : setup.lights) {
    lights.push_back(environment->addLight());
    lights.back()->setPosition(light.position);
    lights.back()->setRadius(kLightRadius);
    lights.back()->setDiffuseColor(light.colour);
    lights.back()->setSpecularColor(light.colour);
  }
  auto viewport = ren.createSceneViewport({0, 0, width, height}, scene);
  viewport->setViewMatrix(setup.view);
  viewport->setProjectionMatrix(projection(width, height));
  auto chain = ren.createRenderChain(viewport, 1.0f, false, nullptr);
  ren.addViewport(viewport);
  bench.present(kFrames);  // warm up: shaders compiled, targets made
  return timeBest(3, [&] { bench.present(kFrames); }) / kFrames;
}

char const* const kForwardVertex = R"(#version 330
uniform mat4 model, viewProj;
in vec3 position;
in vec3 normal;
out vec3 worldPosition;
out vec3 worldNormal;
void main() {
  worldPosition = (model * vec4(position, 1.0)).xyz;
  worldNormal = normal;
  gl_Position = viewProj * vec4(worldPosition, 1.0);
}
)";

char const* const kForwardFragment = R"(#version 330
uniform vec4 light;   // xyz: position, or the direction the light travels; w: radius, 0 for the sun
uniform vec3 colour;
uniform vec3 eye;
in vec3 worldPosition;
in vec3 worldNormal;
out vec4 o;
void main() {
  vec3 n = normalize(worldNormal);
  vec3 toLight = light.w > 0.0 ? light.xyz - worldPosition : -light.xyz;
  float d = length(toLight);
  toLight /= d;
  float x = light.w > 0.0 ? clamp(1.0 - (d / light.w) * (d / light.w), 0.0, 1.0) : 1.0;
  float lambert = max(dot(n, toLight), 0.0);
  vec3 h = normalize(toLight + normalize(eye - worldPosition));
  float specular = lambert > 0.0 ? 0.5 * pow(max(dot(n, h), 0.0), 32.0) : 0.0;
  o = vec4((vec3(0.6) * lambert + specular) * colour * x * x, 1.0);
}
)";

double forwardPerFrame(Setup const& setup, int width, int height) {
  GLuint program = linkRawProgram(kForwardVertex, kForwardFragment);
  // Six faces of two triangles, position and normal a vertex.
  std::vector<float> vertices;
  for (int axis = 0; axis < 3; ++axis) {
    for (float sign : {1.0f, -1.0f}) {
      int u = (axis + 1) % 3, v = (axis + 2) % 3;
      if (sign < 0) std::swap(u, v);
      for (auto [a, b] : {std::pair{-1, -1}, {1, -1}, {1, 1}, {1, 1}, {-1, 1}, {-1, -1}}) {
        float p[3], n[3] = {0, 0, 0};
        p[axis] = sign * kHalf;
        p[u] = float(a) * kHalf;
        p[v] = float(b) * kHalf;
        n[axis] = sign;
        vertices.insert(vertices.end(), {p[0], p[1], p[2], n[0], n[1], n[2]});
      }
    }
  }
  GLuint vao, vbo;
  glGenVertexArrays(1, &vao);
  glBindVertexArray(vao);
  glGenBuffers(1, &vbo);
  glBindBuffer(GL_ARRAY_BUFFER, vbo);
  glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(vertices.size() * sizeof(float)), vertices.data(), GL_STATIC_DRAW);
  glBindAttribLocation(program, 0, "position");
  glBindAttribLocation(program, 1, "normal");
  glLinkProgram(program);
  glUseProgram(program);
  glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 24, nullptr);
  glVertexAttribPointer(1, 3, GL_FLOAT, GL_FALSE, 24, reinterpret_cast<void*>(12));
  glEnableVertexAttribArray(0);
  glEnableVertexAttribArray(1);
  RawSrgbTarget target(width, height, GL_SRGB8_ALPHA8);
  glEnable(GL_DEPTH_TEST);
  glEnable(GL_CULL_FACE);
  ka::Mat4x4f viewProj = ka::mul(setup.view, projection(width, height));
  glUniformMatrix4fv(glGetUniformLocation(program, "viewProj"), 1, GL_FALSE, &viewProj.m[0][0]);
  glUniform3f(glGetUniformLocation(program, "eye"), setup.eye.x, setup.eye.y, setup.eye.z);
  GLint model = glGetUniformLocation(program, "model"), light = glGetUniformLocation(program, "light"),
        tint = glGetUniformLocation(program, "colour");
  auto drawBoxes = [&] {
    for (auto const& at : setup.boxes) {
      ka::Mat4x4f placed = ka::Mat4x4f::translation(at);
      glUniformMatrix4fv(model, 1, GL_FALSE, &placed.m[0][0]);
      glDrawArrays(GL_TRIANGLES, 0, 36);
    }
  };
  auto run = [&] {
    for (int i = 0; i < kFrames; ++i) {
      glClearColor(0, 0, 0, 0);
      glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
      // The sun lays down depth; each point light then adds where the surface is.
      glDisable(GL_BLEND);
      glDepthFunc(GL_LESS);
      glDepthMask(GL_TRUE);
      glUniform4f(light, setup.sunDirection.x, setup.sunDirection.y, setup.sunDirection.z, 0);
      glUniform3f(tint, 1, 1, 1);
      drawBoxes();
      glEnable(GL_BLEND);
      glBlendFunc(GL_ONE, GL_ONE);
      glDepthFunc(GL_EQUAL);
      glDepthMask(GL_FALSE);
      for (Light const& l : setup.lights) {
        glUniform4f(light, l.position.x, l.position.y, l.position.z, kLightRadius);
        glUniform3f(tint, l.colour.r, l.colour.g, l.colour.b);
        drawBoxes();
      }
      glFinish();
    }
  };
  run();
  double seconds = timeBest(3, run) / kFrames;
  glDepthMask(GL_TRUE);
  glDisable(GL_CULL_FACE);
  glDisable(GL_DEPTH_TEST);
  glDisable(GL_BLEND);
  glDeleteBuffers(1, &vbo);
  glDeleteVertexArrays(1, &vao);
  glDeleteProgram(program);
  return seconds;
}

}  // namespace

int main() {
  EglContext context;
  Setup setup = makeSetup();
  double ratio = 0;
  for (auto [width, height] : {std::pair{128, 128}, {960, 580}}) {
    double deferred = deferredPerFrame(setup, width, height);
    double forward = forwardPerFrame(setup, width, height);
    std::printf("deferred_%dx%d_ms = %.2f\n", width, height, deferred * 1000);
    std::printf("forward_%dx%d_ms = %.2f\n", width, height, forward * 1000);
    std::printf("ratio_%dx%d = %.2f\n", width, height, forward / deferred);
    ratio = forward / deferred;
  }
  std::printf("ratio = %.2f\n", ratio);
  return 0;
}
