// The device on a render thread, over the recording null device: the same work reaches the device
// behind it as when that device is called directly, all of it on one thread of its own that holds
// the context, with copies of whatever the caller reuses once a call returns; a present does not
// wait for itself, and without a thread for the context the device comes back unwrapped.
#include <gtest/gtest.h>

#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"
#include "platform/gl/gl_device.h"

namespace {

// What the watched device saw: the threads that called it, and what the null device drops.
struct Seen {
  std::mutex mutex;
  std::condition_variable changed;
  std::set<std::thread::id> threads;
  std::thread::id destroyed_on;
  std::vector<uint32_t> pixels;  // every UpdateTexture and SetTextureMipLevel word, in order
  std::vector<float> uniforms;
  bool hold_presents = false;  // presents wait until the test lets them go
  int presents_started = 0;
  int presents_finished = 0;
};

// Forwards every call to a null device, noting the calling thread first.
class Watched final : public IDevice {
 public:
  explicit Watched(Seen* seen) : seen_(seen) {}
  ~Watched() override { seen_->destroyed_on = std::this_thread::get_id(); }
  NullDevice& null() { return null_; }

  void BackBufferSize(int32_t* w, int32_t* h) override { note(), null_.BackBufferSize(w, h); }
  int32_t MaxTextureSize() override { return note(), null_.MaxTextureSize(); }
  uint32_t MultisampleLevels() override { return note(), null_.MultisampleLevels(); }
  DeviceTextureId CreateTexture(int32_t w, int32_t h, const void* pixels, bool target, bool depth) override {
    return note(), null_.CreateTexture(w, h, pixels, target, depth);
  }
  void UpdateTexture(DeviceTextureId t, int32_t x, int32_t y, int32_t w, int32_t h, const void* pixels) override {
    note(), keep(pixels, w * h), null_.UpdateTexture(t, x, y, w, h, pixels);
  }
  void SetTextureMipLevel(DeviceTextureId t, int32_t level, int32_t w, int32_t h, const void* pixels) override {
    note(), keep(pixels, w * h), null_.SetTextureMipLevel(t, level, w, h, pixels);
  }
  void DestroyTexture(DeviceTextureId t) override { note(), null_.DestroyTexture(t); }
  void BindTexture(int32_t stage, DeviceTextureId t) override { note(), null_.BindTexture(stage, t); }
  void SetRenderTarget(DeviceTextureId t) override { note(), null_.SetRenderTarget(t); }
  void SetViewport(const DeviceRect& r) override { note(), null_.SetViewport(r); }
  void SetScissor(const DeviceRect& r) override { note(), null_.SetScissor(r); }
  void Clear(uint32_t flags, uint32_t colour, float depth, uint8_t stencil) override {
    note(), null_.Clear(flags, colour, depth, stencil);
  }
  void SetBlend(const BlendDesc& d) override { note(), null_.SetBlend(d); }
  void SetDepthStencil(const DepthStencilDesc& d) override { note(), null_.SetDepthStencil(d); }
  void SetRaster(const RasterDesc& d) override { note(), null_.SetRaster(d); }
  void SetSampler(int32_t stage, const SamplerDesc& d) override { note(), null_.SetSampler(stage, d); }
  void SetConstants(const ShaderConstants& c) override { note(), null_.SetConstants(c); }
  DeviceBufferId CreateVertexBuffer(size_t bytes) override { return note(), null_.CreateVertexBuffer(bytes); }
  void WriteVertexBuffer(DeviceBufferId b, size_t offset, const void* data, size_t bytes, bool discard) override {
    note(), null_.WriteVertexBuffer(b, offset, data, bytes, discard);
  }
  void DestroyVertexBuffer(DeviceBufferId b) override { note(), null_.DestroyVertexBuffer(b); }
  uint8_t* MapVertexBuffer(DeviceBufferId b, size_t offset, size_t bytes, bool discard) override {
    return note(), null_.MapVertexBuffer(b, offset, bytes, discard);
  }
  void UnmapVertexBuffer(DeviceBufferId b, size_t written) override { note(), null_.UnmapVertexBuffer(b, written); }
  void Draw(PrimitiveType type, const VertexLayout& layout, ShaderSet shader, DeviceBufferId b, size_t first,
            int32_t count) override {
    note(), null_.Draw(type, layout, shader, b, first, count);
  }
  void DrawQuads(const VertexLayout& layout, ShaderSet shader, DeviceBufferId b, size_t first, int32_t quads) override {
    note(), null_.DrawQuads(layout, shader, b, first, quads);
  }
  DeviceProgramId CreateProgram(const char* vertex, const char* fragment, std::string* log,
                                std::vector<DeviceUniform>* uniforms) override {
    return note(), null_.CreateProgram(vertex, fragment, log, uniforms);
  }
  void UseProgram(DeviceProgramId p) override { note(), null_.UseProgram(p); }
  void SetProgramUniform(DeviceProgramId, int32_t, UniformType, int32_t columns, int32_t count,
                         const void* data) override {
    note();
    const auto* values = static_cast<const float*>(data);
    seen_->uniforms.insert(seen_->uniforms.end(), values, values + columns * count);
  }
  void BeginEvent(const char* name, uint32_t colour) override { note(), null_.BeginEvent(name, colour); }
  void EndEvent() override { note(), null_.EndEvent(); }
  bool ReadPixels(const DeviceRect& r, uint32_t* out) override { return note(), null_.ReadPixels(r, out); }
  void Flush() override { note(), null_.Flush(); }
  void CopyToBackBuffer(DeviceTextureId t, bool linear) override { note(), null_.CopyToBackBuffer(t, linear); }
  bool Present(int32_t sync_interval) override {
    note();
    std::unique_lock<std::mutex> lock(seen_->mutex);
    ++seen_->presents_started;
    seen_->changed.notify_all();
    seen_->changed.wait(lock, [&] { return !seen_->hold_presents; });
    const bool shown = null_.Present(sync_interval);
    ++seen_->presents_finished;
    return shown;
  }

