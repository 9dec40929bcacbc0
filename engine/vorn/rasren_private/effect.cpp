#include "effect.h"

#include <cstring>

#include "ka/die.h"
#include "ka/log.h"

namespace vorn {

namespace {

char const* const kCompareKeywords[] = {"equals", "notequals", "less", "lessequals", "greaterequals", "greater",
                                        "never", "always"};
char const* const kBlendFactorKeywords[] = {"zero",          "one",           "src_color", "dst_color",
                                            "inv_src_color", "inv_dst_color", "src_alpha", "dst_alpha",
                                            "inv_src_alpha", "inv_dst_alpha"};
char const* const kBlendOpKeywords[] = {"add", "subtract", "min", "max"};
char const* const kCullKeywords[] = {"front", "back", "both", "none"};

// The keyword's index in its table. An unknown or missing keyword would silently pick some state,
// so it ends the process, naming the file and the keyword.
template <size_t N>
uint32_t keyword(char const* const (&table)[N], ka::Json const& object, char const* key, std::string const& file) {
  std::string word = object.get(key).asString("null");
  for (size_t i = 0; i < N; ++i) {
    if (word == table[i]) return uint32_t(i);
  }
  ka::dief("Unknown keyword \"%s\" for \"%s\" in effect file %s", word.c_str(), key, file.c_str());
}

}  // namespace

bool RasRenTechnique::loadFromJson(ka::RefNoCount<Filesystem> fs, ka::Json const& json, std::string const& file) {
  if (!json.hasKey("vertex") || !json.hasKey("pixel")) ka::die("Techniques must specify vertex and pixel shaders");
  name_ = json.get("name").asString("null");

  // A state left out is the rasterizer's default object; no new state is made.
  if (json.hasKey("blend")) {
    ka::Json blend = json.get("blend");
    ras::HalBlendState::Desc desc;
    desc.enable = blend.get("enabled").asBoolean(false);
    if (desc.enable) {
      desc.blendOp = keyword(kBlendOpKeywords, blend, "op", file);
      desc.srcBlend = keyword(kBlendFactorKeywords, blend, "source", file);
      desc.destBlend = keyword(kBlendFactorKeywords, blend, "dest", file);
    } else {
      desc.srcBlend = 1;
    }
    blend_ = rasterizer_.createBlendState(desc);
  } else {
    blend_ = static_cast<ras::HalBlendState*>(rasterizer_.getDefaultState(ras::ST_Blend));
  }
  if (json.hasKey("depth")) {
    ka::Json depth = json.get("depth");
    ras::HalDepthState::Desc desc;
    desc.enable = depth.get("read").asBoolean(false);
    desc.writeMask = depth.get("write").asBoolean(false);
    desc.func = keyword(kCompareKeywords, depth, "compare", file);
    depth_ = rasterizer_.createDepthState(desc);
  } else {
    depth_ = static_cast<ras::HalDepthState*>(rasterizer_.getDefaultState(ras::ST_Depth));
  }
  if (json.hasKey("rast")) {
    ka::Json rast = json.get("rast");
    ras::HalRasterizerState::Desc desc;
    desc.cullMode = keyword(kCullKeywords, rast, "cullmode", file);
    desc.dither = rast.get("dither").asBoolean(false);
    desc.solid = rast.get("solid").asBoolean(true);
    desc.writeMask = uint8_t((rast.get("write_red").asBoolean(true) ? 8 : 0) |
                             (rast.get("write_green").asBoolean(true) ? 4 : 0) |
                             (rast.get("write_blue").asBoolean(true) ? 2 : 0) |
                             (rast.get("write_alpha").asBoolean(true) ? 1 : 0));
    desc.depthBias = int32_t(rast.get("depth_bias").asNumber(0));
    desc.depthBiasClamp = float(rast.get("depth_bias_clamp").asNumber(0));
    desc.slopeScaledDepthBias = float(rast.get("slope_scaled_depth_bias").asNumber(0));
    rasterizerState_ = rasterizer_.createRasterizerState(desc);
  } else {
    rasterizerState_ = static_cast<ras::HalRasterizerState*>(rasterizer_.getDefaultState(ras::ST_Rasterizer));
  }

  std::string vertex = json.get("vertex").asString("null"), pixel = json.get("pixel").asString("null");
  ka::Ref<ras::HalVertexShader> vertexShader = rasterizer_.createVertexShader(fs, vertex);
  if (!vertexShader) {
    KA_LOG(Info) << "Failed to load vertex shader " << vertex << " for technique " << name_;
    return false;
  }
  ka::Ref<ras::HalPixelShader> pixelShader = rasterizer_.createPixelShader(fs, pixel);
  if (!pixelShader) {
    KA_LOG(Info) << "Failed to load pixel shader " << pixel << " for technique " << name_;
    return false;
  }
  program_ = rasterizer_.createShaderProgram(vertexShader, pixelShader);
  if (!program_) {
    KA_LOG(Info) << "Failed to link shader program for technique " << name_;
    return false;
  }
  textures_.resize(kTextureSlots);
  return true;
}

void RasRenTechnique::begin() {
  rasterizer_.setDepthState(depth_);
  rasterizer_.setBlendState(blend_);
  rasterizer_.setRasterizerState(rasterizerState_);
  rasterizer_.setShaderProgram(program_);
}

void RasRenTechnique::setParameters(ka::RefNoCount<BoundParameterBlock const> block, bool parameters, bool textures) {
  if (!block || !program_) return;
  if (parameters) {
    ras::HalParameterBlock* target = program_->parameterBlock();
    for (auto const& v : block->vectors()) target->setVector(int(v.slot), {v.value[0], v.value[1], v.value[2], v.value[3]});
    for (auto const& m : block->matrices()) {
      ka::Mat4x4f matrix;
      std::memcpy(&matrix, m.value, sizeof matrix);
      target->setMatrix(int(m.slot), matrix);
    }
  }
  if (textures) {
    for (auto const& t : block->textures()) program_->textureBlock()->setTexture(int(t.slot), t.texture);
  }
}

bool RasRenEffect::loadFromJson(ka::Json const& json, std::string const& file) {
  if (!json.hasKey("name") || !json.hasKey("techniques")) {
    KA_LOG(Info) << "Failed to load an effect - invalid definition file. Effects must define a name and have at "
                    "least one technique.";
    return false;
  }
  name_ = json.get("name").asString("null");
  lit_ = json.get("lit").asBoolean(false);
  transparent_ = json.get("transparent").asBoolean(false);
  virtualTextured_ = json.get("virtual_textured").asBoolean(false);
  hdr_ = json.get("hdr").asBoolean(false);
  ka::Json techniques = json.get("techniques");
  if (techniques.type() != ka::Json::TYPE_Array) {
    KA_LOG(Info) << "Invalid technique data (no technique list!) for technique " << name_;
    return false;
  }
  for (size_t i = 0; i < techniques.arrayLength(); ++i) {
    auto technique = std::make_unique<RasRenTechnique>(rasterizer_);
    if (!technique->loadFromJson(fs_, techniques.get(i), file)) continue;
    if (techniques_.count(technique->name())) {
      KA_LOG(Info) << "Duplicate technique " << technique->name() << " for effect " << name_;
      continue;
    }
    std::string name = technique->name();
    techniques_.emplace(std::move(name), std::move(technique));
  }
  return !techniques_.empty();
}

RasRenTechnique* RasRenEffect::selectTechnique(std::string_view name) {
  auto found = techniques_.find(name.empty() ? std::string_view("Default") : name);
  if (found != techniques_.end()) current_ = found->second.get();
  return current_;
}

}  // namespace vorn
