// Trees on a planet: 5,000 instances of one tree drawn by a batched group (cells culled by the
// frustum and the planet's occluder, instanced draws, impostors for far cells), against the same
// trees as 5,000 mesh instances drawn one draw each without culling. The planet scene of the scene
// viewer at 960 by 580, the ground's virtual texture resident before timing, each frame finished
// before the next. Two more runs show where the difference comes from: the group drawing every
// cell in full (no impostors), and the separate instances culled one by one as the renderer
// culls mesh instances.
#include <cstdio>

#include "bench_renderer.h"
#include "bench_util.h"
#include "planet_scene.h"
#include "support/egl_context.h"

namespace {

constexpr int kWidth = 960, kHeight = 580, kFrames = 10, kTrees = 5000;

struct Result {
  double msPerFrame = 0;
  long long draws = 0, instancedDraws = 0, instances = 0;
};

enum class Trees { Batched, BatchedWithoutImpostors, SeparateCulled, Separate };

Result run(Trees trees) {
  BenchRenderer bench(kWidth, kHeight, {"/shaders/post.json", "/shaders/scene.json", "/shaders/content.json",
                                        "/shaders/impostors.json", "/shaders/vtex.json"});
  vorn::PlanetScene::Options options;
  options.trees = kTrees;
  options.separateTrees = trees == Trees::Separate || trees == Trees::SeparateCulled;
  options.cullSeparateTrees = trees == Trees::SeparateCulled;
  vorn::PlanetScene scene(*bench.ren, bench.library.get(), kWidth, kHeight, options);
  scene.makeDeterministic();
  if (trees == Trees::BatchedWithoutImpostors) scene.trees()->setImpostorDistance(1e9f);
  Result result;
  bench.present(kFrames);  // warm up: shaders, targets, the ground's pages, the impostors' pictures
  result.msPerFrame = timeBest(3, [&] { bench.present(kFrames); }) / kFrames * 1000;
  bench.presentProfiled();
  result.instancedDraws = bench.events("draw indexed batches");
  result.instances = bench.events("draw indexed batch total");
  result.draws = bench.events("draw indexed prim") + bench.events("draw prim") + result.instancedDraws;
  return result;
}

}  // namespace

int main() {
  EglContext context;
  Result batched = run(Trees::Batched);
  Result full = run(Trees::BatchedWithoutImpostors);
  Result culled = run(Trees::SeparateCulled);
  Result separate = run(Trees::Separate);
  std::printf("trees = %d\n", kTrees);
  std::printf("batched_ms = %.2f\n", batched.msPerFrame);
  std::printf("batched_draws = %lld\n", batched.draws);
  std::printf("batched_instanced_draws = %lld\n", batched.instancedDraws);
  std::printf("batched_instances_drawn = %lld\n", batched.instances);
  std::printf("batched_without_impostors_ms = %.2f\n", full.msPerFrame);
  std::printf("batched_without_impostors_draws = %lld\n", full.draws);
  std::printf("batched_without_impostors_instances_drawn = %lld\n", full.instances);
  std::printf("separate_culled_ms = %.2f\n", culled.msPerFrame);
  std::printf("separate_culled_draws = %lld\n", culled.draws);
  std::printf("separate_ms = %.2f\n", separate.msPerFrame);
  std::printf("separate_draws = %lld\n", separate.draws);
  std::printf("ratio_impostors = %.2f\n", full.msPerFrame / batched.msPerFrame);
  std::printf("ratio = %.2f\n", separate.msPerFrame / batched.msPerFrame);
  return 0;
}
