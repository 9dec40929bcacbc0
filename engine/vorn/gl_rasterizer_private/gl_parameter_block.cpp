#include "gl_parameter_block.h"

#include "gl_rasterizer.h"
#include "vorn/parameterblock.h"

namespace vorn::ras {

namespace {

// Sizes a slot vector to the highest slot plus one and points each slot at its uniform; the
// slots with a uniform make the list that apply walks.
template <class Slot, class Wanted>
void bindSlots(GLRasterizer& rasterizer, std::map<std::string, GlUniform> const& uniforms, Wanted const& wanted,
               std::vector<Slot>& slots, std::vector<Slot*>& bound) {
  MaterialBindingTable* table = rasterizer.getBindingTable();
  std::vector<std::pair<unsigned, GlUniform const*>> chosen;
  for (auto const& [key, uniform] : uniforms) {
    if (wanted(uniform)) chosen.emplace_back(table->getSlot(key), &uniform);
  }
  unsigned size = 0;
  for (auto const& [slot, uniform] : chosen) size = std::max(size, slot + 1);
  slots.assign(size, Slot{});
  bound.clear();
  for (auto const& [slot, uniform] : chosen) {
    slots[slot].uniform = uniform;
    bound.push_back(&slots[slot]);
  }
}

}  // namespace

void GlHalParameterBlock::updateBindingSlots(std::map<std::string, GlUniform> const& uniforms) {
  bindSlots(rasterizer_, uniforms, [](GlUniform const& u) { return u.textureUnit < 0; }, slots_, bound_);
}

void GlHalParameterBlock::setVector(int slot, ka::Vec4<float> const& value) {
  if (slot < 0 || slot >= int(slots_.size()) || !slots_[size_t(slot)].uniform) return;
  Slot& s = slots_[size_t(slot)];
  if (s.kind == KIND_None) {
    switch (s.uniform->type) {
      case GL_FLOAT: s.kind = KIND_Float; break;
      case GL_FLOAT_VEC2: s.kind = KIND_Vec2; break;
      case GL_FLOAT_VEC3: s.kind = KIND_Vec3; break;
      case GL_FLOAT_VEC4: s.kind = KIND_Vec4; break;
      default: break;  // kept, never sent
    }
  }
  s.value[0] = value.x;
  s.value[1] = value.y;
  s.value[2] = value.z;
  s.value[3] = value.w;
  rasterizer_.dirtyState(ST_ParameterBlock);
}

void GlHalParameterBlock::setMatrix(int slot, ka::Mat4x4f const& value) { setMatrices(slot, KIND_Matrix, &value, 1); }

void GlHalParameterBlock::setMatrixArray(int slot, ka::Mat4x4f const* values, int count) {
  setMatrices(slot, KIND_MatrixArray, values, count);
}

void GlHalParameterBlock::setMatrices(int slot, Kind kind, ka::Mat4x4f const* values, int count) {
  if (slot < 0 || slot >= int(slots_.size()) || !slots_[size_t(slot)].uniform || count < 1) return;
  Slot& s = slots_[size_t(slot)];
  s.kind = kind;
  s.matrices.assign(values, values + count);
  rasterizer_.dirtyState(ST_ParameterBlock);
}

void GlHalParameterBlock::apply() {
  for (Slot* s : bound_) {
    GLint at = s->uniform->location;
    switch (s->kind) {
      case KIND_Float: glUniform1f(at, s->value[0]); break;
      case KIND_Vec2: glUniform2f(at, s->value[0], s->value[1]); break;
      case KIND_Vec3: glUniform3f(at, s->value[0], s->value[1], s->value[2]); break;
      case KIND_Vec4: glUniform4f(at, s->value[0], s->value[1], s->value[2], s->value[3]); break;
      case KIND_Matrix:
      case KIND_MatrixArray:
        glUniformMatrix4fv(at, GLsizei(s->matrices.size()), GL_FALSE, &s->matrices[0].m[0][0]);
        break;
      default: break;
    }
  }
}

void GlHalTextureBlock::updateBindingSlots(std::map<std::string, GlUniform> const& uniforms) {
  bindSlots(rasterizer_, uniforms, [](GlUniform const& u) { return u.textureUnit >= 0; }, slots_, bound_);
}

void GlHalTextureBlock::setTexture(int slot, ka::RefNoCount<Texture const> texture) {
  if (slot < 0 || slot >= int(slots_.size()) || !slots_[size_t(slot)].uniform) return;
  Slot& s = slots_[size_t(slot)];
  if (s.kind == KIND_Texture && s.texture.get() == texture.get()) return;
  s.kind = KIND_Texture;
  s.texture = texture.ref();
  if (s.uniform->sizeUniform) {
    ka::Vec4<float> size{1, 1, 1, 1};
    if (texture) {
      auto w = float(texture->width()), h = float(texture->height());
      size = {w, h, 1 / w, 1 / h};
    }
    parameters_.setVector(s.uniform->sizeUniformSlot, size);
  }
  rasterizer_.dirtyState(ST_TextureBlock);
}

void GlHalTextureBlock::setTextureBuffer(int slot, ka::RefNoCount<TextureBuffer const> buffer) {
  if (slot < 0 || slot >= int(slots_.size()) || !slots_[size_t(slot)].uniform) return;
  Slot& s = slots_[size_t(slot)];
  if (s.kind == KIND_TextureBuffer && s.buffer.get() == buffer.get()) return;
  s.kind = KIND_TextureBuffer;
  s.buffer = buffer.ref();
  rasterizer_.dirtyState(ST_TextureBlock);
}

void GlHalTextureBlock::apply() {
  for (Slot* s : bound_) {
    int unit = s->uniform->textureUnit;
    if (s->kind == KIND_Texture) {
      rasterizer_.setTexture(unit, s->texture, true);
    } else if (s->kind == KIND_TextureBuffer) {
      rasterizer_.setTextureBuffer(unit, s->buffer, true);
    }
  }
}

}  // namespace vorn::ras
