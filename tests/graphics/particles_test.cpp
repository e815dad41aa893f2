// Particle systems in a game started as the runner starts one (the draw game, on the recording null
// device): the update's phases, emitter regions and counts, spawns, drawing order and quads, the
// frame step's update and the layer walk's draw, depths and effects.
#include <cmath>
#include <string>
#include <vector>

#include "core/random.h"
#include "graphics/draw.h"
#include "graphics/gpu_state.h"
#include "graphics/particles.h"
#include "graphics/particles_images.h"
#include "graphics_fixture.h"

namespace {

class ParticlesTest : public DrawGameTest {
 protected:
  void SetUp() override {
    DrawGameTest::SetUp();
    SetSeed(1234);
  }

  static double Call(const char* name, const std::vector<double>& numbers = {}) { return CallNumber(name, numbers); }
  static int32_t Int(const char* name, const std::vector<double>& numbers = {}) {
    return static_cast<int32_t>(CallNumber(name, numbers));
  }
  static const std::vector<Particle>& Parts(int32_t ps) { return ParticleSystem_Get(ps)->particles; }
};

TEST_F(ParticlesTest, ParticlesLiveTheirLifeAndGoInTheUpdateTheyReachIt) {
  struct Case {
    int32_t life_min, life_max;
    int32_t last_update;  // the update in which the last one goes
  };
  for (const Case c : {Case{3, 3, 3}, Case{1, 1, 1}, Case{0, 0, 1}, Case{2, 5, 5}}) {
    const int32_t ps = Int("part_system_create");
    const int32_t t = Int("part_type_create");
    Call("part_type_life", {double(t), double(c.life_min), double(c.life_max)});
    Call("part_particles_create", {double(ps), 10, 10, double(t), 8});
    for (const Particle& p : Parts(ps)) EXPECT_TRUE(p.life >= c.life_min && p.life <= std::max(c.life_min, c.life_max - 1));
    for (int32_t step = 1; step <= c.last_update; ++step) {
      Call("part_system_update", {double(ps)});
      for (const Particle& p : Parts(ps)) {
        EXPECT_EQ(p.age, step);
        EXPECT_LT(p.age, p.life) << "a particle that reached its life stays";
      }
    }
    EXPECT_EQ(Call("part_particles_count", {double(ps)}), 0) << "life " << c.life_min << ".." << c.life_max;
    Call("part_system_destroy", {double(ps)});
  }
}

TEST_F(ParticlesTest, DeathAndStepSpawnsMakeTheirTypeAtTheParticle) {
  const int32_t ps = Int("part_system_create");
  const int32_t parent = Int("part_type_create"), child = Int("part_type_create");
  Call("part_type_life", {double(parent), 2, 2});
  Call("part_type_death", {double(parent), 3, double(child)});
  Call("part_type_step", {double(parent), 2, double(child)});
  Call("part_particles_create", {double(ps), 20, 30, double(parent), 1});
  Call("part_system_update", {double(ps)});
  ASSERT_EQ(Parts(ps).size(), 3u) << "the parent and two step children";
  EXPECT_EQ(Parts(ps)[1].age, 1) << "children appended in the life pass are aged in it too";
  Call("part_system_update", {double(ps)});
  // Two older children, three death children; the parent's last step spawned nothing.
  ASSERT_EQ(Parts(ps).size(), 5u);
  for (const Particle& p : Parts(ps)) {
    EXPECT_EQ(p.type, child);
    EXPECT_FLOAT_EQ(p.x, 20.0f);
    EXPECT_FLOAT_EQ(p.y, 30.0f);
  }
  EXPECT_EQ(Parts(ps)[0].age, 2);
  EXPECT_EQ(Parts(ps)[4].age, 1);

  Call("part_type_step", {double(child), 1, double(child)});
  EXPECT_NE(ErrorRaisedBy([&] { Call("part_system_update", {double(ps)}); })
                .find("a particle cannot spawn another of the same type"),
            std::string::npos)
      << "a step spawn of the own type raises";
}

TEST_F(ParticlesTest, MotionAddsIncrementsAndGravityAsVectors) {
  struct Case {
    const char* what;
    float speed, dir, speed_incr, dir_incr, gravity, gravity_dir;
    int updates;
    float x, y, want_speed, want_dir;
  };
  const Case cases[] = {
      {"speed grows before the move", 2, 0, 0.5f, 0, 0, 270, 1, 102.5f, 100, 2.5f, 0},
      {"up is negative y", 3, 90, 0, 0, 0, 270, 1, 100, 97, 3, 90},
      {"direction turns before the move", 1, 80, 0, 10, 0, 270, 1, 100, 99, 1, 90},
      {"speed stops at zero", 1, 0, -5, 0, 0, 270, 2, 100, 100, 0, 0},
      {"gravity accelerates straight down", 0, 0, 0, 0, 1, 270, 2, 100, 103, 2, 270},
      {"gravity up from rest", 0, 0, 0, 0, 1, 90, 1, 100, 99, 1, 90},
      {"gravity sums as vectors", 2, 0, 0, 0, 2, 90, 1, 102, 98, 2.8284271f, 45},
      {"a direction below zero comes back into range", 1, 0, 0, 0, 2, 270, 1, 101, 102, 2.2360680f, 296.56505f},
  };
  for (const Case& c : cases) {
    const int32_t ps = Int("part_system_create");
    const int32_t t = Int("part_type_create");
    Call("part_type_speed", {double(t), c.speed, c.speed, c.speed_incr, 0});
    Call("part_type_direction", {double(t), c.dir, c.dir, c.dir_incr, 0});
    Call("part_type_gravity", {double(t), c.gravity, c.gravity_dir});
    Call("part_particles_create", {double(ps), 100, 100, double(t), 1});
    for (int i = 0; i < c.updates; ++i) Call("part_system_update", {double(ps)});
    const Particle& p = Parts(ps).at(0);
    EXPECT_NEAR(p.x, c.x, 1e-3) << c.what;
    EXPECT_NEAR(p.y, c.y, 1e-3) << c.what;
    EXPECT_NEAR(p.speed, c.want_speed, 1e-3) << c.what;
    EXPECT_NEAR(p.direction, c.want_dir, 1e-3) << c.what;
    Call("part_system_destroy", {double(ps)});
  }
}

TEST_F(ParticlesTest, AlphaAndColourFollowTheAgeOverLife) {
  const uint32_t red = 0x0000FF, blue = 0xFF0000, green = 0x00FF00;
  struct Case {
    const char* what;
    std::vector<double> alpha;  // alpha1, alpha2 or alpha3 arguments
    std::vector<double> colours;
    int updates;
    float want_alpha;
    uint32_t want_colour;
  };
  const Case cases[] = {
      {"alpha2's middle is the mean", {1, 0}, {red}, 5, 0.5f, red},
      {"first half blends start to middle", {1, 0}, {red}, 2, 0.8f, red},
      {"second half blends middle to end", {1, 0}, {red}, 8, 0.2f, red},
      {"three alphas", {0.2, 1, 0.6}, {red}, 5, 1.0f, red},
      {"one alpha stays", {0.3}, {red}, 7, 0.3f, red},
      {"two colours at half life", {1}, {red, blue}, 5, 1.0f, Colour_Merge(red, blue, 0.5)},
      {"three colours at half life give the middle one", {1}, {red, green, blue}, 5, 1.0f, green},
      {"three colours late", {1}, {red, green, blue}, 8, 1.0f, Colour_Merge(green, blue, 0.6)},
  };
  for (const Case& c : cases) {
    const int32_t ps = Int("part_system_create");
    const int32_t t = Int("part_type_create");
    Call("part_type_life", {double(t), 10, 10});
    std::vector<double> alpha = {double(t)};
    alpha.insert(alpha.end(), c.alpha.begin(), c.alpha.end());
    Call(c.alpha.size() == 1 ? "part_type_alpha1" : c.alpha.size() == 2 ? "part_type_alpha2" : "part_type_alpha3",
         alpha);
    std::vector<double> colours = {double(t)};
    colours.insert(colours.end(), c.colours.begin(), c.colours.end());
    Call(c.colours.size() == 1 ? "part_type_colour1" : c.colours.size() == 2 ? "part_type_colour2" : "part_type_color3",
         colours);
    Call("part_particles_create", {double(ps), 0, 0, double(t), 1});
    EXPECT_EQ(static_cast<uint32_t>(Parts(ps)[0].colour), red) << c.what << ": a new particle has the first colour";
    for (int i = 0; i < c.updates; ++i) Call("part_system_update", {double(ps)});
    EXPECT_NEAR(Parts(ps)[0].alpha, c.want_alpha, 1e-5) << c.what;
    for (int shift = 0; shift < 24; shift += 8) {
      EXPECT_NEAR((Parts(ps)[0].colour >> shift) & 0xFF, (c.want_colour >> shift) & 0xFF, 1) << c.what;
    }
    Call("part_system_destroy", {double(ps)});
  }
}

TEST_F(ParticlesTest, ColourRangesAndMixesStayInsideTheirRanges) {
  const int32_t ps = Int("part_system_create");
  const int32_t rgb = Int("part_type_create"), mix = Int("part_type_create");
  Call("part_type_colour_rgb", {double(rgb), 10, 20, 30, 30, 200, 255});
  Call("part_type_colour_mix", {double(mix), 0x000000, 0x0000FF});
  Call("part_particles_create", {double(ps), 0, 0, double(rgb), 50});
  Call("part_particles_create", {double(ps), 0, 0, double(mix), 50});
  for (const Particle& p : Parts(ps)) {
    const int32_t r = p.colour & 0xFF, g = (p.colour >> 8) & 0xFF, b = (p.colour >> 16) & 0xFF;
    if (p.type == rgb) {
      EXPECT_TRUE(r >= 10 && r <= 20 && g == 30 && b >= 200 && b <= 255) << std::hex << p.colour;
    } else {
      EXPECT_TRUE(g == 0 && b == 0) << std::hex << p.colour;
    }
  }
  Call("part_particles_create_colour", {double(ps), 0, 0, double(rgb), 0x123456, 2});
  EXPECT_EQ(Parts(ps).back().colour, 0x123456);
}

TEST_F(ParticlesTest, BurstsFallInsideTheirRegionForEveryDistribution) {
  const float x0 = 100, x1 = 200, y0 = 50, y1 = 90;
  const float cx = 150, cy = 70, rx = 50, ry = 20;
  const int32_t ps = Int("part_system_create");
  const int32_t t = Int("part_type_create");
  const int32_t em = Int("part_emitter_create", {double(ps)});
  for (int shape = 0; shape < 4; ++shape) {
    for (int distribution = 0; distribution < 3; ++distribution) {
      Call("part_particles_clear", {double(ps)});
      Call("part_emitter_region", {double(ps), double(em), x0, x1, y0, y1, double(shape), double(distribution)});
      Call("part_emitter_burst", {double(ps), double(em), double(t), 300});
      ASSERT_EQ(Parts(ps).size(), 300u);
      const std::string what = "shape " + std::to_string(shape) + " distribution " + std::to_string(distribution);
      for (const Particle& p : Parts(ps)) {
        ASSERT_TRUE(p.x >= x0 && p.x <= x1 && p.y >= y0 && p.y <= y1) << what;
        const float u = (p.x - cx) / rx, v = (p.y - cy) / ry;
        if (shape == kRegionEllipse) {
          ASSERT_LE(u * u + v * v, 1.0001f) << what;
        } else if (shape == kRegionDiamond) {
          ASSERT_LE(std::fabs(u) + std::fabs(v), 1.0001f) << what;
        } else if (shape == kRegionLine) {
          ASSERT_NEAR((p.x - x0) / (x1 - x0), (p.y - y0) / (y1 - y0), 1e-4) << what;
        }
      }
    }
  }
}

TEST_F(ParticlesTest, DistributionsGatherWhereTheyShould) {
  struct Case {
    int32_t distribution;
    double low, high;  // the share of values in the middle third
  };
  for (const Case c : {Case{kDistributionLinear, 0.28, 0.39}, Case{kDistributionGaussian, 0.55, 0.8},
                       Case{kDistributionInverse, 0.0, 0.15}}) {
    int middle = 0;
    constexpr int kDraws = 3000;
    for (int i = 0; i < kDraws; ++i) {
      const double v = Particle_Random(10.0, 16.0, c.distribution);
      ASSERT_TRUE(v >= 10.0 && v <= 16.0) << v;
      if (v >= 12.0 && v < 14.0) ++middle;
    }
    const double share = static_cast<double>(middle) / kDraws;
    EXPECT_TRUE(share >= c.low && share <= c.high) << "distribution " << c.distribution << ": " << share;
    EXPECT_EQ(Particle_Random(5.0, 5.0, c.distribution), 5.0);
    EXPECT_EQ(Particle_Random(5.0, 2.0, c.distribution), 5.0);
  }
}

TEST_F(ParticlesTest, BurstAndStreamCounts) {
  const int32_t ps = Int("part_system_create");
  const int32_t t = Int("part_type_create");
  const int32_t em = Int("part_emitter_create", {double(ps)});
  // A negative number is a one in -number chance of a single particle.
  for (int i = 0; i < 800; ++i) Call("part_emitter_burst", {double(ps), double(em), double(t), -4});
  EXPECT_NEAR(static_cast<double>(Parts(ps).size()), 200.0, 50.0);
  Call("part_particles_clear", {double(ps)});
  Call("part_emitter_burst", {double(ps), double(em), double(t), -1});
  EXPECT_EQ(Parts(ps).size(), 1u);
  Call("part_particles_clear", {double(ps)});

  Call("part_emitter_stream", {double(ps), double(em), double(t), 0});
  Call("part_system_update", {double(ps)});
  EXPECT_EQ(Parts(ps).size(), 0u) << "a stream of 0 makes nothing";
  Call("part_emitter_stream", {double(ps), double(em), double(t), 3});
  Call("part_system_update", {double(ps)});
  EXPECT_EQ(Parts(ps).size(), 3u);
  EXPECT_EQ(Parts(ps)[0].age, 0) << "streams come after the life phase";
  Call("part_system_update", {double(ps)});
  EXPECT_EQ(Parts(ps).size(), 6u);
  Call("part_emitter_destroy", {double(ps), double(em)});
  EXPECT_EQ(Call("part_emitter_exists", {double(ps), double(em)}), 0);
  Call("part_system_update", {double(ps)});
  EXPECT_EQ(Parts(ps).size(), 6u) << "a destroyed emitter streams no more";
  EXPECT_EQ(Int("part_emitter_create", {double(ps)}), em) << "the freed slot is taken again";
}

TEST_F(ParticlesTest, AFixedSeedReplaysTheSameParticles) {
  auto run = [&]() {
    SetSeed(77);
    const int32_t ps = Int("part_system_create");
    const int32_t t = Int("part_type_create");
    Call("part_type_speed", {double(t), 1, 4, 0, 0.5});
    Call("part_type_direction", {double(t), 0, 360, 0, 10});
    const int32_t em = Int("part_emitter_create", {double(ps)});
    Call("part_emitter_region", {double(ps), double(em), 0, 64, 0, 64, kRegionEllipse, kDistributionGaussian});
    Call("part_emitter_burst", {double(ps), double(em), double(t), 20});
    for (int i = 0; i < 5; ++i) Call("part_system_update", {double(ps)});
    std::vector<float> xy;
    for (const Particle& p : Parts(ps)) xy.insert(xy.end(), {p.x, p.y});
    Call("part_system_destroy", {double(ps)});
    Call("part_type_destroy", {double(t)});
    return xy;
  };
  const std::vector<float> first = run();
  EXPECT_EQ(first.size(), 40u);
  EXPECT_EQ(run(), first);
}

TEST_F(ParticlesTest, BuiltInShapesDrawAsQuadsInTheSystemsOrder) {
  const int32_t ps = Int("part_system_create");
  const int32_t t = Int("part_type_create");
  Call("part_type_shape", {double(t), 1});
  Call("part_type_size", {double(t), 0.5, 0.5, 0, 0});
  Call("part_type_colour1", {double(t), 0x0000FF});
  Call("part_particles_create", {double(ps), 20.7, 30.2, double(t), 1});
  Call("part_type_colour1", {double(t), 0xFF0000});
  Call("part_type_alpha1", {double(t), 0.5});
  Call("part_particles_create", {double(ps), 40, 40, double(t), 1});
  Call("part_system_position", {double(ps), 1, 0});
  Call("part_system_drawit", {double(ps)});
  std::vector<VertexTextured> v = TexturedVertices();
  ASSERT_EQ(v.size(), 12u);
  EXPECT_EQ(v[0].colour, 0xFF0000FFu) << "old to new: the older, red, first";
  EXPECT_EQ(v[6].colour, 0x7FFF0000u);
  // The position is truncated, the image's 64 pixels scaled by the size around it.
  EXPECT_FLOAT_EQ(v[0].x, 21 - 16);
  EXPECT_FLOAT_EQ(v[0].y, 30 - 16);
  EXPECT_FLOAT_EQ(v[2].x, 21 + 16);
  EXPECT_FLOAT_EQ(v[2].y, 30 + 16);

  Call("part_system_draw_order", {double(ps), 0});
  Call("part_system_drawit", {double(ps)});
  v = TexturedVertices();
  ASSERT_EQ(v.size(), 12u);
  EXPECT_EQ(v[0].colour, 0x7FFF0000u) << "new to old";

  Call("part_system_automatic_draw", {double(ps), 0});
  ParticleSystem_Draw(ps);
  EXPECT_TRUE(TexturedVertices().empty()) << "automatic drawing off";
  Call("part_system_drawit", {double(ps)});
  EXPECT_EQ(TexturedVertices().size(), 12u) << "drawit draws anyway";
}

TEST_F(ParticlesTest, AdditiveBlendingSwitchesOnlyBetweenModesAndEndsNormal) {
  const int32_t ps = Int("part_system_create");
  const int32_t plain = Int("part_type_create"), bright = Int("part_type_create");
  Call("part_type_blend", {double(bright), 1});
  for (int32_t type : {plain, plain, bright, bright, plain}) Call("part_particles_create", {double(ps), 8, 8, double(type), 1});
  device_.clear_record();
  Call("part_system_drawit", {double(ps)});
  GR_Flush();
  int draws = 0;
  for (const RecordedDraw& draw : device_.draws()) draws += draw.layout.stride == 24;
  EXPECT_EQ(Gpu_GetBlendMode(), 0);
  EXPECT_EQ(draws, 3) << "one batch per run of the same mode";
}

TEST_F(ParticlesTest, TheFrameUpdatesAndTheLayerWalkDrawsTheSystems) {
  const int32_t ps = Int("part_system_create");
  EXPECT_NE(Int("part_system_get_layer", {double(ps)}), -1) << "a new system stands on a layer";
  const int32_t t = Int("part_type_create");
  Call("part_type_speed", {double(t), 1, 1, 0, 0});
  Call("part_type_colour1", {double(t), 0x123456});
  Call("part_particles_create", {double(ps), 10, 10, double(t), 1});
  // The particle's own vertices (the frame also draws the application surface to the window).
  auto particle_vertices = [&]() {
    size_t n = 0;
    for (const VertexTextured& v : TexturedVertices()) n += (v.colour & 0xFFFFFFu) == 0x123456u;
    return n;
  };
  device_.clear_record();
  game_.Frame();
  EXPECT_FLOAT_EQ(Parts(ps)[0].x, 11.0f) << "the step's last stage advanced the system";
  EXPECT_EQ(particle_vertices(), 6u) << "the layer walk drew its particle";
  Call("part_system_automatic_update", {double(ps), 0});
  Call("part_system_automatic_draw", {double(ps), 0});
  game_.Frame();
  EXPECT_FLOAT_EQ(Parts(ps)[0].x, 11.0f);
  EXPECT_EQ(particle_vertices(), 0u);
}

TEST_F(ParticlesTest, ADepthChangeIsQueuedOnceAndAppliedByTheFlush) {
  const int32_t ps = Int("part_system_create");
  const int32_t before = Int("part_system_get_layer", {double(ps)});
  Call("part_system_depth", {double(ps), -300});
  Call("part_system_depth", {double(ps), 250});
  EXPECT_EQ(Int("part_system_get_layer", {double(ps)}), before) << "nothing moves before the flush";
  game_.Frame();
  const int32_t after = Int("part_system_get_layer", {double(ps)});
  EXPECT_NE(after, before);
  EXPECT_EQ(Call("layer_get_depth", {double(after)}), 250);
  EXPECT_EQ(ParticleSystem_Get(ps)->depth, 250.0f);

  Call("part_system_clear", {double(ps)});
  const int32_t cleared = Int("part_system_get_layer", {double(ps)});
  EXPECT_EQ(Call("layer_get_depth", {double(cleared)}), 0) << "clearing goes back to depth 0";
  Call("part_system_destroy", {double(ps)});
  EXPECT_EQ(Call("part_system_exists", {double(ps)}), 0);
  EXPECT_EQ(Int("part_system_get_layer", {double(ps)}), -1);
  EXPECT_EQ(Int("part_system_create"), ps) << "the lowest free id is taken again";
}

TEST_F(ParticlesTest, UnknownIdsAreQuiet) {
  EXPECT_EQ(Call("part_particles_count", {7}), 0);
  EXPECT_EQ(Call("part_system_get_layer", {7}), -1);
  EXPECT_EQ(Call("part_emitter_create", {7}), -1);
  EXPECT_EQ(Call("part_type_exists", {-1}), 0);
  Call("part_type_size", {99, 1, 2, 3, 4});
  Call("part_system_update", {99});
  Call("part_system_drawit", {99});
  Call("part_particles_create", {99, 0, 0, 99, 3});
  Call("part_emitter_burst", {99, 0, 0, 3});
  EXPECT_EQ(Call("part_system_create_layer", {99999, 0}), -1) << "no such layer";
}

TEST_F(ParticlesTest, EffectsMakeTheirParticlesOnTwoSystems) {
  const double count_before = ParticleSystem_TableSize();
  Call("effect_create_below", {0, 32, 32, 0, 0x00FF00});
  ASSERT_EQ(ParticleSystem_TableSize(), count_before + 1);
  const int32_t below = ParticleSystem_TableSize() - 1;
  EXPECT_EQ(Parts(below).size(), 21u) << "twenty bits and one centre";
  for (const Particle& p : Parts(below)) EXPECT_EQ(p.colour, 0x00FF00);
  Call("effect_create_above", {6, 10, 10, 2, 0xFFFFFF});
  const int32_t above = ParticleSystem_TableSize() - 1;
  EXPECT_NE(above, below);
  Call("effect_create_above", {12, 10, 10, 1, 0xFFFFFF});
  EXPECT_EQ(Parts(above).size(), 1u) << "kind 12 is no effect";
  game_.Frame();
  EXPECT_EQ(Call("layer_get_depth", {Call("part_system_get_layer", {double(below)})}), 50);
  EXPECT_EQ(Call("layer_get_depth", {Call("part_system_get_layer", {double(above)})}), -15000);
  Call("part_system_destroy", {double(below)});
  Call("effect_create_below", {4, 32, 32, 1, 0});
  EXPECT_TRUE(ParticleSystem_Get(below) != nullptr) << "a destroyed effect system is made again";
}

class EmbeddedShapesTest : public ParticlesTest {
 protected:
  void Configure(DrawGame* game) override { game->embedded = {{"pt_shape_square", 5}, {"fallbacktexture", 3}}; }
};

TEST_F(EmbeddedShapesTest, AShapeTheDataFileCarriesDrawsItsPageEntryAroundItsMiddle) {
  const int32_t ps = Int("part_system_create");
  const int32_t square = Int("part_type_create"), disk = Int("part_type_create");
  Call("part_type_shape", {double(square), 2});
  Call("part_type_shape", {double(disk), 1});
  Call("part_particles_create", {double(ps), 40, 40, double(square), 1});
  Call("part_particles_create", {double(ps), 40, 40, double(disk), 1});
  Call("part_system_drawit", {double(ps)});
  GR_Flush();
  std::vector<const RecordedDraw*> draws;
  for (const RecordedDraw& draw : device_.draws()) {
    if (draw.layout.stride == 24) draws.push_back(&draw);
  }
  ASSERT_EQ(draws.size(), 2u) << "the page's quad, then the built-in disk on its own texture";
  const auto* v = reinterpret_cast<const VertexTextured*>(draws[0]->vertices.data());
  // The magenta cell, 16 x 16 at (0, 32) on the 64 x 64 page, with its origin at (32, 32).
  EXPECT_FLOAT_EQ(v[0].x, 8);
  EXPECT_FLOAT_EQ(v[0].y, 8);
  EXPECT_FLOAT_EQ(v[2].x, 24);
  EXPECT_FLOAT_EQ(v[2].y, 24);
  EXPECT_FLOAT_EQ(v[0].u, 0.0f);
  EXPECT_FLOAT_EQ(v[0].v, 0.5f);
  const auto* d = reinterpret_cast<const VertexTextured*>(draws[1]->vertices.data());
  EXPECT_FLOAT_EQ(d[0].x, 8);
  EXPECT_FLOAT_EQ(d[2].x, 72) << "the built-in image is 64 pixels across";
  EXPECT_FLOAT_EQ(d[2].u, 1.0f);
}

TEST(ParticleImages, EachShapeHasItsFormInTheAlpha) {
  for (int32_t shape = 0; shape < kParticleShapeCount; ++shape) {
    const std::vector<uint8_t> pixels = ParticleImages_Pixels(shape);
    ASSERT_EQ(pixels.size(), 64u * 64u * 4u);
    int opaque = 0, clear = 0;
    for (size_t i = 0; i < pixels.size(); i += 4) {
      EXPECT_EQ(pixels[i] & pixels[i + 1] & pixels[i + 2], 0xFF) << "shape images are white";
      opaque += pixels[i + 3] > 128;
      clear += pixels[i + 3] == 0;
    }
    EXPECT_GT(opaque, 0) << ParticleImages_Name(shape);
    EXPECT_GT(clear, 0) << ParticleImages_Name(shape);
  }
  const std::vector<uint8_t> disk = ParticleImages_Pixels(1);
  EXPECT_EQ(disk[(32 * 64 + 32) * 4 + 3], 255);
  EXPECT_EQ(disk[3], 0);
  EXPECT_TRUE(ParticleImages_Pixels(14).empty());
}

}  // namespace
