// Sequences and animation curves through the chunk load: heads, message and moment keyframes, the
// event table, every track kind with its keys, the track tree, curves, and damaged records; paths
// and timelines.
#include <iterator>
#include <string>
#include <vector>

#include "datawin/format/sequence_layout.h"
#include "datawin/writer/chunk_options.h"
#include "datawin/writer/chunk_rooms.h"
#include "datawin/writer/chunk_world.h"
#include "loader_test_util.h"
#include "world/asset_curves.h"
#include "world/asset_paths.h"
#include "world/asset_sequences.h"
#include "world/asset_timelines.h"

// Records are built with designated initialisers that name only the fields a test cares about.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

using namespace datawin;

namespace {

class AssetSequences : public AssetLoaderTest {
 protected:
  uint32_t sequence_record(uint32_t index) const {
    return WordAt(image_, FindPayload(image_, "SEQN") + seqn::kOffsets + 4 * index);
  }
  bool reload() { return LoadGameData(image_.data(), static_cast<uint32_t>(image_.size())); }
};

SequenceKeyframeRecord keyframe(float frame, std::vector<SequenceKeyRecord> channels) {
  return SequenceKeyframeRecord{.frame = frame, .length = 1, .channels = std::move(channels)};
}

SequenceTrackRecord track(seqn::TrackKind kind, std::string name, std::vector<SequenceKeyframeRecord> keyframes = {}) {
  return SequenceTrackRecord{.kind = kind, .name = std::move(name), .keyframes = std::move(keyframes)};
}

}  // namespace

TEST_F(AssetSequences, HeadEventTableAndEventKeyframes) {
  Writer writer = MakeMinimalGame();
  add_scpt(writer, {ScriptRecord{"scr_a", 1}, ScriptRecord{"scr_b", 2}});
  SequenceRecord seq{.name = "seq_flag", .loopmode = 2, .playback_speed = 30, .playback_speed_type = 1, .length = 10,
                     .xorigin = 4, .yorigin = -3, .volume = 0.5f};
  seq.messages = {keyframe(9.9999f, {{.channel = 0, .events = {"hit", "spark"}}}),
                  keyframe(2, {{.channel = 1, .events = {"a"}}, {.channel = 2}, {.channel = 1, .events = {"b"}}}),
                  keyframe(9.9f, {})};
  seq.events = {{1, "scr_a"}, {2, ""}, {seqn::kNoEvent, "scr_b"}, {3, "scr_missing"}, {4, "scr_b"}};
  seq.moments = {keyframe(9.9999f, {{.channel = 0, .events = {"first", "ignored"}}, {.channel = 1}})};
  add_seqn(writer, {std::nullopt, seq});
  ASSERT_TRUE(load(writer));

  EXPECT_EQ(SequenceAsset_Get(0), nullptr);
  EXPECT_EQ(SequenceAsset_Find("seq_flag"), 1);
  const SequenceAsset* read = SequenceAsset_Get(1);
  ASSERT_NE(read, nullptr);
  EXPECT_STREQ(read->name, "seq_flag");
  EXPECT_EQ(read->loopmode, 2);
  EXPECT_FLOAT_EQ(read->playbackSpeed, 30);
  EXPECT_EQ(read->playbackSpeedType, 1);
  EXPECT_FLOAT_EQ(read->length, 10);
  EXPECT_FLOAT_EQ(read->xorigin, 4);
  EXPECT_FLOAT_EQ(read->yorigin, -3);
  EXPECT_FLOAT_EQ(read->volume, 0.5f);

  ASSERT_EQ(read->messageEventKeyframes.size(), 3u);
  const SequenceKeyframeAsset& last = read->messageEventKeyframes[0];
  EXPECT_FLOAT_EQ(last.frame, 10.0f);  // just under the length: moved onto it
  EXPECT_FLOAT_EQ(last.length, 0.0f);
  EXPECT_EQ(load_f32(read->record + seqn::kHeadBytes + seqn::kKeyLength), 0.0f);  // zeroed in the image
  ASSERT_EQ(last.channels.size(), 1u);
  ASSERT_EQ(last.channels[0].events.size(), 2u);
  EXPECT_STREQ(last.channels[0].events[1], "spark");
  const SequenceKeyframeAsset& twice = read->messageEventKeyframes[1];
  ASSERT_EQ(twice.channels.size(), 2u);  // channel 1 met twice keeps the later entry
  EXPECT_EQ(twice.channels[0].channel, 1);
  ASSERT_EQ(twice.channels[0].events.size(), 1u);
  EXPECT_STREQ(twice.channels[0].events[0], "b");
  EXPECT_TRUE(twice.channels[1].events.empty());
  EXPECT_FLOAT_EQ(read->messageEventKeyframes[2].frame, 9.9f);  // further under: stays

  ASSERT_EQ(read->events.size(), 2u);
  EXPECT_EQ(read->events[0].id, 1u);
  EXPECT_EQ(read->events[0].script, 0);
  EXPECT_EQ(read->events[1].id, 4u);
  EXPECT_STREQ(read->events[1].script_name, "scr_b");
  EXPECT_EQ(read->events[1].script, 1);

  ASSERT_EQ(read->momentKeyframes.size(), 1u);
  const SequenceKeyframeAsset& moment = read->momentKeyframes[0];
  EXPECT_FLOAT_EQ(moment.frame, 10.0f);
  EXPECT_FLOAT_EQ(moment.length, 0.0f);
  ASSERT_EQ(moment.channels.size(), 2u);
  ASSERT_EQ(moment.channels[0].events.size(), 1u);  // a moment holds one event name
  EXPECT_STREQ(moment.channels[0].events[0], "first");
  EXPECT_TRUE(moment.channels[1].events.empty());
  EXPECT_TRUE(read->tracks.empty());
}

