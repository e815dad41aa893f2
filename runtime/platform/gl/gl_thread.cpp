// A device that runs another one on a thread of its own, the render thread, which holds the
// window's graphics context. The main thread's calls become commands, kept in a list of its own
// and handed to the render thread in runs: at a Flush, at a Present, when kHandOverCommands are
// waiting, and before every call that answers (sizes, creations, reads), which then waits until
// the render thread has done everything up to it. A software renderer does its vertex and setup
// work inside the draw calls; here that work overlaps the main thread's next stretch of step and
// draw instead of stopping it. The main thread waits only for answers and, in a Present, for the
// frame before to have been shown, so the render thread is never more than one frame behind.
//
// Data the caller may reuse when a call returns (pixels, vertex bytes, uniforms, names) is copied
// into the command. A vertex buffer is "mapped" into a block of this device's memory; the unmap
// hands the written bytes to the render thread, which writes them into the buffer.
#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/gl/gl_device.h"
#include "platform/threads.h"
#include "platform/window_host.h"

namespace {

constexpr size_t kHandOverCommands = 256;

// Commands laid end to end in one byte array: each a header with the function that runs it, then
// the call's captured arguments. The captures are trivially copyable and need no destructor, so
// the array can grow by copying and be emptied without running anything; lists are swapped
// between the threads and keep their memory, so the render thread never allocates or frees.
class CommandList {
 public:
  template <typename Call>
  void push(const Call& call) {
    static_assert(std::is_trivially_copyable_v<Call> && std::is_trivially_destructible_v<Call>);
    static_assert(alignof(Call) <= kAlign);
    const size_t at = bytes_.size();
    bytes_.resize(at + kHeader + round_up(sizeof(Call)));
    Header header{&invoke<Call>, kHeader + round_up(sizeof(Call))};
    std::memcpy(bytes_.data() + at, &header, sizeof(header));
    std::memcpy(bytes_.data() + at + kHeader, &call, sizeof(Call));
    ++count_;
  }
  void run(IDevice& device) {
    for (size_t at = 0; at < bytes_.size();) {
      Header header;
      std::memcpy(&header, bytes_.data() + at, sizeof(header));
      header.run(bytes_.data() + at + kHeader, device);
      at += header.size;
    }
  }
  void append(const CommandList& other) {
    bytes_.insert(bytes_.end(), other.bytes_.begin(), other.bytes_.end());
    count_ += other.count_;
  }
  void clear() {
    bytes_.clear();
    count_ = 0;
  }
  void swap(CommandList& other) {
    bytes_.swap(other.bytes_);
    std::swap(count_, other.count_);
  }
  bool empty() const { return count_ == 0; }
  size_t size() const { return count_; }

 private:
  static constexpr size_t kAlign = 16;
  struct Header {
    void (*run)(const uint8_t* call, IDevice& device);
    size_t size;
  };
  static constexpr size_t kHeader = (sizeof(Header) + kAlign - 1) / kAlign * kAlign;
  static size_t round_up(size_t n) { return (n + kAlign - 1) / kAlign * kAlign; }
  template <typename Call>
  static void invoke(const uint8_t* bytes, IDevice& device) {
    // The bytes are a copy of a trivially copyable object: copied out, it is that object.
    alignas(Call) uint8_t storage[sizeof(Call)];
    std::memcpy(storage, bytes, sizeof(Call));
    (*std::launder(reinterpret_cast<const Call*>(storage)))(device);
  }

  std::vector<uint8_t> bytes_;
  size_t count_ = 0;
};

// Bytes handed to the render thread. Blocks are reused: the render thread gives one back to the
// free list once its command has run.
struct Block {
  std::unique_ptr<uint8_t[]> data;
  size_t capacity = 0;
  size_t size = 0;
};

class ThreadedDevice final : public IDevice {
 public:
  ThreadedDevice(std::unique_ptr<IDevice> inner, IWindowHost* host) : inner_(std::move(inner)), host_(host) {
    host_->MakeContextCurrent(false);
    thread_ = std::thread([this] { render_loop(); });
    std::unique_lock<std::mutex> lock(mutex_);
    done_.wait(lock, [&] { return context_answered_; });
  }

  // False when the render thread could not take the context: it has ended, and the main thread
  // holds the context and the inner device again.
  bool Running() const { return context_taken_; }
  std::unique_ptr<IDevice> TakeInner() { return std::move(inner_); }

