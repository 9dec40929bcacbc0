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
