// The room draw's views, cameras, surfaces and window mapping on the recording null device, in
// games written by the data-file writer and started as the runner starts them.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "core/script_api.h"
#include "graphics/camera.h"
#include "graphics/cull.h"
#include "graphics/device_state.h"
#include "graphics/surface.h"
#include "graphics/view.h"
#include "graphics/window.h"
#include "platform/fake/fake_window_host.h"
#include "platform/fake/null_device.h"
#include "support/builtin_call.h"
#include "support/draw_game.h"
#include "support/room_records.h"
#include "world/room_draw.h"

using namespace datawin;

namespace {

tsl::Value Call(const char* name, std::initializer_list<RValue> args = {}) {
  return tsl::call(name, nullptr, nullptr, args);
}

std::string ErrorOf(const char* name, std::initializer_list<RValue> args = {}) {
  return ErrorRaisedBy([&] { Call(name, args); });
}

class RoomDrawTest : public ::testing::Test {
 protected:
  void SetUp() override { Window_UsePlatform(&host_, &device_); }
  void TearDown() override {
    game_.Stop();
    Window_UsePlatform(nullptr, nullptr);
  }
  void Start(std::vector<RoomRecord> rooms) {
    for (RoomRecord& room : rooms) game_.rooms.push_back(room);
    ASSERT_TRUE(game_.Start());
    game_.Frame();  // the first room draw makes the application surface
  }
  // Where a client point lands in the room.
  static std::pair<float, float> ToRoom(float x, float y) {
    float rx = 0, ry = 0;
    Window_To_Room(x, y, &rx, &ry);
    return {rx, ry};
  }

