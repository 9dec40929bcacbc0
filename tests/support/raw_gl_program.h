// A GL program made directly from two shader texts, for tests and benchmarks that draw without the
// engine's shader system. Needs a current context; 0 if it does not link.
#pragma once

#include <epoxy/gl.h>

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