// One track of each kind with one key: the kind number and the key's own fields.
TEST_F(AssetSequences, EveryTrackKindAndItsKeys) {
  struct Case {
    seqn::TrackKind kind;
    SequenceKeyRecord key;
    bool (*check)(const SequenceKeyAsset&);
  };
  const Case cases[] = {
      {seqn::kTrackGraphic, {.channel = 3, .sprite_index = 5}, [](const SequenceKeyAsset& k) { return k.spriteIndex == 5; }},
      {seqn::kTrackAudio, {.sound_index = 2, .emitter_index = 7, .playback_mode = 1},
       [](const SequenceKeyAsset& k) { return k.soundIndex == 2 && k.emitterIndex == 7 && k.playbackMode == 1; }},
      {seqn::kTrackReal, {.value = 2.5f, .curve_index = 4},
       [](const SequenceKeyAsset& k) { return k.value == 2.5f && !k.embedded_curve && k.curve_index == 4 && !k.curve; }},
      {seqn::kTrackColour, {.colour = 0x80112233u},
       [](const SequenceKeyAsset& k) { return k.colour == 0x80112233u && k.curve_index == -1; }},
      {seqn::kTrackBool, {.bool_value = true}, [](const SequenceKeyAsset& k) { return k.bool_value; }},
      {seqn::kTrackString, {.text = "hello"},
       [](const SequenceKeyAsset& k) { return std::string(k.string_value) == "hello"; }},
      {seqn::kTrackSequence, {.sequence = 1}, [](const SequenceKeyAsset& k) { return k.sequence == 1; }},
      {seqn::kTrackSpriteFrames, {.image_index = 6}, [](const SequenceKeyAsset& k) { return k.imageIndex == 6; }},
      {seqn::kTrackInstance, {.object_index = 9}, [](const SequenceKeyAsset& k) { return k.objectIndex == 9; }},
      {seqn::kTrackText, {.text = "Wave 3", .wrap = 1, .alignment_h = 2, .alignment_v = 1, .font_index = 0},
       [](const SequenceKeyAsset& k) {
         return std::string(k.string_value) == "Wave 3" && k.wrap && k.alignmentH == 2 && k.alignmentV == 1 &&
                k.fontIndex == 0;
       }},
      {seqn::kTrackText, {.text = "", .wrap = 2}, [](const SequenceKeyAsset& k) { return !k.wrap; }},
      {seqn::kTrackClipMask, {}, nullptr},
      {seqn::kTrackClipMaskMask, {}, nullptr},
      {seqn::kTrackClipMaskSubject, {}, nullptr},
      {seqn::kTrackGroup, {}, nullptr},
  };
  Writer writer = MakeMinimalGame();
  SequenceRecord seq{.name = "seq_all"};
  for (const Case& c : cases) seq.tracks.push_back(track(c.kind, "t", {keyframe(1, {c.key}), keyframe(5, {c.key})}));
  add_seqn(writer, {seq});
  ASSERT_TRUE(load(writer));
  const SequenceAsset* read = SequenceAsset_Get(0);
  ASSERT_NE(read, nullptr);
  ASSERT_EQ(read->tracks.size(), std::size(cases));
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(testing::Message() << "track kind " << cases[i].kind);
    const SequenceTrackAsset& t = read->tracks[i];
    EXPECT_EQ(t.type, cases[i].kind);
    if (cases[i].check == nullptr) {
      EXPECT_TRUE(t.keyframes.empty());
      continue;
    }
    ASSERT_EQ(t.keyframes.size(), 2u);
    EXPECT_FLOAT_EQ(t.keyframes[1].frame, 5);
    EXPECT_FLOAT_EQ(t.keyframes[1].length, 1);  // kept for track keyframes
    ASSERT_EQ(t.keyframes[1].channels.size(), 1u);
    EXPECT_EQ(t.keyframes[1].channels[0].channel, cases[i].key.channel);
    EXPECT_TRUE(cases[i].check(t.keyframes[1].channels[0]));
  }
}