  FakeWindowHost host_;
  NullDevice device_{64, 64};  // the back buffer of the game's 64 x 64 window
  DrawGame game_;
};

TEST(CameraMatrices, AViewRectangleGivesAnOrthographicCameraAroundItsCentre) {
  Camera camera;
  camera.viewX = 100, camera.viewY = 50, camera.viewW = 320, camera.viewH = 180;
  camera.Rebuild();
  EXPECT_TRUE(camera.is2D);
  // The view matrix moves the centre (260, 140) to the origin and the eye 16000 back.
  EXPECT_FLOAT_EQ(camera.viewMat[12], -260);
  EXPECT_FLOAT_EQ(camera.viewMat[13], -140);
  EXPECT_FLOAT_EQ(camera.viewMat[14], 16000);
  EXPECT_FLOAT_EQ(camera.projMat[0], 2.0f / 320);
  EXPECT_FLOAT_EQ(camera.projMat[5], 2.0f / 180);
  EXPECT_FLOAT_EQ(camera.projMat[11], 0);
  EXPECT_FLOAT_EQ(camera.invViewMat[12], 260);
  // Clip space corners come back to the rectangle's corners.
  const float* m = camera.invViewProjMat;
  EXPECT_NEAR(-1 * m[0] + -1 * m[4] + m[12], 100, 1e-3);
  EXPECT_NEAR(-1 * m[1] + -1 * m[5] + m[13], 50, 1e-3);
  EXPECT_NEAR(m[0] + m[4] + m[12], 420, 1e-3);
}

TEST(CameraMatrices, ApplyTakesTheViewRectangleAndAngleBackFromTheMatrices) {
  for (const float angle : {0.0f, 90.0f, 30.0f}) {
    Camera camera;
    camera.viewX = 10, camera.viewY = 20, camera.viewW = 64, camera.viewH = 32, camera.angle = angle;
    camera.Rebuild();
    Camera_Apply(&camera);
    const ViewRect& view = Cull_View();
    EXPECT_NEAR(view.x, 10, 1e-3) << angle;
    EXPECT_NEAR(view.y, 20, 1e-3) << angle;
    EXPECT_NEAR(view.w, 64, 1e-3) << angle;
    EXPECT_NEAR(view.h, 32, 1e-3) << angle;
    // The angle read back from the up vector turns the other way: a camera angle a reads 360 - a.
    EXPECT_NEAR(std::fmod(view.angle + 360.0f, 360.0f), std::fmod(360.0f - angle, 360.0f), 1e-2) << angle;
    // The device gets the y-flipped projection.
    float projection[16];
    GR_Get_Matrix(kMatrixProjection, projection);
    EXPECT_FLOAT_EQ(projection[5], -camera.projMat[5]);
  }
  Cull_Reset();
}

TEST(ViewFollow, BordersClampsAndSpeeds) {
  struct Case {
    const char* name;
    float x, y, w, h, tx, ty, border, speed;
    bool clamp;
    float room_w, want_x, want_y;
  };
  const Case cases[] = {
      {"target inside the borders: no move", 0, 0, 100, 100, 50, 50, 10, -1, true, 1000, 0, 0},
      {"target past the right border", 0, 0, 100, 100, 150, 50, 10, -1, true, 1000, 60, 0},
      {"target past the left border", 500, 0, 100, 100, 400, 50, 20, -1, true, 1000, 380, 0},
      {"borders wider than half: centred", 0, 0, 100, 100, 300, 50, 60, -1, true, 1000, 250, 0},
      {"speed limits the move", 0, 0, 100, 100, 150, 50, 10, 5, true, 1000, 5, 0},
      {"clamped to the room's right edge", 0, 0, 100, 100, 990, 50, 10, -1, true, 1000, 900, 0},
      {"a view wider than the room goes negative", 0, 0, 300, 100, 150, 50, 200, -1, true, 200, -100, 0},
  };
  for (const Case& c : cases) {
    float x = c.x, y = c.y;
    View_Follow(&x, &y, c.w, c.h, c.tx, c.ty, c.border, c.border, c.speed, c.speed, c.clamp, c.room_w, 1000);
    EXPECT_FLOAT_EQ(x, c.want_x) << c.name;
    EXPECT_FLOAT_EQ(y, c.want_y) << c.name;
  }
}

TEST_F(RoomDrawTest, ViewsGetCamerasThatFollowTheirSettingsAndMapTheMouse) {
  Start({ViewRoom(32, 16, 32, 32, 64, 64)});
  game_.Frame();
  const int32_t camera = static_cast<int32_t>(Call("view_get_camera", {R(0)}).real());
  EXPECT_GE(camera, 0);
  EXPECT_NE(camera, DefaultCamera);
  EXPECT_EQ(Call("camera_get_view_x", {R(camera)}).real(), 32);
  EXPECT_EQ(Call("camera_get_view_y", {R(camera)}).real(), 16);
  // The window is 64 x 64 and the port fills it: the view's 32 x 32 is seen twice as large.
  EXPECT_EQ(ToRoom(0, 0), std::make_pair(32.0f, 16.0f));
  EXPECT_EQ(ToRoom(20, 40), std::make_pair(42.0f, 36.0f));
  float rx = 0, ry = 0;
  ASSERT_TRUE(Window_To_View(0, 20, 40, &rx, &ry));
  EXPECT_EQ(rx, 42.0f);
  EXPECT_FALSE(Window_To_View(3, 20, 40, &rx, &ry));
  // A position set on the camera takes effect at its next update.
  Call("camera_set_view_pos", {R(camera), R(100), R(100)});
  EXPECT_EQ(Call("camera_get_view_x", {R(camera)}).real(), 100);
  game_.Frame();
  EXPECT_EQ(ToRoom(0, 0), std::make_pair(100.0f, 100.0f));
}

// An array of the given numbers, owned by the returned value.
tsl::Value Numbers(const std::vector<double>& values) {
  RefDynamicArrayOfRValue* array = RV_NewArray(static_cast<int32_t>(values.size()));
  for (size_t i = 0; i < values.size(); ++i) array->pArray[i] = RV_Real(values[i]);
  RValue v = RV_Undefined();
  RV_SetArray(&v, array);
  return tsl::Value::Adopt(v);
}

TEST_F(RoomDrawTest, CameraBuiltinsKeepWhatTheyAreGivenAndRefuseBadCalls) {
  Start({ViewRoom(0, 0, 64, 64, 64, 64)});
  // A view camera made from four arguments takes the defaults of the rest.
  const double made = Call("camera_create_view", {R(10), R(20), R(30), R(40)}).real();
  ASSERT_GE(made, 0);
  const double full = Call("camera_create_view", {R(1), R(2), R(3), R(4), R(5), R(6), R(7), R(8), R(9), R(10)}).real();
  ASSERT_GE(full, 0);
  ASSERT_NE(full, made);
  struct Read {
    const char* getter;
    double four_args, ten_args;
  };
  const Read reads[] = {
      {"camera_get_view_x", 10, 1},       {"camera_get_view_y", 20, 2},        {"camera_get_view_width", 30, 3},
      {"camera_get_view_height", 40, 4},  {"camera_get_view_angle", 0, 5},     {"camera_get_view_target", -1, 6},
      {"camera_get_view_speed_x", -1, 7}, {"camera_get_view_speed_y", -1, 8},  {"camera_get_view_border_x", 0, 9},
      {"camera_get_view_border_y", 0, 10},
  };
  for (const Read& r : reads) {
    EXPECT_EQ(Call(r.getter, {R(made)}).real(), r.four_args) << r.getter << " after four arguments";
    EXPECT_EQ(Call(r.getter, {R(full)}).real(), r.ten_args) << r.getter << " after ten arguments";
    EXPECT_EQ(Call(r.getter, {R(999)}).real(), -1) << r.getter << " of an unknown camera";
  }
  // Each setter writes the fields its getters read.
  struct Write {
    const char* setter;
    std::vector<double> values;
    const char* getter_a;
    const char* getter_b;
  };
  const Write writes[] = {
      {"camera_set_view_pos", {11, 12}, "camera_get_view_x", "camera_get_view_y"},
      {"camera_set_view_size", {13, 14}, "camera_get_view_width", "camera_get_view_height"},
      {"camera_set_view_speed", {15, 16}, "camera_get_view_speed_x", "camera_get_view_speed_y"},
      {"camera_set_view_border", {17, 18}, "camera_get_view_border_x", "camera_get_view_border_y"},
      {"camera_set_view_angle", {19}, "camera_get_view_angle", nullptr},
      {"camera_set_view_target", {20}, "camera_get_view_target", nullptr},
  };
  for (const Write& w : writes) {
    if (w.values.size() == 2) {
      Call(w.setter, {R(made), R(w.values[0]), R(w.values[1])});
      EXPECT_EQ(Call(w.getter_b, {R(made)}).real(), w.values[1]) << w.setter;
    } else {
      Call(w.setter, {R(made), R(w.values[0])});
    }
    EXPECT_EQ(Call(w.getter_a, {R(made)}).real(), w.values[0]) << w.setter;
  }
  // Scripts are stored as given; a string is not a script.
  Call("camera_set_update_script", {R(made), R(3)});
  EXPECT_EQ(Call("camera_get_update_script", {R(made)}).real(), 3);
  EXPECT_EQ(Call("camera_get_begin_script", {R(made)}).real(), -1) << "the others stay unset";
  EXPECT_EQ(ErrorOf("camera_set_end_script", {R(made), *tsl::Value::String("step")}),
            "camera_set_end_script :: invalid script reference");
  // A matrix set on a camera is the one read back, even when the rectangle changed before.
  std::vector<double> m(16);
  for (int i = 0; i < 16; ++i) m[i] = i + 1;
  Call("camera_set_view_mat", {R(made), *Numbers(m)});
  const tsl::Value back = Call("camera_get_view_mat", {R(made)});
  ASSERT_EQ(RV_Kind(*back), kRVArray);
  ASSERT_EQ(back.get()->pArray->length, 16);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(RV_ToDouble(back.get()->pArray->pArray[i]), m[i]) << "entry " << i;
  // Defaults and destruction.
  Call("camera_set_default", {R(full)});
  EXPECT_EQ(Call("camera_get_default").real(), full);
  Call("camera_set_default", {R(999)});
  EXPECT_EQ(Call("camera_get_default").real(), full) << "an unknown camera is not made the default";
  Call("camera_destroy", {R(made)});
  EXPECT_EQ(Call("camera_get_view_x", {R(made)}).real(), -1) << "a destroyed camera is unknown";
  // Bad calls raise their messages.
  EXPECT_EQ(ErrorOf("camera_create", {R(1)}), "camera_create() - doesn't take any arguments");
  EXPECT_EQ(ErrorOf("camera_create_view", {R(1), R(2), R(3)}), "camera_create_view() - must have at least 4 arguments");
  EXPECT_EQ(ErrorOf("camera_set_proj_mat", {R(full), R(5)}), "camera_set_proj_mat() - array invalid (has it been created properly?)");
  EXPECT_EQ(ErrorOf("camera_set_view_mat", {R(full), *Numbers({1, 2, 3})}), "camera_set_view_mat() - must be 16 entries in array");
}

// Each view setter writes the field its getter reads, for the view it names; an index outside
// 0 to 7 means view 0.
TEST_F(RoomDrawTest, ViewBuiltinsWriteAndReadTheirOwnFieldOfTheirView) {
  RoomRecord room = ViewRoom(0, 0, 64, 64, 64, 64);
  room.views.push_back(room.views[0]);
  room.views[0].port_x = 3;
  room.views[0].port_y = 4;
  Start({room});
  EXPECT_EQ(Call("view_get_xport", {R(0)}).real(), 3);
  EXPECT_EQ(Call("view_get_yport", {R(12)}).real(), 4) << "an index beyond 7 reads view 0";
  EXPECT_EQ(Call("view_get_wport", {R(1)}).real(), 64);
  EXPECT_GE(Call("view_get_camera", {R(0)}).real(), 0) << "a view of a generation 2 room has a camera";
  struct Case {
    const char* setter;
    const char* getter;
    double view, value;
  };
  const Case cases[] = {
      {"view_set_xport", "view_get_xport", 1, 11},     {"view_set_yport", "view_get_yport", 1, 12},
      {"view_set_wport", "view_get_wport", 1, 13},     {"view_set_hport", "view_get_hport", 1, 14},
      {"view_set_visible", "view_get_visible", 1, 0},  {"view_set_camera", "view_get_camera", 1, 5},
      {"view_set_surface_id", "view_get_surface_id", 1, 7}, {"view_set_xport", "view_get_xport", -3, 21},
  };
  for (const Case& c : cases) {
    Call(c.setter, {R(c.view), R(c.value)});
    EXPECT_EQ(Call(c.getter, {R(c.view)}).real(), c.value) << c.setter;
  }
  EXPECT_EQ(Call("view_get_xport", {R(0)}).real(), 21) << "view -3 is view 0";
  EXPECT_EQ(Call("view_get_yport", {R(0)}).real(), 4) << "view 1's writes leave view 0 alone";
  EXPECT_EQ(Call("view_get_surface_id", {R(0)}).real(), -1);
}

TEST_F(RoomDrawTest, AScaledWindowMapsThroughTheApplicationSurface) {
  RoomRecord room;
  room.name = "rm_plain";
  room.width = 320;
  room.height = 320;
  Start({room});
  // The application surface becomes 32 x 32 at the next draw while the window stays 64 x 64.
  EXPECT_EQ(Call("surface_resize", {R(AppSurface().id), R(32), R(32)}).real(), 1);
  EXPECT_EQ(Call("surface_get_width", {R(AppSurface().id)}).real(), 64);
  game_.Frame();
  EXPECT_EQ(Call("surface_get_width", {R(AppSurface().id)}).real(), 32);
  // Without views the client size spans the room.
  EXPECT_EQ(ToRoom(32, 16), std::make_pair(160.0f, 80.0f));
  EXPECT_EQ(Call("display_get_gui_width").real(), 32);
  Call("display_set_gui_size", {R(128), R(64)});
  EXPECT_EQ(Call("display_get_gui_width").real(), 128);
}

TEST_F(RoomDrawTest, GuiPointsMapToTheWindowThroughTheGuiPassAndBack) {
  RoomRecord room;
  room.name = "rm_plain";
  Start({room});
  struct Case {
    const char* what;
    const char* builtin;
    std::vector<double> args;
    float gx, gy;  // a GUI point
    float wx, wy;  // where the GUI pass puts it in the 64 x 64 window
  };
  const Case cases[] = {
      {"a GUI twice as wide as the window", "display_set_gui_size", {128, 64}, 128, 64, 64, 64},
      {"the same, inside", "display_set_gui_size", {128, 64}, 40, 10, 20, 10},
      {"maximised with scales and offsets", "display_set_gui_maximise", {2, 3, 10, 5}, 4, 6, 18, 23},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::vector<double>& a = c.args;
    if (a.size() == 2) {
      Call(c.builtin, {R(a[0]), R(a[1])});
    } else {
      Call(c.builtin, {R(a[0]), R(a[1]), R(a[2]), R(a[3])});
    }
    game_.Frame();  // the GUI pass sets its matrix
    float wx = 0, wy = 0, gx = 0, gy = 0;
    Gui_To_Window(c.gx, c.gy, &wx, &wy);
    EXPECT_FLOAT_EQ(wx, c.wx);
    EXPECT_FLOAT_EQ(wy, c.wy);
    Window_To_Gui(wx, wy, &gx, &gy);
    EXPECT_FLOAT_EQ(gx, c.gx);
    EXPECT_FLOAT_EQ(gy, c.gy);
  }
}

TEST_F(RoomDrawTest, KeepAspectLetterboxesAndTheMouseStillMapsToTheRoom) {
  game_.info_flags = 0x10;  // keep aspect
  RoomRecord room;
  room.name = "rm_plain";
  room.width = 128;
  room.height = 64;
  Start({room});
  Call("surface_resize", {R(AppSurface().id), R(64), R(32)});
  game_.Frame();
  game_.Frame();
  int32_t ox = 0, oy = 0;
  View_FitOffsets(&ox, &oy);
  EXPECT_EQ(ox, 0);
  EXPECT_EQ(oy, 16);  // bars of 16 above and below a 64 x 32 picture
  EXPECT_EQ(ToRoom(0, 16), std::make_pair(0.0f, 0.0f));
  EXPECT_EQ(ToRoom(32, 32), std::make_pair(64.0f, 32.0f));
  float left = 0, top = 0, right = 0, bottom = 0;
  View_AppSurfaceRect(&left, &top, &right, &bottom);
  EXPECT_EQ(top, 16);
  EXPECT_EQ(bottom, 48);
}

TEST_F(RoomDrawTest, SurfaceIdsGrowAndTheTargetStackKeepsItsLimits) {
  RoomRecord room;
  room.name = "rm_plain";
  Start({room});
  const int32_t a = static_cast<int32_t>(Call("surface_create", {R(8), R(8)}).real());
  const int32_t b = static_cast<int32_t>(Call("surface_create", {R(8), R(8)}).real());
  EXPECT_EQ(b, a + 1);
  Call("surface_free", {R(b)});
  EXPECT_FALSE(Call("surface_exists", {R(b)}).real());
  EXPECT_EQ(Call("surface_create", {R(8), R(8)}).real(), b + 1);  // not the freed id
  EXPECT_EQ(ErrorOf("surface_create", {R(0), R(8)}),
            "Can't create a surface with either a width or height with a value less than or equal to zero");
  EXPECT_EQ(ErrorOf("surface_resize", {R(a), R(8193), R(8)}), "Invalid surface dimensions");

  // The same id again and again: 17 entries, no device push; the 18th raises.
  for (int i = 0; i < 17; ++i) EXPECT_TRUE(Call("surface_set_target", {R(a)}).real()) << i;
  EXPECT_EQ(ErrorOf("surface_set_target", {R(a)}),
            "Surface stack is full - ensure surface_reset_target() is called for each surface_set_target().");
  EXPECT_EQ(ErrorOf("surface_free", {R(a)}),
            "Surface in use via surface_set_target(). It can not be freed until it has been removed from the surface stack.");
  EXPECT_TRUE(Call("surface_exists", {R(a)}).real());
  for (int i = 0; i < 17; ++i) EXPECT_EQ(Call("surface_reset_target").real(), 1) << i;
  EXPECT_EQ(ErrorOf("surface_reset_target"), "Unbalanced surface stack. you are trying to pop a surface that has not been set.");

  // Changing ids push the device's own stack, which holds 8.
  std::vector<int32_t> ids;
  for (int i = 0; i < 9; ++i) ids.push_back(static_cast<int32_t>(Call("surface_create", {R(4), R(4)}).real()));
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(Call("surface_set_target", {R(ids[i])}).real()) << i;
  EXPECT_EQ(ErrorOf("surface_set_target", {R(ids[8])}),
            "surface stack is full - ensure surface_reset_target() is called for each surface_set_target().");
  for (int i = 0; i < 8; ++i) Call("surface_reset_target");
  EXPECT_EQ(Surface_StackDepth(), 0);

  // The application surface survives a script's free; a device reset frees every surface.
  Call("surface_free", {R(AppSurface().id)});
  EXPECT_TRUE(Call("surface_exists", {R(AppSurface().id)}).real());
  Surface_Free_All();
  EXPECT_FALSE(Call("surface_exists", {R(a)}).real());
  EXPECT_EQ(AppSurface().id, kNoSurface);
  game_.Frame();
  EXPECT_TRUE(Surface_Exists(AppSurface().id));
}

TEST_F(RoomDrawTest, AClearInsideAPortStaysInThePort) {
  RoomRecord room;
  room.name = "rm_plain";
  Start({room});
  Start_Frame();
  device_.clear_record();
  GR_SetViewport(0, 0, 64, 64);
  Draw_Clear(0xFF112233u, 1.0f, 0, 7);
  EXPECT_EQ(device_.count(DeviceCallKind::kClear), 1);
  GR_SetViewport(8, 8, 16, 16);
  Draw_Clear(0xFF112233u, 1.0f, 0, 7);
  EXPECT_EQ(device_.count(DeviceCallKind::kClear), 1);  // drawn, not cleared
  ASSERT_FALSE(device_.draws().empty());
  EXPECT_EQ(device_.draws().back().vertex_count, 4);
  EXPECT_EQ(device_.draws().back().viewport.x, 8);
}

}  // namespace
