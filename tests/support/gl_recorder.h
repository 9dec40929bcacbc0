// A recording GL layer for tests with no context: libepoxy's entry points are function pointers,
// swapped here for recorders that write each call as text, and put back on destruction.
#pragma once

#include <epoxy/gl.h>

#include <string>
#include <vector>

class GLRecorder {
 public:
  GLRecorder() {
    sCalls.clear();
    epoxy_glDepthFunc = [](GLenum f) { note("DepthFunc " + std::to_string(f)); };
    epoxy_glDepthMask = [](GLboolean on) { note(std::string("DepthMask ") + (on ? "1" : "0")); };
    epoxy_glEnable = [](GLenum cap) { note("Enable " + std::to_string(cap)); };
    epoxy_glDisable = [](GLenum cap) { note("Disable " + std::to_string(cap)); };
    epoxy_glPolygonMode = [](GLenum, GLenum mode) { note("PolygonMode " + std::to_string(mode)); };
    epoxy_glCullFace = [](GLenum mode) { note("CullFace " + std::to_string(mode)); };
    epoxy_glColorMask = [](GLboolean r, GLboolean g, GLboolean b, GLboolean a) {
      note("ColorMask " + std::to_string(r) + std::to_string(g) + std::to_string(b) + std::to_string(a));
    };
    epoxy_glBlendFunc = [](GLenum s, GLenum d) { note("BlendFunc " + std::to_string(s) + " " + std::to_string(d)); };
  }
  ~GLRecorder() {
    epoxy_glDepthFunc = saved_.depthFunc;
    epoxy_glDepthMask = saved_.depthMask;
    epoxy_glEnable = saved_.enable;
    epoxy_glDisable = saved_.disable;
    epoxy_glPolygonMode = saved_.polygonMode;
    epoxy_glCullFace = saved_.cullFace;
    epoxy_glColorMask = saved_.colorMask;
    epoxy_glBlendFunc = saved_.blendFunc;
  }
  GLRecorder(GLRecorder const&) = delete;
  GLRecorder& operator=(GLRecorder const&) = delete;

  // The calls since the last take.
  std::vector<std::string> take() {
    std::vector<std::string> calls;
    calls.swap(sCalls);
    return calls;
  }

 private:
  static void note(std::string call) { sCalls.push_back(std::move(call)); }

  struct Saved {
    decltype(epoxy_glDepthFunc) depthFunc = epoxy_glDepthFunc;
    decltype(epoxy_glDepthMask) depthMask = epoxy_glDepthMask;
    decltype(epoxy_glEnable) enable = epoxy_glEnable;
    decltype(epoxy_glDisable) disable = epoxy_glDisable;
    decltype(epoxy_glPolygonMode) polygonMode = epoxy_glPolygonMode;
    decltype(epoxy_glCullFace) cullFace = epoxy_glCullFace;
    decltype(epoxy_glColorMask) colorMask = epoxy_glColorMask;
    decltype(epoxy_glBlendFunc) blendFunc = epoxy_glBlendFunc;
  } saved_;
  static inline std::vector<std::string> sCalls;
};