 private:
  void note() {
    std::lock_guard<std::mutex> lock(seen_->mutex);
    seen_->threads.insert(std::this_thread::get_id());
  }
  void keep(const void* pixels, int32_t words) {
    const auto* p = static_cast<const uint32_t*>(pixels);
    seen_->pixels.insert(seen_->pixels.end(), p, p + words);
  }

  Seen* seen_;
  NullDevice null_;
};

struct Answers {
  DeviceTextureId texture = 0, target = 0;
  DeviceBufferId buffer = 0;
  DeviceProgramId program = 0;
  int32_t back_w = 0, back_h = 0, max_side = 0;
  bool presented = false, read = false;
};

constexpr int32_t kStride = 24;

VertexLayout TexturedLayout() {
  VertexLayout layout;
  layout.stride = kStride;
  layout.elements[static_cast<int>(VertexAttribute::kPosition)] = {VertexAttribute::kPosition, 3, 0};
  layout.elements[static_cast<int>(VertexAttribute::kColour)] = {VertexAttribute::kColour, 4, 12,
                                                                  ElementStorage::kUnorm8};
  layout.elements[static_cast<int>(VertexAttribute::kTexCoord)] = {VertexAttribute::kTexCoord, 2, 16};
  return layout;
}

// One frame's worth of every kind of call. Whatever memory a call is given is overwritten as soon
// as the call returns, as callers are free to do.
Answers Drive(IDevice& d) {
  Answers out;
  std::vector<uint32_t> words(16, 0x11223344u);
  out.texture = d.CreateTexture(4, 4, words.data(), false, false);
  out.target = d.CreateTexture(8, 8, nullptr, true, true);
  words.assign(16, 0xAABBCCDDu);
  d.UpdateTexture(out.texture, 0, 0, 4, 4, words.data());
  words.assign(16, 0x55u);
  d.SetTextureMipLevel(out.texture, 1, 2, 2, words.data());
  words.assign(16, 0);
  d.SetRenderTarget(out.target);
  d.Clear(kClearColour, 0xFF000000u, 1.0f, 0);
  d.BindTexture(0, out.texture);
  d.SetViewport(DeviceRect{1, 2, 30, 40});
  d.SetScissor(DeviceRect{0, 0, 8, 8});
  BlendDesc blend;
  blend.src = 2;
  d.SetBlend(blend);
  ShaderConstants constants;
  constants.world[0] = 3.0f;
  d.SetConstants(constants);
  constants.world[0] = 9.0f;

  out.buffer = d.CreateVertexBuffer(4096);
  uint8_t* mapped = d.MapVertexBuffer(out.buffer, 0, 4096, true);
  if (mapped != nullptr) {
    for (int i = 0; i < 4 * kStride; ++i) mapped[i] = static_cast<uint8_t>(i);
    d.UnmapVertexBuffer(out.buffer, 4 * kStride);
  }
  d.DrawQuads(TexturedLayout(), ShaderSet::kTextured, out.buffer, 0, 1);
  std::vector<uint8_t> bytes(3 * kStride, 7);
  d.WriteVertexBuffer(out.buffer, 4 * kStride, bytes.data(), bytes.size(), false);
  bytes.assign(bytes.size(), 0);
  constants.world[0] = 5.0f;
  d.SetConstants(constants);
  d.Draw(PrimitiveType::kTriangleList, TexturedLayout(), ShaderSet::kTextured, out.buffer, 4 * kStride, 3);

  std::string log;
  std::vector<DeviceUniform> uniforms;
  out.program = d.CreateProgram("vertex", "fragment", &log, &uniforms);
  d.UseProgram(out.program);
  float values[4] = {1.0f, 2.0f, 3.0f, 4.0f};
  d.SetProgramUniform(out.program, 0, UniformType::kFloat, 4, 1, values);
  values[0] = 0.0f;
  char name[16] = "sprites";
  d.BeginEvent(name, 0x123456u);
  std::strcpy(name, "gone");
  d.EndEvent();
  d.Flush();
  d.CopyToBackBuffer(out.target, true);
  out.presented = d.Present(0);
  d.BackBufferSize(&out.back_w, &out.back_h);
  out.max_side = d.MaxTextureSize();
  uint32_t pixel = 0;
  out.read = d.ReadPixels(DeviceRect{0, 0, 1, 1}, &pixel);
  d.DestroyTexture(out.texture);
  d.DestroyVertexBuffer(out.buffer);
  return out;
}

TEST(GlThreadTest, DoesTheSameWorkAsTheDeviceCalledDirectlyOnOneThreadOfItsOwn) {
  Seen direct_seen, seen;
  Watched direct(&direct_seen);
  const Answers want = Drive(direct);

  FakeWindowHost host;
  auto owned = std::make_unique<Watched>(&seen);
  Watched* watched = owned.get();
  std::unique_ptr<IDevice> device = Device_RunOnThread(std::move(owned), &host);
  ASSERT_NE(device.get(), watched);
  const Answers got = Drive(*device);
  int32_t width = 0, height = 0;
  device->BackBufferSize(&width, &height);  // answered once everything before it is done

  EXPECT_EQ(got.texture, want.texture);
  EXPECT_EQ(got.target, want.target);
  EXPECT_EQ(got.buffer, want.buffer);
  EXPECT_EQ(got.program, want.program);
  EXPECT_EQ(got.back_w, want.back_w);
  EXPECT_EQ(got.back_h, want.back_h);
  EXPECT_EQ(got.max_side, want.max_side);
  EXPECT_EQ(got.presented, want.presented);
  EXPECT_EQ(got.read, want.read);

  const std::vector<RecordedDraw>& draws = watched->null().draws();
  const std::vector<RecordedDraw>& want_draws = direct.null().draws();
  ASSERT_EQ(draws.size(), 2u);
  ASSERT_EQ(want_draws.size(), 2u);
  for (size_t i = 0; i < draws.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(draws[i].type, want_draws[i].type);
    EXPECT_EQ(draws[i].vertex_count, want_draws[i].vertex_count);
    EXPECT_EQ(draws[i].quads, want_draws[i].quads);
    EXPECT_EQ(draws[i].texture, want_draws[i].texture);
    EXPECT_EQ(draws[i].target, want_draws[i].target);
    EXPECT_EQ(draws[i].blend.src, 2);
    EXPECT_EQ(draws[i].viewport.w, 30);
    EXPECT_EQ(draws[i].vertices, want_draws[i].vertices);
  }
  EXPECT_EQ(draws[0].constants.world[0], 3.0f);
  EXPECT_EQ(draws[1].constants.world[0], 5.0f);
  EXPECT_EQ(draws[1].vertices, std::vector<uint8_t>(3 * kStride, 7));
  EXPECT_EQ(seen.pixels, direct_seen.pixels);
  EXPECT_EQ(seen.pixels.size(), 20u);
  EXPECT_EQ(seen.pixels[0], 0xAABBCCDDu);
  EXPECT_EQ(seen.uniforms, (std::vector<float>{1.0f, 2.0f, 3.0f, 4.0f}));
  EXPECT_EQ(watched->null().event_names(), std::vector<std::string>{"sprites"});
  EXPECT_EQ(watched->null().count(DeviceCallKind::kPresent), 1);
  EXPECT_EQ(watched->null().count(DeviceCallKind::kFlush), 1);

  device.reset();
  ASSERT_EQ(seen.threads.size(), 1u);
  const std::thread::id render_thread = *seen.threads.begin();
  EXPECT_NE(render_thread, std::this_thread::get_id());
  EXPECT_EQ(seen.destroyed_on, render_thread);
  // Taken from this thread and by the render thread; given back by it and taken here again.
  EXPECT_EQ(host.context_releases.load(), 2);
  EXPECT_EQ(host.context_takes.load(), 2);
}

TEST(GlThreadTest, APresentReturnsBeforeItsFrameIsShownAndTheNextWaitsForIt) {
  Seen seen;
  seen.hold_presents = true;
  FakeWindowHost host;
  std::unique_ptr<IDevice> device = Device_RunOnThread(std::make_unique<Watched>(&seen), &host);
  EXPECT_TRUE(device->Present(0));  // returns although the inner present is held
  {
    std::unique_lock<std::mutex> lock(seen.mutex);
    seen.changed.wait(lock, [&] { return seen.presents_started == 1; });
  }
  std::thread second([&] { device->Present(0); });
  {
    std::lock_guard<std::mutex> lock(seen.mutex);
    seen.hold_presents = false;
    seen.changed.notify_all();
  }
  second.join();
  std::lock_guard<std::mutex> lock(seen.mutex);
  EXPECT_GE(seen.presents_finished, 1);
}

TEST(GlThreadTest, ALostDeviceAnswersFalseByTheNextPresent) {
  Seen seen;
  FakeWindowHost host;
  auto owned = std::make_unique<Watched>(&seen);
  owned->null().set_present_result(false);
  std::unique_ptr<IDevice> device = Device_RunOnThread(std::move(owned), &host);
  device->Present(0);
  EXPECT_FALSE(device->Present(0));
  EXPECT_FALSE(device->Present(0));
}

TEST(GlThreadTest, WithoutAThreadForTheContextTheDeviceItselfComesBack) {
  Seen seen;
  FakeWindowHost host;
  host.context_can_move = false;
  auto owned = std::make_unique<Watched>(&seen);
  Watched* watched = owned.get();
  std::unique_ptr<IDevice> device = Device_RunOnThread(std::move(owned), &host);
  ASSERT_EQ(device.get(), watched);
  Drive(*device);
  EXPECT_EQ(seen.threads, std::set<std::thread::id>{std::this_thread::get_id()});
  EXPECT_EQ(host.context_takes.load(), 2);  // the render thread's try, and this thread's again
}

}  // namespace
