#include "vorn/rasren_private/effect.h"

#include <fstream>
#include <sstream>

#include "ka/logsink.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"
#include "vorn/gl_rasterizer_private/gl_program.h"
#include "vorn/material.h"
#include "../gl_rasterizer_private/gl_fixture.h"

namespace {

using namespace vorn;
using namespace vorn::ras;

class EffectTest : public GLFixture {
 protected:
  EffectTest() {
    std::filesystem::create_directories(dir.path() + "/shaders");
    fs->mount(dir.path(), "/", true);
    write("flat.vs", "#version 330\nin vec3 a_Position;\nvoid main() { gl_Position = vec4(a_Position, 1); }\n");
    write("tint.fs", "#version 330\nuniform vec4 u_Tint;\nout vec4 c;\nvoid main() { c = u_Tint; }\n");
    write("nomain.fs", "#version 330\nout vec4 c;\nvoid helper() { c = vec4(1); }\n");
  }
  void write(std::string const& name, std::string const& text) {
    std::ofstream(dir.path() + "/shaders/" + name) << text;
  }
  ka::Ref<RasRenEffect> load(std::string const& text, bool* ok = nullptr) {
    std::istringstream in(text);
    ka::Ref<RasRenEffect> effect(new RasRenEffect(*ras, fs));
    bool loaded = effect->loadFromJson(ka::Json::readFrom(in), "/shaders/test.json");
    if (ok) *ok = loaded;
    return effect;
  }

  TempDir dir;
  ka::Ref<Filesystem> fs = createStdioFilesystem();
};

TEST_F(EffectTest, StatesComeFromTheFileOrAreTheDefaults) {
  ka::Ref<RasRenEffect> effect = load(R"({"name": "unlit", "transparent": true, "techniques": [
      {"name": "Default", "vertex": "flat.vs", "pixel": "tint.fs"},
      {"name": "Overlay", "vertex": "flat.vs", "pixel": "tint.fs", "depth": {"compare": "always"},
       "blend": {"enabled": true, "op": "add", "source": "one", "dest": "inv_src_alpha"},
       "rast": {"cullmode": "none", "write_alpha": false, "depth_bias": 2.7}}]})");
  EXPECT_EQ(effect->name(), "unlit");
  EXPECT_TRUE(effect->transparent());
  EXPECT_FALSE(effect->lit());
  RasRenTechnique* plain = effect->selectTechnique("");
  ASSERT_NE(plain, nullptr);
  EXPECT_EQ(plain->depthState(), ras->getDefaultState(ST_Depth));
  EXPECT_EQ(plain->blendState(), ras->getDefaultState(ST_Blend));
  EXPECT_EQ(plain->rasterizerState(), ras->getDefaultState(ST_Rasterizer));
  EXPECT_EQ(plain->textures().size(), RasRenTechnique::kTextureSlots);

  RasRenTechnique* overlay = effect->selectTechnique("Overlay");
  HalDepthState::Desc off;  // a depth object alone turns test and write off
  off.func = 7;
  EXPECT_EQ(overlay->depthState(), ras->createDepthState(off).get());
  HalBlendState::Desc premultiplied;
  premultiplied.enable = true;
  premultiplied.srcBlend = 1;
  premultiplied.destBlend = 8;
  EXPECT_EQ(overlay->blendState(), ras->createBlendState(premultiplied).get());
  HalRasterizerState::Desc noCull;
  noCull.solid = true;
  noCull.writeMask = 14;
  noCull.cullMode = 3;
  noCull.depthBias = 2;
  EXPECT_EQ(overlay->rasterizerState(), ras->createRasterizerState(noCull).get());

  overlay->begin();
  EXPECT_EQ(ras->currentDepthState(), overlay->depthState());
}

TEST_F(EffectTest, SelectionIsStickyForNamesAnEffectLacks) {
  ka::Ref<RasRenEffect> effect = load(R"({"name": "e", "techniques": [
      {"name": "Default", "vertex": "flat.vs", "pixel": "tint.fs"}]})");
  EXPECT_EQ(effect->selectTechnique("Prelight"), nullptr) << "nothing has matched yet";
  RasRenTechnique* chosen = effect->selectTechnique("Default");
  EXPECT_EQ(effect->selectTechnique("Prelight"), chosen) << "a pass without its own technique keeps the last";
}