  ~ThreadedDevice() override {
    if (!context_taken_) {
      if (thread_.joinable()) thread_.join();
      return;
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      handed_.append(pending_);
      stopping_ = true;
    }
    pending_.clear();
    work_.notify_one();
    thread_.join();
    // The inner device was destroyed on the render thread, which let the context go; the main
    // thread takes it back for whatever device comes next.
    host_->MakeContextCurrent(true);
  }

  void BackBufferSize(int32_t* width, int32_t* height) override {
    run_now([&](IDevice& d) { d.BackBufferSize(width, height); });
  }
  int32_t MaxTextureSize() override { return max_texture_size_; }
  uint32_t MultisampleLevels() override { return multisample_levels_; }

  DeviceTextureId CreateTexture(int32_t width, int32_t height, const void* pixels, bool render_target,
                                bool with_depth) override {
    DeviceTextureId id = 0;
    run_now([&](IDevice& d) { id = d.CreateTexture(width, height, pixels, render_target, with_depth); });
    return id;
  }
  void UpdateTexture(DeviceTextureId texture, int32_t x, int32_t y, int32_t width, int32_t height,
                     const void* pixels) override {
    Block* copy = copy_block(pixels, image_bytes(width, height));
    queue([=, this](IDevice& d) {
      d.UpdateTexture(texture, x, y, width, height, copy->data.get());
      give_back(copy);
    });
  }
  void SetTextureMipLevel(DeviceTextureId texture, int32_t level, int32_t width, int32_t height,
                          const void* pixels) override {
    Block* copy = copy_block(pixels, image_bytes(width, height));
    queue([=, this](IDevice& d) {
      d.SetTextureMipLevel(texture, level, width, height, copy->data.get());
      give_back(copy);
    });
  }
  void DestroyTexture(DeviceTextureId texture) override {
    queue([=](IDevice& d) { d.DestroyTexture(texture); });
  }
  void BindTexture(int32_t stage, DeviceTextureId texture) override {
    queue([=](IDevice& d) { d.BindTexture(stage, texture); });
  }

  void SetRenderTarget(DeviceTextureId target) override {
    queue([=](IDevice& d) { d.SetRenderTarget(target); });
  }
  void SetViewport(const DeviceRect& rect) override {
    queue([=](IDevice& d) { d.SetViewport(rect); });
  }
  void SetScissor(const DeviceRect& rect) override {
    queue([=](IDevice& d) { d.SetScissor(rect); });
  }
  void Clear(uint32_t flags, uint32_t colour, float depth, uint8_t stencil) override {
    queue([=](IDevice& d) { d.Clear(flags, colour, depth, stencil); });
  }

  void SetBlend(const BlendDesc& desc) override {
    queue([=](IDevice& d) { d.SetBlend(desc); });
  }
  void SetDepthStencil(const DepthStencilDesc& desc) override {
    queue([=](IDevice& d) { d.SetDepthStencil(desc); });
  }
  void SetRaster(const RasterDesc& desc) override {
    queue([=](IDevice& d) { d.SetRaster(desc); });
  }
  void SetSampler(int32_t stage, const SamplerDesc& desc) override {
    queue([=](IDevice& d) { d.SetSampler(stage, desc); });
  }
  void SetConstants(const ShaderConstants& constants) override {
    queue([constants](IDevice& d) { d.SetConstants(constants); });
  }

  DeviceBufferId CreateVertexBuffer(size_t bytes) override {
    DeviceBufferId id = 0;
    run_now([&](IDevice& d) { id = d.CreateVertexBuffer(bytes); });
    return id;
  }
  void WriteVertexBuffer(DeviceBufferId buffer, size_t offset, const void* data, size_t bytes,
                         bool discard) override {
    if (data == nullptr || bytes == 0) return;
    queue_write(buffer, offset, copy_block(data, bytes), discard);
  }
  void DestroyVertexBuffer(DeviceBufferId buffer) override {
    queue([=](IDevice& d) { d.DestroyVertexBuffer(buffer); });
  }
  uint8_t* MapVertexBuffer(DeviceBufferId buffer, size_t offset, size_t bytes, bool discard) override {
    if (mapped_ != nullptr || buffer == 0 || bytes == 0) return nullptr;
    mapped_ = take_block(bytes);
    mapped_buffer_ = buffer;
    mapped_offset_ = offset;
    mapped_discard_ = discard;
    return mapped_->data.get();
  }
  void UnmapVertexBuffer(DeviceBufferId buffer, size_t written) override {
    if (mapped_ == nullptr || buffer != mapped_buffer_) return;
    Block* block = mapped_;
    mapped_ = nullptr;
    block->size = std::min(written, block->capacity);
    if (block->size == 0) {
      give_back(block);
      return;
    }
    queue_write(buffer, mapped_offset_, block, mapped_discard_);
  }
  void Draw(PrimitiveType type, const VertexLayout& layout, ShaderSet shader, DeviceBufferId buffer,
            size_t first_byte, int32_t vertex_count) override {
    queue([=](IDevice& d) { d.Draw(type, layout, shader, buffer, first_byte, vertex_count); });
  }
  void DrawQuads(const VertexLayout& layout, ShaderSet shader, DeviceBufferId buffer, size_t first_byte,
                 int32_t quad_count) override {
    queue([=](IDevice& d) { d.DrawQuads(layout, shader, buffer, first_byte, quad_count); });
  }

