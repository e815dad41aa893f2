// The four towers: a bow on a stand, a large bow on a carriage, a throwing arm with a cup and a
// heavy arm with a sling. One routine per kind draws any pose, at sprite size or icon size.
#include <algorithm>
#include <cmath>

#include "assetgen/pen.h"
#include "assetgen/sprites.h"

namespace assetgen {

namespace {

constexpr int kBox = 64;
constexpr double kPi = 3.14159265358979323846;

// A pose: for the bows `pull` is the string's draw (1 full, below 0 snapped forward past rest);
// for the arms `angle` is the arm's angle in degrees from the right, counter-clockwise.
struct Pose {
  double pull = 0;
  double angle = 0;
  bool loaded = true;
  double sling = 0;  // onager: 0 hanging, 1 whipped over the top
};

void shadow(Canvas& canvas, double cx, double cy, double rx, double ry) {
  for (int y = 0; y < canvas.height(); ++y) {
    for (int x = 0; x < canvas.width(); ++x) {
      const double dx = (x - cx) / rx, dy = (y - cy) / ry;
      if (dx * dx + dy * dy <= 1.0 && canvas.get(x, y).a == 0) canvas.pixel(x, y, Rgba{0x22, 0x20, 0x34, 96});
    }
  }
}

void bolt(Pen& p, double x0, double y, double length, double thick, const Material& fletch) {
  p.bar(mat::kWood, x0, y, x0 + length, y, thick);
  const double head = thick + 2.5;
  p.poly(mat::kIron, {{x0 + length - 1, y - head / 2 - 0.5}, {x0 + length + head + 1, y}, {x0 + length - 1, y + head / 2 + 0.5}});
  p.poly(fletch, {{x0, y - thick / 2 - 2}, {x0 + 4, y}, {x0, y + thick / 2 + 2}});
}

// `stand` false leaves the tripod out: the player's bow turns on a pivot of its own.
void scorpion(Pen& p, const Pose& pose, bool stand = true) {
  if (stand) {
    p.bar(mat::kDarkWood, 31, 36, 20, 58, 3);
    p.bar(mat::kWood, 33, 36, 45, 58, 3);
    p.bar(mat::kWood, 32, 36, 32, 57, 3);
  }
  p.rect(mat::kDarkIron, 27, 32, 10, 6);
  // Stock along the firing line, a trigger lug below it.
  p.bar(mat::kWood, 9, 30, 47, 30, 4);
  p.rect(mat::kIron, 14, 32, 3, 4);
  const double nock = 40 - 24 * pose.pull;
  if (pose.loaded) bolt(p, nock, 28, 18, 1.5, mat::kRed);
  // Limbs bend back as the string is drawn.
  const double bend = 8 * std::max(pose.pull, 0.0);
  const double tip_x = 41 - bend, top = 10 + 3 * std::max(pose.pull, 0.0), bottom = 50 - 3 * std::max(pose.pull, 0.0);
  p.bar(mat::kDarkWood, 46, 30, 46 - bend * 0.3, 20, 3);
  p.bar(mat::kDarkWood, 46 - bend * 0.3, 20, tip_x, top, 2);
  p.bar(mat::kDarkWood, 46, 30, 46 - bend * 0.3, 40, 3);
  p.bar(mat::kDarkWood, 46 - bend * 0.3, 40, tip_x, bottom, 2);
  p.rect(mat::kIron, 44, 26, 5, 8);
  p.line(pal::kSkin, tip_x, top, nock, 30);
  p.line(pal::kSkin, tip_x, bottom, nock, 30);
}

void ballista(Pen& p, const Pose& pose) {
  // Carriage and wheels.
  p.rect(mat::kWood, 5, 40, 52, 7);
  p.rect(mat::kIron, 5, 40, 3, 7);
  p.rect(mat::kIron, 54, 40, 3, 7);
  for (double wx : {16.0, 45.0}) {
    p.circle(mat::kDarkWood, wx, 52, 8);
    p.circle(mat::kWood, wx, 52, 5);
    p.line(pal::kBrownDark, wx - 5, 52, wx + 5, 52);
    p.line(pal::kBrownDark, wx, 47, wx, 57);
    p.circle(mat::kIron, wx, 52, 1.6);
  }
  // A-frame under the stock, the winch at the back.
  p.bar(mat::kDarkWood, 22, 40, 29, 30, 3);
  p.bar(mat::kDarkWood, 38, 40, 32, 30, 3);
  p.bar(mat::kWood, 3, 27, 54, 27, 5);
  p.rect(mat::kIron, 18, 24, 3, 7);
  p.rect(mat::kIron, 36, 24, 3, 7);
  p.circle(mat::kIron, 9, 34, 4);
  p.bar(mat::kWood, 9, 34, 4, 40, 2);
  p.bar(mat::kWood, 9, 34, 14, 40, 2);
  const double nock = 46 - 30 * pose.pull;
  if (pose.loaded) bolt(p, nock, 24.5, 24, 2, mat::kBlue);
  const double pull = std::max(pose.pull, 0.0);
  const double bend = 9 * pull;
  const double tip_x = 47 - bend, top = 4 + 3 * pull, bottom = 49 - 3 * pull;
  p.bar(mat::kDarkWood, 53, 27, 52 - bend * 0.3, 15, 4);
  p.bar(mat::kDarkWood, 52 - bend * 0.3, 15, tip_x, top, 3);
  p.bar(mat::kDarkWood, 53, 27, 52 - bend * 0.3, 38, 4);
  p.bar(mat::kDarkWood, 52 - bend * 0.3, 38, tip_x, bottom, 3);
  p.rect(mat::kIron, 50, 21, 7, 12);
  p.line(pal::kSkin, tip_x, top, nock, 27);
  p.line(pal::kSkin, tip_x, bottom, nock, 27);
}

std::pair<double, double> arm_end(double px, double py, double length, double angle) {
  const double a = angle * kPi / 180.0;
  return {px + length * std::cos(a), py - length * std::sin(a)};
}

void catapault(Pen& p, const Pose& pose) {
  p.rect(mat::kWood, 5, 47, 54, 6);
  for (double wx : {13.0, 50.0}) {
    p.circle(mat::kDarkWood, wx, 55, 5);
    p.circle(mat::kIron, wx, 55, 1.5);
  }
  // Arm with its cup, behind the frame.
  const double px = 27, py = 45;
  const auto [ex, ey] = arm_end(px, py, 27, pose.angle);
  p.bar(mat::kWood, px, py, ex, ey, 4);
  const double a = pose.angle * kPi / 180.0;
  const double cx = ex + 2 * std::sin(a), cy = ey + 2 * std::cos(a);  // the cup sits on the arm's upper side
  p.circle(mat::kDarkWood, cx, cy, 4.5);
  p.circle(mat::kDarkIron, cx + 1 * std::sin(a), cy + 1 * std::cos(a) - 1, 2.5);
  if (pose.loaded) p.circle(mat::kStone, cx + 2 * std::sin(a), cy - 2, 3.5);
  // Twisted rope at the pivot, then the uprights and the padded crossbar in front.
  p.circle(mat::kRope, px, py, 5);
  p.circle(mat::kIron, px, py, 1.5);
  p.bar(mat::kWood, 40, 47, 40, 24, 4);
  p.bar(mat::kDarkWood, 52, 47, 41, 30, 3);
  p.rect(mat::kCloth, 34, 21, 11, 5);
}

void onager(Pen& p, const Pose& pose) {
  // A heavy sledge of dark timber with iron corners.
  p.rect(mat::kDarkWood, 2, 47, 60, 8);
  p.rect(mat::kIron, 2, 47, 4, 8);
  p.rect(mat::kIron, 58, 47, 4, 8);
  p.rect(mat::kIron, 30, 49, 4, 4);
  const double px = 24, py = 41;
  const auto [ex, ey] = arm_end(px, py, 30, pose.angle);
  // The sling: hanging from the arm's end at rest, laid along the sledge while drawn, whipping
  // over the top at the release.
  double pouch_x = ex + 3, pouch_y = ey + 13;
  if (pose.angle > 120) {
    pouch_x = ex + 16;
    pouch_y = 44;
  }
  if (pose.sling > 0) {
    const double s = pose.sling;
    pouch_x = ex + 4 + 12 * s;
    pouch_y = ey + 13 - 26 * s;
  }
  p.line(pal::kTan, ex, ey, pouch_x, pouch_y);
  // The heavy arm, iron-banded, in front of the sling's rope.
  p.bar(mat::kDarkWood, px, py, ex, ey, 6);
  const auto [bx, by] = arm_end(px, py, 16, pose.angle);
  p.bar(mat::kIron, bx - 1, by, bx + 1, by, 3);
  p.rect(mat::kIron, ex - 2, ey - 2, 5, 4);
  p.ellipse(mat::kLeather, pouch_x, pouch_y, 3.5, 2.5);
  if (pose.loaded) p.circle(mat::kStone, pouch_x, pouch_y - 1.5, 4);
  // The twisted skein at the pivot: a coil of rope between two iron cheeks.
  p.rect(mat::kIron, px - 7, py - 7, 3, 14);
  p.rect(mat::kRope, px - 4, py - 6, 9, 12);
  for (double ly = py - 4; ly <= py + 4; ly += 3) p.line(pal::kGold, px - 4, ly + 1, px + 4, ly - 1);
  p.circle(mat::kIron, px, py, 2);
  // The tall upright with its brace and the red leather stop the arm strikes.
  p.bar(mat::kDarkWood, 40, 47, 40, 16, 7);
  p.rect(mat::kIron, 37, 24, 7, 2);
  p.rect(mat::kIron, 37, 38, 7, 2);
  p.bar(mat::kDarkWood, 56, 47, 43, 26, 4);
  p.ellipse(mat::kRed, 35, 17, 5, 4);
}

void draw_tower(Pen& pen, Tower tower, const Pose& pose) {
  switch (tower) {
    case Tower::kScorpion: scorpion(pen, pose); break;
    case Tower::kBallista: ballista(pen, pose); break;
    case Tower::kCatapault: catapault(pen, pose); break;
    case Tower::kOnager: onager(pen, pose); break;
  }
}

bool is_bow(Tower tower) { return tower == Tower::kScorpion || tower == Tower::kBallista; }

constexpr double kArmRest[] = {0, 0, 74, 82};
constexpr double kArmDrawn[] = {0, 0, 166, 162};

Pose rest_pose(Tower tower) {
  Pose pose;
  pose.angle = kArmRest[static_cast<int>(tower)];
  pose.loaded = is_bow(tower);
  return pose;
}

// The pose of firing frame `frame`: drawn back over the frames before the attack frame, released
// at it (the shot has left), then settling back to rest.
Pose firing_pose(Tower tower, int frame) {
  const int kind = static_cast<int>(tower);
  const int attack = kTowerAttackFrame[kind];
  Pose pose = rest_pose(tower);
  if (frame < attack) {
    const double t = std::pow(static_cast<double>(frame + 1) / attack, 0.85);
    pose.pull = t;
    pose.angle = kArmRest[kind] + (kArmDrawn[kind] - kArmRest[kind]) * t;
    pose.loaded = is_bow(tower) || t > 0.55;
    return pose;
  }
  constexpr double kBowSettle[] = {-0.3, 0.12, -0.06, 0.0, 0.0};
  constexpr double kArmSettle[] = {-10, 5, -2, 0, 0};
  constexpr double kSling[] = {1.0, 0.6, 0.25, 0.0, 0.0};
  const int after = std::min(frame - attack, 4);
  pose.loaded = false;
  pose.pull = kBowSettle[after];
  pose.angle = kArmRest[kind] + kArmSettle[after];
  pose.sling = kSling[after];
  return pose;
}

kimage::Image render(Tower tower, const Pose& pose) {
  Canvas canvas(kBox, kBox);
  Pen pen(canvas);
  draw_tower(pen, tower, pose);
  canvas.outline();
  shadow(canvas, 32, 58.5, 22, 3.5);
  return canvas.image();
}

}  // namespace

std::vector<kimage::Image> tower_firing(Tower tower) {
  std::vector<kimage::Image> frames;
  for (int i = 0; i < kTowerFrames[static_cast<int>(tower)]; ++i) frames.push_back(render(tower, firing_pose(tower, i)));
  return frames;
}

kimage::Image tower_idle(Tower tower) { return render(tower, rest_pose(tower)); }

kimage::Image tower_shop_icon(Tower tower) {
  // The tower small on a clear ground, held by four brass corner brackets: the shop button's plaque
  // shows between them, so its hover tint stays visible around the icon.
  Canvas canvas(32, 32);
  Pen pen(canvas, 0.46, 1.5, 1.0);
  draw_tower(pen, tower, rest_pose(tower));
  canvas.outline();
  Pen frame(canvas);
  for (int cx : {1, 27}) {
    for (int cy : {1, 27}) {
      frame.rect(mat::kBrass, cx, cy, 4, 1);
      frame.rect(mat::kBrass, cx == 1 ? cx : cx + 3, cy, 1, 4);
      frame.rect(mat::kBrass, cx, cy == 1 ? cy : cy + 3, 4, 1);
    }
  }
  return canvas.image();
}

std::vector<kimage::Image> tower_projectile(Tower tower) {
  std::vector<kimage::Image> frames;
  switch (tower) {
    case Tower::kScorpion:
    case Tower::kBallista: {
      const bool big = tower == Tower::kBallista;
      const int w = big ? 24 : 16, h = big ? 8 : 6;
      for (int i = 0; i < 4; ++i) {
        Canvas canvas(w, h);
        Pen pen(canvas);
        bolt(pen, 1, h / 2.0 - 0.5, w - (big ? 8 : 6), big ? 2 : 1, i % 2 == 0 ? (big ? mat::kBlue : mat::kRed) : mat::kFlat(big ? pal::kSky : pal::kRose));
        canvas.outline();
        frames.push_back(canvas.image());
      }
      break;
    }
    case Tower::kCatapault:
    case Tower::kOnager: {
      const bool big = tower == Tower::kOnager;
      const int size = big ? 14 : 12;
      for (int i = 0; i < 4; ++i) {
        Canvas canvas(size, size);
        Pen pen(canvas);
        const double c = size / 2.0 - 0.5, r = size / 2.0 - 1.5;
        pen.circle(mat::kStone, c, c, r);
        // A chip in the stone turns with the frames, so a flying stone reads as spinning.
        const double a = i * kPi / 2 + 0.6;
        pen.circle(mat::kDarkIron, c + r * 0.45 * std::cos(a), c - r * 0.45 * std::sin(a), big ? 1.6 : 1.2);
        if (big) pen.dot(pal::kOrange, c - r * 0.4 * std::cos(a), c + r * 0.4 * std::sin(a));
        canvas.outline();
        frames.push_back(canvas.image());
      }
      break;
    }
  }
  return frames;
}

std::vector<kimage::Image> player_bow() {
  std::vector<kimage::Image> frames;
  for (int i = 0; i < 8; ++i) {
    Canvas canvas(48, 48);
    Pen pen(canvas, 0.75, 0, 0);
    Pose pose;
    pose.pull = i / 7.0;
    scorpion(pen, pose, false);
    canvas.outline();
    frames.push_back(canvas.image());
  }
  return frames;
}

kimage::Image player_arrow() {
  Canvas canvas(20, 6);
  Pen pen(canvas);
  bolt(pen, 1, 2.5, 13, 1, mat::kGold);
  canvas.outline();
  return canvas.image();
}

}  // namespace assetgen