TEST_F(EffectTest, BadTechniquesGoAndSayWhy) {
  ka::LogSinkMemory log(0);
  bool ok = true;
  ka::Ref<RasRenEffect> twice = load(R"({"name": "twice", "techniques": [
      {"name": "A", "vertex": "flat.vs", "pixel": "tint.fs"},
      {"name": "A", "vertex": "flat.vs", "pixel": "nomain.fs"}]})", &ok);
  EXPECT_TRUE(ok);
  EXPECT_EQ(twice->techniqueCount(), 1u);
  EXPECT_EQ(countLines(log, "Failed to link shader program for technique A"), 1) << logText(log);

  ka::Ref<RasRenEffect> broken = load(R"({"name": "broken", "techniques": [
      {"name": "Default", "vertex": "flat.vs", "pixel": "nomain.fs"},
      {"name": "Other", "vertex": "absent.vs", "pixel": "tint.fs"}]})", &ok);
  EXPECT_FALSE(ok);
  EXPECT_EQ(broken->selectTechnique("Default"), nullptr);
  EXPECT_EQ(countLines(log, "Failed to load vertex shader absent.vs for technique Other"), 1);

  ka::Ref<RasRenEffect> dup = load(R"({"name": "dup", "techniques": [
      {"name": "A", "vertex": "flat.vs", "pixel": "tint.fs"}, {"name": "A", "vertex": "flat.vs", "pixel": "tint.fs"}]})");
  EXPECT_EQ(countLines(log, "Duplicate technique A for effect dup"), 1);

  load(R"({"name": "nameless"})", &ok);
  EXPECT_FALSE(ok);
  EXPECT_EQ(countLines(log, "Effects must define a name and have at least one technique."), 1);
  load(R"({"name": "flat", "techniques": {}})", &ok);
  EXPECT_EQ(countLines(log, "Invalid technique data (no technique list!) for technique flat"), 1);
}

TEST_F(EffectTest, UnknownOrMissingKeywordsEndTheProcessNamingThem) {
  EXPECT_DEATH(load(R"({"name": "e", "techniques": [{"vertex": "flat.vs", "pixel": "tint.fs",
      "depth": {"compare": "Less"}}]})"),
               "Unknown keyword \"Less\" for \"compare\" in effect file /shaders/test.json");
  EXPECT_DEATH(load(R"({"name": "e", "techniques": [{"vertex": "flat.vs", "pixel": "tint.fs",
      "blend": {"enabled": true, "source": "one", "dest": "zero"}}]})"),
               "Unknown keyword \"null\" for \"op\"");
  EXPECT_DEATH(load(R"({"name": "e", "techniques": [{"vertex": "flat.vs"}]})"),
               "Techniques must specify vertex and pixel shaders");
}

TEST_F(EffectTest, AMaterialsParametersReachTheProgram) {
  ka::Ref<RasRenEffect> effect = load(R"({"name": "e", "techniques": [
      {"name": "Default", "vertex": "flat.vs", "pixel": "tint.fs"}]})");
  RasRenTechnique* technique = effect->selectTechnique("Default");
  MaterialLibrary* library = createMaterialLibrary();
  {
    Material material(library, "e");
    material.setVec("Tint", {0.25f, 0.5f, 0.75f, 1});
    technique->setParameters(material.getBoundParameterBlock(ras->getBindingTable()).get(), true, true);
    technique->begin();
    ras->setRenderTarget(target(4, 4, TF_A8R8G8B8));
    ras->drawPrimitive(PRIM_Points, 0, 0);
    auto* program = static_cast<GlHalShaderProgram*>(technique->program());
    float tint[4] = {};
    glGetUniformfv(program->name(), glGetUniformLocation(program->name(), "u_Tint"), tint);
    EXPECT_EQ(std::vector<float>(tint, tint + 4), (std::vector<float>{0.25f, 0.5f, 0.75f, 1}));
  }
  releaseMaterialLibrary(library);
}

}  // namespace