  DeviceProgramId CreateProgram(const char* vertex, const char* fragment, std::string* log,
                                std::vector<DeviceUniform>* uniforms) override {
    DeviceProgramId id = 0;
    run_now([&](IDevice& d) { id = d.CreateProgram(vertex, fragment, log, uniforms); });
    return id;
  }
  void DestroyProgram(DeviceProgramId program) override {
    queue([=](IDevice& d) { d.DestroyProgram(program); });
  }
  void UseProgram(DeviceProgramId program) override {
    queue([=](IDevice& d) { d.UseProgram(program); });
  }
  void SetProgramUniform(DeviceProgramId program, int32_t location, UniformType type, int32_t columns,
                         int32_t count, const void* data) override {
    if (data == nullptr || count <= 0) return;
    const size_t values = type == UniformType::kMatrix ? 16 : static_cast<size_t>(std::clamp(columns, 1, 4));
    Block* copy = copy_block(data, values * static_cast<size_t>(count) * 4);
    queue([=, this](IDevice& d) {
      d.SetProgramUniform(program, location, type, columns, count, copy->data.get());
      give_back(copy);
    });
  }

  void BeginEvent(const char* name, uint32_t colour) override {
    const size_t length = name != nullptr ? std::strlen(name) : 0;
    Block* text = take_block(length + 1);
    if (length > 0) std::memcpy(text->data.get(), name, length);
    text->data[length] = 0;
    queue([=, this](IDevice& d) {
      d.BeginEvent(reinterpret_cast<const char*>(text->data.get()), colour);
      give_back(text);
    });
  }
  void EndEvent() override {
    queue([](IDevice& d) { d.EndEvent(); });
  }

  bool ReadPixels(const DeviceRect& rect, uint32_t* out) override {
    bool read = false;
    run_now([&](IDevice& d) { read = d.ReadPixels(rect, out); });
    return read;
  }
  void Flush() override {
    queue([](IDevice& d) { d.Flush(); });
    hand_over();
  }
  void CopyToBackBuffer(DeviceTextureId target, bool linear) override {
    queue([=](IDevice& d) { d.CopyToBackBuffer(target, linear); });
  }
  // Queues the present and waits for the one before it: the frame being presented is shown
  // while the main thread goes on with the next. A device lost in a present that has finished
  // (at the latest, the one before) answers false here.
  bool Present(int32_t sync_interval) override {
    queue([=, this](IDevice& d) {
      const bool shown = d.Present(sync_interval);
      std::lock_guard<std::mutex> lock(mutex_);
      if (!shown) lost_ = true;
      ++presents_done_;
      done_.notify_all();
    });
    ++presents_queued_;
    hand_over();
    std::unique_lock<std::mutex> lock(mutex_);
    done_.wait(lock, [&] { return presents_done_ + 1 >= presents_queued_; });
    return !lost_;
  }

 private:
  static size_t image_bytes(int32_t width, int32_t height) {
    return width > 0 && height > 0 ? static_cast<size_t>(width) * static_cast<size_t>(height) * 4 : 0;
  }

  template <typename Call>
  void queue(const Call& call) {
    pending_.push(call);
    if (pending_.size() >= kHandOverCommands) hand_over();
  }

  void queue_write(DeviceBufferId buffer, size_t offset, Block* block, bool discard) {
    queue([=, this](IDevice& d) {
      uint8_t* memory = d.MapVertexBuffer(buffer, offset, block->size, discard);
      if (memory != nullptr) {
        std::memcpy(memory, block->data.get(), block->size);
        d.UnmapVertexBuffer(buffer, block->size);
      } else {
        d.WriteVertexBuffer(buffer, offset, block->data.get(), block->size, discard);
      }
      give_back(block);
    });
  }

  // Gives the render thread what has been queued.
  void hand_over() {
    if (pending_.empty()) return;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (handed_.empty()) {
        handed_.swap(pending_);
      } else {
        handed_.append(pending_);
      }
      pending_.clear();
      ++runs_handed_;
    }
    work_.notify_one();
  }