TEST_F(AssetSequences, TrackTreeTagsResourcesAndCurves) {
  Writer writer = MakeMinimalGame();
  SequenceTrackRecord group = track(seqn::kTrackGroup, "group");
  group.sub_type = 14;
  group.traits = 3;
  group.creation = true;
  group.tags = {{seqn::kTagLink, 2}, {seqn::kTagInvisible}, {seqn::kTagDisabled}};
  AnimCurveRecord owned{.channels = {{.name = "x", .type = acrv::kTypeBezier, .iterations = 4,
                                      .points = {{0, 1, 2, 3, 4, 5}, {1, 0}}}}};
  group.resources = {{.curve = owned}, {.type = "KVOtherThing"}};
  SequenceTrackRecord real = track(seqn::kTrackReal, "position",
                                   {keyframe(0, {{.channel = 0, .value = 1, .curve = AnimCurveRecord{}}}),
                                    keyframe(4, {{.channel = 1, .value = 2, .curve_index = 0}})});
  real.interpolation = 0;
  SequenceTrackRecord mystery = track(seqn::kTrackGraphic, "mystery");
  mystery.model = "KVMysteryTrack";
  mystery.tracks = {track(seqn::kTrackBool, "lost", {keyframe(0, {{.bool_value = true}})})};
  group.tracks = {real, mystery, track(seqn::kTrackColour, "blend", {keyframe(2, {{.colour = 0xFF0000FFu}})})};
  add_seqn(writer, {SequenceRecord{.name = "seq_tree", .tracks = {group, track(seqn::kTrackGraphic, "after")}}});
  ASSERT_TRUE(load(writer));

  const SequenceAsset* read = SequenceAsset_Get(0);
  ASSERT_NE(read, nullptr);
  ASSERT_EQ(read->tracks.size(), 2u);
  EXPECT_STREQ(read->tracks[1].name, "after");
  const SequenceTrackAsset& g = read->tracks[0];
  EXPECT_STREQ(g.model, "KVGroupTrack");
  EXPECT_STREQ(g.name, "group");
  EXPECT_EQ(g.subType, 14);
  EXPECT_EQ(g.traits, 3);
  EXPECT_TRUE(g.creation);
  EXPECT_TRUE(g.linked);
  EXPECT_EQ(g.linkedTrack, 2);
  EXPECT_FALSE(g.visible);
  EXPECT_FALSE(g.enabled);
  ASSERT_EQ(g.resources.size(), 2u);
  ASSERT_NE(g.resources[0], nullptr);
  EXPECT_EQ(g.resources[1], nullptr);
  const CurveAsset& curve = *g.resources[0];
  EXPECT_EQ(curve.name, nullptr);
  ASSERT_EQ(curve.channels.size(), 1u);
  EXPECT_STREQ(curve.channels[0].name, "x");
  EXPECT_EQ(curve.channels[0].type, acrv::kTypeBezier);
  EXPECT_EQ(curve.channels[0].iterations, 4);
  ASSERT_EQ(curve.channels[0].points.size(), 2u);
  EXPECT_FLOAT_EQ(curve.channels[0].points[0].handleOutY, 5);

  ASSERT_EQ(g.tracks.size(), 2u);  // the unknown model is dropped with its sub-track
  const SequenceTrackAsset& r = g.tracks[0];
  EXPECT_EQ(r.type, seqn::kTrackReal);
  EXPECT_EQ(r.interpolation, 0u);
  ASSERT_EQ(r.keyframes.size(), 2u);
  const SequenceKeyAsset& embedded = r.keyframes[0].channels[0];
  EXPECT_TRUE(embedded.embedded_curve);
  ASSERT_NE(embedded.curve, nullptr);
  EXPECT_EQ(embedded.curve->channels.size(), 1u);
  const SequenceKeyAsset& indexed = r.keyframes[1].channels[0];
  EXPECT_FALSE(indexed.embedded_curve);
  EXPECT_EQ(indexed.curve_index, 0);
  EXPECT_EQ(g.tracks[1].type, seqn::kTrackColour);
  EXPECT_EQ(g.tracks[1].interpolation, 1u);
  EXPECT_EQ(g.tracks[1].keyframes[0].channels[0].colour, 0xFF0000FFu);
}

