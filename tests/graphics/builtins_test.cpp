// The draw, gpu and matrix builtins: argument handling, their messages, and the state and
// vertices they leave behind.
#include <cmath>

#include "core/console.h"
#include "core/gc.h"
#include "core/object.h"
#include "graphics/draw.h"
#include "graphics/gpu_state.h"
#include "graphics_fixture.h"

namespace {

class BuiltinsTest : public GraphicsTest {
 protected:
  void SetUp() override {
    GraphicsTest::SetUp();
    Draw_RegisterBuiltins();
    Window_RegisterBuiltins();
    Draw_ResetState();
  }
  // Arrays made by the builtins and the tests belong to the collector.
  void TearDown() override {
    GraphicsTest::TearDown();
    GC_Reset();
  }
  static RValue Matrix(const std::vector<double>& values) {
    RefDynamicArrayOfRValue* a = RV_NewArray(static_cast<int32_t>(values.size()));
    for (size_t i = 0; i < values.size(); ++i) a->pArray[i] = RV_Real(values[i]);
    RValue v;
    v.pArray = a;
    v.flags = 0;
    v.kind = kRVArray;
    return v;
  }
  static std::vector<double> Numbers(RValue v) {
    std::vector<double> out;
    if (RV_Kind(v) == kRVArray) {
      for (int32_t i = 0; i < v.pArray->length; ++i) out.push_back(RV_ToDouble(v.pArray->pArray[i]));
    }
    RV_FreeToUndefined(&v);
    return out;
  }
};

TEST_F(BuiltinsTest, ArgumentErrorsUseTheirMessages) {
  const RValue identity = Matrix({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
  struct Case {
    const char* name;
    std::vector<RValue> args;
    const char* message;
  };
  const Case cases[] = {
      {"gpu_set_blendmode", {}, "gpu_set_blendmode() - should be passed a single parameter"},
      {"gpu_set_blendmode_ext", {R(5)}, "gpu_set_blendmode_ext() - should be passed two parameters"},
      {"gpu_set_blendmode_ext", {Matrix({5, 6, 7})}, "gpu_set_blendmode_ext() - invalid array (must be 2 values)"},
      {"gpu_set_blendmode_ext_sepalpha", {Matrix({5})},
       "gpu_set_blendmode_ext_sepalpha() - invalid array (must be 4 values)"},
      {"gpu_set_state", {}, "gpu_set_state() - wrong number of arguments - should take ds_map"},
      {"gpu_set_state", {R(3)}, "gpu_set_state() - ds_map index is invalid"},
      {"matrix_get", {R(3)}, "Illegal matrix type"},
      {"matrix_set", {R(0), R(1)}, "Illegal argument type, expecting matrix"},
      {"matrix_set", {R(0), Matrix({1, 2})}, "Illegal matrix"},
      {"matrix_stack_push", {R(1)}, "matrix_stack_push() - argument must be matrix"},
      {"matrix_stack_push", {Matrix({1})}, "matrix_stack_push() - matrix not valid"},
      {"matrix_stack_set", {R(1)}, "matrix_stack_set() - expects matrix"},
      {"matrix_stack_set", {Matrix({1})}, "matrix_stack_set() - Illegal matrix"},
      {"draw_primitive_begin_texture", {R(4), R(12)}, "Illegal texture supplied."},
      {"matrix_set", {R(2), identity}, ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(BuiltinError(c.name, c.args), c.message) << c.name;
  }
}

TEST_F(BuiltinsTest, TheClipboardIsTheHostsAndSettingEmptiesItFirst) {
  EXPECT_EQ(RV_ToDouble(CallBuiltin("clipboard_has_text")), 0);
  RValue text = RV_Undefined();
  RV_SetString(&text, "gr\xC3\xBC\xC3\x9F dich \xF0\x9F\x98\x80");
  CallBuiltin("clipboard_set_text", {text});
  RV_FreeToUndefined(&text);
  EXPECT_EQ(host_.clipboard, "gr\xC3\xBC\xC3\x9F dich \xF0\x9F\x98\x80");
  EXPECT_EQ(RV_ToDouble(CallBuiltin("clipboard_has_text")), 1);
  RValue got = CallBuiltin("clipboard_get_text");
  EXPECT_STREQ(RV_StringText(got), "gr\xC3\xBC\xC3\x9F dich \xF0\x9F\x98\x80");
  RV_FreeToUndefined(&got);
  RValue empty = RV_Undefined();
  RV_SetString(&empty, "");
  CallBuiltin("clipboard_set_text", {empty});
  RV_FreeToUndefined(&empty);
  EXPECT_EQ(host_.clipboard, "");
  EXPECT_EQ(RV_ToDouble(CallBuiltin("clipboard_has_text")), 0);
}

TEST_F(BuiltinsTest, BlendModesRoundTripAndMismatchedFactorsReadAsMinusOne) {
  for (int mode = 0; mode < 4; ++mode) {
    CallBuiltin("gpu_set_blendmode", {R(mode)});
    EXPECT_EQ(RV_ToDouble(CallBuiltin("gpu_get_blendmode")), mode);
  }
  CallBuiltin("gpu_set_blendmode", {R(42)});
  EXPECT_EQ(RV_ToDouble(CallBuiltin("gpu_get_blendmode")), 0) << "unknown modes are normal";
  CallBuiltin("gpu_set_blendmode_ext_sepalpha", {R(5), R(6), R(2), R(2)});
  EXPECT_EQ(RV_ToDouble(CallBuiltin("gpu_get_blendmode")), -1);
  EXPECT_EQ(RenderState_Get(kRSSeparateAlphaBlend), 1u);
  EXPECT_EQ(Numbers(CallBuiltin("gpu_get_blendmode_ext_sepalpha")), (std::vector<double>{5, 6, 2, 2}));
}

TEST_F(BuiltinsTest, ColourWriteAndFogFollowTheirRules) {
  CallBuiltin("gpu_set_colourwriteenable", {R(-1), R(-1), R(1), R(0)});
  EXPECT_EQ(RenderState_Get(kRSColourWriteEnable), 1u | 4u) << "red counts when non-zero, others when positive";
  EXPECT_EQ(Numbers(CallBuiltin("gpu_get_colourwriteenable")), (std::vector<double>{1, 0, 1, 0}));
  CallBuiltin("gpu_set_fog", {R(0), R(0x123456), R(10), R(20)});
  EXPECT_EQ(RenderState_Get(kRSFogColour), 0xFF123456u);
  EXPECT_EQ(Numbers(CallBuiltin("gpu_get_fog")), (std::vector<double>{0, 0x123456, 0, 1})) << "start, end kept";
  CallBuiltin("gpu_set_fog", {Matrix({1, 0xFF, 10, 20})});
  EXPECT_EQ(Numbers(CallBuiltin("gpu_get_fog")), (std::vector<double>{1, 0xFF, 10, 20}));
}

TEST_F(BuiltinsTest, SamplerBuiltinsSetAllStagesOrOneAndRefuseBadAnisotropy) {
  CallBuiltin("gpu_set_texfilter", {R(1)});
  CallBuiltin("gpu_set_texrepeat", {R(1)});
  for (int stage = 0; stage < 8; ++stage) EXPECT_EQ(SamplerState_Get(stage, kSampAddressV), 0u);
  CallBuiltin("gpu_set_tex_filter_ext", {R(3), R(0)});
  EXPECT_EQ(SamplerState_Get(3, kSampMinFilter), 0u);
  EXPECT_EQ(SamplerState_Get(2, kSampMinFilter), 1u);
  CallBuiltin("gpu_set_tex_filter_ext", {R(9), R(0)});  // stages above 7 are ignored
  CallBuiltin("gpu_set_tex_mip_bias", {R(-0.5)});
  EXPECT_EQ(RV_ToDouble(CallBuiltin("gpu_get_tex_mip_bias_ext", {R(5)})), -0.5);
  ConsoleCapture capture;
  CallBuiltin("gpu_set_tex_max_aniso", {R(17)});
  EXPECT_EQ(SamplerState_Get(0, kSampMaxAniso), 16u);
  EXPECT_NE(capture.text().find("gpu_set_tex_max_aniso() - value must be between 1 and 16"), std::string::npos);
}

// Each render-state setter stores its value in its own state word, and its getter twin reads
// that word back.
TEST_F(BuiltinsTest, RenderStateSettersAndTheirGetterTwinsShareOneWord) {
  struct Case {
    const char* setter;
    std::vector<double> args;
    RenderStateId id;
    uint32_t word;
    const char* getter;
    double read;
  };
  const Case cases[] = {
      {"gpu_set_ztestenable", {1}, kRSZEnable, 1, "gpu_get_ztestenable", 1},
      {"gpu_set_zwriteenable", {0}, kRSZWriteEnable, 0, "gpu_get_zwriteenable", 0},
      {"gpu_set_zfunc", {7}, kRSZFunc, 7, "gpu_get_zfunc", 7},
      {"gpu_set_cullmode", {2}, kRSCullMode, 2, "gpu_get_cullmode", 2},
      {"gpu_set_alphatestenable", {1}, kRSAlphaTestEnable, 1, "gpu_get_alphatestenable", 1},
      {"gpu_set_alphatestref", {128}, kRSAlphaRef, 128, "gpu_get_alphatestref", 128},
      {"gpu_set_blendenable", {0}, kRSBlendEnable, 0, "gpu_get_blendenable", 0},
      {"gpu_set_blendmode_ext", {9, 10}, kRSDestBlend, 10, "gpu_get_blendmode_dest", 10},
      {"gpu_set_blendmode_ext_sepalpha", {3, 4, 7, 8}, kRSSrcBlendAlpha, 7, "gpu_get_blendmode_srcalpha", 7},
      {"gpu_set_blendmode_ext_sepalpha", {3, 4, 7, 8}, kRSDestBlendAlpha, 8, "gpu_get_blendmode_destalpha", 8},
      {"gpu_set_blendmode_ext_sepalpha", {3, 4, 7, 8}, kRSSrcBlend, 3, "gpu_get_blendmode_src", 3},
  };
  for (const Case& c : cases) {
    std::vector<RValue> args;
    for (double a : c.args) args.push_back(R(a));
    CallBuiltin(c.setter, args);
    EXPECT_EQ(RenderState_Get(c.id), c.word) << c.setter;
    EXPECT_EQ(RV_ToDouble(CallBuiltin(c.getter)), c.read) << c.getter;
  }
}

// Each sampler setter writes its field on every stage (plain form) or on one (the _ext form), and
// its getter twin reads it back; float fields go through their bits.
TEST_F(BuiltinsTest, SamplerSettersAndTheirGetterTwinsShareOneField) {
  struct Case {
    const char* setter;
    double value;
    int stage;  // -1: the plain form, every stage
    SamplerField field;
    const char* getter;
  };
  const Case cases[] = {
      {"gpu_set_tex_filter", 0, -1, kSampMinFilter, "gpu_get_tex_filter"},
      {"gpu_set_tex_filter_ext", 1, 4, kSampMagFilter, "gpu_get_tex_filter_ext"},
      {"gpu_set_texfilter_ext", 0, 5, kSampMagFilter, "gpu_get_texfilter_ext"},
      {"gpu_set_tex_mip_filter", 2, -1, kSampMipFilter, "gpu_get_tex_mip_filter"},
      {"gpu_set_tex_mip_filter_ext", 0, 3, kSampMipFilter, "gpu_get_tex_mip_filter_ext"},
      {"gpu_set_tex_min_mip", 2, -1, kSampMinMip, "gpu_get_tex_min_mip"},
      {"gpu_set_tex_min_mip_ext", 3, 6, kSampMinMip, "gpu_get_tex_min_mip_ext"},
      {"gpu_set_tex_max_mip", 4, -1, kSampMaxMip, "gpu_get_tex_max_mip"},
      {"gpu_set_tex_max_mip_ext", 5.5, 2, kSampMaxMip, "gpu_get_tex_max_mip_ext"},
      {"gpu_set_tex_mip_bias_ext", 1.25, 7, kSampMipBias, "gpu_get_tex_mip_bias_ext"},
      {"gpu_set_tex_max_aniso", 4, -1, kSampMaxAniso, "gpu_get_tex_max_aniso"},
      {"gpu_set_tex_max_aniso_ext", 8, 1, kSampMaxAniso, "gpu_get_tex_max_aniso_ext"},
      {"gpu_set_tex_mip_enable", 1, -1, kSampMipEnable, "gpu_get_tex_mip_enable"},
      {"gpu_set_tex_mip_enable_ext", 0, 6, kSampMipEnable, "gpu_get_tex_mip_enable_ext"},
  };
  const auto is_float = [](SamplerField f) { return f == kSampMinMip || f == kSampMaxMip || f == kSampMipBias; };
  for (const Case& c : cases) {
    RenderState_Reset();
    if (c.stage < 0) {
      CallBuiltin(c.setter, {R(c.value)});
    } else {
      CallBuiltin(c.setter, {R(c.stage), R(c.value)});
    }
    const int other = c.stage == 0 ? 1 : 0;
    for (int stage = 0; stage < kSamplerStages; ++stage) {
      const uint32_t word = SamplerState_Get(stage, c.field);
      const double got = is_float(c.field) ? RenderState_BitsFloat(word) : word;
      if (c.stage < 0 || stage == c.stage) {
        EXPECT_EQ(got, c.value) << c.setter << " on stage " << stage;
      }
    }
    const double read = RV_ToDouble(c.stage < 0 ? CallBuiltin(c.getter) : CallBuiltin(c.getter, {R(c.stage)}));
    EXPECT_EQ(read, c.value) << c.getter;
    if (c.stage >= 0) {
      RenderState_Reset();
      const uint32_t untouched = SamplerState_Get(other, c.field);
      CallBuiltin(c.setter, {R(c.stage), R(c.value)});
      EXPECT_EQ(SamplerState_Get(other, c.field), untouched) << c.setter << " leaves stage " << other;
    }
  }
}

TEST_F(BuiltinsTest, StateMapRestoresFilterValuesPerStage) {
  RenderState_Reset();
  SamplerState_Set(2, kSampMagFilter, 0);
  SamplerState_Set(6, kSampMaxMip, RenderState_FloatBits(3.5f));
  std::vector<std::pair<std::string, double>> map;
  Gpu_VisitState([&](const char* key, double value) { map.emplace_back(key, value); });
  ASSERT_EQ(map.size(), 18u + 80u);
  EXPECT_EQ(map[0].first, "blendenable");
  EXPECT_EQ(map[18].first, "magfilter0");
  RenderState_Reset();
  for (const auto& [key, value] : map) Gpu_SetStateKey(key.c_str(), value);
  EXPECT_EQ(SamplerState_Get(2, kSampMagFilter), 0u);
  EXPECT_EQ(SamplerState_Get(3, kSampMagFilter), 1u);
  EXPECT_EQ(RenderState_BitsFloat(SamplerState_Get(6, kSampMaxMip)), 3.5f);
}

TEST_F(BuiltinsTest, StateStackPopsAndSurvivesAnEmptyPop) {
  ConsoleCapture capture;
  CallBuiltin("gpu_pop_state");
  EXPECT_NE(capture.text().find("Attempting to drop below bottom of GPU state stack\n"), std::string::npos);
  CallBuiltin("gpu_push_state");
  CallBuiltin("gpu_set_cullmode", {R(2)});
  CallBuiltin("gpu_push_state");
  CallBuiltin("gpu_set_cullmode", {R(1)});
  CallBuiltin("gpu_pop_state");
  EXPECT_EQ(RenderState_Get(kRSCullMode), 2u);
  CallBuiltin("gpu_pop_state");
  EXPECT_EQ(RenderState_Get(kRSCullMode), 0u);
  for (int i = 0; i < 32; ++i) CallBuiltin("gpu_push_state");
  EXPECT_EQ(RenderState_StackDepth(), 31);
  EXPECT_NE(capture.text().find("GPU state stack has run out of space\n"), std::string::npos);
}

TEST_F(BuiltinsTest, SettingAStateBackToItsAppliedValueIsNotDirty) {
  RenderState_Set(kRSCullMode, 2);
  EXPECT_NE(RenderState_AnyDirty(), 0u);
  RenderState_Set(kRSCullMode, 2);
  RenderState_Set(kRSCullMode, 0);
  EXPECT_EQ(RenderState_AnyDirty(), 0u);
  SamplerState_Set(4, kSampMipFilter, 2);
  EXPECT_EQ(RenderState_AnyDirty() & 1, 1u) << "a sampler change shows as bit 0";
  RenderState_Apply();
  EXPECT_EQ(SamplerState_Applied(4, kSampMipFilter), 2u);
  EXPECT_EQ(RenderState_AnyDirty(), 0u);
}

TEST_F(BuiltinsTest, MatrixStackMultipliesAndPopsBackToIdentity) {
  const RValue scale = Matrix({2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1});
  const RValue move = Matrix({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 0, 0, 1});
  EXPECT_TRUE(RV_ToBool(CallBuiltin("matrix_stack_is_empty")));
  CallBuiltin("matrix_stack_push", {move});
  CallBuiltin("matrix_stack_push", {scale});
  const std::vector<double> top = Numbers(CallBuiltin("matrix_stack_top"));
  EXPECT_EQ(top[0], 2);
  EXPECT_EQ(top[12], 5) << "new top is matrix x old top";
  CallBuiltin("matrix_stack_pop");
  CallBuiltin("matrix_stack_pop");
  CallBuiltin("matrix_stack_pop");
  EXPECT_TRUE(RV_ToBool(CallBuiltin("matrix_stack_is_empty")));
  EXPECT_EQ(Numbers(CallBuiltin("matrix_stack_top"))[12], 0);
  for (int i = 0; i < 50; ++i) CallBuiltin("matrix_stack_push");
  EXPECT_EQ(BuiltinError("matrix_stack_push"), "matrix_stack_push() - stack is full");
  CallBuiltin("matrix_stack_clear");
}

TEST_F(BuiltinsTest, MatrixSetReachesTheShaderConstantsAfterAFlush) {
  CallBuiltin("matrix_set", {R(2), Matrix({1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 7, 8, 9, 1})});
  EXPECT_EQ(Numbers(CallBuiltin("matrix_get", {R(2)}))[13], 8);
  CallBuiltin("draw_point", {R(0), R(0)});
  GR_Flush();
  ASSERT_EQ(device_.draws().size(), 1u);
  EXPECT_EQ(device_.draws()[0].constants.world[12], 7.0f);
  const std::vector<double> ortho = Numbers(CallBuiltin("matrix_build_projection_ortho", {R(0), R(10), R(1), R(2)}));
  EXPECT_EQ(ortho[0], 1) << "a zero width gives the identity";
}

TEST_F(BuiltinsTest, RectangleCoversItsLastPixelAndShapesCarryTheDrawAlpha) {
  CallBuiltin("draw_set_colour", {R(0x0000FF)});
  CallBuiltin("draw_set_alpha", {R(0.5)});
  EXPECT_EQ(RV_ToDouble(CallBuiltin("draw_get_colour")), 0x0000FF);
  CallBuiltin("draw_rectangle", {R(10), R(10), R(20), R(20), R(0)});
  GR_Flush();
  ASSERT_EQ(device_.draws().size(), 1u);
  const auto* v = reinterpret_cast<const VertexTextured*>(device_.draws()[0].vertices.data());
  EXPECT_FLOAT_EQ(v[0].x, 10.0f);
  EXPECT_FLOAT_EQ(v[2].x, 21.01f);
  EXPECT_FLOAT_EQ(v[2].y, 21.01f);
  EXPECT_EQ(v[0].colour, 0x7F0000FFu);
}

// Every shape builtin, with its colour variant: which primitive it draws, how many vertices, and
// where one chosen vertex lies with which colour. Fans reach the device expanded to triangle lists
// (0 1 2, 0 2 3, ...). Colours are 0xAABBGGRR with the draw alpha on top.
TEST_F(BuiltinsTest, ShapesPlaceTheirVerticesAndCornerColoursFromTheirArguments) {
  const uint32_t d = 0xFF0000FFu;  // the draw colour, opaque red
  const double c1 = 0x112233, c2 = 0x445566, c3 = 0x778899, c4 = 0xAABBCC;
  const uint32_t k1 = 0xFF112233u, k2 = 0xFF445566u, k3 = 0xFF778899u, k4 = 0xFFAABBCCu;
  constexpr auto kList = PrimitiveType::kTriangleList;
  constexpr auto kStrip = PrimitiveType::kLineStrip;
  struct Case {
    const char* name;
    std::vector<double> args;
    size_t draw;  // which recorded draw is checked
    PrimitiveType type;
    int32_t count;
    int32_t stride;
    int32_t index;  // the vertex checked
    float x, y;
    uint32_t colour;
  };
  const Case cases[] = {
      {"draw_line", {1, 2, 3, 4}, 0, PrimitiveType::kLineList, 2, 16, 1, 4, 5, d},
      {"draw_line_colour", {1, 2, 3, 4, c1, c2}, 0, PrimitiveType::kLineList, 2, 16, 1, 4, 5, k2},
      {"draw_line_color", {1, 2, 3, 4, c1, c2}, 0, PrimitiveType::kLineList, 2, 16, 0, 2, 3, k1},
      {"draw_line_width", {0, 0, 10, 0, 4}, 0, kList, 6, 24, 1, 11, 3, d},
      {"draw_line_width_colour", {0, 0, 10, 0, 4, c1, c2}, 0, kList, 6, 24, 2, 11, -1, k2},
      {"draw_line_width_color", {0, 0, 10, 0, 4, c1, c2}, 0, kList, 6, 24, 5, 1, -1, k1},
      {"draw_point_colour", {3, 4, c1}, 0, PrimitiveType::kPointList, 1, 16, 0, 4, 5, k1},
      {"draw_rectangle_colour", {0, 0, 10, 10, c1, c2, c3, c4, 0}, 0, kList, 9, 24, 1, 11.01f, 0, k2},
      {"draw_rectangle_color", {0, 0, 10, 10, c1, c2, c3, c4, 0}, 0, kList, 9, 24, 2, 11.01f, 11.01f, k3},
      {"draw_rectangle_colour", {0, 0, 10, 10, c1, c2, c3, c4, 0}, 0, kList, 9, 24, 5, 0, 11.01f, k4},
      {"draw_rectangle_colour", {0, 0, 10, 10, c1, c2, c3, c4, 1}, 0, kStrip, 5, 24, 4, 0, 0, k1},
      {"draw_triangle", {0, 0, 10, 0, 0, 10, 0}, 0, kList, 3, 24, 2, 1, 11, d},
      {"draw_triangle", {0, 0, 10, 0, 0, 10, 1}, 0, kStrip, 4, 24, 3, 1, 1, d},
      {"draw_triangle_colour", {0, 0, 10, 0, 0, 10, c1, c2, c3, 0}, 0, kList, 3, 24, 1, 11, 1, k2},
      {"draw_triangle_color", {0, 0, 10, 0, 0, 10, c1, c2, c3, 0}, 0, kList, 3, 24, 2, 1, 11, k3},
      {"draw_circle", {10, 20, 5, 0}, 0, kList, 72, 16, 1, 16, 21, d},
      {"draw_circle", {10, 20, 5, 1}, 0, kStrip, 25, 16, 24, 16, 21, d},
      {"draw_circle_colour", {10, 20, 5, c1, c2, 0}, 0, kList, 72, 16, 0, 11, 21, k1},
      {"draw_circle_color", {10, 20, 5, c1, c2, 0}, 0, kList, 72, 16, 1, 16, 21, k2},
      {"draw_ellipse", {0, 0, 20, 10, 0}, 0, kList, 72, 16, 0, 11, 6, d},
      {"draw_ellipse", {0, 0, 20, 10, 1}, 0, kStrip, 25, 16, 6, 11, 11, d},
      {"draw_ellipse_colour", {0, 0, 20, 10, c1, c2, 0}, 0, kList, 72, 16, 1, 21, 6, k2},
      {"draw_ellipse_color", {0, 0, 20, 10, c1, c2, 0}, 0, kList, 72, 16, 0, 11, 6, k1},
      // Round rectangles: 30 fan vertices; the first ring vertex is the right end of the right
      // bottom corner's arc, its diameters 10 by default.
      {"draw_roundrect", {0, 0, 40, 30, 0}, 0, kList, 84, 24, 1, 41.01f, 26.01f, d},
      {"draw_roundrect", {0, 0, 40, 30, 1}, 0, kStrip, 30, 24, 0, 41.01f, 26.01f, d},
      {"draw_roundrect_ext", {0, 0, 40, 30, 20, 8, 0}, 0, kList, 84, 24, 1, 41.01f, 27.01f, d},
      {"draw_roundrect_ext", {0, 0, 40, 30, 20, 100, 0}, 0, kList, 84, 24, 1, 41.01f, 16.005f, d},
      {"draw_roundrect_colour", {0, 0, 40, 30, c1, c2, 0}, 0, kList, 84, 24, 0, 21.005f, 16.005f, k1},
      {"draw_roundrect_color", {0, 0, 40, 30, c1, c2, 0}, 0, kList, 84, 24, 1, 41.01f, 26.01f, k2},
      {"draw_roundrect_colour_ext", {0, 0, 40, 30, 20, 8, c1, c2, 0}, 0, kList, 84, 24, 1, 41.01f, 27.01f, k2},
      {"draw_roundrect_color_ext", {0, 0, 40, 30, 20, 8, c1, c2, 1}, 0, kStrip, 30, 24, 29, 41.01f, 27.01f, k2},
      // The arrow: its shaft to the head's base, then the head.
      {"draw_arrow", {0, 0, 100, 0, 30}, 0, PrimitiveType::kLineList, 2, 16, 1, 71, 1, d},
      {"draw_arrow", {0, 0, 100, 0, 30}, 1, kList, 3, 24, 1, 71, 11, d},
      // Health bars: the bar alone grows from its side; half full is the middle colour.
      {"draw_healthbar", {0, 0, 100, 10, 50, c1, 0x0000FF, 0x00FF00, 0, 0, 0}, 0, kList, 9, 24, 1, 51.01f, 0,
       0xFF007F7Fu},
      {"draw_healthbar", {0, 0, 100, 10, 25, c1, 0x0000FF, 0x00FF00, 1, 0, 0}, 0, kList, 9, 24, 0, 75, 0,
       0xFF003FBFu},
      {"draw_healthbar", {0, 0, 100, 10, 150, c1, 0x0000FF, 0x00FF00, 2, 0, 0}, 0, kList, 9, 24, 2, 101.01f,
       11.01f, 0xFF00FF00u},
      {"draw_healthbar", {0, 0, 100, 10, 30, c1, 0x0000FF, 0x00FF00, 3, 0, 0}, 0, kList, 9, 24, 0, 0, 7, 0xFF004CB2u},
      {"draw_healthbar", {0, 0, 100, 10, 0, c1, 0x0000FF, 0x00FF00, 0, 1, 0}, 0, kList, 9, 24, 2, 101.01f, 11.01f,
       k1},
      {"draw_healthbar", {0, 0, 100, 10, 40, c1, 0x0000FF, 0x00FF00, 0, 1, 1}, 1, kStrip, 5, 24, 2, 101.01f, 11.01f,
       0xFF000000u},
  };
  CallBuiltin("draw_set_colour", {R(0x0000FF)});
  for (const Case& c : cases) {
    device_.clear_record();
    std::vector<RValue> args;
    for (double a : c.args) args.push_back(R(a));
    CallBuiltin(c.name, args);
    GR_Flush();
    const std::string what = std::string(c.name) + " vertex " + std::to_string(c.index);
    ASSERT_GT(device_.draws().size(), c.draw) << what;
    const RecordedDraw& draw = device_.draws()[c.draw];
    EXPECT_EQ(draw.type, c.type) << what;
    EXPECT_EQ(draw.vertex_count, c.count) << what;
    ASSERT_EQ(draw.layout.stride, c.stride) << what;
    ASSERT_LT(c.index, draw.vertex_count) << what;
    float x = 0, y = 0;
    uint32_t colour = 0;
    const uint8_t* at = draw.vertices.data() + static_cast<size_t>(c.index) * c.stride;
    if (c.stride == 16) {
      const auto* v = reinterpret_cast<const VertexColour*>(at);
      x = v->x, y = v->y, colour = v->colour;
    } else {
      const auto* v = reinterpret_cast<const VertexTextured*>(at);
      x = v->x, y = v->y, colour = v->colour;
    }
    EXPECT_NEAR(x, c.x, 1e-3) << what;
    EXPECT_NEAR(y, c.y, 1e-3) << what;
    EXPECT_EQ(colour, c.colour) << what;
  }
}

// The button: a face, then light edges top and left and dark ones bottom and right when up.
TEST_F(BuiltinsTest, ButtonsLightTheirRaisedEdgesAndClearsForceFullAlpha) {
  CallBuiltin("draw_set_colour", {R(0x336699)});
  for (const bool up : {true, false}) {
    device_.clear_record();
    CallBuiltin("draw_button", {R(0), R(0), R(20), R(10), R(up)});
    GR_Flush();
    ASSERT_EQ(device_.draws().size(), 2u);
    EXPECT_EQ(reinterpret_cast<const VertexTextured*>(device_.draws()[0].vertices.data())->colour, 0xFF336699u);
    const auto* edges = reinterpret_cast<const VertexColour*>(device_.draws()[1].vertices.data());
    ASSERT_EQ(device_.draws()[1].vertex_count, 8);
    EXPECT_EQ(edges[0].colour, up ? 0xFFFFFFFFu : 0xFF808080u);
    EXPECT_EQ(edges[6].colour, up ? 0xFF808080u : 0xFFFFFFFFu);
  }
  CallBuiltin("draw_set_alpha", {R(0.25)});
  CallBuiltin("draw_point", {R(0), R(0)});
  device_.clear_record();
  CallBuiltin("draw_clear", {R(0x123456)});
  CallBuiltin("draw_clear_alpha", {R(0x654321), R(2)});
  GR_Flush();
  // Outside a frame the viewport is not the whole target, so each clear is a filled quad.
  ASSERT_EQ(device_.draws().size(), 3u) << "a clear draws the open batch first";
  EXPECT_EQ(device_.draws()[0].type, PrimitiveType::kPointList);
  for (int i = 1; i <= 2; ++i) {
    EXPECT_EQ(reinterpret_cast<const VertexColour*>(device_.draws()[i].vertices.data())->colour,
              i == 1 ? 0xFF123456u : 0xFF654321u);
  }
  device_.clear_record();
  CallBuiltin("draw_point", {R(0), R(0)});
  CallBuiltin("draw_flush");
  EXPECT_EQ(device_.draws().size(), 1u);
}

TEST_F(BuiltinsTest, LightsKeepWhatTheyAreGiven) {
  CallBuiltin("draw_light_define_ambient", {R(0x102030)});
  EXPECT_EQ(RV_ToDouble(CallBuiltin("draw_light_get_ambient")), 0x102030);
  CallBuiltin("draw_light_define_point", {R(1), R(10), R(20), R(30), R(100), R(0x445566)});
  CallBuiltin("draw_light_enable", {R(1), R(1)});
  EXPECT_EQ(Numbers(CallBuiltin("draw_light_get", {R(1)})), (std::vector<double>{1, 1, 10, 20, 30, 100, 0x445566}));
  CallBuiltin("draw_light_define_direction", {R(2), R(0), R(-1), R(0.5), R(0x778899)});
  EXPECT_EQ(Numbers(CallBuiltin("draw_light_get", {R(2)})), (std::vector<double>{0, 0, 0, -1, 0.5, 0, 0x778899}));
  EXPECT_EQ(RV_ToDouble(CallBuiltin("draw_get_lighting")), 0);
  CallBuiltin("draw_set_lighting", {R(1)});
  EXPECT_EQ(RV_ToDouble(CallBuiltin("draw_get_lighting")), 1);
  EXPECT_EQ(RenderState_Get(kRSLighting), 1u);
}

TEST_F(BuiltinsTest, CirclePrecisionIsClampedAndRoundedToFour) {
  const std::pair<double, double> cases[] = {{1, 4}, {100, 64}, {30, 28}, {24, 24}};
  for (const auto& [given, kept] : cases) {
    CallBuiltin("draw_set_circle_precision", {R(given)});
    EXPECT_EQ(RV_ToDouble(CallBuiltin("draw_get_circle_precision")), kept) << given;
  }
  CallBuiltin("draw_set_circle_precision", {R(24)});
}

TEST_F(BuiltinsTest, PrimitivesDrawOnlyWholePrimitives) {
  struct Case {
    int kind;
    int vertices;
    int drawn;
  };
  const Case cases[] = {{4, 1, 0}, {4, 5, 5}, {2, 1, 0}, {6, 3, 3}, {1, 1, 1}, {9, 6, 0}};
  for (const Case& c : cases) {
    device_.clear_record();
    CallBuiltin("draw_primitive_begin", {R(c.kind)});
    for (int i = 0; i < c.vertices; ++i) CallBuiltin("draw_vertex_colour", {R(i), R(i), R(0xFF), R(1)});
    CallBuiltin("draw_primitive_end");
    GR_Flush();
    const int drawn = device_.draws().empty() ? 0 : device_.draws()[0].vertex_count;
    EXPECT_EQ(drawn, c.drawn) << "kind " << c.kind << " with " << c.vertices;
  }
}

// Each vertex builtin takes its position, texture coordinates, colour and alpha from its own places.
TEST_F(BuiltinsTest, VertexBuiltinsReadTheirOwnArguments) {
  struct Case {
    const char* name;
    std::vector<double> args;
    float u, v;
    uint32_t colour;
  };
  const Case cases[] = {
      {"draw_vertex", {3, 4}, 0, 0, 0xFF0000FFu},
      {"draw_vertex_colour", {3, 4, 0x112233, 0.5}, 0, 0, 0x7F112233u},
      {"draw_vertex_color", {3, 4, 0x112233, 0.25}, 0, 0, 0x3F112233u},
      {"draw_vertex_texture", {3, 4, 0.25, 0.75}, 0.25f, 0.75f, 0xFF0000FFu},
      {"draw_vertex_texture_colour", {3, 4, 0.25, 0.75, 0x445566, 0.5}, 0.25f, 0.75f, 0x7F445566u},
      {"draw_vertex_texture_color", {3, 4, 0.5, 0.125, 0x445566, 1}, 0.5f, 0.125f, 0xFF445566u},
  };
  CallBuiltin("draw_set_colour", {R(0x0000FF)});
  for (const Case& c : cases) {
    device_.clear_record();
    CallBuiltin("draw_primitive_begin", {R(1)});
    std::vector<RValue> args;
    for (double a : c.args) args.push_back(R(a));
    CallBuiltin(c.name, args);
    CallBuiltin("draw_primitive_end");
    GR_Flush();
    ASSERT_EQ(device_.draws().size(), 1u) << c.name;
    const auto* v = reinterpret_cast<const VertexTextured*>(device_.draws()[0].vertices.data());
    EXPECT_EQ(v->x, 3.0f) << c.name;
    EXPECT_EQ(v->y, 4.0f) << c.name;
    EXPECT_EQ(v->u, c.u) << c.name;
    EXPECT_EQ(v->v, c.v) << c.name;
    EXPECT_EQ(v->colour, c.colour) << c.name;
  }
}

TEST_F(BuiltinsTest, ColoursMixAndConvert) {
  EXPECT_EQ(RV_ToDouble(CallBuiltin("make_colour_rgb", {R(1), R(2), R(3)})), 1 + 2 * 256 + 3 * 65536);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("make_colour_hsv", {R(0), R(255), R(255)})), 0x0000FF);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("merge_colour", {R(0x000000), R(0xFEFEFE), R(0.5)})), 0x7F7F7F);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("colour_get_blue", {R(0xAB0000)})), 0xAB);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("colour_get_value", {R(0x00FF00)})), 255);
}