  // Runs `call` on the render thread after everything queued before it, and waits for it.
  template <typename Call>
  void run_now(Call&& call) {
    auto* pointer = &call;
    queue([pointer](IDevice& d) { (*pointer)(d); });
    hand_over();
    std::unique_lock<std::mutex> lock(mutex_);
    const uint64_t mine = runs_handed_;
    done_.wait(lock, [&] { return runs_done_ >= mine; });
  }

  void render_loop() {
    Thread_SetName("Render Thread");
    const bool taken_here = host_->MakeContextCurrent(true);
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (taken_here) {
        // Fixed for the device's life: answered without a wait from then on.
        max_texture_size_ = inner_->MaxTextureSize();
        multisample_levels_ = inner_->MultisampleLevels();
      }
      context_taken_ = taken_here;
      context_answered_ = true;
      done_.notify_all();
    }
    if (!taken_here) {
      host_->MakeContextCurrent(false);
      return;
    }
    CommandList running;
    for (;;) {
      uint64_t taken = 0;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        work_.wait(lock, [&] { return !handed_.empty() || stopping_; });
        if (handed_.empty()) break;
        running.swap(handed_);
        taken = runs_handed_;
      }
      running.run(*inner_);
      running.clear();
      std::lock_guard<std::mutex> lock(mutex_);
      runs_done_ = taken;
      done_.notify_all();
    }
    inner_.reset();
    host_->MakeContextCurrent(false);
  }

  // The smallest free block of at least `bytes`, or a new one. Blocks in use are at most what one
  // frame hands over, so the list stays short.
  Block* take_block(size_t bytes) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto best = free_.end();
      for (auto it = free_.begin(); it != free_.end(); ++it) {
        if ((*it)->capacity >= bytes && (best == free_.end() || (*it)->capacity < (*best)->capacity)) best = it;
      }
      if (best != free_.end()) {
        Block* block = *best;
        free_.erase(best);
        block->size = bytes;
        return block;
      }
    }
    blocks_.push_back(std::make_unique<Block>());
    {
      // Room for every block in the free list, so that giving one back never allocates.
      std::lock_guard<std::mutex> lock(mutex_);
      free_.reserve(blocks_.size());
    }
    Block* block = blocks_.back().get();
    block->data.reset(new uint8_t[bytes]);
    block->capacity = block->size = bytes;
    return block;
  }

  Block* copy_block(const void* data, size_t bytes) {
    Block* block = take_block(std::max<size_t>(bytes, 1));
    if (data != nullptr && bytes > 0) std::memcpy(block->data.get(), data, bytes);
    block->size = bytes;
    return block;
  }

  void give_back(Block* block) {
    std::lock_guard<std::mutex> lock(mutex_);
    free_.push_back(block);
  }

  std::unique_ptr<IDevice> inner_;  // used by the render thread only, once it has started
  IWindowHost* host_;
  int32_t max_texture_size_ = 0;
  uint32_t multisample_levels_ = 0;

  // The main thread's own: commands not yet handed over, the open mapping, the blocks' owners.
  CommandList pending_;
  Block* mapped_ = nullptr;
  DeviceBufferId mapped_buffer_ = 0;
  size_t mapped_offset_ = 0;
  bool mapped_discard_ = false;
  std::vector<std::unique_ptr<Block>> blocks_;
  uint64_t presents_queued_ = 0;

  // Shared, under mutex_.
  std::mutex mutex_;
  std::condition_variable work_;  // commands were handed over, or the device is closing
  std::condition_variable done_;  // a run of commands or a present finished
  CommandList handed_;
  std::vector<Block*> free_;
  uint64_t runs_handed_ = 0;
  uint64_t runs_done_ = 0;
  uint64_t presents_done_ = 0;
  bool lost_ = false;
  bool stopping_ = false;
  bool context_answered_ = false;
  bool context_taken_ = false;

  std::thread thread_;
};

}  // namespace

std::unique_ptr<IDevice> Device_RunOnThread(std::unique_ptr<IDevice> inner, IWindowHost* host) {
  if (inner == nullptr || host == nullptr) return inner;
  auto threaded = std::make_unique<ThreadedDevice>(std::move(inner), host);
  if (threaded->Running()) return threaded;
  // No render thread: the device goes on from the main thread, as the context does.
  host->MakeContextCurrent(true);
  return threaded->TakeInner();
}

std::unique_ptr<IDevice> GlDevice_CreateThreaded(IWindowHost* host, std::string* error) {
  return Device_RunOnThread(GlDevice_Create(host, error), host);
}
