// Collision queries against 10000 instances of 16 x 16 boxes, a fifth of them turned and scaled,
// scattered over 4000 x 4000: each query through the tree and the same answer by brute force over
// the room's list. The counter queries_per_ms gives the rate of each.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <random>

#include "bench_game.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"
#include "world/collision.h"
#include "world/instance.h"
#include "world/room.h"

namespace {

constexpr int32_t kInstances = 10000;
constexpr int32_t kObject = 0;
KVCodeTables g_tables;
CInstance* g_self = nullptr;

void AddSprite(datawin::Writer& writer) {
  const std::vector<datawin::Label> pages = datawin::add_tpag(writer, {datawin::TpagEntry{0, 0, 16, 16, 0, 0, 16, 16, 16, 16, 0}});
  datawin::SpriteRecord box;
  box.name = "spr_box";
  box.width = box.height = 16;
  box.bbox_right = box.bbox_bottom = 15;
  box.frames.push_back(pages[0] + 0);
  datawin::add_sprt(writer, 2, {box});
}

void SetUpRoom() {
  static bool done = false;
  if (done) return;
  done = true;
  datawin::ObjectRecord object;
  object.name = "obj_box";
  object.sprite = 0;
  if (!Bench_StartGame({object}, &g_tables, AddSprite)) std::abort();
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> pos(0, 4000), unit(0, 1);
  for (int32_t i = 0; i < kInstances; ++i) {
    CInstance* at = Create_Instance(kObject, pos(rng), pos(rng), 0);
    if (i % 5 == 0) {
      Instance_SetAngle(at, unit(rng) * 360);
      Instance_SetScale(at, 0.5f + unit(rng) * 2, 0.5f + unit(rng) * 2);
    }
  }
  g_self = Create_Instance(kObject, 0, 0, 0);
  Collision_Strategy(kObject);  // the object enters the tree once, as at its first query
  Collision_FlushUpdates();
}

struct Point {
  float x, y;
};
std::vector<Point> Points() {
  std::mt19937 rng(11);
  std::uniform_real_distribution<float> pos(0, 4000);
  std::vector<Point> points(1024);
  for (Point& at : points) at = {pos(rng), pos(rng)};
  return points;
}

// Runs query on the fixed query points; the counter queries_per_ms is taken from the loop's own
// clock.
template <class Query>
void Run(benchmark::State& state, Query&& query) {
  SetUpRoom();
  const std::vector<Point> points = Points();
  size_t i = 0;
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) benchmark::DoNotOptimize(query(points[i++ & 1023]));
  const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  state.counters["queries_per_ms"] = ms > 0 ? static_cast<double>(state.iterations()) / ms : 0;
}

// The first instance of the room's list that test accepts.
template <class Test>
CInstance* BruteFirst(Test&& test) {
  for (CInstance* c = Run_Room->active.head; c != nullptr; c = c->next) {
    if (test(c)) return c;
  }
  return nullptr;
}

void BM_RectangleTree(benchmark::State& state) {
  Run(state, [](const Point& at) {
    return Collision_Shape(nullptr, nullptr, CollisionShape::kRectangle, at.x, at.y, at.x + 40, at.y + 40, kObject,
                           false, false, nullptr);
  });
}
BENCHMARK(BM_RectangleTree);

void BM_RectangleBrute(benchmark::State& state) {
  Run(state, [](const Point& at) {
    return BruteFirst([&](CInstance* c) { return Instance_CollideRectangle(c, at.x, at.y, at.x + 40, at.y + 40, false); });
  });
}
BENCHMARK(BM_RectangleBrute);

void BM_PlaceTree(benchmark::State& state) {
  Run(state, [](const Point& at) { return Command_InstancePlace(g_self, at.x, at.y, kObject, nullptr); });
}
BENCHMARK(BM_PlaceTree);

void BM_PlaceBrute(benchmark::State& state) {
  Run(state, [](const Point& at) {
    const float x = g_self->x, y = g_self->y;
    Instance_SetPosition(g_self, at.x, at.y);
    CInstance* found = BruteFirst([](CInstance* c) { return c != g_self && Instance_Collide(c, g_self, true); });
    Instance_SetPosition(g_self, x, y);
    return found;
  });
}
BENCHMARK(BM_PlaceBrute);

}  // namespace