TEST_F(AssetSequences, CurvesWithChannelsAndPoints) {
  Writer writer = MakeMinimalGame();
  AnimCurveRecord ease{.name = "ac_ease",
                       .channels = {{.name = "in", .type = acrv::kTypeCatmullRom, .iterations = 8,
                                     .points = {{0, 0, -0.1f, 0, 0.1f, 0}, {0.5f, 0.8f}, {1, 1}}},
                                    {.name = "flat", .points = {}}}};
  add_acrv(writer, {std::nullopt, ease, AnimCurveRecord{.name = "ac_line"}});
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(CurveAsset_Table().count(), 3);
  EXPECT_EQ(CurveAsset_Get(0), nullptr);
  EXPECT_EQ(CurveAsset_Find("ac_line"), 2);
  const CurveAsset* read = CurveAsset_Get(1);
  ASSERT_NE(read, nullptr);
  EXPECT_STREQ(read->name, "ac_ease");
  ASSERT_EQ(read->channels.size(), 2u);
  const CurveChannelAsset& in = read->channels[0];
  EXPECT_STREQ(in.name, "in");
  EXPECT_EQ(in.type, acrv::kTypeCatmullRom);
  EXPECT_EQ(in.iterations, 8);
  ASSERT_EQ(in.points.size(), 3u);
  EXPECT_FLOAT_EQ(in.points[0].handleInX, -0.1f);
  EXPECT_FLOAT_EQ(in.points[0].handleOutX, 0.1f);
  EXPECT_FLOAT_EQ(in.points[1].posx, 0.5f);
  EXPECT_FLOAT_EQ(in.points[1].value, 0.8f);
  EXPECT_TRUE(read->channels[1].points.empty());
  EXPECT_EQ(CurveAsset_Get(2)->channels[0].points.size(), 2u);

  // A point count past the end of the file fails the chunk.
  const uint32_t record = WordAt(image_, FindPayload(image_, "ACRV") + acrv::kOffsets + 4);
  store_u32(image_.data() + record + acrv::kInline + acrv::kInlineChannels + 12, 0x20000000u);
  LoaderConsole console;
  EXPECT_FALSE(LoadGameData(image_.data(), static_cast<uint32_t>(image_.size())));
  EXPECT_NE(console.text().find("ACRV: curve points pass the end of the file"), std::string::npos) << console.text();
}

