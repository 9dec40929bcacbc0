#include "gl_program.h"

#include <cstring>
#include <string_view>

#include "gl_parameter_block.h"
#include "gl_rasterizer.h"
#include "gl_vertex_layout.h"
#include "ka/die.h"
#include "ka/log.h"
#include "vorn/parameterblock.h"

namespace vorn::ras {

namespace {

using Element = HalVertexLayout::VertexElement;

struct UsageEntry {
  char const* name;
  HalVertexLayout::Usage usage;
  uint32_t index;
};

// Every attribute a shader may declare.
UsageEntry const s_UsageMap[] = {
    {"a_Position", HalVertexLayout::USAGE_Position, 0}, {"a_Normal", HalVertexLayout::USAGE_Normal, 0},
    {"a_Tangent", HalVertexLayout::USAGE_Tangent, 0},   {"a_Binormal", HalVertexLayout::USAGE_Binormal, 0},
    {"a_Color", HalVertexLayout::USAGE_Color, 0},       {"a_TexCoord", HalVertexLayout::USAGE_TexCoord, 0},
    {"a_TexCoord1", HalVertexLayout::USAGE_TexCoord, 1}, {"a_TexCoord2", HalVertexLayout::USAGE_TexCoord, 2},
    {"a_TexCoord3", HalVertexLayout::USAGE_TexCoord, 3}, {"a_TexCoord4", HalVertexLayout::USAGE_TexCoord, 4},
    {"a_TexCoord5", HalVertexLayout::USAGE_TexCoord, 5}, {"a_TexCoord6", HalVertexLayout::USAGE_TexCoord, 6},
    {"a_TexCoord7", HalVertexLayout::USAGE_TexCoord, 7}, {"a_Weights", HalVertexLayout::USAGE_Weights, 0},
    {"a_Bones", HalVertexLayout::USAGE_Bones, 0},       {"a_FColor", HalVertexLayout::USAGE_FColor, 0},
    {"a_FColor1", HalVertexLayout::USAGE_FColor, 1},
};

struct FormatEntry {
  GLenum type;
  HalVertexLayout::Format format;
  uint32_t count;
};

FormatEntry const s_FormatMap[] = {
    {GL_FLOAT, HalVertexLayout::FMT_Float, 1},      {GL_FLOAT_VEC2, HalVertexLayout::FMT_Float, 2},
    {GL_FLOAT_VEC3, HalVertexLayout::FMT_Float, 3}, {GL_FLOAT_VEC4, HalVertexLayout::FMT_Float, 4},
    {GL_INT, HalVertexLayout::FMT_Int32, 1},        {GL_INT_VEC2, HalVertexLayout::FMT_Int32, 2},
    {GL_INT_VEC3, HalVertexLayout::FMT_Int32, 3},   {GL_INT_VEC4, HalVertexLayout::FMT_Int32, 4},
    {GL_UNSIGNED_INT, HalVertexLayout::FMT_UInt32, 1},
};

bool isSampler(GLenum type) {
  return type == GL_SAMPLER_2D || type == GL_SAMPLER_CUBE || type == GL_SAMPLER_2D_SHADOW ||
         type == GL_SAMPLER_CUBE_SHADOW;
}

// "u_Color[0]" and "Color" name the same parameter.
std::string uniformKey(std::string_view name) {
  if (name.starts_with("u_")) name.remove_prefix(2);
  if (name.ends_with("[0]")) name.remove_suffix(3);
  return std::string(name);
}

}  // namespace

GlHalShaderProgram::GlHalShaderProgram(GLRasterizer& rasterizer) : rasterizer_(rasterizer) {}

GlHalShaderProgram::~GlHalShaderProgram() {
  if (vertexShader_) vertexShader_->removeProgram(this);
  if (pixelShader_) pixelShader_->removeProgram(this);
}

bool GlHalShaderProgram::create(ka::RefNoCount<HalVertexShader> vertexShader,
                                ka::RefNoCount<HalPixelShader> pixelShader) {
  vertexShader_ = static_cast<GlHalVertexShader*>(vertexShader.get());
  pixelShader_ = static_cast<GlHalPixelShader*>(pixelShader.get());
  program_ = glCreateProgram();
  parameters_ = new GlHalParameterBlock(rasterizer_);
  textures_ = new GlHalTextureBlock(rasterizer_, *parameters_);
  vertexShader_->addProgram(this);
  pixelShader_->addProgram(this);
  glAttachShader(program_, vertexShader_->name());
  glAttachShader(program_, pixelShader_->name());
  glLinkProgram(program_);
  GLint linked = GL_FALSE;
  glGetProgramiv(program_, GL_LINK_STATUS, &linked);
  if (!linked) {
    KA_LOG(Info) << "Failed to link shader program: vertex shader " << vertexShader_->getNameInt()
                 << " and pixel shader " << pixelShader_->getNameInt();
    char log[2048] = {};
    glGetProgramInfoLog(program_, sizeof log, nullptr, log);
    KA_LOG(Info) << log;
    return false;
  }
  // Using the program here moves GL away from the one the cache holds as current.
  glUseProgram(program_);
  rasterizer_.dirtyState(ST_ShaderProgram);
  readAttributes();
  layout_ = new GlHalVertexLayout(rasterizer_, attributes_);
  readUniforms();
  parameters_->updateBindingSlots(uniforms_);
  textures_->updateBindingSlots(uniforms_);
  return true;
}

void GlHalShaderProgram::readAttributes() {
  attributes_.clear();
  GLint count = 0;
  glGetProgramiv(program_, GL_ACTIVE_ATTRIBUTES, &count);
  for (GLint i = 0; i < count; ++i) {
    char name[256] = {};
    GLint size = 0;
    GLenum type = 0;
    glGetActiveAttrib(program_, GLuint(i), sizeof name, nullptr, &size, &type, name);
    // Built-ins such as gl_VertexID are listed too.
    if (std::strncmp(name, "gl_", 3) == 0) continue;
    Element element;
    element.name = name;
    element.offset = glGetAttribLocation(program_, name);
    auto format = std::find_if(std::begin(s_FormatMap), std::end(s_FormatMap),
                               [&](FormatEntry const& f) { return f.type == type; });
    if (format == std::end(s_FormatMap)) ka::dief("shader attribute %s has a type no mesh supplies", name);
    element.format = format->format;
    element.count = format->count;
    auto usage = std::find_if(std::begin(s_UsageMap), std::end(s_UsageMap),
                              [&](UsageEntry const& u) { return std::strcmp(u.name, name) == 0; });
    if (usage == std::end(s_UsageMap)) ka::dief("shader attribute %s is not one a mesh supplies", name);
    element.usage = usage->usage;
    element.usageIndex = usage->index;
    attributes_.push_back(element);
  }
}

void GlHalShaderProgram::readUniforms() {
  GLint count = 0;
  glGetProgramiv(program_, GL_ACTIVE_UNIFORMS, &count);
  for (GLint i = 0; i < count; ++i) {
    char name[256] = {};
    GlUniform uniform;
    glGetActiveUniform(program_, GLuint(i), sizeof name, nullptr, &uniform.size, &uniform.type, name);
    uniform.location = glGetUniformLocation(program_, name);
    if (isSampler(uniform.type)) {
      // The sampler's unit is fixed here, once.
      uniform.textureUnit = nextTextureUnit_++;
      glUniform1i(uniform.location, uniform.textureUnit);
    }
    uniforms_[uniformKey(name)] = uniform;
  }
  MaterialBindingTable* table = rasterizer_.getBindingTable();
  for (auto& [key, uniform] : uniforms_) {
    if (uniform.textureUnit < 0) continue;
    auto size = uniforms_.find(key + "_size");
    if (size == uniforms_.end()) continue;
    uniform.sizeUniform = &size->second;
    uniform.sizeUniformSlot = int(table->getSlot(key + "_size"));
  }
}

void GlHalShaderProgram::apply() { glUseProgram(program_); }

HalVertexLayout* GlHalShaderProgram::vertexLayout() const { return layout_.get(); }

HalParameterBlock* GlHalShaderProgram::parameterBlock() const { return parameters_.get(); }

HalTextureBlock* GlHalShaderProgram::textureBlock() const { return textures_.get(); }

}  // namespace vorn::ras
