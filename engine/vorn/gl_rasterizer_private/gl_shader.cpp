#include "gl_shader.h"

#include <algorithm>
#include <memory>

#include "ka/log.h"
#include "vorn/filesystem.h"

namespace vorn::ras {

std::map<std::string, std::string> GlShaderBuilder::sIncludeFiles;

namespace {

// The whole file if it opens and is no larger than `limit`; nothing otherwise.
bool readShaderFile(ka::RefNoCount<Filesystem> fs, std::string const& name, size_t limit, std::string& text,
                    bool* tooLarge = nullptr) {
  std::unique_ptr<File> file = fs->open("/shaders/" + name, nullptr);
  if (!file) return false;
  long long size = file->size();
  if (size < 0) return false;
  if (size_t(size) > limit) {
    if (tooLarge) *tooLarge = true;
    return false;
  }
  text.resize(size_t(size));
  return file->read(text.data(), size) == size;
}

}  // namespace

bool GlShaderBuilder::loadAndPreprocessShaderCode(ka::RefNoCount<Filesystem> fs, std::string const& name,
                                                  std::string& out) {
  std::string text;
  bool tooLarge = false;
  if (!readShaderFile(fs, name, kMaxShaderBytes, text, &tooLarge)) {
    if (tooLarge) KA_LOG(Info) << "Shader file too large.";
    return false;
  }
  out.clear();
  size_t done = 0;
  for (size_t hit = text.find("#include"); hit != std::string::npos; hit = text.find("#include", done)) {
    size_t open = text.find('"', hit);
    if (open == std::string::npos) return false;
    size_t close = text.find('"', open + 1);
    if (close == std::string::npos) return false;
    std::string file = text.substr(open + 1, close - open - 1);
    auto cached = sIncludeFiles.find(file);
    if (cached == sIncludeFiles.end()) {
      std::string included;
      if (!readShaderFile(fs, file, kMaxIncludeBytes, included)) return false;
      cached = sIncludeFiles.emplace(file, std::move(included)).first;
    }
    out.append(text, done, hit - done);
    out += cached->second;
    done = close + 1;
  }
  out.append(text, done, std::string::npos);
  return true;
}

bool GlShaderBuilder::buildShader(ka::RefNoCount<Filesystem> fs, std::string const& name) {
  if (!loadAndPreprocessShaderCode(fs, name, source_)) {
    KA_LOG(Info) << "Failed to load " << (getShaderType() == GL_VERTEX_SHADER ? "vertex" : "pixel")
                 << " shader file: " << name;
    return false;
  }
  shader_ = glCreateShader(getShaderType());
  char const* text = source_.c_str();
  auto length = GLint(source_.size());
  glShaderSource(shader_, 1, &text, &length);
  glCompileShader(shader_);
  GLint compiled = GL_FALSE;
  glGetShaderiv(shader_, GL_COMPILE_STATUS, &compiled);
  if (compiled) return true;
  GLint logLength = 0;
  glGetShaderiv(shader_, GL_INFO_LOG_LENGTH, &logLength);
  if (logLength == 0) {
    KA_LOG(Error) << "Error compiling shader " << getNameInt() << ":\n???" << source_;
  } else {
    std::string log(size_t(logLength), '\0');
    glGetShaderInfoLog(shader_, logLength, nullptr, log.data());
    log.resize(std::min(log.size(), log.find('\0')));
    KA_LOG(Error) << "Error compiling shader " << getNameInt() << ":\n" << source_ << log;
  }
  return false;
}

void GlShaderBuilder::removeProgram(GlHalShaderProgram* program) {
  programs_.erase(std::remove(programs_.begin(), programs_.end(), program), programs_.end());
}

bool GlHalVertexShader::create(ka::RefNoCount<Filesystem> fs, std::string const& name) {
  fileName_ = name;
  return buildShader(fs, name);
}

bool GlHalPixelShader::create(ka::RefNoCount<Filesystem> fs, std::string const& name) {
  fileName_ = name;
  return buildShader(fs, name);
}

}  // namespace vorn::ras