// Words of a sequence of one graphic track with one keyframe of one channel, damaged one at a time.
TEST_F(AssetSequences, DamagedSequencesFailWithAMessage) {
  constexpr uint32_t kTrack = seqn::kHeadBytes + 4;
  constexpr uint32_t kBlock = kTrack + seqn::kTrackHeadBytes;
  struct Case {
    uint32_t at;
    uint32_t value;
    const char* message;
  };
  const Case cases[] = {
      {seqn::kName, 0xFFFFFFF0u, "SEQN: sequence record cut off or bad name"},
      {seqn::kMessageCount, 0x10000000u, "SEQN: event keyframes pass the end"},
      {seqn::kHeadBytes, 0xFFFFFFFFu, "SEQN: tracks pass the end"},
      {kTrack, 0xFFFFFFF0u, "SEQN: track cut off or bad name"},
      {kTrack + 20, 0x40000000u, "SEQN: track tags pass the end"},
      {kTrack + 28, 0x08000000u, "SEQN: sub-tracks pass the end"},
      {kBlock, 0x10000000u, "SEQN: keyframes pass the end"},
      {kBlock + 4 + seqn::kKeyChannelCount, 0x10000000u, "SEQN: keyframe channels pass the end"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    ResetLoaderState();
    Assets_InstallReaders();
    Writer writer = MakeMinimalGame();
    add_seqn(writer, {SequenceRecord{.name = "seq", .tracks = {track(seqn::kTrackGraphic, "g", {keyframe(0, {{}})})}}});
    ASSERT_TRUE(load(writer));
    store_u32(image_.data() + sequence_record(0) + c.at, c.value);
    LoaderConsole console;
    EXPECT_FALSE(reload());
    EXPECT_NE(console.text().find(c.message), std::string::npos) << console.text();
  }
}

TEST_F(AssetSequences, TracksNestedTooDeeplyFail) {
  SequenceTrackRecord nested = track(seqn::kTrackGroup, "leaf");
  for (int depth = 0; depth < 80; ++depth) {
    SequenceTrackRecord parent = track(seqn::kTrackGroup, "group");
    parent.tracks.push_back(std::move(nested));
    nested = std::move(parent);
  }
  Writer writer = MakeMinimalGame();
  add_seqn(writer, {SequenceRecord{.name = "seq_deep", .tracks = {nested}}});
  LoaderConsole console;
  EXPECT_FALSE(load(writer));
  EXPECT_NE(console.text().find("SEQN: tracks nested too deeply"), std::string::npos) << console.text();
}

// ---- Paths and timelines ------------------------------------------------------------------------

using AssetWorld = AssetLoaderTest;

TEST_F(AssetWorld, PathsKeepTheirPoints) {
  Writer writer = MakeMinimalGame();
  add_path(writer, {PathRecord{"pth_lane", 1, true, 8, {{0, 0, 100}, {64, 32, 50}}}, std::nullopt,
                    PathRecord{"pth_straight", 0, false, 4, {}}});
  ASSERT_TRUE(load(writer));
  const CPath* lane = Path_Get(0);
  ASSERT_NE(lane, nullptr);
  EXPECT_STREQ(Path_Table().name(0), "pth_lane");
  EXPECT_EQ(lane->kind, 1);
  EXPECT_TRUE(lane->closed);
  EXPECT_EQ(lane->precision, 8);
  ASSERT_EQ(lane->count(), 2);
  EXPECT_FLOAT_EQ(lane->points[1].x, 64.0f);
  EXPECT_FLOAT_EQ(lane->points[1].y, 32.0f);
  EXPECT_FLOAT_EQ(lane->points[1].speed, 50.0f);
  EXPECT_FALSE(lane->internal.empty());
  EXPECT_EQ(Path_Get(1), nullptr);
  EXPECT_EQ(Path_Get(2)->kind, 0);
  EXPECT_EQ(Path_Get(2)->count(), 0);

  // A point count past the end of the file fails the chunk.
  const uint32_t record = WordAt(image_, FindPayload(image_, "PATH") + 4);
  store_u32(image_.data() + record + 16, 0x10000000u);
  LoaderConsole console;
  EXPECT_FALSE(LoadGameData(image_.data(), static_cast<uint32_t>(image_.size())));
  EXPECT_NE(console.text().find("PATH: point list passes the end of the file"), std::string::npos);
}

TEST_F(AssetWorld, TimelineMomentsWithTheirCodeIndices) {
  Writer writer = MakeMinimalGame();
  add_tmln(writer, {std::nullopt, TimelineRecord{"tl_wave", {{0, 12}, {60, -1}, {120, 1400}}}});
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(TimeLine_Get(0), nullptr);
  const TimelineAsset* wave = TimeLine_Get(1);
  ASSERT_NE(wave, nullptr);
  EXPECT_STREQ(TimeLine_Table().name(1), "tl_wave");
  ASSERT_EQ(wave->moments.size(), 3u);
  EXPECT_EQ(wave->moments[0].code_index, 12);
  EXPECT_EQ(wave->moments[1].time, 60);
  EXPECT_EQ(wave->moments[1].code_index, -1);
  EXPECT_NE(wave->moments[1].event, nullptr);
  EXPECT_EQ(wave->moments[2].code_index, 1400);
}
