#include "run/run_harness.h"

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <vector>

#include "core/builtin_var.h"
#include "core/console.h"
#include "core/frame_state.h"
#include "core/memory.h"
#include "core/object.h"
#include "core/timing.h"
#include "core/variable_names.h"
#include "graphics/image_files.h"
#include "graphics/surface.h"
#include "graphics/window.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "world/instance.h"
#include "world/object_type.h"
#include "world/room.h"

namespace {

// Time that moves only when the runner sleeps or a frame ends; reads never move it.
class VirtualClock final : public IClock {
 public:
  void Start(int64_t now) { now_.store(now); }
  int64_t NowMicros() override { return now_.load(); }
  void SleepMicros(int64_t micros) override {
    if (micros > 0) now_.fetch_add(micros);
  }

 private:
  std::atomic<int64_t> now_{0};
};

struct Harness {
  std::vector<FrameCapture> shots;
  std::vector<FrameCapture> digests;
  int64_t end_frame = -1;  // the game ends after this many frames; -1 never
  bool fast_forward = false;
};
Harness g_harness;
VirtualClock g_clock;
// The virtual clock's reading at the start of a fast-forwarded run: a fixed day's worth of
// microseconds, so that time never reads as zero or negative.
constexpr int64_t kFastForwardStartMicros = 86400LL * 1000000LL;

std::string real_text(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

std::string value_text(const RValue& value) {
  switch (RV_Kind(value)) {
    case kRVReal:
      return real_text(value.val);
    case kRVString:
      return std::string("\"") + RV_StringText(value) + "\"";
    default: {
      char* text = RV_ToText(value);
      std::string copy = text != nullptr ? text : "";
      KV_FREE(text);
      return copy;
    }
  }
}

// name=value for each variable of the object, sorted by name.
std::string variables_text(KVObjectBase* object) {
  std::vector<std::pair<std::string, std::string>> variables;
  for (const int32_t slot : Object_OwnSlots(object)) {
    RValue value = RV_Undefined();
    if (!Object_GetVar(object, slot, kIndexWholeValue, &value)) continue;
    const char* name = Variable_NameOf(slot);
    variables.emplace_back(name != nullptr ? name : std::to_string(slot), value_text(value));
    RV_FreeToUndefined(&value);
  }
  std::sort(variables.begin(), variables.end());
  std::string text = "{";
  for (size_t i = 0; i < variables.size(); ++i) {
    if (i > 0) text += ", ";
    text += variables[i].first + "=" + variables[i].second;
  }
  return text + "}";
}

std::string instance_line(CInstance* instance) {
  const char* object = Object_GetName(instance->objectIndex);
  char head[256];
  std::snprintf(head, sizeof head, "%d %s x=%s y=%s depth=%s sprite=%d image=%s", instance->id,
                object != nullptr ? object : "?", real_text(instance->x).c_str(), real_text(instance->y).c_str(),
                real_text(instance->depth).c_str(), instance->spriteIndex, real_text(instance->imageIndex).c_str());
  std::string line = head;
  if ((instance->flags & kInstDeactivated) != 0) line += " deactivated";
  if ((instance->flags & kInstMarked) != 0) line += " destroyed";
  return line + " " + variables_text(KV_AsObject(instance)) + "\n";
}

}  // namespace

void Harness_Begin(const RunOptions& options) {
  g_harness = Harness{options.shots, options.digests, options.frame_count, options.fast_forward};
  if (g_harness.end_frame < 0 && (!g_harness.shots.empty() || !g_harness.digests.empty())) {
    for (const auto* list : {&g_harness.shots, &g_harness.digests}) {
      for (const FrameCapture& capture : *list) g_harness.end_frame = std::max(g_harness.end_frame, capture.frame + 1);
    }
  }
  if (g_harness.fast_forward) {
    // Every fast-forwarded run starts at the same moment, so what the clock seeds (randomise) is the
    // same in each: a recorded run played back twice takes the same course.
    g_clock.Start(kFastForwardStartMicros);
    Platform_SetClock(&g_clock);
    Timing_Reset();
    FrameLimit = false;
  }
}

void Harness_End() {
  if (g_harness.fast_forward) Platform_SetClock(nullptr);
  g_harness = Harness{};
}

void Harness_FrameEnd() {
  const int64_t frame = Run_TotalFrames;
  for (const FrameCapture& shot : g_harness.shots) {
    if (shot.frame == frame) Harness_SaveShot(shot.path);
  }
  for (const FrameCapture& digest : g_harness.digests) {
    if (digest.frame == frame) Harness_SaveDigest(digest.path, frame);
  }
  if (g_harness.fast_forward && Run_RoomSpeed > 0) {
    g_clock.SleepMicros(static_cast<int64_t>(1000000.0f / static_cast<float>(Run_RoomSpeed)));
  }
  if (g_harness.end_frame >= 0 && frame + 1 >= g_harness.end_frame) Run_Running = false;
}

std::string Harness_Digest(int64_t frame) {
  std::string text = "frame " + std::to_string(frame) + "\n";
  const CRoom* room = Run_Room;
  if (room == nullptr) {
    text += "room none\n";
  } else {
    text += "room " + std::to_string(Run_RoomIndex) + " " + room->name + " " + std::to_string(room->width) + "x" +
            std::to_string(room->height) + " speed " + std::to_string(room->speed) + "\n";
    std::vector<CInstance*> instances;
    for (const CInstanceList* list : {&room->active, &room->inactive}) {
      for (CInstance* at = list->head; at != nullptr; at = at->next) instances.push_back(at);
    }
    std::sort(instances.begin(), instances.end(), [](const CInstance* a, const CInstance* b) { return a->id < b->id; });
    text += "instances " + std::to_string(instances.size()) + "\n";
    for (CInstance* instance : instances) text += instance_line(instance);
  }
  text += "global " + variables_text(Object_Global()) + "\n";
  // The builtin globals a game keeps its run in.
  for (const char* name : {"score", "lives", "health"}) {
    RValue value = RV_Undefined();
    Variable_GetBuiltIn(nullptr, Variable_BuiltIn_Find(name), kIndexWholeValue, &value);
    text += std::string(name) + " " + value_text(value) + "\n";
    RV_FreeToUndefined(&value);
  }
  return text;
}

bool Harness_SaveDigest(const std::string& path, int64_t frame) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << Harness_Digest(frame);
  out.close();
  if (!out) {
    g_ReleaseConsole->Output("Unable to write the digest of frame %" PRId64 " to %s\n", frame, path.c_str());
    return false;
  }
  return true;
}

bool Harness_SaveShot(const std::string& path) {
  const WindowState& window = Window_State();
  SpriteBitmap picture;
  std::vector<uint8_t> png;
  if (!Screen_Read_Rect(0, 0, window.display_width, window.display_height, &picture) ||
      !Image_EncodePng(picture.pixels.data(), picture.width, picture.height, &png)) {
    g_ReleaseConsole->Output("Unable to save the picture %s: the window's picture can't be read\n", path.c_str());
    return false;
  }
  if (!Platform_WriteWholeFile(path, png.data(), png.size())) {
    g_ReleaseConsole->Output("Unable to write the picture %s\n", path.c_str());
    return false;
  }
  return true;
}
