// A GL program made directly from two shader texts, for tests and benchmarks that draw without the
// engine's shader system. Needs a current context; 0 if it does not link.
#pragma once

#include <epoxy/gl.h>

#include <cstddef>
#include <utility>

inline GLuint linkRawProgram(char const* vertex, char const* fragment) {
  GLuint program = glCreateProgram();
  for (auto [type, text] : {std::pair{GL_VERTEX_SHADER, vertex}, std::pair{GL_FRAGMENT_SHADER, fragment}}) {
    GLuint shader = glCreateShader(type);
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    glAttachShader(program, shader);
    glDeleteShader(shader);
  }
  glLinkProgram(program);
  GLint linked = 0;
  glGetProgramiv(program, GL_LINK_STATUS, &linked);
  if (linked) return program;
  glDeleteProgram(program);
  return 0;
}

// A vertex array over one static buffer of `count` floats, `components` a vertex, bound to the
// program's attribute `name` (location 0), and the program relinked and in use. The names come
// back through `vao` and `vbo` for deleting.
inline void bindRawVertices(GLuint program, char const* name, float const* data, size_t count, int components,
                            GLuint& vao, GLuint& vbo) {
  glGenVertexArrays(1, &vao);
  glBindVertexArray(vao);
  glGenBuffers(1, &vbo);
  glBindBuffer(GL_ARRAY_BUFFER, vbo);
  glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(count * sizeof(float)), data, GL_STATIC_DRAW);
  glVertexAttribPointer(0, components, GL_FLOAT, GL_FALSE, 0, nullptr);
  glEnableVertexAttribArray(0);
  glBindAttribLocation(program, 0, name);
  glLinkProgram(program);
  glUseProgram(program);
}

// A frame buffer of one sRGB colour texture (`internalFormat`, GL_SRGB8 or GL_SRGB8_ALPHA8) with
// depth and stencil, bound, with its viewport and sRGB writes on; deleted with the object.
class RawSrgbTarget {
 public:
  RawSrgbTarget(int width, int height, GLenum internalFormat) {
    glGenTextures(1, &colour_);
    glBindTexture(GL_TEXTURE_2D, colour_);
    GLenum format = internalFormat == GL_SRGB8 ? GL_RGB : GL_RGBA;
    glTexImage2D(GL_TEXTURE_2D, 0, GLint(internalFormat), width, height, 0, format, GL_UNSIGNED_BYTE, nullptr);
    glGenRenderbuffers(1, &depth_);
    glBindRenderbuffer(GL_RENDERBUFFER, depth_);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH24_STENCIL8, width, height);
    glGenFramebuffers(1, &framebuffer_);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, colour_, 0);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, depth_);
    glViewport(0, 0, width, height);
    glEnable(GL_FRAMEBUFFER_SRGB);
  }
  ~RawSrgbTarget() {
    glDeleteFramebuffers(1, &framebuffer_);
    glDeleteRenderbuffers(1, &depth_);
    glDeleteTextures(1, &colour_);
  }
  RawSrgbTarget(RawSrgbTarget const&) = delete;
  RawSrgbTarget& operator=(RawSrgbTarget const&) = delete;

 private:
  GLuint colour_ = 0, depth_ = 0, framebuffer_ = 0;
};