// window_set_rectangle places the window at once and sizes it when the settling countdown runs;
// the fixed answers of the window family.
TEST_F(BuiltinsTest, WindowRectangleMovesAndSizesTheWindowAndFixedAnswersHold) {
  CallBuiltin("window_set_rectangle", {R(100), R(50), R(300), R(200)});
  EXPECT_EQ(RV_ToDouble(CallBuiltin("window_get_x")), 100);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("window_get_y")), 50);
  for (int i = 0; i < 10; ++i) Frame();
  EXPECT_EQ(RV_ToDouble(CallBuiltin("window_get_width")), 300);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("window_get_height")), 200);
  EXPECT_EQ(host_.x, 100) << "the window isn't centred again";
  const std::pair<const char*, double> fixed[] = {
      {"window_get_visible", 1},   {"window_get_showborder", 0}, {"window_get_showicons", 0},
      {"window_get_sizeable", 0},  {"window_get_stayontop", 0},  {"display_get_orientation", 0},
      {"display_get_height", 1080}, {"window_get_fullscreen", 0},
  };
  for (const auto& [name, want] : fixed) EXPECT_EQ(RV_ToDouble(CallBuiltin(name)), want) << name;
  EXPECT_EQ(RV_ToDouble(CallBuiltin("display_set_ui_visibility", {R(1)})), 0);
  // Each size limit goes to its own side.
  CallBuiltin("window_set_min_width", {R(101)});
  CallBuiltin("window_set_max_width", {R(102)});
  CallBuiltin("window_set_min_height", {R(103)});
  CallBuiltin("window_set_max_height", {R(104)});
  EXPECT_EQ((std::vector<int32_t>{host_.min_w, host_.max_w, host_.min_h, host_.max_h}),
            (std::vector<int32_t>{101, 102, 103, 104}));
  // The display pointer is in screen coordinates, the window pointer in client ones.
  CallBuiltin("display_mouse_set", {R(130), R(70)});
  EXPECT_EQ(RV_ToDouble(CallBuiltin("display_mouse_get_x")), 130);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("display_mouse_get_y")), 70);
  EXPECT_EQ(host_.mouse_x, 30);
  CallBuiltin("window_set_color", {R(0x0A0B0C)});
  EXPECT_EQ(RV_ToDouble(CallBuiltin("window_get_color")), 0x0A0B0C);
  EXPECT_EQ(Window_State().colour, 0xFF0A0B0Cu);
}

TEST_F(BuiltinsTest, WindowBuiltinsReadTheWindowState) {
  RValue caption = RV_Undefined();
  RV_SetString(&caption, "Keep");
  CallBuiltin("window_set_caption", {caption});
  RV_FreeToUndefined(&caption);
  EXPECT_EQ(host_.caption, "Keep");
  CallBuiltin("window_set_colour", {R(0x112233)});
  EXPECT_EQ(RV_ToDouble(CallBuiltin("window_get_colour")), 0x112233);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("window_get_width")), 640);
  EXPECT_EQ(RV_ToDouble(CallBuiltin("display_get_width")), 1920);
  CallBuiltin("window_set_cursor", {R(-4)});
  EXPECT_EQ(host_.cursor, WindowCursor::kIBeam);
  CallBuiltin("window_set_cursor", {R(-1)});
  EXPECT_EQ(host_.cursor, WindowCursor::kNone);
  EXPECT_EQ(Numbers(CallBuiltin("window_get_visible_rects", {R(1800), R(0), R(2000), R(10)})),
            (std::vector<double>{1800, 0, 1920, 10, 0, 0, 1920, 1080}));
}

}  // namespace
